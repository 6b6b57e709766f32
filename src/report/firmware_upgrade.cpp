#include "report/firmware_upgrade.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/input_limits.h"
#include "platform/numbers.h"
#include "platform/platform.h"
#include "platform/uci_session.h"

namespace {

// The satellites' model names fall back to the known-device table that the
// attached-device inventory keeps.
constexpr const char* kKnownDeviceDir = "/opt/cache/system/device-info-table";
constexpr const char* kKnownDevicePackage = "knowndevices";
constexpr size_t kUciValueSize = 512;

// Bounds of the buffers the firmware checker's values are copied into.
constexpr size_t kHwVersionMax = 15;
constexpr size_t kVersionMax = 63;
constexpr size_t kSatMacMax = 31;
constexpr size_t kConfigSettingMax = 511;

std::string sat_key(const char* format, int index) {
    char key[160];
    std::snprintf(key, sizeof key, format, index);
    return key;
}

std::string sat_nvram(const char* format, int index) {
    return ovraNvramConfig_get(sat_key(format, index));
}

// The firmware checker writes the last upgrade outcome; during the setup wizard
// (stage 1 or 2) an automatic upgrade is the new-install upgrade.
std::string event_type_text(const std::string& status) {
    if (!status.empty() &&
        (ovraNvramConfig_match("vyro_wiz_stage", "2") ||
         ovraNvramConfig_match("vyro_wiz_stage", "1")) &&
        !ovraNvramConfig_match("currentDLmethod", "MANUAL"))
        return "New Install";
    if (!status.empty()) return status;
    return "Daily";
}

void print_last_status(const std::string& status) {
    if (ovraNvramConfig_exist("firmware_upgrade_last_status"))
        std::printf("firmware_upgrade_last_status:%s", status.c_str());
    else
        std::printf("firmware_upgrade_last_status is unset");
}

// The cloud's answer when there is one, else the firmware URL the router would ask,
// which names the hardware in lower case.
std::string download_url_from_cloud() {
    std::string url = ovraNvramConfig_get("control_cloud_backend_return_url");
    if (!url.empty()) return url;
    std::string base = ovraNvramConfig_get("control_cloud_backend_fw_url");
    if (base.empty()) return "";
    std::string hw = getHWVersion().substr(0, kHwVersionMax);
    strlwr(hw);
    return base + "/" + hw;
}

// Routers with the zt database take the download URL from the cloud; the others use
// a fixed checker path.
std::string firmware_config_setting() {
    char text[kConfigSettingMax + 1];
    std::string debug = ovraNvramConfig_get("check_fw_debug");
    if (platform::file_exists("/usr/bin/zt")) {
        std::snprintf(text, sizeof text, "control_cloud_backend_download_url=%s, check_fw_debug=%s",
                      ovraNvramConfig_get("control_cloud_backend_download_url").c_str(),
                      debug.c_str());
    } else {
        std::snprintf(text, sizeof text, "check_fw_path_ra=%s, check_fw_debug=%s",
                      ovraNvramConfig_get("check_fw_path_ra").c_str(), debug.c_str());
    }
    return text;
}

// "soapc_sat_%d_DeviceInfo_GetInfo_ModelName", or the known-device table's model for
// the satellite's MAC address when the SOAP client has not cached it.
std::string satellite_model_name(UciSession& uci, int index, const std::string& mac) {
    std::string model = sat_nvram("soapc_sat_%d_DeviceInfo_GetInfo_ModelName", index);
    if (!model.empty()) return model;
    std::string path = std::string(kKnownDevicePackage) + "." + mac + ".model";
    int rc = uci.get(path, model, kUciValueSize);
    if (rc != UCI_OK) {
        uci_report("create_satellite_fw_obj", 6255, "ovraUciConfig_w_get_value", rc);
        model.clear();
    }
    return model;
}

json::Ptr satellite_device_info(const std::string& mac, int index) {
    json::Ptr info = json::object();
    if (!info) return nullptr;
    json::add_string(info.get(), "macAddress", mac);
    json::add_string(info.get(), "serialNumber",
                     sat_nvram("soapc_sat_%d_DeviceInfo_GetInfo_SerialNumber", index));
    return info;
}

struct SatelliteVersions {
    std::string current;
    std::string next;
};

// After a forced upgrade the satellite reports the version it runs and the version it
// was forced to; the flag and version are reset so that the upgrade is reported once.
SatelliteVersions satellite_versions(int index) {
    SatelliteVersions v;
    std::string flag_key = sat_key("sat_%d_forceug_flag", index);
    if (!ovraNvramConfig_match(flag_key, "1")) {
        v.current = sat_nvram(
            "soapc_sat_%d_DeviceConfig_CheckAndDownloadNewFirmware_CurrentVersion", index);
        v.next =
            sat_nvram("soapc_sat_%d_DeviceConfig_CheckAndDownloadNewFirmware_NewVersion", index);
        return v;
    }
    std::string version_key = sat_key("sat_%d_foruce_new_version", index);
    v.current = sat_nvram("soapc_sat_%d_DeviceInfo_GetInfo_Firmwareversion", index);
    v.next = firmware_version_label(ovraNvramConfig_get(version_key));
    ovraNvramConfig_set(flag_key, "0");
    ovraNvramConfig_set(version_key, "");
    return v;
}

json::Ptr satellite_fw_entry(UciSession& uci, int index) {
    json::Ptr sat = json::object();
    if (!sat) return nullptr;
    std::string mac = compact_satellite_mac(sat_nvram("soapc_sat_%d_mac", index));
    json::add_string(sat.get(), "modelName", satellite_model_name(uci, index, mac));
    json::Ptr info = satellite_device_info(mac, index);
    if (!info) return nullptr;
    json::add(sat.get(), "deviceInfo", std::move(info));
    json::add_string(
        sat.get(), "fwDownloadFolderFromRouter",
        sat_nvram(
            "soapc_sat_%d_DeviceConfig_CheckAndDownloadNewFirmware_FwDownloadFolderFromRouter",
            index));
    json::add_string(
        sat.get(), "fwDownloadVersionFromRouter",
        sat_nvram(
            "soapc_sat_%d_DeviceConfig_CheckAndDownloadNewFirmware_FwDownloadVersionFromRouter",
            index));
    json::add_string(
        sat.get(), "fwDownloadUrl",
        sat_nvram("soapc_sat_%d_DeviceConfig_CheckAndDownloadNewFirmware_FwDownloadUrl", index));
    SatelliteVersions versions = satellite_versions(index);
    json::add_string(sat.get(), "currentVersion", versions.current);
    json::add_string(sat.get(), "newVersion", versions.next);
    json::add_string(sat.get(), "fwCheckResult",
                     satellite_check_result_text(sat_nvram(
                         "soapc_sat_%d_DeviceConfig_CheckAndDownloadNewFirmware_response", index)));
    json::add_string(sat.get(), "fwupgrade_Method",
                     sat_nvram("soapc_sat_%d_DeviceInfo_GetInfo_FirmwareDLmethod", index));
    return sat;
}

}  // namespace

const char* firmware_check_result_text(int code) {
    switch (code) {
        case 33:
            return "Fileinfo download fail";
        case 34:
            return "Firmware download fail";
        case 37:
            return "no error";
        case 42:
            return "No internet";
        case 48:
            return "Dal Error";
        case 49:
            return "Library not Initialized";
        case 50:
            return "Connection Timeout";
        case 51:
            return "Cannot Connect to Server";
        case 52:
            return "Not a Valid Input";
        case 53:
            return "Library Internal Error";
        case 54:
            return "No URL Received From Server";
        default:
            return "unknown error";
    }
}

const char* satellite_check_result_text(std::string_view response) {
    if (response.empty()) return "unknown error";
    // The SOAP client stores the satellite's numeric answer as decimal text.
    switch (std::atoi(std::string(response).c_str())) {
        case 0:
        case 5:
        case 6:
            return "no error";
        case 1:
            return "No internet";
        case 2:
            return "Cannot Connect to Server";
        case 3:
            return "Firmware download fail";
        default:
            return "unknown error";
    }
}

std::string firmware_version_label(std::string_view version) {
    if (version.empty()) return "";
    std::string_view kept = version.substr(0, kVersionMax);
    kept = kept.substr(0, kept.find('_'));
    return "V" + std::string(kept);
}

std::string compact_satellite_mac(std::string_view mac) {
    // Read as "%[^:]:%[^:]:%[^:]:%[^:]:%[^:]:%[^:]" would: up to six non-empty groups,
    // stopping at the first empty group or missing colon.
    std::string_view rest = mac.substr(0, kSatMacMax);
    std::string joined;
    for (int group = 0; group < 6; ++group) {
        size_t end = rest.find(':');
        std::string_view part = rest.substr(0, end);
        if (part.empty()) break;
        joined += part;
        if (end == rest.npos) break;
        rest.remove_prefix(end + 1);
    }
    return joined;
}

json::Ptr create_satellite_fw_obj() {
    UciSession uci(kKnownDeviceDir, kKnownDevicePackage, "create_satellite_fw_obj");
    json::Ptr obj = json::object();
    json::Ptr list = json::array();
    if (!obj || !list) {
        json::report_no_memory();
        return nullptr;
    }
    std::string count = ovraNvramConfig_get("soapc_sat_access_count");
    json::add_string(obj.get(), "numberOfSatellite", count);
    // The count is reported as it stands, but only the satellites the cache can hold
    // are listed: a wild count must not grow the report without bound.
    const int satellites = std::min(numbers::parse_int(count), limits::kMaxSatellites);
    for (int i = 0; i < satellites; ++i) {
        json::Ptr sat = satellite_fw_entry(uci, i);
        if (!sat) {
            json::report_no_memory();
            return nullptr;
        }
        json::add_to_array(list.get(), std::move(sat));
    }
    json::add(obj.get(), "satellite", std::move(list));
    return obj;
}

json::Ptr create_firmware_upgrade_obj(Daemon& d) {
    json::Ptr obj = json::object();
    if (!obj) {
        json::report_no_memory();
        return nullptr;
    }
    std::string status = ovraNvramConfig_get("firmware_upgrade_last_status");
    print_last_status(status);
    cJSON* o = obj.get();
    json::add_string(o, "eventType", event_type_text(status));
    json::add_string(o, "fwUpgradeTriggered",
                     d.info.triggeredByFirmwareUpgrade ? "Triggered" : "Not trigger");
    json::add_string(o, "fwDownloadUrlFromCloud", download_url_from_cloud());
    json::add_string(o, "fwDownloadUrl", ovraNvramConfig_get("control_cloud_backend_download_url"));
    json::add_string(o, "firmwareConfigSetting", firmware_config_setting());
    json::add_string(o, "fwCheckedDate", ovraNvramConfig_get("telem_fw_last_check_time"));
    json::add_string(o, "routerCurrentVersion", d.info.fw_version);
    json::add_string(o, "routerNewVersion",
                     firmware_version_label(ovraNvramConfig_get("new_firmware_version")));
    json::add_string(o, "fwCheckResult", firmware_check_result_text(get_check_fw_responseCode()));
    json::add_string(o, "fwupgrade_Method", ovraNvramConfig_get("currentDLmethod"));
    json::add(o, "satelliteFwInfo", create_satellite_fw_obj());
    return obj;
}
