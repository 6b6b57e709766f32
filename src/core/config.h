// Compile-time configuration of this build: the values the router firmware fixes at
// build time and that differ between deployments.
#pragma once

namespace config {

inline constexpr const char* kAgentVersion = "V1.5.1.4";
inline constexpr const char* kBuildDate = "Feb 18 2025";
inline constexpr const char* kBuildTime = "19:01:29";

// Host pinged by the start-up probe and the connectivity check.
inline constexpr const char* kInternetCheckHost = "www.google.com";

// Device-location service hosts, chosen by the cloud agent's advisor URL.
inline constexpr const char* kDeviceLocationHostProd = "device-location.telem.example";
inline constexpr const char* kDeviceLocationHostQa = "device-location.qa.telem.example";
inline constexpr const char* kDeviceLocationHostDev = "device-location.dev.telem.example";

// Kernel version the firmware's module directory is named after.
inline constexpr const char* kKernelVersion = "5.4.213";

}  // namespace config
