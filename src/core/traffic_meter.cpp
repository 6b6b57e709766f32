#include "core/traffic_meter.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

constexpr size_t kLineBuffer = 256;

// atoi as the router's 32-bit C library computes it: leading blanks, a sign, digits;
// the value wraps at 32 bits instead of overflowing.
uint32_t atoi32(const char* text) {
    while (*text == ' ' || *text == '\t') ++text;
    bool negative = false;
    if (*text == '-' || *text == '+') negative = *text++ == '-';
    uint32_t value = 0;
    for (; *text >= '0' && *text <= '9'; ++text) value = value * 10u + uint32_t(*text - '0');
    return negative ? 0u - value : value;
}

// The number that follows `label` ("RX bytes:") in `line`, read from 9 characters past
// the label's start.
bool counter_after(const std::string& line, const char* label, uint32_t& out) {
    size_t at = line.find(label);
    if (at == std::string::npos) return false;
    out = atoi32(line.c_str() + at + 9);
    return true;
}

void append_line(const char* format, int index, unsigned long tx, unsigned long rx,
                 const char* file) {
    char command[256];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(command, sizeof command, format, index, tx, rx, file);
#pragma GCC diagnostic pop
    doSystem(command);
}

// Sums the lines of a pass or hour file numbered 0..`last`: a line counts when it
// holds "<i>-" for some i in that range; lines that match none are skipped.
bool sum_numbered_lines(const char* file, int last, uint32_t& tx_sum, uint32_t& rx_sum) {
    tx_sum = 0;
    rx_sum = 0;
    auto lines = platform::read_lines(file, kLineBuffer);
    if (!lines) return false;
    for (const auto& line : *lines) {
        bool numbered = false;
        for (int i = 0; i <= last && !numbered; ++i) {
            char tag[16];
            std::snprintf(tag, sizeof tag, "%d-", i);
            numbered = line.find(tag) != std::string::npos;
        }
        if (!numbered) continue;
        int index = 0;
        unsigned long tx = 0, rx = 0;
        std::sscanf(line.c_str(), "%d-%lu,%lu\n", &index, &tx, &rx);
        // The router's unsigned long is 32 bits wide.
        tx_sum += static_cast<uint32_t>(tx);
        rx_sum += static_cast<uint32_t>(rx);
    }
    return true;
}

int hours_per_day(const Daemon& d) {
    return d.policy.traffic_update_interval;
}

struct Differences {
    int32_t tx = 0;
    int32_t rx = 0;
};

Differences sample(TrafficMeter& m) {
    WanCounters now = read_wan_counters();
    Differences diff;
    if (!m.initialized) {
        m.hour_count = 0;
        m.pass_count = 0;
        m.last_tx = static_cast<int32_t>(now.tx);
        m.last_rx = static_cast<int32_t>(now.rx);
        m.initialized = 1;
        // A fresh daemon starts the partial hour and day over.
        platform::remove_file(kTrafficPassFile);
        platform::remove_file(kTrafficHourFile);
        return diff;
    }
    if (static_cast<int32_t>(now.tx) != m.last_tx) {
        diff.tx = static_cast<int32_t>(now.tx - static_cast<uint32_t>(m.last_tx));
        m.last_tx = static_cast<int32_t>(now.tx);
    }
    if (static_cast<int32_t>(now.rx) != m.last_rx) {
        diff.rx = static_cast<int32_t>(now.rx - static_cast<uint32_t>(m.last_rx));
        m.last_rx = static_cast<int32_t>(now.rx);
    }
    ++m.pass_count;
    return diff;
}

void fold_hour(TrafficMeter& m) {
    uint32_t tx = 0, rx = 0;
    sum_numbered_lines(kTrafficPassFile, m.pass_count, tx, rx);
    platform::remove_file(kTrafficPassFile);
    ++m.hour_count;
    append_line("echo \"%d-%lu,%lu\" >>%s", m.hour_count, tx, rx, kTrafficHourFile);
    m.pass_count = 0;
}

void total_day(TrafficMeter& m, int hours) {
    if (m.hour_count < hours) {
        m.day_ready = 0;
        return;
    }
    m.day_ready = 1;
    uint32_t tx = 0, rx = 0;
    if (sum_numbered_lines(kTrafficHourFile, m.hour_count, tx, rx)) {
        m.day_tx = static_cast<float>(tx >> 10) / 1024.0f;
        m.day_rx = static_cast<float>(rx >> 10) / 1024.0f;
    } else {
        m.day_tx = 0;
        m.day_rx = 0;
    }
    std::printf("\n[RAE]one day - tx traffic %.2f MB, rx traffic %.2f MB\n", m.day_tx, m.day_rx);
    platform::remove_file(kTrafficHourFile);
    m.hour_count = 0;
}

}  // namespace

WanCounters read_wan_counters() {
    WanCounters c;
    std::string proto = ovraNvramConfig_get("wan_proto");
    bool ppp = false;
    if ((proto == "dhcp" || proto == "static") && ovraNvramConfig_get("enable_ap_mode") == "0") {
        shell::run(shell::compose(128, "ifconfig %s >/tmp/ifconfig.txt",
                                  shell::ifname(ovraNvramConfig_get("wan_ifname"))));
    } else if (proto == "pppoe" || proto == "l2tp" || proto == "pptp") {
        doSystem("ifconfig ppp0 >/tmp/ifconfig.txt");
        ppp = true;
    } else {
        return c;
    }
    // The file is left in place, as the router leaves it.
    if (auto lines = platform::read_lines(kIfconfigFile, kLineBuffer)) {
        for (const auto& line : *lines) {
            if (line.find("RX bytes:") == std::string::npos) continue;
            counter_after(line, "RX bytes:", c.rx);
            counter_after(line, "TX bytes:", c.tx);
            break;
        }
    }
    if (ppp) {
        std::printf("RX bytes : %lu\n", static_cast<unsigned long>(c.rx));
        std::printf("TX bytes : %lu\n", static_cast<unsigned long>(c.tx));
    }
    return c;
}

void update_traffic_meter(Daemon& d) {
    TrafficMeter& m = d.info.traffic;
    Differences diff;
    if (ovraNvramConfig_get("wan_status") == "up") diff = sample(m);
    char command[256];
    std::snprintf(command, sizeof command, "echo \"%d-%d,%d\" >>%s", m.pass_count, diff.tx, diff.rx,
                  kTrafficPassFile);
    doSystem(command);
    if (m.pass_count > 5) fold_hour(m);
    total_day(m, hours_per_day(d));
    std::printf("min:%d\n", m.pass_count);
}
