// The security service ("shield"): its status tool's report, its zt keys and versions,
// and the shield members of "routerConfig".
#pragma once

#include <cjson/cJSON.h>

#include <string>

struct Daemon;

inline constexpr const char* kShieldStatusTool =
    "/opt/bitdefender/bin/bdagent-manage -get_status_report";
inline constexpr const char* kShieldStatusFile = "/tmp/shield_status_report";

// Runs the status tool (inside the "shield-bd" container when the service lives there)
// and fills the shield status of the collection record; every failure leaves the
// "fail" / "invalid" / "false" values.
void get_shield_status_report(Daemon& d);

// Item 1-4: zt shield keys; 5: agent version; 6: Guster version. `result` is left
// empty when the router has no zt tool or the item no value.
void get_shield_info(Daemon& d, int item, std::string& result);

// Adds the shield members to the "routerConfig" object.
void create_router_config_shield(Daemon& d, cJSON* obj);
