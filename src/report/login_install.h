// Event bodies of single user-visible occurrences: the login event
// ("ssorapLoginEvent", event type 2), raised when the web or app login flow records an
// event in nvram SSO_event, and the install event, which takes the place of a DAL
// install event's body (event type 6).
#pragma once

#include <string>

#include "json/json.h"

struct Daemon;
struct DevInfo;

namespace config {
// Account service base URLs the code-5 sign-in link is built on, by nvram sso_stage.
inline constexpr const char* kAccountServiceDev = "https://accounts.dev.telem.example";
inline constexpr const char* kAccountServiceQa = "https://accounts.qa.telem.example";
inline constexpr const char* kAccountServiceProd = "https://accounts.telem.example";
}  // namespace config

// Longest sign-in link (a 512-byte buffer on the router).
inline constexpr size_t kSignInLinkMax = 511;

// The login event of nvram SSO_event (codes 1 to 9; any other value gives only
// "fromIP", "internetStatus" and "duringInstallation").
json::Ptr create_sso_login_event_obj(Daemon& d);

// The sign-in link of code 5, from sso_stage, blank_state, lan_ipaddr and
// redirectStringENC.
std::string sso_sign_in_link();

// The install event built from a DAL event body: "payload" is moved out of `body`;
// texts the body lacks are "". Null (with "Not enough memory!") when it cannot be made.
json::Ptr create_install_event_obj(cJSON* body, const DevInfo& identity);

// Replaces the members of a DAL install event body by the install event's, in place,
// and clears the install-event flag. A body whose DAL header is not of an install event
// is left as it is.
void fill_install_event(Daemon& d, cJSON* body);
