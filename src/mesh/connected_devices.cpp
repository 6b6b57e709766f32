#include "mesh/connected_devices.h"

#include "core/daemon.h"

// Interim builder: one object per reported device with its identity members. The
// complete member list replaces this with the attached-device inventory.
json::Ptr create_connected_device_detail_obj(Daemon& d) {
    json::Ptr list = json::array();
    if (!list) {
        json::report_no_memory();
        return nullptr;
    }
    int count = d.reduction.report_device_count;
    for (int i = 0; i < count && i < kMaxAttachedDevices; ++i) {
        const AttachDevEntry& e = d.info.attached.entries[static_cast<size_t>(i)];
        json::Ptr dev = json::object();
        if (!dev) {
            json::report_no_memory();
            return nullptr;
        }
        json::add_string(dev.get(), "deviceName", e.name);
        json::add_string(dev.get(), "macAddress", e.macaddr);
        json::add_string(dev.get(), "connStatus", e.conn_status);
        json::add_to_array(list.get(), std::move(dev));
    }
    return list;
}
