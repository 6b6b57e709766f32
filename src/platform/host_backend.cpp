#include "platform/host_backend.h"

#include <fcntl.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "platform/fs.h"
#include "platform/spawn.h"
#include "platform/unique_fd.h"

namespace platform {

namespace {

std::string default_nvram_path() {
    const char* env = std::getenv("NVRAM_FILE");
    return env && *env ? env : "/etc/nvram.txt";
}

// The daemon ignores SIGCHLD so that background commands leave no zombies; while we
// wait for a command of our own the default disposition must be back, or the kernel
// reaps the child before we can read its exit status.
class ChildWaitScope {
  public:
    ChildWaitScope() {
        struct sigaction dfl {};
        dfl.sa_handler = SIG_DFL;
        sigemptyset(&dfl.sa_mask);
        ::sigaction(SIGCHLD, &dfl, &saved_);
    }
    ~ChildWaitScope() { ::sigaction(SIGCHLD, &saved_, nullptr); }
    ChildWaitScope(const ChildWaitScope&) = delete;
    ChildWaitScope& operator=(const ChildWaitScope&) = delete;

  private:
    struct sigaction saved_ {};
};

int wait_for(pid_t pid) {
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return status;
}

// Starts "/bin/sh -c <command>" with its standard output on `stdout_fd` (when 0 or
// more); the child's PID, or the start error as a negative number.
pid_t spawn_shell(const std::string& command, int stdout_fd) {
    char sh[] = "sh";
    char dash_c[] = "-c";
    std::string line = command;  // argv is not const in the interface
    char* argv[] = {sh, dash_c, line.data(), nullptr};
    return start_process("/bin/sh", argv, false, stdout_fd);
}

// The wait status of a child that called _exit(127).
constexpr int kCouldNotExecStatus = 127 << 8;

std::string normalise_mac(std::string_view text) {
    std::string out;
    for (char c : text)
        if (std::isxdigit(static_cast<unsigned char>(c)))
            out += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return out;
}

}  // namespace

HostBackend::HostBackend() : HostBackend(default_nvram_path()) {}
HostBackend::HostBackend(std::string nvram_path) : HostBackend(std::move(nvram_path), "") {}
HostBackend::HostBackend(std::string nvram_path, std::string root)
    : root_(std::move(root)), nvram_(std::move(nvram_path)) {
    while (!root_.empty() && root_.back() == '/') root_.pop_back();
}

std::string HostBackend::at(std::string_view router_path) const {
    if (root_.empty() || router_path.empty() || router_path.front() != '/')
        return std::string(router_path);
    return root_ + std::string(router_path);
}

std::string HostBackend::nvram_get(std::string_view key) {
    auto v = nvram_.get(key);
    return v ? *v : std::string();
}
void HostBackend::nvram_set(std::string_view key, std::string_view value) {
    if (!nvram_.set(key, value))
        std::fprintf(stderr, "nvram: %.*s not stored\n", static_cast<int>(key.size()), key.data());
}
bool HostBackend::nvram_exist(std::string_view key) {
    return nvram_.get(key).has_value();
}
void HostBackend::nvram_unset(std::string_view key) {
    nvram_.unset(key);
}
void HostBackend::nvram_save() {
    nvram_.commit();
}

std::shared_ptr<const UciPackage> HostBackend::uci_load(const std::string& dir,
                                                        const std::string& package, int& err) {
    std::string file = package_file(dir, package);
    auto it = uci_cache_.find(file);
    if (it == uci_cache_.end()) {
        // First look at this package: clear what writers killed mid-commit left.
        remove_stale_temp_files(file);
        it = uci_cache_.emplace(file, CachedPackage(file)).first;
    }
    CachedPackage& c = it->second;
    std::string text;
    switch (c.watch.poll(text)) {
        case FileWatch::Status::Missing:
            c.pkg.reset();
            err = 3;  // UCI_ERR_NOTFOUND
            return nullptr;
        case FileWatch::Status::Unreadable:
            c.pkg.reset();
            err = 4;  // UCI_ERR_IO
            return nullptr;
        case FileWatch::Status::Unchanged:
            err = c.pkg ? 0 : c.err;
            return c.pkg;
        case FileWatch::Status::Changed:
            break;
    }
    ++uci_parses_;
    c.text_size = text.size();
    auto parsed = parse_uci(text, package);
    if (parsed) {
        c.pkg = std::make_shared<UciPackage>(std::move(*parsed));
        c.err = 0;
    } else {
        c.pkg.reset();
        c.err = 5;  // UCI_ERR_PARSE
    }
    err = c.err;
    return c.pkg;
}

std::shared_ptr<UciPackage> HostBackend::uci_hand_over(const std::string& dir,
                                                       const std::string& package) {
    auto it = uci_cache_.find(package_file(dir, package));
    if (it == uci_cache_.end() || !it->second.pkg) return nullptr;
    it->second.watch.forget();
    return std::move(it->second.pkg);
}

int HostBackend::uci_store(const std::string& dir, const UciPackage& pkg) {
    std::string file = package_file(dir, pkg.name);
    // Written as it is rendered: a committed device table is never held as one text.
    auto produce = [&pkg](const PieceSink& put) { render_uci(pkg, put); };
    if (!replace_file_atomically(file, produce)) return 4;  // UCI_ERR_IO
    return 0;
}

int HostBackend::run_shell(const std::string& command) {
    ChildWaitScope scope;
    std::fflush(nullptr);  // what the daemon printed comes before the command's output
    pid_t pid = spawn_shell(command, -1);
    if (pid < 0) return exec_failure(-pid) ? kCouldNotExecStatus : -1;
    return wait_for(pid);
}

std::optional<std::string> HostBackend::popen_read(const std::string& command) {
    ChildWaitScope scope;
    std::fflush(nullptr);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
    UniqueFd read_end(ends[0]);
    UniqueFd write_end(ends[1]);
    pid_t pid = spawn_shell(command, write_end.get());
    write_end.reset();  // the child holds the only writer now: EOF comes when it is done
    if (pid < 0) return std::nullopt;
    std::string out;
    char buf[4096];
    for (;;) {
        ssize_t n = ::read(read_end.get(), buf, sizeof buf);
        if (n > 0) {
            out.append(buf, static_cast<size_t>(n));
        } else if (n == 0 || errno != EINTR) {
            break;
        }
    }
    read_end.reset();
    wait_for(pid);
    return out;
}

int HostBackend::exec_to_file(const std::vector<std::string>& argv, const std::string& outfile) {
    if (argv.empty()) return -1;
    std::string target = at(outfile);
    std::vector<char*> args;
    for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    ChildWaitScope scope;
    std::fflush(nullptr);
    // When the file cannot be made the program still runs, writing where the daemon does.
    UniqueFd out(::open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    pid_t pid = start_process(args[0], args.data(), true, out ? out.get() : -1);
    out.reset();
    if (pid < 0) return exec_failure(-pid) ? 127 : -1;
    int status = wait_for(pid);
    return status >= 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int HostBackend::daemonize() {
    return ::daemon(1, 1);
}

uint64_t HostBackend::uptime() {
    timespec ts{};
    ::clock_gettime(CLOCK_BOOTTIME, &ts);
    return static_cast<uint64_t>(ts.tv_sec);
}

int64_t HostBackend::wall_time() {
    return static_cast<int64_t>(::time(nullptr));
}

void HostBackend::local_time(int64_t when, std::tm& out) {
    time_t t = static_cast<time_t>(when);
    ::localtime_r(&t, &out);
}

void HostBackend::sleep_seconds(unsigned seconds) {
    release_large_packages();
    ::sleep(seconds);
}

void HostBackend::release_large_packages() {
    bool released = false;
    for (auto& [file, c] : uci_cache_) {
        if (!c.pkg || c.text_size < kKeepParsedBelow) continue;
        c.pkg.reset();
        c.watch.forget();  // parsed again, from the file, when next asked for
        released = true;
    }
#if defined(__GLIBC__)
    // glibc keeps freed blocks below its top chunk; give the pages back to the router.
    if (released) ::malloc_trim(0);
#else
    (void)released;  // musl returns freed pages by itself
#endif
}

void HostBackend::seed_random(unsigned seed) {
    std::srand(seed);
}
int HostBackend::random() {
    return std::rand();
}

std::string HostBackend::hw_version() {
    UniqueFile f(std::fopen(at("/etc/hw_version").c_str(), "r"));
    char line[256];
    if (!f || !std::fgets(line, sizeof line, f.get())) return std::string();
    return strip_newline(line);
}

int HostBackend::mtd_index(std::string_view partition) {
    UniqueFile f(std::fopen(at("/proc/mtd").c_str(), "r"));
    if (!f) return -1;
    std::string quoted;
    quoted.reserve(partition.size() + 2);
    quoted.append(1, '"').append(partition).append(1, '"');
    char line[256];
    while (std::fgets(line, sizeof line, f.get())) {
        int index = -1;
        if (std::sscanf(line, "mtd%d:", &index) == 1 && std::strstr(line, quoted.c_str()))
            return index;
    }
    return -1;
}

void HostBackend::load_ac_mac_list() {
    auto load = [this](const char* key, std::set<std::string>& into) {
        into.clear();
        std::istringstream in(nvram_get(key));
        std::string word;
        while (in >> word) into.insert(normalise_mac(word));
    };
    load("ac_allow_list", ac_allow_);
    load("ac_block_list", ac_block_);
}

int HostBackend::mac_status(const unsigned char mac[6]) {
    char text[13];
    std::snprintf(text, sizeof text, "%02X%02X%02X%02X%02X%02X", mac[0], mac[1], mac[2], mac[3],
                  mac[4], mac[5]);
    if (ac_allow_.count(text)) return 1;
    if (ac_block_.count(text)) return 0;
    return -1;
}

void HostBackend::hook_soapc(int request) {
    std::printf("[hook_soapc] request %d\n", request);
}

int HostBackend::check_fw_response_code() {
    return std::atoi(nvram_get("check_fw_response_code").c_str());
}

}  // namespace platform
