// The "connectedDeviceDetails" body of the routine report.
#pragma once

#include "report/json.h"

struct Daemon;

// Builds the array from the first `report_device_count` entries of the attached-device
// table; null when out of memory.
json::Ptr create_connected_device_detail_obj(Daemon& d);
