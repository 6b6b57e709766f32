// Report files under /tmp/telem_json_dir and the 128 KiB rule of the routine report.
#pragma once

#include <string>

#include "report/json.h"

struct Daemon;

inline constexpr const char* kReportDir = "/tmp/telem_json_dir";
inline constexpr unsigned kReportSizeLimit = 131072;

struct ReductionState {
    int reduction_state = 0;  // 1 once the offline devices were dropped
    int report_device_count = 0;
    // Set while the size check has chosen report_device_count itself: the connected
    // device builder then honours the count instead of resetting it to num_entry.
    int device_count_override = 0;
};

// Writes `text` to telem_<hw>.json and makes the per-type copy. 0, or -1 when the file
// cannot be created. An empty text writes nothing and gives 0.
int write_report_file(Daemon& d, const std::string& text, int code);
// Holds the routine report (code 1) under the limit by rebuilding its device part.
// 0 when the file fits, -3 when it could not be brought under the limit or rewritten.
int checkjson_size(Daemon& d, json::Ptr& doc);
void reduction_offline(Daemon& d);
void reduction_size(Daemon& d);
// Writes the document of `code` (printing, writing, size check, per-type copy) as the
// report pipeline does after its gates; -3 on failure, 0 otherwise.
int write_report(Daemon& d, json::Ptr& doc, int code);
