// telem_policy: what a router makes of a policy file, before the file reaches a fleet.
//
//   telem_policy [-n KEY=VALUE]... FILE
//
// Runs the daemon's own policy loader on FILE, as a router would load it at start-up,
// and prints every message the daemon prints while loading it (its standard output,
// then its /dev/console lines), followed by the effective table: each schedule row's
// interval in seconds, the alarm thresholds, stage and stage class, report method,
// stop-publish list, Wi-Fi event rules and debug-log policy.
//
// -n sets an nvram key the loader consults (RA_stage, ra_WifiEventLogLevel,
// ra_WifiEventMaxNumber, ra_WifiEventSendInterval); nvram starts empty otherwise, and
// nothing is written anywhere but a private folder that is removed at the end.
//
// Exit status: 0 when the daemon would use the file, 1 when it would fall back to its
// defaults (the file is missing, cannot be read or is not JSON), 2 on a usage error.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "core/daemon.h"
#include "json/json.h"
#include "platform/fs.h"
#include "platform/host_backend.h"
#include "report/policy.h"

namespace fs = std::filesystem;

namespace {

int usage() {
    std::fputs("usage: telem_policy [-n KEY=VALUE]... FILE\n", stderr);
    return 2;
}

// A router of its own for the loader: the policy file at the router's path below a
// private root, /dev/console a plain file there, nvram in memory.
class CheckerBackend : public platform::HostBackend {
  public:
    CheckerBackend(const std::string& root, std::map<std::string, std::string, std::less<>> nvram)
        : HostBackend(root + "/etc/nvram.txt", root), nvram_(std::move(nvram)) {}

    std::string nvram_get(std::string_view key) override {
        auto it = nvram_.find(key);
        return it == nvram_.end() ? std::string() : it->second;
    }
    void nvram_set(std::string_view key, std::string_view value) override {
        nvram_[std::string(key)] = std::string(value);
    }
    bool nvram_exist(std::string_view key) override { return nvram_.find(key) != nvram_.end(); }
    void nvram_unset(std::string_view key) override {
        if (auto it = nvram_.find(key); it != nvram_.end()) nvram_.erase(it);
    }
    void nvram_save() override {}

  private:
    std::map<std::string, std::string, std::less<>> nvram_;
};

// The private root, removed with everything below it when the check ends.
class PrivateRoot {
  public:
    PrivateRoot() {
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/telem_policy.XXXXXX";
        std::vector<char> buf(pattern.begin(), pattern.end());
        buf.push_back('\0');
        if (::mkdtemp(buf.data())) path_ = buf.data();
    }
    ~PrivateRoot() {
        std::error_code ec;
        if (!path_.empty()) fs::remove_all(path_, ec);
    }
    PrivateRoot(const PrivateRoot&) = delete;
    PrivateRoot& operator=(const PrivateRoot&) = delete;
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

struct NamedRow {
    int row;
    const char* name;
};

// The rows the policy file sets, by their policy keys, and the fixed-purpose rows it does
// not set, in row order.
std::vector<NamedRow> named_rows() {
    std::vector<NamedRow> rows;
    for (const PolicyRowKey& k : policy_row_keys()) rows.push_back({k.row, k.key});
    rows.push_back({ROW_WIFI_EVENT_SEND, "(Wi-Fi event send timer)"});
    rows.push_back({ROW_USER_OPTION, "(user option report, fixed)"});
    rows.push_back({ROW_AVS_ANALYTIC, "(avsAnalytic, fixed)"});
    std::sort(rows.begin(), rows.end(),
              [](const NamedRow& a, const NamedRow& b) { return a.row < b.row; });
    return rows;
}

const char* row_name(const std::vector<NamedRow>& rows, int row) {
    for (const NamedRow& r : rows)
        if (r.row == row) return r.name;
    return nullptr;
}

void print_rows(const Policy& p) {
    std::printf("schedule (interval in seconds):\n");
    const std::vector<NamedRow> rows = named_rows();
    for (const NamedRow& r : rows)
        std::printf("  row %2d  %-30s %u\n", r.row, r.name,
                    p.rows[static_cast<size_t>(r.row)].interval);
    // The rows no report uses keep the loader's fill; one line when they agree.
    std::vector<int> unused;
    for (int row = 0; row < kScheduleRows; ++row)
        if (!row_name(rows, row)) unused.push_back(row);
    bool same = true;
    for (int row : unused)
        same = same && p.rows[static_cast<size_t>(row)].interval ==
                           p.rows[static_cast<size_t>(unused.front())].interval;
    if (same) {
        std::printf("  rows 11, 13, 16-%d (no report)        %u\n", kScheduleRows - 1,
                    p.rows[static_cast<size_t>(unused.front())].interval);
    } else {
        for (int row : unused)
            std::printf("  row %2d  %-30s %u\n", row, "(no report)",
                        p.rows[static_cast<size_t>(row)].interval);
    }
}

// Debug-log sources: the one the daemon itself asks about, and every source the file
// names; each answered by the daemon's own check.
std::vector<std::string> debug_log_sources(const std::string& policy_path) {
    std::vector<std::string> sources{"satNotify"};
    std::optional<std::string> text = platform::read_file(policy_path);
    if (!text) return sources;
    json::Ptr doc = json::parse(*text);
    const cJSON* section = json::get(doc.get(), "dbgLogsPolicy");
    if (!cJSON_IsObject(section)) return sources;
    const cJSON* member = nullptr;
    cJSON_ArrayForEach(member, section) {
        if (!member->string) continue;
        std::string name = member->string;
        bool known = false;
        for (const std::string& s : sources) known = known || s == name;
        if (!known && sources.size() < 64) sources.push_back(name);
    }
    return sources;
}

void print_table(const Policy& p, platform::Backend& b) {
    print_rows(p);
    std::printf("alarms:\n");
    std::printf("  cpuThresholdHigh %d, cpuThresholdDuration %d\n", p.cpu_threshold_high,
                p.cpu_threshold_duration);
    std::printf("  memoryUtilizationsHigh %d, memoryUtilizationsDuration %d\n",
                p.memory_utilization_high, p.memory_utilization_duration);
    std::printf("stage: %s (class %d)\n", p.stage.c_str(), p.stage_class);
    std::printf("report method: %s\n", p.report_method.c_str());
    std::printf("daily update method: %d\n", p.daily_update_method);
    std::printf("traffic meter: every %d hours\n", p.traffic_update_interval);
    std::printf("policy version: \"%s\"\n", p.policy_version.c_str());
    std::printf("stop-publish event types (%d):", p.stop_publish_count);
    for (int i = 0; i < p.stop_publish_count && i < kMaxStopPublish; ++i)
        std::printf(" %d", p.stop_publish[static_cast<size_t>(i)]);
    std::printf("\n");
    std::printf("Wi-Fi events: log level %d, at most %d files waiting, sent every %u seconds\n",
                p.wifi_event_log_level, p.wifi_event_max_number, p.wifi_event_send_interval);
    std::printf("  nvram ra_WifiEventEnable=%s ra_WifiEventRuleChanged=%s\n",
                b.nvram_get("ra_WifiEventEnable").c_str(),
                b.nvram_get("ra_WifiEventRuleChanged").c_str());
    std::printf("debug-log policy:\n");
    for (const std::string& source : debug_log_sources(kPolicyFile))
        std::printf("  %s: %s\n", source.c_str(),
                    dbgLogsPolicy(source.c_str()) ? "allowed" : "not allowed");
}

}  // namespace

int main(int argc, char** argv) {
    std::map<std::string, std::string, std::less<>> nvram;
    const char* file = nullptr;
    for (int i = 1; i < argc; ++i) {
        std::string_view arg = argv[i];
        if (arg == "-n" && i + 1 < argc) {
            std::string_view kv = argv[++i];
            size_t eq = kv.find('=');
            if (eq == 0 || eq == std::string_view::npos) return usage();
            nvram[std::string(kv.substr(0, eq))] = std::string(kv.substr(eq + 1));
        } else if (!file && !arg.empty() && arg.front() != '-') {
            file = argv[i];
        } else {
            return usage();
        }
    }
    if (!file) return usage();

    PrivateRoot root;
    if (root.path().empty()) {
        std::fprintf(stderr, "telem_policy: cannot make a private folder: %s\n",
                     std::strerror(errno));
        return 2;
    }
    std::error_code ec;
    fs::path policy = fs::path(root.path()) / std::string_view(kPolicyFile).substr(1);
    fs::create_directories(policy.parent_path(), ec);
    fs::create_directories(fs::path(root.path()) / "dev", ec);
    fs::create_directories(fs::path(root.path()) / "etc", ec);
    // A file that cannot be copied is, to the loader, a file that is not there.
    if (!fs::is_regular_file(file, ec) || !fs::copy_file(file, policy, ec))
        std::printf("telem_policy: %s cannot be read; a router would not find a policy\n", file);

    CheckerBackend backend(root.path(), nvram);
    platform::install(&backend);
    Daemon d;
    std::printf("--- messages of the daemon while loading %s (as %s)\n", file, kPolicyFile);
    std::fflush(stdout);
    bool used = load_policy(d, 1);
    std::fflush(stdout);
    if (auto console = platform::read_lines("/dev/console", 4096)) {
        for (const std::string& line : *console)
            std::printf("/dev/console: %s%s", line.c_str(),
                        !line.empty() && line.back() == '\n' ? "" : "\n");
    }
    std::printf("--- effective policy: %s\n",
                used ? "the file is used" : "the file is NOT used, defaults stand");
    print_table(d.policy, backend);
    platform::install(nullptr);
    return used ? 0 : 1;
}
