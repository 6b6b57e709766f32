// The report bodies that create_device_json assembles, by the root member each one
// becomes. A builder returns a new object or null (nothing to report, or not
// available on this router); an empty slot means the body is not collected by this
// build, and the report goes out without it.
#pragma once

#include <functional>

#include "json/json.h"

struct Daemon;

using BodyBuilder = std::function<json::Ptr(Daemon&)>;

struct ReportBodies {
    // Routine report (event type 1).
    BodyBuilder routerInfo;
    BodyBuilder wifiConfig;
    BodyBuilder SatelliteInfo;
    BodyBuilder routerConfig;
    BodyBuilder hubShare;
    BodyBuilder connectedDeviceDetails;
    BodyBuilder avsAnalytic;
    // Kernel reboot (event type 0).
    BodyBuilder kernelReboot;
    // Alarms and one-off events (event type 2).
    BodyBuilder cpuUtilizations;
    BodyBuilder memoryUsage;
    BodyBuilder firmwareUpgradeAnalytics;
    BodyBuilder ssorapLoginEvent;
    // Wi-Fi analytics, sent with the Wi-Fi event report (event type 3) when due.
    BodyBuilder wifiAnalytics;
    // Fills the install event body of a DAL event (event type 6) before it is sent.
    std::function<void(Daemon&, cJSON* body)> installEvent;
};

// The builders this build carries.
ReportBodies default_report_bodies();
