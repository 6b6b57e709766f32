// An in-memory router for unit tests: nvram map, UCI packages, a scripted command
// runner that records every command line, a virtual clock whose sleeps advance time
// instantly, and a file system rooted in a temporary directory of its own.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/backend.h"

namespace testing_support {

class FakeBackend : public platform::Backend {
  public:
    // What a scripted command does: files it writes (router paths), text written to
    // the target of its trailing "> file" / "2>file" redirection (or returned by
    // popen), and its exit status.
    struct Response {
        std::string output;
        bool has_output = false;
        std::map<std::string, std::string> files;
        int status = 0;
        std::vector<std::string> remove;  // router paths the command deletes
    };
    static Response outputs(std::string text, int status = 0) {
        Response r;
        r.output = std::move(text);
        r.has_output = true;
        r.status = status;
        return r;
    }
    using Handler = std::function<Response(const std::string& command)>;

    FakeBackend();
    ~FakeBackend() override;
    FakeBackend(const FakeBackend&) = delete;
    FakeBackend& operator=(const FakeBackend&) = delete;

    // --- scripting -------------------------------------------------------------
    void on_exact(const std::string& command, Response r);
    void on_prefix(const std::string& prefix, Response r);
    void on_contains(const std::string& part, Response r);
    void on_prefix(const std::string& prefix, Handler h);
    // Every command line run, in order (system, popen and exec alike; exec lines are
    // the argv joined by blanks followed by " > outfile").
    std::vector<std::string> commands;
    // Lines that contain `part`.
    std::vector<std::string> commands_containing(const std::string& part) const;
    std::vector<unsigned> sleeps;
    // Called after each sleep has advanced the clock: what other programs do on the
    // router meanwhile (a service answering an nvram request, say).
    std::function<void(unsigned seconds)> on_sleep;
    std::vector<int> soapc_requests;

    // --- router state ------------------------------------------------------------
    std::map<std::string, std::string, std::less<>> nvram;
    std::string hwversion = "VRE670";
    int mtd = -1;
    int fw_response_code = 0;
    std::map<std::string, int> mac_statuses;  // 12 upper-case hex digits -> status
    int ac_loads = 0;
    uint64_t now_uptime = 1000;
    int64_t now_wall = 1767225600;  // 2026-01-01 00:00:00 UTC
    std::vector<int> random_values{12345};
    size_t random_next = 0;
    unsigned seeded = 0;

    // UCI text for package `package` of `dir` (parsed on load).
    void set_uci(const std::string& dir, const std::string& package, const std::string& text);
    std::optional<std::string> uci_text(const std::string& dir, const std::string& package) const;
    int uci_loads = 0;

    // Files under the test root, by router path.
    void write(const std::string& path, const std::string& content);
    std::optional<std::string> read(const std::string& path) const;
    bool exists(const std::string& path) const;
    void mkdir(const std::string& path);
    std::string console() const;  // what was appended to /dev/console

    // --- Backend -----------------------------------------------------------------
    std::string nvram_get(std::string_view key) override;
    void nvram_set(std::string_view key, std::string_view value) override;
    bool nvram_exist(std::string_view key) override;
    void nvram_unset(std::string_view key) override;
    void nvram_save() override { ++saves; }
    int saves = 0;

    std::shared_ptr<const platform::UciPackage> uci_load(const std::string& dir,
                                                         const std::string& package,
                                                         int& err) override;
    int uci_store(const std::string& dir, const platform::UciPackage& pkg) override;

    int run_shell(const std::string& command) override;
    std::optional<std::string> popen_read(const std::string& command) override;
    int exec_to_file(const std::vector<std::string>& argv, const std::string& outfile) override;

    int daemonize() override {
        ++daemonized;
        return daemonize_result;
    }
    int daemonized = 0;
    int daemonize_result = 0;
    const std::string& root() const override { return root_; }

    uint64_t uptime() override { return now_uptime; }
    int64_t wall_time() override { return now_wall; }
    void local_time(int64_t when, std::tm& out) override;
    void sleep_seconds(unsigned seconds) override;

    void seed_random(unsigned seed) override { seeded = seed; }
    int random() override;

    std::string hw_version() override { return hwversion; }
    int mtd_index(std::string_view) override { return mtd; }
    void load_ac_mac_list() override { ++ac_loads; }
    int mac_status(const unsigned char mac[6]) override;
    void hook_soapc(int request) override { soapc_requests.push_back(request); }
    int check_fw_response_code() override { return fw_response_code; }

  private:
    struct Rule {
        enum class Match { Exact, Prefix, Contains } match;
        std::string pattern;
        Handler handler;
    };
    Response respond(const std::string& command);
    std::optional<Response> scripted(const std::string& command);
    Response builtin(const std::string& command);
    static std::optional<std::string> redirect_target(const std::string& command);
    void apply(const std::string& command, const Response& r, bool redirect);

    std::string root_;
    std::vector<Rule> rules_;
    std::map<std::string, std::string> uci_texts_;
};

// Installs a fresh FakeBackend for the lifetime of the object (one per test).
class FakeRouter {
  public:
    FakeRouter();
    ~FakeRouter();
    FakeBackend& operator*() { return fake; }
    FakeBackend* operator->() { return &fake; }
    FakeBackend fake;
};

}  // namespace testing_support
