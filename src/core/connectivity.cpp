#include "core/connectivity.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/config.h"
#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

constexpr const char* kPingResult = "/tmp/ping_test";
constexpr int64_t kHoldOffSeconds = 600;

bool host_text_ok(const std::string& host) {
    for (char c : host) {
        if (std::isalnum(static_cast<unsigned char>(c))) continue;
        if (c != '-' && c != '.' && c != '/' && c != ':') return false;
    }
    return true;
}

bool ap_or_sta_mode() {
    return ovraNvramConfig_get("enable_ap_mode") == "1" ||
           ovraNvramConfig_get("enable_sta_mode") == "1";
}

// The local address must be a plain dotted quad whose first and last parts are usable
// host numbers.
bool local_address_ok() {
    std::string addr = ovraNvramConfig_get(ap_or_sta_mode() ? "lan_ipaddr" : "wan_ipaddr");
    addr = addr.substr(0, 99);
    char p[4][5] = {};
    if (std::sscanf(addr.c_str(), "%4[^.].%4[^.].%4[^.].%4s", p[0], p[1], p[2], p[3]) != 4)
        return false;
    for (auto& part : p)
        if (part[0] == '\0' || std::strlen(part) == 4) return false;
    int a = std::atoi(p[0]), b = std::atoi(p[1]), c = std::atoi(p[2]), e = std::atoi(p[3]);
    return a >= 1 && a <= 254 && b >= 0 && b <= 255 && c >= 0 && c <= 255 && e >= 1 && e <= 254;
}

void remember_inconclusive(Daemon& d) {
    d.info.last_inconclusive_test = platform::wall_time();
}

}  // namespace

int check_connection(Daemon& d, const std::string& host) {
    if (platform::wall_time() - d.info.last_inconclusive_test < kHoldOffSeconds) return 0;
    if (!host_text_ok(host)) return 1;
    if (!local_address_ok()) return 1;
    auto cmd = shell::compose(256, "ping -4 -c 3 %s -I %s | grep time | wc -l > /tmp/ping_test",
                              shell::host(host), shell::host(ovraNvramConfig_get("wan_ipaddr")));
    if (!cmd) return 1;
    std::printf("check_connection: [%s]\n", cmd->c_str());
    doSystem(*cmd);
    if (!platform::file_exists(kPingResult)) {
        std::printf("\nretry %d, wait for ping %s\n", 1, config::kInternetCheckHost);
        platform::sleep_seconds(1);
        remember_inconclusive(d);
        return -1;
    }
    auto lines = platform::read_lines(kPingResult, 100);
    if (!lines) {
        std::puts("Unable to open file");
        return 1;
    }
    if (lines->empty()) {
        remember_inconclusive(d);
        return -1;
    }
    std::string line = lines->front();
    std::printf("This is the line:::%s::::\n", line.c_str());
    trim_(line);
    return !line.empty() && line[0] == '0' ? 1 : 0;
}

void check_internet_and_gateway(Daemon& d) {
    std::string proto = ovraNvramConfig_get("wan_proto");
    bool dial_on_demand = (proto == "pppoe" && ovraNvramConfig_get("pppoe_dod") == "1") ||
                          (proto == "l2tp" && ovraNvramConfig_get("l2tp_dod") == "1") ||
                          (proto == "pptp" && ovraNvramConfig_get("pptp_dod") == "1");
    if (dial_on_demand) {
        std::printf(
            "PPPoE/PPTP/L2TP is configured in dial on demand mode, do not do internet "
            "connection check");
    } else if (check_connection(d, config::kInternetCheckHost) != 0) {
        ++d.info.internet_fail_count;
        std::printf("ping %s fail, check internet connection fail count = %d\n",
                    config::kInternetCheckHost, d.info.internet_fail_count);
    }
    std::string gateway = ovraNvramConfig_get(ap_or_sta_mode() ? "apmode_gateway" : "wan_gateway");
    if (gateway != "0.0.0.0") {
        if (check_connection(d, gateway) != 0) {
            ++d.info.gateway_fail_count;
            std::printf("ping %s, check gateway connection fail count = %d\n", gateway.c_str(),
                        d.info.gateway_fail_count);
        }
    } else {
        ++d.info.gateway_fail_count;
        std::printf("can not get gateway IP address, check gateway connection fail count = %d\n",
                    d.info.gateway_fail_count);
    }
}
