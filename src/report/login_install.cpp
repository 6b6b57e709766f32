#include "report/login_install.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>

#include "core/daemon.h"
#include "platform/platform.h"
#include "report/envelope.h"

namespace {

struct LoginCode {
    const char* type;
    const char* sub;
};

// SSO_event 1 to 9.
constexpr LoginCode kLoginCodes[9] = {
    {"APPRemotePixie", "remotePixieTokenQuery"},
    {"APPRemotePixie", "remotePixieLoginTouchDown"},
    {"APPSecurityQA", "APPSecurityQALogin"},
    {"APPSecurityQA", "APPSecurityQATouchDown"},
    {"GUILoginRedirect", "LoginRedirectToServer"},
    {"GUILoginRedirect", "LoginAbort"},
    {"GUILoginRedirect", "LoginRedirectBackFromServer"},
    {"GUISecurityQA", "OffLineSecurityQALogin"},
    {"GUISecurityQA", "FallBackSecurityQALogin"},
};

// SSO_event as a decimal number; a non-number, or one out of range, counts as 0.
int sso_event_code() {
    std::string text = ovraNvramConfig_get("SSO_event");
    errno = 0;
    char* end = nullptr;
    long long value = std::strtoll(text.c_str(), &end, 10);
    if (end == text.c_str() || errno == ERANGE || value < 0 || value > 9) return 0;
    return static_cast<int>(value);
}

std::string account_service_base() {
    std::string stage = ovraNvramConfig_get("sso_stage");
    if (stage == "dev") return config::kAccountServiceDev;
    if (stage == "qa") return config::kAccountServiceQa;
    if (stage == "prod") return config::kAccountServiceProd;
    return "";
}

void add_nvram_text(cJSON* obj, const char* name, const char* key) {
    json::add_string(obj, name, ovraNvramConfig_get(key));
}

// A text member of the DAL body, "" when it is missing or not a text.
std::string body_text(const cJSON* body, const char* name) {
    const char* text = json::get_string(body, name);
    return text ? text : "";
}

// The DAL event being reported is an install event: its header (kept by the header
// builder) carries event type 17. An install-event flag left from an earlier install
// event that never reached this builder must not turn another event into one.
bool reporting_install_event(const Daemon& d) {
    const cJSON* doc = d.dal_header_source.get();
    const cJSON* type = doc && doc->child ? json::get(doc->child, "eventType") : nullptr;
    return cJSON_IsNumber(type) && type->valueint == kInstallEventType;
}

}  // namespace

std::string sso_sign_in_link() {
    std::string blank = ovraNvramConfig_get("blank_state");
    const char* path = blank == "1" ? "/signup" : blank == "0" ? "/login" : nullptr;
    if (!path) return "";
    std::string link = account_service_base() + path + "?redirectUrl=http://" +
                       ovraNvramConfig_get("lan_ipaddr") +
                       "&signature=" + ovraNvramConfig_get("redirectStringENC");
    if (link.size() > kSignInLinkMax) link.resize(kSignInLinkMax);
    return link;
}

json::Ptr create_sso_login_event_obj(Daemon&) {
    json::Ptr obj = json::object();
    if (!obj) {
        json::report_no_memory();
        return nullptr;
    }
    const int code = sso_event_code();
    const LoginCode* entry = code >= 1 ? &kLoginCodes[code - 1] : nullptr;
    if (entry) {
        json::add_string(obj.get(), "ssorapEventType", entry->type);
        // Codes 8 and 9 put their sub-event under the type's name again; the duplicate
        // is dropped with the format warning, so the event carries "GUISecurityQA".
        json::add_string(obj.get(), code <= 7 ? "ssorapSubEventType" : "ssorapEventType",
                         entry->sub);
    }
    add_nvram_text(obj.get(), "fromIP", "cur_access_user_ip");
    json::add_string(obj.get(), "internetStatus",
                     ovraNvramConfig_get("wan_status") == "up" ? "ON" : "OFF");
    json::add_string(obj.get(), "duringInstallation",
                     ovraNvramConfig_get("blank_state") == "1" ? "YES" : "NO");
    if (code == 2 || code == 4 || code == 6) return obj;
    if (code == 5 || code == 7) {
        add_nvram_text(obj.get(), "redirectString", "redirectString");
        json::add_string(obj.get(), "redirectStringENC",
                         code == 7 ? ovraNvramConfig_get("redirectStringENC") : sso_sign_in_link());
    }
    if (code == 5) return obj;
    if (code == 1 || code == 3 || code == 7 || code == 8 || code == 9)
        add_nvram_text(obj.get(), "errorReason", "errorReason");
    return obj;
}

json::Ptr create_install_event_obj(cJSON* body, const DevInfo& identity) {
    json::Ptr obj = json::object();
    if (!obj) {
        json::report_no_memory();
        return nullptr;
    }
    std::string kiln_version, kiln_services;
    get_kiln_version(kiln_version, kiln_services);
    cJSON* o = obj.get();
    add_nvram_text(o, "id", "RAE_installEventId");
    json::add_string(o, "source", "RA");
    json::add_string(o, "timestamp", body_text(body, "timestamp"));
    json::add_string(o, "status", body_text(body, "status"));
    json::add_string(o, "feature", body_text(body, "feature"));
    json::add_string(o, "subFeature", body_text(body, "subFeature"));
    json::add_string(o, "serialNo", identity.serial);
    json::add_string(o, "firmwareVersion", identity.fw_version);
    json::add_string(o, "routerModel", identity.model);
    json::add_string(o, "kilnVersion", kiln_version);
    json::add_string(o, "verb", body_text(body, "verb"));
    if (cJSON_IsObject(body))
        json::add(o, "payload", json::Ptr(cJSON_DetachItemFromObject(body, "payload")));
    return obj;
}

void fill_install_event(Daemon& d, cJSON* body) {
    d.info.install_event = 0;
    if (!body || !reporting_install_event(d)) return;
    json::Ptr event = create_install_event_obj(body, d.info);
    if (!event) return;
    // The body keeps its place (and name) in the report; its members become the install
    // event's, and the old ones go with `event`.
    std::swap(body->child, event->child);
    if (!cJSON_IsObject(body)) {
        // A body that was not an object becomes one; its old value goes with `event`.
        const int old_type = body->type & 0xFF;
        body->type = (body->type & ~0xFF) | cJSON_Object;
        event->type = (event->type & ~0xFF) | old_type;
        std::swap(body->valuestring, event->valuestring);
    }
}
