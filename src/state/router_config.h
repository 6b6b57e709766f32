// The "routerConfig" body of the routine report: how the owner has set the router up.
#pragma once

#include <array>
#include <string>

#include "json/json.h"

struct Daemon;
struct FeatureFlags;

// One configuration value as it went out in the last "routerConfig".
struct LastReported {
    std::string value;  // "on"/"off", or the mode
    int reported = 0;
};

enum LastReportedField {
    LR_ADVANCE_QOS,
    LR_DYNAMIC_QOS,
    LR_SMART_CONNECT,
    LR_HUB_CLOUD,
    LR_DYNAMIC_DNS,
    LR_SERVICE_VPN,
    LR_DOWNLOADER,
    LR_ACCESS_CONTROL,
    LR_REMOTE_MANAGEMENT,
    LR_IPV6,
    LR_MODE,
    LR_USB_STORAGE,  // recorded without a member of its own
    LR_FIELD_COUNT,
};

// What the security service's status tool last said; each value at most 31 characters.
struct ShieldStatus {
    std::string expiry;
    std::string level;                // subscription level
    std::string subscription_status;  //
    std::string agent_status;
    std::string registration;
    std::string license_status;  // router protection licence
    std::string protection_enabled;
};

// The router configuration's part of the collection record.
struct RouterConfigRecord {
    ShieldStatus shield;
    std::array<LastReported, LR_FIELD_COUNT> last{};
    int reported_groups = 0;  // groups recorded by the last build
};

// Which firmware features the configuration members depend on, from the start-up
// probe. Features the probe has no file for are carried by every model of the family
// but the cable gateway.
struct RouterConfigFeatures {
    int qos = 0;
    int smart_connect = 0;
    int hub_cloud = 0;
    int dynamic_dns = 0;
    int vpn_server = 0;
    int downloader = 0;
    int access_control = 0;
    int remote_management = 0;
    int ipv6 = 0;
};
RouterConfigFeatures router_config_features(const FeatureFlags& probed);

// The children of the body, each a new object (null when it cannot be made).
void add_circle_config(cJSON* obj);
json::Ptr create_traffic_ctrl_obj();
json::Ptr create_wan_config_obj(Daemon& d);
json::Ptr create_port_forwarding_obj();
json::Ptr create_port_triggering_obj();

// The "routerConfig" object.
json::Ptr create_router_config_obj(Daemon& d);
