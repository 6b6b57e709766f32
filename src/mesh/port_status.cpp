#include "mesh/port_status.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/model.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

constexpr size_t kPortCommandSize = 64;
constexpr size_t kSwitchLineSize = 128;
constexpr size_t kArlCommandSize = 256;
constexpr const char* kDevicePortFile = "/tmp/device_port.txt";

// LAN port k (1..5) is column k of the map, except on model 0, whose LAN ports are
// wired one switch port further along (LAN 5 wraps to the first).
int lan_column(int model, int port) {
    return model == 0 ? port % 5 : port - 1;
}

bool cable_wan_mode() {
    return ovraNvramConfig_get("is_cable_wan_mode") == "1";
}

// What one fgets with a buffer of `bufsize` bytes reads from the start of `text`.
std::string first_line(const std::string& text, size_t bufsize) {
    size_t end = text.find('\n');
    end = end == std::string::npos ? text.size() : end + 1;
    return text.substr(0, std::min(end, bufsize - 1));
}

// The first line the switch prints for `switch_port` (fgets with a 128-byte buffer);
// nothing when the pipe could not be opened.
std::optional<std::string> read_switch_port_line(int switch_port) {
    const char* device = get_model_index() == 3 ? "switch1" : "switch0";
    auto cmd = shell::compose(kPortCommandSize, "swconfig dev %s port %d show|grep port:%d",
                              shell::constant(device), switch_port, switch_port);
    if (!cmd) return std::nullopt;
    auto output = platform::backend().popen_read(*cmd);
    if (!output) {
        std::perror("error read");
        return std::nullopt;
    }
    return first_line(*output, kSwitchLineSize);
}

int speed_code(const std::string& line) {
    size_t at = line.find("speed:");
    // Ports that do not print their speed run at gigabit.
    if (at == std::string::npos) return kPortSpeed1000;
    int mbps = 0;
    if (std::sscanf(line.c_str() + at, "speed:%dbaseT", &mbps) != 1) return kPortSpeed10;
    switch (mbps) {
        case 10000:
            return kPortSpeed10000;
        case 5000:
            return kPortSpeed5000;
        case 2500:
            return kPortSpeed2500;
        case 1000:
            return kPortSpeed1000;
        case 100:
            return kPortSpeed100;
        default:
            return kPortSpeed10;
    }
}

unsigned int mask_value(const std::string& mask) {
    return static_cast<unsigned int>(std::strtoul(mask.c_str(), nullptr, 16));
}

}  // namespace

int get_switch_port(const Daemon& d, int port) {
    int model = get_model_index();
    if (port >= 1 && port <= 5) return d.ports.port[static_cast<size_t>(lan_column(model, port))];
    if (model == 0 && cable_wan_mode()) return d.ports.wan_cable;
    return d.ports.wan;
}

int get_port_status(const Daemon& d, int mode, int port) {
    int switch_port = get_switch_port(d, port);
    auto line = read_switch_port_line(switch_port);
    if (!line) return 0;
    if (mode == 0) return line->find("link:up") != std::string::npos ? 1 : 0;
    if (mode == 1) return speed_code(*line);
    return 0;
}

unsigned int get_lan_link_mask(const Daemon& d) {
    const auto& mask = d.ports.mask;
    unsigned int bits = 0;
    if (get_model_index() != 0) {
        for (int k = 1; k <= 5; ++k)
            if (get_port_status(d, 0, k) == 1) bits |= mask_value(mask[static_cast<size_t>(k - 1)]);
        return bits;
    }
    // Model 0 reports LAN 1, 3 and 4 by their neighbours' masks; LAN 2 is never
    // queried and LAN 5 is the WAN port unless the router runs in cable WAN mode.
    if (get_port_status(d, 0, 1) == 1) bits |= mask_value(mask[1]);
    if (get_port_status(d, 0, 3) == 1) bits |= mask_value(mask[3]);
    if (get_port_status(d, 0, 4) == 1) bits |= mask_value(mask[4]);
    if (get_port_status(d, 0, 5) == 1 && cable_wan_mode()) bits |= mask_value(mask[0]);
    return bits;
}

namespace {

// Mask column (1-based) -> LAN port, compared in this order; first match wins.
using MaskOrder = std::pair<int, int>;

std::span<const MaskOrder> arl_comparison_order(int model) {
    static constexpr MaskOrder kModel0[] = {{5, 4}, {4, 3}, {2, 1}, {1, 5}};
    static constexpr MaskOrder kModel1[] = {{1, 1}, {2, 2}, {3, 3}, {4, 4}};
    static constexpr MaskOrder kModel2[] = {{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}};
    static constexpr MaskOrder kModel35[] = {{1, 1}, {2, 2}, {3, 3}};
    static constexpr MaskOrder kModel4[] = {{1, 1}};
    switch (model) {
        case 0:
            return kModel0;
        case 1:
            return kModel1;
        case 2:
            return kModel2;
        case 3:
        case 5:
            return kModel35;
        case 4:
            return kModel4;
        default:
            return {};
    }
}

}  // namespace

void get_device_switch_port(const Daemon& d, std::string_view mac, int& port) {
    // The address table is always read from switch0, also on the model whose LAN
    // links sit on switch1.
    auto cmd = shell::compose(kArlCommandSize,
                              "swconfig dev switch0 get dump_arl|grep %s | sed 's/^.*PORTMAP: "
                              "//g'|sed 's/ VID:.*//g' >/tmp/device_port.txt",
                              shell::mac(mac));
    port = 0;
    auto line = shell::capture_first_line(cmd, kDevicePortFile, kSwitchLineSize);
    if (!line || line->empty()) return;
    std::string portmap = line->substr(0, line->size() - 1);  // the newline
    if (portmap.empty()) return;
    for (const auto& [column, lan] : arl_comparison_order(get_model_index())) {
        if (portmap == d.ports.mask[static_cast<size_t>(column - 1)]) {
            port = lan;
            return;
        }
    }
}
