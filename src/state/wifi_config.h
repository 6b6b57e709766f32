// The "wifiConfig" body of the routine report: for every SSID purpose and radio band
// of the model, the configured settings and the live interface state, then one entry
// per radio. The band table, the interface of each purpose and band, and the iw and
// sysfs readers here are shared with the Wi-Fi analytics event.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "json/json.h"
#include "platform/model.h"

struct Daemon;

// Scratch files of the Wi-Fi builders.
inline constexpr const char* kWifiParseFile = "/tmp/telem_parse_file";
inline constexpr const char* kWifiOneLineFile = "/tmp/telem_one_line";
// Interface names of the Wi-Fi builders hold at most this many characters.
inline constexpr size_t kWifiIfnameMax = 31;
// Tool output is read in lines of at most 511 bytes.
inline constexpr size_t kWifiLineSize = 512;

// The radios of a model for one kind of report: band names ("2G", "5G", "5G2", "6G")
// and the parallel nvram key prefixes ("wla", "wlh", "wli", or "" for none).
struct BandTable {
    std::vector<std::string> bands;
    std::vector<std::string> prefixes;
    size_t count() const { return bands.size(); }
};

// The table for `kind` ("wifiConfig" or any other name) on model `model_index`.
BandTable get_band_table(std::string_view kind, int model_index);

// The interface of an SSID purpose ("main", "guest", "customize", "bhAP") on a band,
// at most 31 characters; "" when the model has none. The purposes use the interface
// map's slots: main 0-2, guest 3-5, customize 6-7, bhAP 8-10, by band 2G, 5G, 6G.
std::string purpose_interface(const platform::IfnameMap& map, std::string_view purpose,
                              std::string_view band);
// What an interface of the map is for: "main", "guest", "iot" or "backhaul"; "" for an
// interface the map does not name.
std::string interface_purpose(const platform::IfnameMap& map, std::string_view ifname);

// The first line of `path` (at most size - 1 bytes) without its newline; "" when the
// file is missing or its first line is empty.
void read_first_line(std::string_view path, std::string& buf, size_t size);

// The token after `field` in "iw dev <ifname> info" (at most size - 1 characters); ""
// when the query fails or has no such field.
void get_iw_dev_field(std::string& buf, size_t size, std::string_view ifname,
                      std::string_view field);

// The wording of the maximum PHY rate of `band` in hardware mode `mode` on this model;
// "" for a combination without a wording.
void get_phy_rate_text(std::string& buf, size_t size, std::string_view band, std::string_view mode);

// The first line of "cat /sys/class/net/<ifname>/<entry> > <scratch>"; "" when there
// is none.
std::string read_sysfs_line(std::string_view ifname, std::string_view entry, const char* scratch);

// The "wifiConfig" object; null when the model has no bands.
json::Ptr create_wifi_config_obj(Daemon& d);
