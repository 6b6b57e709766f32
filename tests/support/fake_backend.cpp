#include "support/fake_backend.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/uci_file.h"

namespace testing_support {

namespace fs = std::filesystem;

FakeBackend::FakeBackend() {
    // A memory-backed directory keeps the many small report files of a long test cheap.
    std::error_code ec;
    fs::path base =
        ::access("/dev/shm", W_OK) == 0 ? fs::path("/dev/shm") : fs::temp_directory_path(ec);
    std::string tmpl = (base / "telem-test-XXXXXX").string();
    std::vector<char> buf(tmpl.begin(), tmpl.end());
    buf.push_back('\0');
    char* made = ::mkdtemp(buf.data());
    root_ = made ? made : "/tmp/telem-test-fallback";
    for (const char* d : {"/tmp", "/dev", "/etc", "/var/run", "/opt/persistent/router-analytics",
                          "/usr/bin", "/proc", "/sys"})
        mkdir(d);
}

FakeBackend::~FakeBackend() {
    std::error_code ec;
    fs::remove_all(root_, ec);  // does not follow symbolic links
}

void FakeBackend::on_exact(const std::string& command, Response r) {
    rules_.push_back({Rule::Match::Exact, command, [r](const std::string&) { return r; }});
}
void FakeBackend::on_prefix(const std::string& prefix, Response r) {
    rules_.push_back({Rule::Match::Prefix, prefix, [r](const std::string&) { return r; }});
}
void FakeBackend::on_contains(const std::string& part, Response r) {
    rules_.push_back({Rule::Match::Contains, part, [r](const std::string&) { return r; }});
}
void FakeBackend::on_prefix(const std::string& prefix, Handler h) {
    rules_.push_back({Rule::Match::Prefix, prefix, std::move(h)});
}

std::vector<std::string> FakeBackend::commands_containing(const std::string& part) const {
    std::vector<std::string> out;
    for (const auto& c : commands)
        if (c.find(part) != std::string::npos) out.push_back(c);
    return out;
}

FakeBackend::Response FakeBackend::respond(const std::string& command) {
    if (auto r = scripted(command)) return *r;
    return builtin(command);
}

// The few plain shell commands the daemon uses to move report files around are
// carried out on the test root when no test scripted them.
FakeBackend::Response FakeBackend::builtin(const std::string& command) {
    Response r;
    std::string_view c = command;
    if (c.rfind("cat /", 0) == 0) {
        size_t gt = c.find('>');
        if (gt == std::string_view::npos) return r;
        std::string_view src = c.substr(4, gt - 4);
        while (!src.empty() && src.back() == ' ') src.remove_suffix(1);
        auto target = redirect_target(command);
        if (target && src.find(' ') == std::string_view::npos && *target != "/dev/console")
            if (auto content = read(std::string(src))) r.files[*target] = *content;
    } else if (c.rfind("touch /", 0) == 0 && c.find(' ', 6) == std::string_view::npos) {
        std::string path(c.substr(6));
        if (!exists(path)) r.files[path] = "";
    }
    return r;
}

// The file a command line's trailing "> file" or "2>file" names, if it ends in one.
std::optional<std::string> FakeBackend::redirect_target(const std::string& command) {
    size_t gt = command.rfind('>');
    if (gt == std::string::npos) return std::nullopt;
    size_t b = gt + 1;
    auto blank = [](char ch) { return ch == ' ' || ch == '\t' || ch == '\n' || ch == '\r'; };
    while (b < command.size() && blank(command[b])) ++b;
    size_t e = command.size();
    while (e > b && blank(command[e - 1])) --e;
    if (b >= e || command[b] != '/') return std::nullopt;
    std::string path = command.substr(b, e - b);
    if (path.find_first_of(" \t\n") != std::string::npos) return std::nullopt;
    return path;
}

std::optional<FakeBackend::Response> FakeBackend::scripted(const std::string& command) {
    // The most recently added matching rule wins, so a test can override a default.
    for (auto it = rules_.rbegin(); it != rules_.rend(); ++it) {
        bool hit = false;
        switch (it->match) {
            case Rule::Match::Exact:
                hit = command == it->pattern;
                break;
            case Rule::Match::Prefix:
                hit = command.rfind(it->pattern, 0) == 0;
                break;
            case Rule::Match::Contains:
                hit = command.find(it->pattern) != std::string::npos;
                break;
        }
        if (hit) return it->handler(command);
    }
    return std::nullopt;
}

void FakeBackend::apply(const std::string& command, const Response& r, bool redirect) {
    for (const auto& [path, content] : r.files) write(path, content);
    for (const auto& path : r.remove) fs::remove(root_ + path);
    if (redirect) {
        // The shell would create the redirection target even for empty output.
        if (auto target = redirect_target(command)) {
            const std::string& path = *target;
            bool removed = std::find(r.remove.begin(), r.remove.end(), path) != r.remove.end();
            if (path != "/dev/console" && path != "/dev/null" && !removed) {
                if (r.has_output)
                    write(path, r.output);
                else if (!exists(path))
                    write(path, "");
            }
        }
    }
}

int FakeBackend::run_shell(const std::string& command) {
    commands.push_back(command);
    Response r = respond(command);
    apply(command, r, true);
    return r.status;
}

std::optional<std::string> FakeBackend::popen_read(const std::string& command) {
    commands.push_back(command);
    Response r = respond(command);
    apply(command, r, false);
    return r.output;
}

int FakeBackend::exec_to_file(const std::vector<std::string>& argv, const std::string& outfile) {
    std::string line;
    for (const auto& a : argv) line += (line.empty() ? "" : " ") + a;
    line += " > " + outfile;
    commands.push_back(line);
    Response r = respond(line);
    if (!r.has_output && !argv.empty() && argv[0] == "echo") {
        // echo is simple enough to answer without a script.
        std::string text;
        for (size_t i = 1; i < argv.size(); ++i) text += (i > 1 ? " " : "") + argv[i];
        r.output = text + "\n";
        r.has_output = true;
    }
    apply(line, r, true);
    return r.status;
}

std::string FakeBackend::nvram_get(std::string_view key) {
    auto it = nvram.find(key);
    return it == nvram.end() ? std::string() : it->second;
}
void FakeBackend::nvram_set(std::string_view key, std::string_view value) {
    nvram.insert_or_assign(std::string(key), std::string(value));
}
bool FakeBackend::nvram_exist(std::string_view key) {
    return nvram.find(key) != nvram.end();
}
void FakeBackend::nvram_unset(std::string_view key) {
    auto it = nvram.find(key);
    if (it != nvram.end()) nvram.erase(it);
}

void FakeBackend::set_uci(const std::string& dir, const std::string& package,
                          const std::string& text) {
    uci_texts_[dir + "/" + package] = text;
}

std::optional<std::string> FakeBackend::uci_text(const std::string& dir,
                                                 const std::string& package) const {
    auto it = uci_texts_.find(dir + "/" + package);
    if (it == uci_texts_.end()) return std::nullopt;
    return it->second;
}

std::shared_ptr<const platform::UciPackage> FakeBackend::uci_load(const std::string& dir,
                                                                  const std::string& package,
                                                                  int& err) {
    ++uci_loads;
    auto it = uci_texts_.find(dir + "/" + package);
    if (it == uci_texts_.end()) {
        err = 3;
        return nullptr;
    }
    auto parsed = platform::parse_uci(it->second, package);
    if (!parsed) {
        err = 5;
        return nullptr;
    }
    err = 0;
    return std::make_shared<const platform::UciPackage>(std::move(*parsed));
}

int FakeBackend::uci_store(const std::string& dir, const platform::UciPackage& pkg) {
    uci_texts_[dir + "/" + pkg.name] = platform::render_uci(pkg);
    return 0;
}

void FakeBackend::write(const std::string& path, const std::string& content) {
    fs::path p = root_ + path;
    fs::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary | std::ios::trunc) << content;
}

std::optional<std::string> FakeBackend::read(const std::string& path) const {
    std::ifstream in(root_ + path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

bool FakeBackend::exists(const std::string& path) const {
    struct stat st;
    return ::stat((root_ + path).c_str(), &st) == 0;
}

void FakeBackend::mkdir(const std::string& path) {
    fs::create_directories(root_ + path);
}

std::string FakeBackend::console() const {
    return read("/dev/console").value_or("");
}

void FakeBackend::local_time(int64_t when, std::tm& out) {
    time_t t = static_cast<time_t>(when);
    ::gmtime_r(&t, &out);  // the fake router's local time zone is UTC
}

void FakeBackend::sleep_seconds(unsigned seconds) {
    sleeps.push_back(seconds);
    now_uptime += seconds;
    now_wall += seconds;
    if (on_sleep) on_sleep(seconds);
}

int FakeBackend::random() {
    if (random_values.empty()) return 0;
    int v = random_values[random_next % random_values.size()];
    ++random_next;
    return v;
}

int FakeBackend::mac_status(const unsigned char mac[6]) {
    char text[13];
    std::snprintf(text, sizeof text, "%02X%02X%02X%02X%02X%02X", mac[0], mac[1], mac[2], mac[3],
                  mac[4], mac[5]);
    auto it = mac_statuses.find(text);
    return it == mac_statuses.end() ? -1 : it->second;
}

FakeRouter::FakeRouter() {
    platform::install(&fake);
}
FakeRouter::~FakeRouter() {
    platform::install(nullptr);
}

}  // namespace testing_support
