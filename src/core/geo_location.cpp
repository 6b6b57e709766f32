#include "core/geo_location.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "core/config.h"
#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

constexpr const char* kZtTool = "/usr/bin/zt";
constexpr const char* kQagentFile = "/tmp/qagent.txt";
constexpr size_t kQagentLineSize = 64;
constexpr const char* kCaBundle = "/opt/qagent/certs/ca-bundle-mega.crt";
constexpr int kFetchAttempts = 3;
// The agent id, claim code and advisor URL are read into buffers of this size.
constexpr size_t kQagentValueSize = 64;

struct QagentKeys {
    const char* nvram;
    const char* zt;
};

// Kinds 1..6; kinds 5 and 6 name the same value.
std::optional<QagentKeys> qagent_keys(int kind) {
    switch (kind) {
        case 1:
            return QagentKeys{"q_agent_id", "qagentcfg[0].q_agent_id"};
        case 2:
            return QagentKeys{"q_agent_claim_code", "qagentcfg[0].q_agent_claim_code"};
        case 3:
            return QagentKeys{"q_advisor_url", "qagentcfg[0].q_advisor_url"};
        case 4:
            return QagentKeys{"q_agent_registered", "qagentcfg[0].q_agent_registered"};
        case 5:
        case 6:
            return QagentKeys{"q_agent_claimed", "qagentcfg[0].q_agent_claimed"};
        default:
            return std::nullopt;
    }
}

std::string bounded(std::string value, size_t size) {
    if (size == 0) return {};
    if (value.size() > size - 1) value.resize(size - 1);
    return value;
}

// The zt tool's answer: the first word of its first line. The file stays behind.
void read_qagent_from_zt(const char* zt_key, std::string& dest, size_t size) {
    doSystem(std::string("zt -s ") + zt_key + " > " + kQagentFile);
    if (!platform::file_exists(kQagentFile)) return;
    std::string line = platform::read_first_line(kQagentFile, kQagentLineSize).value_or("");
    char word[kQagentLineSize];
    if (std::sscanf(line.c_str(), "%63s", word) == 1) dest = bounded(word, size);
    std::printf("line: %s, result:%s\n", line.c_str(), dest.c_str());
}

bool location_file_ready() {
    return platform::file_size(kLocationFile).value_or(0) > 0;
}

// One request to the device-location service, answered into kLocationFile.
void request_location() {
    std::string agent_id, claim_code, advisor_url;
    getQagentInformation(1, agent_id, kQagentValueSize);
    getQagentInformation(2, claim_code, kQagentValueSize);
    getQagentInformation(3, advisor_url, kQagentValueSize);
    auto command = shell::compose(
        kLocationCommandSize,
        "curl -X GET --cacert %s https://%s/device-location/resolve -H \"content-type: "
        "application/json\" -H \"Authorization:%s:%s\" -o /tmp/qCloud_MAXmind --connect-timeout 3",
        shell::constant(kCaBundle), shell::constant(device_location_host(advisor_url)),
        shell::word(agent_id), shell::word(claim_code));
    if (!command) return;
    std::printf("[%s,%d]command:%s\n", "collect_current_info", kLocationCommandLine,
                command->c_str());
    shell::run(command);
}

// The answer is pretty-printed JSON with one member per line; each member is taken
// by its position in the line: the value starts `value_offset` characters after the
// start of the member's name, and the last `cut` characters of the line (closing
// quote, comma, newline) are not part of it.
struct LocationMember {
    const char* name;
    size_t value_offset;
    size_t cut;
};

// In the order they are looked for: the first one named in a line decides, which
// keeps a "zip" line from being read as "ip".
constexpr LocationMember kMembers[] = {
    {"_type", 5 + 4, 3},   {"zoneOffset", 10 + 2, 2}, {"timeZone", 8 + 4, 3},
    {"country", 7 + 4, 3}, {"region", 6 + 4, 3},      {"city", 4 + 4, 3},
    {"zip", 3 + 4, 3},     {"ip", 2 + 4, 3},          {"isp", 3 + 4, 2},
};

void store_member(std::string_view name, const std::string& value, GeoLocation& geo) {
    std::string text = bounded(value, kLocationFieldMax + 1);
    if (name == "_type")
        geo.type = text;
    else if (name == "zoneOffset")
        geo.zone_offset = std::atoi(value.c_str());
    else if (name == "timeZone")
        geo.time_zone = text;
    else if (name == "country")
        geo.country = text;
    else if (name == "region")
        geo.region = text;
    else if (name == "city")
        geo.city = text;
    else if (name == "zip")
        geo.zip = text;
    else if (name == "ip")
        geo.ip = text;
    else if (name == "isp")
        geo.isp = text;
}

}  // namespace

void getQagentInformation(int kind, std::string& dest, size_t size) {
    auto keys = qagent_keys(kind);
    if (!platform::file_exists(kZtTool)) {
        std::puts("##### nonCFU version, use qagent nvram  to get qcloud info #####");
        if (keys) dest = bounded(ovraNvramConfig_get(keys->nvram), size);
        return;
    }
    std::puts("##### CFU version, use zt table to get qcloud info #####");
    if (keys) read_qagent_from_zt(keys->zt, dest, size);
}

const char* device_location_host(std::string_view advisor_url) {
    if (advisor_url.find(".dev.") != std::string_view::npos) return config::kDeviceLocationHostDev;
    if (advisor_url.find(".qa.") != std::string_view::npos) return config::kDeviceLocationHostQa;
    return config::kDeviceLocationHostProd;
}

void parse_location_line(std::string_view line, GeoLocation& geo) {
    for (const LocationMember& member : kMembers) {
        size_t at = line.find(member.name);
        if (at == std::string_view::npos) continue;
        // A line too short for the layout gives an empty value.
        size_t start = at + member.value_offset;
        std::string value;
        if (line.size() >= member.cut && start <= line.size() - member.cut)
            value = std::string(line.substr(start, line.size() - member.cut - start));
        std::printf("data:%s\n", value.c_str());
        store_member(member.name, value, geo);
        return;
    }
}

void parse_location_file(GeoLocation& geo) {
    auto lines = platform::read_lines(kLocationFile, kLocationLineSize);
    if (!lines) return;
    for (const std::string& line : *lines) {
        std::printf("line: %s\n", line.c_str());
        parse_location_line(line, geo);
    }
}

void fetch_geo_location(Daemon& d) {
    if (d.info.location_obtained) return;
    if (location_file_ready()) {
        std::printf("[%s - %d][RA]/tmp/qCloud_MAXmind is existed\n", "collect_current_info",
                    kLocationExistingLine);
    } else {
        for (int attempt = 0; attempt < kFetchAttempts && !location_file_ready(); ++attempt)
            request_location();
    }
    if (platform::file_exists(kLocationFile)) {
        parse_location_file(d.info.geo);
        d.info.location_obtained = 1;
    }
}
