// The "connectedDeviceDetails" body of the routine report.
#pragma once

#include <string_view>

#include "json/json.h"

struct Daemon;

// {"numberOfDevices": num_entry, "connDevices": [...]} with one object per entry of the
// attached-device table, for the first d.reduction.report_device_count entries. The
// count is reset to num_entry first unless d.reduction.device_count_override is set
// (the size check lowers it to shrink an oversized report). Null when out of memory.
json::Ptr create_connected_device_detail_obj(Daemon& d);

// The connType text of a table entry: the band names of the device-tracking service
// shortened ("5GHz Wireless" -> "5G"); any other text unchanged.
std::string_view short_connection_type(std::string_view conntype);
