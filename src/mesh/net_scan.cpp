#include "mesh/net_scan.h"

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "platform/fs.h"
#include "platform/platform.h"

namespace {

// fgets with the router's 512-byte line buffer.
constexpr size_t kLineBuffer = 512;

bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool contains(std::string_view line, std::string_view text) {
    return line.find(text) != std::string_view::npos;
}

bool blank(std::string_view line) {
    for (char c : line)
        if (!is_space(c)) return false;
    return true;
}

// atoi: leading white space, an optional sign, digits; saturates instead of overflowing.
long long to_number(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && is_space(text[i])) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    long long value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
        if (value < 1000000000000LL) value = value * 10 + (text[i] - '0');
    return negative ? -value : value;
}

// strtok: the pieces of `text` between runs of `delimiters`.
std::vector<std::string_view> split(std::string_view text, std::string_view delimiters) {
    std::vector<std::string_view> pieces;
    size_t i = 0;
    while (i < text.size()) {
        i = text.find_first_not_of(delimiters, i);
        if (i == std::string_view::npos) break;
        size_t end = text.find_first_of(delimiters, i);
        if (end == std::string_view::npos) end = text.size();
        pieces.push_back(text.substr(i, end - i));
        i = end;
    }
    return pieces;
}

std::string_view first_piece(std::string_view text, std::string_view delimiters) {
    auto pieces = split(text, delimiters);
    return pieces.empty() ? std::string_view{} : pieces.front();
}

// The fields sscanf(line, format, ...) would fill, in order, up to the first directive
// that fails. Understands the directives the dump formats use: white space, ordinary
// characters, %s and %[...] with an optional '*' and width.
std::vector<std::string> scan(std::string_view line, std::string_view format) {
    std::vector<std::string> fields;
    size_t in = 0;
    for (size_t f = 0; f < format.size();) {
        char fc = format[f];
        if (is_space(fc)) {
            while (in < line.size() && is_space(line[in])) ++in;
            ++f;
            continue;
        }
        if (fc != '%') {
            if (in >= line.size() || line[in] != fc) break;
            ++in;
            ++f;
            continue;
        }
        ++f;
        bool keep = true;
        if (f < format.size() && format[f] == '*') {
            keep = false;
            ++f;
        }
        size_t width = 0;
        while (f < format.size() && format[f] >= '0' && format[f] <= '9')
            width = width * 10 + static_cast<size_t>(format[f++] - '0');
        if (width == 0) width = std::string_view::npos;
        if (f >= format.size()) break;
        size_t start;
        size_t end;
        if (format[f] == 's') {
            ++f;
            while (in < line.size() && is_space(line[in])) ++in;
            start = in;
            end = in;
            while (end < line.size() && !is_space(line[end]) && end - start < width) ++end;
        } else if (format[f] == '[') {
            ++f;
            bool negated = f < format.size() && format[f] == '^';
            if (negated) ++f;
            size_t close = format.find(']', f);
            if (close == std::string_view::npos) break;
            std::string_view set = format.substr(f, close - f);
            f = close + 1;
            start = in;
            end = in;
            while (end < line.size() && end - start < width &&
                   (set.find(line[end]) != std::string_view::npos) != negated)
                ++end;
        } else {
            break;
        }
        if (end == start) break;  // a conversion must match at least one character
        if (keep) fields.emplace_back(line.substr(start, end - start));
        in = end;
    }
    return fields;
}

std::string field(const std::vector<std::string>& fields, size_t i) {
    return i < fields.size() ? fields[i] : std::string();
}

std::string token(const std::vector<std::string_view>& tokens, size_t i) {
    return i < tokens.size() ? std::string(tokens[i]) : std::string();
}

// The dump as fgets reads it: pieces of at most 511 bytes ending at a newline, each
// cut at its first NUL byte and without its line ending.
class Lines {
  public:
    explicit Lines(std::string_view text) {
        size_t i = 0;
        while (i < text.size()) {
            size_t nl = text.find('\n', i);
            size_t end = nl == std::string_view::npos ? text.size() : nl + 1;
            if (end - i > kLineBuffer - 1) end = i + kLineBuffer - 1;
            std::string_view piece = text.substr(i, end - i);
            piece = piece.substr(0, piece.find('\0'));
            while (!piece.empty() && (piece.back() == '\n' || piece.back() == '\r'))
                piece.remove_suffix(1);
            lines_.push_back(piece);
            i = end;
        }
    }
    bool done() const { return next_ >= lines_.size(); }
    std::string_view peek() const { return lines_[next_]; }
    std::string_view take() { return lines_[next_++]; }

  private:
    std::vector<std::string_view> lines_;
    size_t next_ = 0;
};

enum class Heading {
    None,
    EntryStart,
    DbCount,
    LocalInterfaces,
    LegacyDevices,
    Radios,
    Bridged,
    RemoteDirect,
    RemoteNotDirect,
    RemoteOther,
};

Heading heading_of(std::string_view line) {
    if (contains(line, "-- DB (")) return Heading::DbCount;
    if (contains(line, "QCA IEEE 1905.1 device")) return Heading::EntryStart;
    if (contains(line, "Interface name")) return Heading::LocalInterfaces;
    if (contains(line, "Legacy Devices:")) return Heading::LegacyDevices;
    if (contains(line, "Radios:")) return Heading::Radios;
    if (contains(line, "Bridged addresses:")) return Heading::Bridged;
    if (contains(line, "Remote connections (Directly connected to self):"))
        return Heading::RemoteDirect;
    if (contains(line, "Remote connections (Not directly connected to self):"))
        return Heading::RemoteNotDirect;
    if (contains(line, "Remote connections (")) return Heading::RemoteOther;
    return Heading::None;
}

enum class Table { Local, RemoteDirect, RemoteNotDirect };

// Adds entry "DB_<i>" to "Satellite". Its name is new by construction (each i is met
// once, in increasing order, and "numberOfDB" is the only other member), so the
// duplicate-member look-up of json::add is left out: over a dump of many thousands of
// entries it would cost the square of their number.
void add_database_entry(cJSON* satellite, const std::string& name, json::Ptr entry) {
    if (!satellite || !entry) return;
    if (cJSON_AddItemToObject(satellite, name.c_str(), entry.get())) entry.release();
}

class Parser {
  public:
    explicit Parser(std::string_view dump) : lines_(dump) {}

    NetScanResult run() {
        NetScanResult result;
        json::Ptr basic = json::object();
        json::Ptr satellite = json::object();
        if (!basic || !satellite) {
            json::report_no_memory();
            return result;
        }
        std::optional<std::string_view> db_line = own_entry(basic.get());
        if (!db_line) return result;  // the dump ends inside the router's own entry
        std::optional<long long> count = database_count(*db_line);
        if (!count) return result;
        json::add_number(satellite.get(), "numberOfDB", static_cast<double>(*count));
        for (long long i = 1; i <= *count && !lines_.done(); ++i)
            database_entry(satellite.get(), i);
        result.root = json::object();
        if (!result.root) {
            json::report_no_memory();
            return result;
        }
        json::add(result.root.get(), "Basic", std::move(basic));
        json::add(result.root.get(), "Satellite", std::move(satellite));
        result.rc = 0;
        return result;
    }

  private:
    // The router's own entry, up to the "-- DB (" line (returned); nothing when the
    // dump ends first.
    std::optional<std::string_view> own_entry(cJSON* basic) {
        while (!lines_.done()) {
            std::string_view line = lines_.take();
            switch (heading_of(line)) {
                case Heading::DbCount:
                    return line;
                case Heading::LocalInterfaces:
                    json::add(basic, "Local_Interfaces", interface_table(Table::Local));
                    break;
                case Heading::LegacyDevices:
                    json::add(basic, "Legacy_Devices", legacy_devices());
                    break;
                case Heading::Radios:
                    json::add(basic, "Radios", radios());
                    break;
                default:
                    own_header(basic, line);
                    break;
            }
        }
        return std::nullopt;
    }

    // "-- DB (<count> entries) --": the first word after the parenthesis.
    static std::optional<long long> database_count(std::string_view line) {
        size_t open = line.find('(');
        std::string_view first = first_piece(line.substr(open + 1), " \t\r\n");
        if (first.empty()) return std::nullopt;
        long long count = to_number(first);
        return count;
    }

    void database_entry(cJSON* satellite, long long i) {
        json::Ptr entry = json::object();
        if (!entry) {
            json::report_no_memory();
            return;
        }
        std::string name = "DB_" + std::to_string(i);
        bool read_any = false;
        while (!lines_.done()) {
            std::string_view line = lines_.take();
            read_any = true;
            Heading h = heading_of(line);
            if (h == Heading::RemoteDirect || h == Heading::RemoteNotDirect) {
                bool direct = h == Heading::RemoteDirect;
                remote_table(
                    entry.get(),
                    direct ? "Remote_Connect_Direct_Self" : "Remote_Connect_NOT_Direct_Self",
                    direct ? Table::RemoteDirect : Table::RemoteNotDirect);
            } else if (h == Heading::Bridged) {
                json::add(entry.get(), "Bridge_Addresses", bridged_addresses(line));
            } else if (h == Heading::Radios) {
                json::add(entry.get(), "Radios", radios());
                add_database_entry(satellite, name, std::move(entry));
                return;
            } else if (h == Heading::EntryStart || h == Heading::None) {
                database_header(entry.get(), line);
            }
        }
        // The dump ends inside this entry: keep what it gave.
        if (read_any) add_database_entry(satellite, name, std::move(entry));
    }

    // After a remote-connections heading come its column names and a rule; an empty
    // line after them means the satellite has no such connection.
    void remote_table(cJSON* entry, const char* member, Table kind) {
        for (int skip = 0; skip < 2 && !lines_.done(); ++skip) lines_.take();
        if (lines_.done()) return;
        if (blank(lines_.peek())) {
            lines_.take();
            return;
        }
        json::add(entry, member, interface_table(kind));
    }

    static void own_header(cJSON* basic, std::string_view line) {
        if (contains(line, "QCA IEEE 1905.1 device")) {
            auto v = scan(line, "%*[^:]: %17s, %*[^:]: %s");
            if (contains(line, "device:")) json::add_string(basic, "MAC_address", field(v, 0));
            if (contains(line, "IPv4 address:"))
                json::add_string(basic, "IPv4_address", field(v, 1));
        } else if (common_header(basic, line)) {
        } else if (contains(line, "Country Code")) {
            auto v = scan(line, "%*[^:]: %s %*[^:]: %s");
            json::add_string(basic, "Country", field(v, 0));
            if (contains(line, "Upstream Device:"))
                json::add_string(basic, "Upstream_Device", field(v, 1));
        } else if (contains(line, "Flags")) {
            json::add_string(basic, "Flags", field(scan(line, "%*[^:]: %s"), 0));
        }
    }

    static void database_header(cJSON* entry, std::string_view line) {
        if (contains(line, "QCA IEEE 1905.1 device")) {
            auto v = scan(line, "%*[^:]: %s %*[^:]: %17s, %*[^:]: %s");
            if (contains(line, "device:")) json::add_string(entry, "MAC_address", field(v, 1));
            if (contains(line, "IPv4 address:"))
                json::add_string(entry, "IPv4_address", field(v, 2));
        } else if (common_header(entry, line)) {
        } else if (contains(line, "Relation")) {
            json::add_string(entry, "Relation", field(scan(line, "%*[^:]: %s"), 0));
        } else if (contains(line, "Upstream Device")) {
            json::add_string(entry, "Upstream_Devices", field(scan(line, "%*[^:]: %s"), 0));
        } else if (contains(line, "Stream direction")) {
            auto v = scan(line, "%*[^:]: %[^;]; %*[^:]: %s");
            json::add_string(entry, "Stream_direction_from_self", field(v, 0));
            if (contains(line, "Number of hops to the device:"))
                json::add_string(entry, "NumberOfHops_to_the_device", field(v, 1));
        } else if (contains(line, "Index")) {
            auto v = scan(line, "%*[^:]: %[^,], %*[^:]: %s");
            json::add_string(entry, "Index", field(v, 0));
            if (contains(line, "Flags:")) json::add_string(entry, "Flags", field(v, 1));
        }
    }

    // Header lines both kinds of entry have. False when the line is none of them.
    static bool common_header(cJSON* entry, std::string_view line) {
        const char* member = nullptr;
        if (contains(line, "Package Version"))
            member = "Package_Version";
        else if (contains(line, "Feature Support Flag[0]"))
            member = "Feature_Support_Flag_0";
        else if (contains(line, "ConnectionMap"))
            member = "ConnectionMap";
        if (!member) return false;
        json::add_string(entry, member, field(scan(line, "%*[^:]: %s"), 0));
        return true;
    }

    // Rows of an interface table and the lines that describe each row's BSS, until the
    // next heading.
    json::Ptr interface_table(Table kind) {
        json::Ptr rows = json::array();
        cJSON* current = nullptr;
        while (!lines_.done() && heading_of(lines_.peek()) == Heading::None) {
            std::string_view line = lines_.take();
            if (blank(line)) continue;
            if (bss_line(current, line)) continue;
            if (!is_row(line, kind)) continue;
            json::Ptr row = interface_row(line, kind);
            current = row.get();
            json::add_to_array(rows.get(), std::move(row));
        }
        return rows;
    }

    static bool is_row(std::string_view line, Table kind) {
        std::string_view name = first_piece(line, " \t");
        if (contains(name, "eth") || contains(name, "ath")) return true;
        return kind != Table::Local && (contains(line, "ETHER") || contains(line, "WLAN"));
    }

    static json::Ptr interface_row(std::string_view line, Table kind) {
        auto t = split(line, " \t");
        // The version marker "-----" ends the columns; what follows it is the version.
        size_t marker = t.size();
        for (size_t i = 1; i < t.size(); ++i)
            if (t[i].substr(0, 5) == "-----") {
                marker = i;
                break;
            }
        auto column = [&](size_t i) { return i < marker ? token(t, i) : std::string(); };

        json::Ptr row = json::object();
        cJSON* r = row.get();
        json::add_string(r, kind == Table::Local ? "Interface_Name" : "Remote_Interface",
                         column(0));
        json::add_string(r, "R", std::string(first_piece(column(1), " \t(R=)*")));
        json::add_string(r, "Medium_Type", column(2));
        json::add_string(r, "MAC_Address", column(3));
        size_t next = 4;
        if (kind == Table::RemoteDirect) {
            json::add_string(r, "MID", column(4));
            json::add_string(r, "Direct", column(5));
            json::add_string(r, "Legacy_Bridge", column(6));
            json::add_string(r, "TS", column(7));
            next = 8;
        }
        json::add_string(r, "Connection", column(next++));
        if (kind == Table::Local) {
            std::string role = column(next++);
            json::add_string(r, "Role", role);
            if (role.rfind("AP", 0) == 0) json::add_string(r, "PHY_Capabilities", column(next++));
        }
        if (next < marker)
            json::add_string(r, "Network_Information", token(t, next));
        else
            json::add(r, "Network_Information", json::Ptr(cJSON_CreateNull()));
        std::string version;
        if (marker < t.size()) {
            std::string_view rest = t[marker].substr(5);
            if (first_piece(rest, " \t(V=)").empty() && marker + 1 < t.size()) rest = t[marker + 1];
            version = std::string(first_piece(rest, " \t(V=)"));
        }
        json::add_string(r, "V", version);
        return row;
    }

    // A line describing the BSS of the row above it. True when the line is one.
    static bool bss_line(cJSON* row, std::string_view line) {
        if (contains(line, "BSSID")) {
            auto v = scan(line, "%*[^:]: %[^,], %*[^:]: %s");
            json::add_string(row, "BSSID", field(v, 0));
            json::add_string(row, "SSID", field(v, 1));
        } else if (contains(line, "ESSID")) {
            json::add_string(row, "ESSID", field(scan(line, "%*[^:]: %[^,], %*[^:]: %s"), 0));
        } else if (contains(line, "MLD")) {
            auto t = split(line, "|- \t");
            json::add_string(row, "MLD", token(t, 1));
            json::add_string(row, "MLD_Name", token(t, 2));
        } else if (contains(line, "Map BSS Type")) {
            auto v = scan(line, "%*[^:]: %[^,], %*[^:]: %[^\n]\n");
            json::add_string(row, "MAP_BSS_Type", field(v, 0));
            json::add_string(row, "MAP_Role", field(v, 1));
        } else {
            return false;
        }
        return true;
    }

    // "Interface: <name>" lines, each followed by one line per device behind it.
    json::Ptr legacy_devices() {
        json::Ptr list = json::array();
        cJSON* devices = nullptr;
        while (!lines_.done() && heading_of(lines_.peek()) == Heading::None) {
            std::string_view line = lines_.take();
            if (blank(line)) continue;
            size_t at = line.find("Interface");
            if (at != std::string_view::npos) {
                json::Ptr entry = json::object();
                json::add_string(entry.get(), "Interface",
                                 first_piece(line.substr(at + 9), ": \t"));
                json::Ptr array = json::array();
                devices = array.get();
                json::add(entry.get(), "Devices", std::move(array));
                json::add_to_array(list.get(), std::move(entry));
                continue;
            }
            if (!devices) continue;
            auto t = split(line, " \t\r\n");
            // "Device: <address>": the address follows its label.
            std::string device = token(t, 0);
            if (!device.empty() && device.back() == ':') device = token(t, 1);
            json::add_to_array(devices, json::string(device));
        }
        return list;
    }

    // The rows under the "Address" column heading of a radio list.
    json::Ptr radios() {
        json::Ptr list = json::array();
        bool heading_seen = false;
        while (!lines_.done() && heading_of(lines_.peek()) == Heading::None) {
            std::string_view line = lines_.take();
            if (blank(line)) continue;
            auto t = split(line, " \t");
            if (!heading_seen) {
                heading_seen = contains(line, "Address");
                continue;
            }
            json::Ptr radio = json::object();
            json::add_string(radio.get(), "MacAddress", token(t, 0));
            json::add_string(radio.get(), "Medium_Type", token(t, 1));
            json::add_string(radio.get(), "Primary_Channel", token(t, 2));
            json::add_string(radio.get(), "Tx_Power", token(t, 3));
            json::add_string(radio.get(), "Power_Mode", token(t, 4));
            json::add_to_array(list.get(), std::move(radio));
        }
        return list;
    }

    // "Bridged addresses: <count>", a message line and the bridged address rows.
    json::Ptr bridged_addresses(std::string_view heading) {
        json::Ptr bridge = json::object();
        size_t at = heading.find("Bridged addresses:");
        std::string_view count = first_piece(heading.substr(at + 18), " \t");
        if (count.empty()) count = first_piece(heading, " \t");
        json::add_number(bridge.get(), "NumberOfBridged", static_cast<double>(to_number(count)));
        cJSON* rows = nullptr;
        while (!lines_.done() && heading_of(lines_.peek()) == Heading::None) {
            std::string_view line = lines_.take();
            if (blank(line)) continue;
            if (contains(line, "message ID:")) {
                auto v = scan(line, "%*[^:]: %[^,], %*[^:]: %s");
                json::add_string(bridge.get(), "message_ID", field(v, 0));
                json::add_string(bridge.get(), "timestamp", field(v, 1));
                continue;
            }
            auto t = split(line, " \t");
            if (token(t, 0) == "Address") continue;  // the column names
            if (!rows) {
                json::Ptr array = json::array();
                rows = array.get();
                json::add(bridge.get(), "Bridged", std::move(array));
            }
            json::Ptr row = json::object();
            json::add_string(row.get(), "Address", token(t, 0));
            json::add_string(row.get(), "Interface", token(t, 1));
            json::add_string(row.get(), "InterfaceType", token(t, 2));
            json::add_to_array(rows, std::move(row));
        }
        if (!rows) json::add(bridge.get(), "Bridged", json::array());
        return bridge;
    }

    Lines lines_;
};

void warn(int line, const char* what) {
    char text[256];
    std::snprintf(text, sizeof text, "[%s:%d] [Warning] %s %s.\n", "netlog_create_json", line, what,
                  kNetScanLog);
    platform::append_console(text);
    platform::append_file("/tmp/dbg_log", text);
}

}  // namespace

NetScanResult parse_net_scan(std::string_view dump) {
    return Parser(dump).run();
}

int netlog_create_json() {
    doSystem(std::string("cp ") + kNetScanLog + " " + kNetScanBackup);
    std::optional<std::string> dump = platform::read_file(kNetScanLog);
    if (!dump) {
        warn(__LINE__, "Can't parse the file");
        return -1;
    }
    NetScanResult parsed = parse_net_scan(*dump);
    if (parsed.rc != 0) return -1;
    json::Text text = json::print(parsed.root.get());
    if (!text || !platform::write_file(kNetScanJson, text.get())) {
        char msg[256];
        std::snprintf(msg, sizeof msg, "[%s:%d] [Warning] Can't create the file %s.\n",
                      "netlog_create_json", __LINE__, kNetScanJson);
        platform::append_console(msg);
        platform::append_file("/tmp/dbg_log", msg);
    }
    return 0;
}
