#include "state/shield.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "core/daemon.h"
#include "json/json.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

constexpr size_t kFieldMax = 31;      // the status fields are 32-byte buffers
constexpr size_t kInfoLineSize = 64;  // zt answers are read in at most 63 characters
constexpr size_t kVersionLineSize = 256;
constexpr size_t kCommandSize = 256;
constexpr const char* kZtTool = "/usr/bin/zt";
constexpr const char* kShieldInfoFile = "/tmp/shield.txt";
constexpr const char* kVersionFile = "/tmp/telem_shieldversion.txt";
constexpr const char* kGusterFile = "/tmp/telem_gusterversion.txt";
constexpr const char* kReleaseFile = "/opt/bitdefender/bitdefender-release";
// Source line numbers printed with the function name; they only have to stay the same.
constexpr int kShieldStartLine = 2101;
constexpr int kShieldExitLine = 2162;

std::string field(std::string text) {
    if (text.size() > kFieldMax) text.resize(kFieldMax);
    return text;
}

void set_failed(ShieldStatus& s) {
    s.agent_status = "fail";
    s.registration = "fail";
    s.subscription_status = "fail";
    s.expiry = "fail";
    s.level = "fail";
    s.license_status = "invalid";
    s.protection_enabled = "false";
}

void read_subscription(const cJSON* subscription, ShieldStatus& s) {
    if (!cJSON_IsObject(subscription)) return;
    if (const char* status = json::get_string(subscription, "status"))
        s.subscription_status = field(status);
    const cJSON* expiry = json::get(subscription, "expiry");
    if (cJSON_IsNumber(expiry)) {
        double v = expiry->valuedouble;
        uint64_t seconds = v <= 0                        ? 0
                           : v >= 18446744073709551615.0 ? UINT64_MAX
                                                         : static_cast<uint64_t>(v);
        s.expiry = field(std::to_string(seconds));
    }
    if (const char* level = json::get_string(subscription, "level")) s.level = field(level);
}

void read_router_protection(const cJSON* doc, ShieldStatus& s) {
    const cJSON* rp = json::get(doc, "router_protection");
    if (!cJSON_IsObject(rp)) {
        s.license_status = "invalid";
        s.protection_enabled = "false";
        return;
    }
    const char* license = json::get_string(rp, "license_status");
    s.license_status = field(license ? license : "invalid");
    s.protection_enabled = cJSON_IsTrue(json::get(rp, "enabled")) ? "true" : "false";
}

// True when the status document could be read and names the agent.
bool read_status_document(ShieldStatus& s) {
    auto text = platform::read_file(kShieldStatusFile);
    if (!text) {
        std::printf("Failed to open %s! \n", kShieldStatusFile);
        return false;
    }
    if (!platform::file_size(kShieldStatusFile)) {
        std::printf("stat %s failed!\n", kShieldStatusFile);
        return false;
    }
    std::string error;
    json::Ptr doc = json::parse(*text, &error);
    if (!doc) {
        std::printf("Not %s valid JSON string, Error before: [%s]\n", kShieldStatusFile,
                    error.c_str());
        return false;
    }
    const cJSON* agent = json::get(doc.get(), "agent");
    if (cJSON_IsObject(agent)) {
        s.agent_status = "ok";
        s.registration = cJSON_IsTrue(json::get(agent, "registered")) ? "True" : "False";
        read_subscription(json::get(agent, "subscription"), s);
    }
    read_router_protection(doc.get(), s);
    return cJSON_IsObject(agent);
}

// The first line of `path` as fgets reads it with a buffer of `size` bytes.
std::string first_line(const char* path, size_t size) {
    return platform::read_first_line(path, size).value_or("");
}

// sscanf "%s": the first word.
std::string first_word(const std::string& line) {
    size_t b = line.find_first_not_of(" \t\n\r\f\v");
    if (b == std::string::npos) return "";
    size_t e = line.find_first_of(" \t\n\r\f\v", b);
    return line.substr(b, e == std::string::npos ? std::string::npos : e - b);
}

std::string bounded(std::string text, size_t max) {
    if (text.size() > max) text.resize(max);
    return text;
}

void zt_shield_item(const char* command, std::string& result) {
    doSystem(command);
    if (auto line = platform::read_first_line(kShieldInfoFile, kInfoLineSize)) {
        result = bounded(first_word(*line), kInfoLineSize - 1);
        std::printf("line: %s, result:%s\n", line->c_str(), result.c_str());
    }
    platform::remove_file(kShieldInfoFile);
}

// "%*[^=]=%[^~]": everything after the first '=' up to a '~'.
std::string version_after_equals(const std::string& line) {
    size_t eq = line.find('=');
    if (eq == std::string::npos || eq == 0) return "";
    std::string value = line.substr(eq + 1);
    size_t tilde = value.find('~');
    if (tilde != std::string::npos) value.resize(tilde);
    return value;
}

void agent_version(Daemon& d, std::string& result) {
    bool in_container = d.info.features.security_in_container == 1;
    if (in_container || platform::file_exists(kReleaseFile)) {
        doSystem(in_container ? "lxc-attach shield-bd -- cat /opt/bitdefender/bitdefender-release "
                                "| grep VERSION > /tmp/telem_shieldversion.txt"
                              : "cat /opt/bitdefender/bitdefender-release | grep VERSION > "
                                "/tmp/telem_shieldversion.txt");
        if (auto lines = platform::read_lines(kVersionFile, kVersionLineSize)) {
            for (const std::string& line : *lines)
                if (line.find("VERSION=") != std::string::npos) {
                    std::string v = version_after_equals(line);
                    if (!v.empty()) result = bounded(v, kInfoLineSize - 1);
                }
        }
    } else {
        doSystem("kiln version -s | grep shield-bd: > /tmp/telem_shieldversion.txt");
        std::string line = first_line(kVersionFile, kVersionLineSize);
        constexpr std::string_view kPrefix = "shield-bd: v";
        if (line.compare(0, kPrefix.size(), kPrefix) == 0)
            result = bounded(first_word(line.substr(kPrefix.size())), kInfoLineSize - 1);
    }
    platform::remove_file(kVersionFile);
}

void guster_version(std::string& result) {
    doSystem(
        "lxc-attach shield-bd -- cat /opt/bitdefender/guster/guster.version > "
        "/tmp/telem_gusterversion.txt");
    result = bounded(first_word(first_line(kGusterFile, kInfoLineSize)), kInfoLineSize - 1);
    std::printf("Shield Guster version=%s\n", result.c_str());
    platform::remove_file(kGusterFile);
}

bool begins_with_true(const std::string& value) {
    return value.compare(0, 4, "true") == 0;
}

const char* subscription_status_word(const std::string& status) {
    if (status == "valid") return "on";
    if (status == "invalid" || status == "(unknown)") return "off";
    return "fail";
}

std::string subscription_type(const std::string& level) {
    if (level == "(unknown)") return "invalid";
    if (level == "fail") return "fail";
    char text[64];
    std::snprintf(text, sizeof text, "shield-%s", level.c_str());
    return text;
}

const char* registration_word(const std::string& registration) {
    if (registration == "True") return "true";
    if (registration == "False") return "false";
    if (registration == "fail") return "fail";
    return "invalid";
}

}  // namespace

void get_shield_status_report(Daemon& d) {
    ShieldStatus& s = d.info.router_config.shield;
    const char* format =
        d.info.features.security_in_container == 1 ? "lxc-attach shield-bd -- %s > %s" : "%s > %s";
    shell::run(shell::compose(kCommandSize, format, shell::constant(kShieldStatusTool),
                              shell::constant(kShieldStatusFile)));
    if (!read_status_document(s)) set_failed(s);
    std::printf("[GET API INFO] shieldSubscriptionExpirationDate=%s   \n", s.expiry.c_str());
    std::printf("[GET API INFO] shieldSubscriptionType=%s   \n", s.level.c_str());
    std::printf("[GET API INFO] shieldSubscriptionStatus=%s   \n", s.subscription_status.c_str());
    std::printf("[GET API INFO] shieldBdAgentStatus=%s   \n", s.agent_status.c_str());
    std::printf("[GET API INFO] shieldRegistrationStatus=%s   \n", s.registration.c_str());
    std::printf("[GET API INFO] routerProtectionLicenseStatus=%s   \n", s.license_status.c_str());
    std::printf("[GET API INFO] routerProtectionEnabled=%s   \n", s.protection_enabled.c_str());
    platform::remove_file(kShieldStatusFile);
}

void get_shield_info(Daemon& d, int item, std::string& result) {
    if (!platform::file_exists(kZtTool)) return;
    switch (item) {
        case 1:
            zt_shield_item("zt -s shieldstatus.activateState > /tmp/shield.txt", result);
            break;
        case 2:
            zt_shield_item("zt -s shieldstatus.expiryDate > /tmp/shield.txt", result);
            break;
        case 3:
            zt_shield_item("zt -s shieldstatus.protectionStatus > /tmp/shield.txt", result);
            break;
        case 4:
            zt_shield_item("zt -s shieldstatus.subscriptionStatus > /tmp/shield.txt", result);
            break;
        case 5:
            agent_version(d, result);
            break;
        case 6:
            guster_version(result);
            break;
        default:
            break;
    }
}

void create_router_config_shield(Daemon& d, cJSON* obj) {
    std::printf("%s(%d) ===> START\n", "create_router_config_shield", kShieldStartLine);
    get_shield_status_report(d);
    const ShieldStatus& s = d.info.router_config.shield;
    std::string activate, protection, version, guster;
    get_shield_info(d, 1, activate);
    get_shield_info(d, 3, protection);
    get_shield_info(d, 5, version);
    get_shield_info(d, 6, guster);
    bool ap_mode = ovraNvramConfig_get("enable_ap_mode") == "1";

    json::add(obj, "shieldActivate", json::boolean(begins_with_true(activate)));
    json::add(obj, "shieldEnable", json::boolean(begins_with_true(protection) && !ap_mode));
    json::add_string(obj, "shieldAgentVersion", version);
    json::add_string(obj, "shieldSubscriptionStatus",
                     subscription_status_word(s.subscription_status));
    json::add_string(obj, "shieldSubscriptionExpirationDate",
                     (s.expiry == "fail" || s.expiry.empty()) ? "fail" : s.expiry);
    json::add_string(obj, "shieldSubscriptionType", subscription_type(s.level));
    json::add_string(obj, "shieldBdAgentStatus", s.agent_status == "ok" ? "ok" : "fail");
    json::add_string(obj, "shieldRegistrationStatus", registration_word(s.registration));
    json::add_string(obj, "shieldGusterVersion", guster.empty() ? "NA" : guster);
    json::add_string(obj, "routerProtectLicenseStatus",
                     s.license_status == "valid" ? "valid" : "invalid");
    json::add_string(obj, "routerProtectEnabled",
                     s.protection_enabled == "true" ? "true" : "false");
    std::printf("%s(%d) ===> EXIT\n", "create_router_config_shield", kShieldExitLine);
}
