// The attached-device table of the collection record.
#pragma once

#include <array>
#include <string>

struct Daemon;

inline constexpr int kMaxAttachedDevices = 128;

struct AttachDevEntry {
    std::string conntype;
    std::string name;
    std::string model;
    std::string devtype;
    std::string ipaddr;
    std::string macaddr;
    std::string signal;
    std::string access;
    std::string connectedVyro;
    std::string connectedVyromac;
    std::string connectedVyroModel;
    int devtypeid = 0;
    double speed = 0;
    int name_user_defined = 0;
    std::string name_auto_detect;
    int model_user_defined = 0;
    std::string model_auto_detect;
    int type_user_defined = 0;
    std::string type_auto_detect;
    std::string deviceVendorAutoDetect;
    std::string conn_status;  // "Online", "Offline" or ""
    std::string type_v2;
    std::string type_v2_user_defined;
    std::string type_v2_auto_detect;
    std::string type_v2_index;
    std::string brand;
    std::string mac_vendor;
    std::string os_name;
    std::string os_version;
    std::string detect_engine;
    std::string fing_type;
    std::string fing_model;
    std::string dhcp_fingerprint;
};

struct AttachedDevices {
    std::array<AttachDevEntry, kMaxAttachedDevices> entries{};
    int num_entry = 0;
    std::string attached_wired;
    std::string attached_wireless;
    std::string attached_2g;
    std::string attached_5g;
    std::string attached_6g;
};

// Fills the attached-device table of the collection record for this pass.
int get_attach_dev(Daemon& d);
