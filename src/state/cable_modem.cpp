#include "state/cable_modem.h"

#include <arpa/inet.h>

#include <cctype>
#include <cstdio>
#include <cstring>

#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/model.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

constexpr const char* kFunc = "get_cablemodem_mac";
constexpr const char* kNa = "na";
constexpr size_t kLineBuffer = 128;
constexpr size_t kFieldMax = 31;

std::string first_chars(const std::string& text, int width) {
    char out[32] = "";
    char format[8];
    std::snprintf(format, sizeof format, "%%%ds", width);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    if (std::sscanf(text.c_str(), format, out) != 1) return "";
#pragma GCC diagnostic pop
    return out;
}

void set(CableModem& cm, const std::string& mac, const std::string& oui) {
    cm.mac = mac.substr(0, kFieldMax);
    cm.oui = oui.substr(0, kFieldMax);
}

void built_in_modem(CableModem& cm) {
    set(cm, kNa, kNa);
    if (!platform::file_exists(kCableMacFile)) doSystem("ipcCmd getcmmac  > /tmp/cable_mac.txt");
    auto line = platform::read_first_line(kCableMacFile, kLineBuffer);
    if (line) {
        std::string mac = cable_mac_from_answer(*line);
        if (!mac.empty()) set(cm, mac, first_chars(mac, 6));
    }
    std::printf("Cable MAC OUI = %s\n", cm.oui.c_str());
    std::printf("Cable MAC = %s\n", cm.mac.c_str());
}

void probe_external_modem(bool ap_mode, const std::string& probe_if, const std::string& wan_if) {
    std::printf("[%s] file is not exist\n", kFunc);
    shell::run(shell::compose(256, "ip addr add 192.168.100.100/24 dev %s label %s:100",
                              shell::ifname(wan_if), shell::ifname(wan_if)));
    shell::run(shell::compose(
        256, "/usr/sbin/arping -s 192.168.100.100 -c 1 %s -I %s > /tmp/cable_mac_arping.txt",
        shell::constant("192.168.100.1"), shell::ifname(ap_mode ? probe_if : wan_if)));
    doSystem(
        "cat /tmp/cable_mac_arping.txt | grep -w Unicast | tr -d '[' | tr -d ']' | awk '{print "
        "$5}'| awk -F: '{print $1$2$3$4$5$6}' | awk '{ print toupper($0) }' > "
        "/tmp/cable_mac.txt");
    shell::run(shell::compose(256, "ip addr del 192.168.100.100/24 dev %s label %s:100",
                              shell::ifname(wan_if), shell::ifname(wan_if)));
}

void external_modem(CableModem& cm) {
    bool ap_mode = ovraNvramConfig_get("enable_ap_mode") == "1";
    std::string address = ovraNvramConfig_get(ap_mode ? "lan_ipaddr" : "wan_ipaddr");
    std::string mask = ovraNvramConfig_get(ap_mode ? "lan_netmask" : "wan_netmask");
    if (on_modem_management_subnet(address, mask)) {
        set(cm, kNa, kNa);
        return;
    }
    std::string probe_if = ap_mode ? ovraNvramConfig_get("lan_ifname") : "";
    std::string wan_if;
    if (ap_mode || ovraNvramConfig_get("hwver").find("VRA3") != std::string::npos ||
        get_model_index() == 1)
        wan_if = ovraNvramConfig_get("wan_ifname");
    if (!platform::file_exists(kCableMacFile)) probe_external_modem(ap_mode, probe_if, wan_if);
    auto line = platform::read_first_line_or_empty(kCableMacFile, kLineBuffer);
    if (line) {
        std::string mac = first_chars(*line, 12);
        if (mac.empty())
            set(cm, kNa, kNa);
        else
            set(cm, mac, first_chars(mac, 6));
    }
    std::printf("Cable FULL MAC =[%s]\n", cm.mac.c_str());
    std::printf("Cable OUI MAC =[%s]\n", cm.oui.c_str());
}

}  // namespace

std::string cable_mac_from_answer(std::string_view line) {
    // The address and its newline end the line; one character more is taken in front
    // of it (a blank, which the scan skips).
    size_t start = line.size() >= 19 ? line.size() - 19 : 0;
    std::string tail(line.substr(start, 18));
    char address[18] = "";
    if (std::sscanf(tail.c_str(), "%17s", address) != 1) return "";
    char parts[6][18] = {};
    int got = std::sscanf(address, "%17[^:]:%17[^:]:%17[^:]:%17[^:]:%17[^:]:%17[^:]", parts[0],
                          parts[1], parts[2], parts[3], parts[4], parts[5]);
    if (got < 1) return "";
    std::string joined;
    for (int i = 0; i < got; ++i) joined += parts[i];
    for (char& c : joined) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return joined;
}

bool on_modem_management_subnet(const std::string& address, const std::string& mask) {
    in_addr_t a = inet_addr(address.c_str());
    in_addr_t m = inet_addr(mask.c_str());
    return (a & m) == (inet_addr("192.168.100.1") & inet_addr("255.255.255.0"));
}

void get_cablemodem_mac(Daemon& d) {
    if (ovraNvramConfig_get("is_cable_wan_mode") == "1")
        built_in_modem(d.info.cable_modem);
    else
        external_modem(d.info.cable_modem);
}
