// The Wi-Fi event report (event type 3): batches of connection events that the
// sibling Wi-Fi daemon collects, sent together from a directory at the policy's
// send interval.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>

#include "report/event_files.h"

struct Daemon;

inline constexpr const char* kWifiOutputFile = "/tmp/telem_json_dir/telem_wifi_output.json";

struct WifiBatch {
    bool due = false;   // the send timer let the batch go
    bool body = false;  // an event file supplied a body
};

// Merges the rule overrides, runs the send timer, hands the Wi-Fi daemon's output
// over when due, and adds the event file's first member to `root`.
WifiBatch collect_wifi_event_batch(Daemon& d, cJSON* root, uint32_t now, uint32_t first_delay,
                                   bool force);
// After the report file was written: keeps the waiting directory under its maximum
// and adds this report to it. False when there is nothing to send.
bool queue_wifi_event_report(Daemon& d, bool body);
// Moves the Wi-Fi daemon's accumulating output to the event file.
void hand_over_wifi_output();
