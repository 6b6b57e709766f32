#include "mesh/connected_devices.h"

#include <array>
#include <utility>

#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/platform.h"

std::string_view short_connection_type(std::string_view conntype) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kBands = {{
        {"5GHz Wireless", "5G"},
        {"2.4GHz Wireless", "2.4G"},
        {"6GHz Wireless", "6G"},
        {"5GHz Guest Network", "5G Guest"},
        {"2.4GHz Guest Network", "2.4G Guest"},
        {"6GHz Guest Network", "6G Guest"},
    }};
    for (const auto& [text, shown] : kBands)
        if (conntype == text) return shown;
    return conntype;
}

namespace {

json::Ptr connected_device_obj(const AttachDevEntry& e) {
    json::Ptr dev = json::object();
    if (!dev) return nullptr;
    cJSON* o = dev.get();
    // Text of at most 63 characters, as the band table compares it.
    Text64 conntype = e.conntype.view();
    json::add_string(o, "connType", short_connection_type(conntype));
    json::add_string(o, "connStatus", e.conn_status);
    json::add_string(o, "deviceName", e.name);
    json::add(o, "deviceNameUserDefined", json::boolean(e.name_user_defined != 0));
    json::add_string(o, "deviceNameAutoDetect", e.name_auto_detect);
    json::add_string(o, "deviceModel", e.model);
    json::add(o, "deviceModelUserDefined", json::boolean(e.model_user_defined != 0));
    json::add_string(o, "deviceModelAutoDetect", e.model_auto_detect);
    json::add_string(o, "deviceType", e.devtype);
    json::add(o, "deviceTypeUserDefined", json::boolean(e.type_user_defined != 0));
    json::add_string(o, "deviceTypeAutoDetect", e.type_auto_detect);
    json::add_number(o, "deviceTypeID", e.devtypeid);
    json::add_string(o, "fingDetectedType", e.fing_type);
    json::add_string(o, "fingDetectedModel", e.fing_model);
    json::add_string(o, "deviceVendorAutoDetect", e.deviceVendorAutoDetect);
    json::add_string(o, "deviceTypeV2", e.type_v2);
    // A text, "true" or "false", unlike the three flags above.
    json::add_string(o, "deviceTypeV2UserDefined", e.type_v2_user_defined);
    json::add_string(o, "deviceTypeV2AutoDetect", e.type_v2_auto_detect);
    json::add_string(o, "deviceTypeV2ID", e.type_v2_index);
    json::add_string(o, "deviceBrandAutoDetect", e.brand);
    json::add_string(o, "deviceMacVendorAutoDetect", e.mac_vendor);
    json::add_string(o, "deviceOSNameAutoDetect", e.os_name);
    json::add_string(o, "deviceOSVerAutoDetect", e.os_version);
    json::add_string(o, "detectEngine", e.detect_engine);
    json::add_string(o, "dhcpFingerPrint", e.dhcp_fingerprint);
    json::add_string(o, "userAgent", e.user_agent);
    json::add_string(o, "ipAddress", e.ipaddr);
    json::add_string(o, "macAddress", e.macaddr);
    json::add_number(o, "linkspeed", e.speed);
    json::add_string(o, "signalStrength", e.signal);
    json::add_string(o, "allowOrBlock", e.access);
    json::add_string(o, "connectedVyro", e.connectedVyro);
    json::add_string(o, "connectedVyroMac", e.connectedVyromac);
    json::add_string(o, "connectedVyroModel", e.connectedVyroModel);
    return dev;
}

}  // namespace

json::Ptr create_connected_device_detail_obj(Daemon& d) {
    const AttachedDevices& table = d.info.attached;
    json::Ptr obj = json::object();
    json::Ptr list = json::array();
    if (!obj || !list) {
        json::report_no_memory();
        return nullptr;
    }
    cJSON* devices = list.get();
    json::add_number(obj.get(), "numberOfDevices", table.num_entry);
    json::add(obj.get(), "connDevices", std::move(list));

    if (!d.reduction.device_count_override) d.reduction.report_device_count = table.num_entry;
    int count = d.reduction.report_device_count;
    if (ovraNvramConfig_get("telem_debug") == "1") {
        char line[96];
        std::snprintf(line, sizeof line, "[%s]connection device num=%d\n",
                      "create_connected_device_detail_obj", count);
        platform::append_console(line);
    }
    if (count < 1) return obj;

    for (int i = 0; i < count && i < kMaxAttachedDevices; ++i) {
        json::Ptr dev = connected_device_obj(table.entries[static_cast<size_t>(i)]);
        if (!dev) {
            json::report_no_memory();
            return nullptr;
        }
        json::add_to_array(devices, std::move(dev));
    }
    return obj;
}
