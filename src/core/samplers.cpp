#include "core/samplers.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

constexpr size_t kSamplerLineSize = 256;
constexpr size_t kVpnLineSize = 128;

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

}  // namespace

void get_cpu_load(double& out) {
    auto lines = shell::capture_lines(std::string("mpstat -P ALL > /tmp/telem_CPULoad"),
                                      "/tmp/telem_CPULoad", kSamplerLineSize);
    // Twelve columns: time, CPU, then the ten percentages ending with %idle. The
    // columns keep what the last line that had them held.
    char col[12][10] = {};
    for (const std::string& line : lines.value_or(std::vector<std::string>{})) {
        std::sscanf(line.c_str(), "%9s %9s %9s %9s %9s %9s %9s %9s %9s %9s %9s %9s", col[0], col[1],
                    col[2], col[3], col[4], col[5], col[6], col[7], col[8], col[9], col[10],
                    col[11]);
        if (contains(line, "all")) break;
    }
    const char* idle = col[11];
    if (idle[0] == '\0') return;
    char load[32];
    std::snprintf(load, sizeof load, "%5.2f", 100 - std::atof(idle));
    out = std::atof(load);
}

void get_uptime_text(std::string& dest) {
    unsigned long up = sys_uptime();
    char text[64];
    std::snprintf(text, sizeof text, "%lu days %02lu:%02lu:%02lu", up / 86400, (up / 3600) % 24,
                  (up / 60) % 60, up % 60);
    dest = text;
}

int get_netusb_present() {
    auto lines =
        shell::capture_lines(std::string("cat /proc/bus/usb/devices >/tmp/usb_devices_info"),
                             "/tmp/usb_devices_info", kSamplerLineSize);
    if (!lines) return 0;
    for (const std::string& line : *lines) {
        size_t driver = line.find("Driver=");
        if (driver != std::string::npos && line.find("KC NetUSB", driver) != std::string::npos)
            return 1;
    }
    return 0;
}

namespace {

// Counts the client lines of the routing tables in one status log. `in_table` carries
// over between logs: a log that ends inside a table makes the next one count from its
// first line.
int count_vpn_clients(std::string_view path, bool& in_table) {
    auto lines = platform::read_lines(path, kVpnLineSize);
    if (!lines) return 0;
    int count = 0;
    for (const std::string& line : *lines) {
        if (contains(line, "Virtual Address,Common Name,Real Address,Last Ref")) in_table = true;
        if (contains(line, "GLOBAL STATS"))
            in_table = false;
        else if (in_table && contains(line, "quorvex"))
            ++count;
    }
    return count;
}

}  // namespace

int get_openvpn_clients() {
    bool in_table = false;
    int clients = count_vpn_clients("/tmp/openvpn-status_tap.log", in_table);
    clients += count_vpn_clients("/tmp/openvpn-status_tun.log", in_table);
    return clients;
}
