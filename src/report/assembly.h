// create_device_json: the single entry through which the main loop asks for a report.
#pragma once

#include <cstdint>

struct Daemon;
struct ScheduleRow;

// 0 when handled or deliberately not sent, -1 when out of memory, -3 when the report
// file could not be written or the routine report not brought under the size limit.
int create_device_json(Daemon& d, int event_code);
// True when the user consented to analytics (nvram RA_enable is "1").
bool analytics_enabled();
// 1 when `code` is on the policy's stop-publish list (and prints the message).
int check_stop_publish_event_type(Daemon& d, int code);
