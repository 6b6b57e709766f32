// Report files under /tmp/telem_json_dir and the 128 KiB rule of the routine report.
//
// Every report is written to the shared file telem_<hw>.json (<hw> = getHWVersion())
// and copied by the shell to telem_<hw>_<code>.json, the file the publisher sends and
// the backup copies. Only the routine report (code 1) is held to the size limit: while
// its file is 128 KiB or more, its "connectedDeviceDetails" member is rebuilt from a
// smaller device table (offline devices first, then five devices at a time from the
// end of the table) until it fits or five devices or fewer are left.
#pragma once

#include <string>
#include <string_view>

#include "json/json.h"

struct Daemon;

inline constexpr const char* kReportDir = "/tmp/telem_json_dir";
inline constexpr unsigned kReportSizeLimit = 131072;
inline constexpr int kRoutineReportCode = 1;
inline constexpr int kWifiEventReportCode = 3;

struct ReductionState {
    int reduction_state = 0;  // 1 once the offline devices were dropped
    int report_device_count = 0;
    // Set while the size check has lowered report_device_count itself, so that the
    // connected-device builder takes the count as given instead of the collected one.
    // Cleared whenever a size check ends.
    int device_count_override = 0;
};

// /tmp/telem_json_dir/telem_<hw>.json and /tmp/telem_json_dir/telem_<hw>_<code>.json.
std::string shared_report_path(const std::string& hw);
std::string type_report_path(const std::string& hw, int code);

// Writes `text` to telem_<hw>.json and makes the per-type copy. 0, or -1 when the file
// cannot be created. An empty text writes nothing and gives 0.
int write_report_file(Daemon& d, std::string_view text, int code);
// Holds the routine report (code 1) under the limit by rebuilding its device part.
// 0 when the file fits, -3 when it could not be brought under the limit or rewritten
// (the document is then deleted).
int checkjson_size(Daemon& d, json::Ptr& doc);
// Keeps, in table order, only the "Online" entries among the first
// report_device_count entries and sets the count to how many were kept.
void reduction_offline(Daemon& d);
// Drops the last five entries counted by report_device_count.
void reduction_size(Daemon& d);
// Writes the document of `code` (printing, writing, size check, per-type copy) as the
// report pipeline does after its gates; -3 on failure (document deleted), 0 otherwise.
// While a retry of `code` is pending nothing is written: the per-type copy is taken
// from the shared file as it stands, which is what the retry publishes.
int write_report(Daemon& d, json::Ptr& doc, int code);
// The per-type copy made once a report is final ("cat ... > ..." from the shared file).
void copy_report_to_type_file(int code);
// True for the Wi-Fi event report: write_report makes no per-type copy for it, since
// the Wi-Fi event directory handling of create_device_json copies the report into the
// waiting directory (and makes the per-type copy) once write_report has returned.
bool report_copied_by_event_directory(int code);
