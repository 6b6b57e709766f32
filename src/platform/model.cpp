#include "platform/model.h"

#include <cstring>

#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

constexpr size_t kHwverSize = 64;       // the buffer `hwver` is copied into
constexpr size_t kSlotSize = 8;         // one interface name slot, terminator included
constexpr size_t kLookupLineSize = 64;  // one line of `uci get` output
constexpr size_t kGrepLineSize = 256;   // one line of `grep -n` output
constexpr size_t kCommandSize = 128;
constexpr int kWirelessStateAttempts = 20;
constexpr unsigned kWirelessStatePause = 30;  // seconds between attempts
constexpr const char* kWirelessState = "/var/state/wireless";
constexpr const char* kIfnameOutput = "/tmp/telem_get_ifname";

struct ModelIndexRow {
    const char* hwver;
    int index;
};

constexpr ModelIndexRow kModelIndex[] = {
    {"VRA310", 0},   {"VCA310", 0},                                               //
    {"VRA420", 1},   {"VRA430", 1}, {"VRA440", 1}, {"VRB530", 1}, {"VRB540", 1},  //
    {"VRE650", 2},   {"VRA460", 2},                                               //
    {"VRE670", 3},   {"VRE680", 3},                                               //
    {"VRE630", 4},                                                                //
    {"VRE670v2", 5}, {"VRE640", 5},
};

// A slot holds what fits in 8 bytes with the terminator.
std::string slot_text(std::string_view name) {
    return std::string(name.substr(0, kSlotSize - 1));
}

// Up to four model codes share a map; unused entries are nullptr.
using Models = const char* [4];

bool one_of(std::string_view hwver, const Models& models) {
    for (const char* m : models)
        if (m && hwver == m) return true;
    return false;
}

// The models whose names are fixed: every slot but those marked nullptr is written.
struct FixedMap {
    Models models;
    const char* slots[11];
};

const FixedMap kFixedMaps[] = {
    {{"VRE660"},
     {"ath0", "ath1", "ath3", "ath04", "ath13", nullptr, "ath03", "ath12", "ath02", "ath2",
      "ath4"}},
    {{"VRE650"},
     {"ath0", "ath1", "ath3", "ath04", "ath13", nullptr, "ath03", "ath12", "ath02", "ath2",
      "ath32"}},
    {{"VRA310", "VRA430", "VRA420", "VRA440"},
     {"ath1", "ath0", "", "ath12", "ath01", "", "ath13", "ath02", "ath11", "ath2", ""}},
    {{"VRB540", "VRB530"},
     {"ath1", "ath0", "ath3", "ath12", "ath01", "ath32", "ath13", "ath02", "ath11", "ath2", ""}},
};

// The models whose virtual interfaces 3, 4, 6 and 7 are read from the runtime wireless
// state. `fallback` is used when a lookup fails; without one the slot gets whatever
// the lookup buffer holds (the previous slot's name, or "" for the first).
struct RuntimeMap {
    Models models;
    const char* radios[3];    // slots 0, 1, 2
    const char* fallback[4];  // slots 3, 4, 6, 7; nullptr: none
    const char* last[3];      // slots 8, 9, 10
};

constexpr const char* kLookupKeys[4] = {"Fh1_2G.ifname", "Fh1_5G.ifname", "FhA1_2G.ifname",
                                        "FhA1_5G.ifname"};
constexpr size_t kLookupSlots[4] = {3, 4, 6, 7};

const RuntimeMap kRuntimeMaps[] = {
    {{"VRE680", "VRE670"},
     {"ath0", "ath1", "ath2"},
     {"ath04", "ath14", "ath03", "ath13"},
     {"ath02", "ath12", "ath22"}},
    {{"VRE630"},
     {"ath0", "ath1", ""},
     {nullptr, nullptr, nullptr, nullptr},
     {"ath02", "ath12", ""}},
    {{"VRE670v2", "VRE640"},
     {"ath0", "ath1", "ath2"},
     {nullptr, nullptr, nullptr, nullptr},
     {"ath02", "ath12", "ath22"}},
};

void fill_fixed(platform::IfnameMap& map, const FixedMap& m) {
    for (size_t i = 0; i < map.size(); ++i)
        if (m.slots[i]) map[i] = slot_text(m.slots[i]);
}

void fill_runtime(platform::IfnameMap& map, const RuntimeMap& m) {
    for (size_t i = 0; i < 3; ++i) map[i] = slot_text(m.radios[i]);
    wait_wireless_state();
    std::string looked_up;  // one buffer for all four lookups
    for (size_t i = 0; i < 4; ++i) {
        int rc = get_state_ifname(kLookupKeys[i], looked_up);
        if (rc != 0 && m.fallback[i])
            map[kLookupSlots[i]] = slot_text(m.fallback[i]);
        else
            map[kLookupSlots[i]] = slot_text(looked_up);
    }
    for (size_t i = 0; i < 3; ++i) map[8 + i] = slot_text(m.last[i]);
}

struct PortRow {
    const char* mask[5];
    int wan, wan_cable;
    int port[5];
};

// By model index 0..5.
constexpr PortRow kPortRows[] = {
    {{"0x02", "0x04", "0x08", "0x10", "0x20"}, 1, 6, {1, 2, 3, 4, 5}},
    {{"0x02", "0x04", "0x08", "0x10", ""}, 5, -1, {1, 2, 3, 4, -1}},
    {{"0x04", "0x02", "0x10", "0x08", "0x40"}, 5, -1, {2, 1, 4, 3, 6}},
    {{"0x08", "0x04", "0x02", "", ""}, 2, -1, {3, 2, 1, -1, -1}},
    {{"0x02", "", "", "", ""}, 2, -1, {1, -1, -1, -1, -1}},
    {{"0x02", "0x04", "0x08", "", ""}, 2, -1, {1, 2, 3, -1, -1}},
};

}  // namespace

int get_model_index() {
    std::string hwver = ovraNvramConfig_get("hwver").substr(0, kHwverSize - 1);
    for (const auto& row : kModelIndex)
        if (hwver == row.hwver) return row.index;
    return -1;
}

int init_ifname_map(platform::IfnameMap& map, std::string_view hwver) {
    for (const auto& m : kFixedMaps)
        if (one_of(hwver, m.models)) {
            fill_fixed(map, m);
            return 0;
        }
    for (const auto& m : kRuntimeMaps)
        if (one_of(hwver, m.models)) {
            fill_runtime(map, m);
            return 0;
        }
    return 0;  // an unknown model keeps its map as it was
}

int wait_wireless_state() {
    for (int attempt = 0; attempt < kWirelessStateAttempts; ++attempt) {
        if (platform::file_exists(kWirelessState)) {
            auto command =
                shell::compose(kCommandSize, "grep -n %s /var/state/wireless > %s",
                               shell::constant("FhA1_5G.ifname"), shell::constant(kIfnameOutput));
            auto line = shell::capture_first_line(command, kIfnameOutput, kGrepLineSize);
            if (line && !line->empty()) return 1;
        }
        platform::sleep_seconds(kWirelessStatePause);
    }
    return 0;
}

int get_state_ifname(std::string_view key, std::string& out) {
    if (!platform::file_exists(kWirelessState)) return 0;
    auto command = shell::compose(kCommandSize, "uci -q -P /var/state get wireless.%s > %s",
                                  shell::key(key), shell::constant(kIfnameOutput));
    auto line = shell::capture_first_line(command, kIfnameOutput, kLookupLineSize);
    std::string name = line ? platform::cut_at_first_of(std::move(*line), " \n") : std::string();
    if (name.empty()) return -1;
    out = std::move(name);
    return 0;
}

int init_port_map(platform::PortMap& ports) {
    int index = get_model_index();
    if (index < 0 || index >= static_cast<int>(std::size(kPortRows))) return 0;
    const PortRow& row = kPortRows[index];
    for (size_t k = 0; k < 5; ++k) {
        ports.mask[k] = row.mask[k];
        ports.port[k] = row.port[k];
    }
    ports.wan = row.wan;
    ports.wan_cable = row.wan_cable;
    return 0;
}
