// awsiotpub: the development publisher of the analytics agent.
//
// On the router the agent hands every report file to `awsiotpub`, which sends it to the
// cloud's IoT endpoint, and then reads the publisher's standard output (redirected to a
// log file) to learn the outcome. This program speaks the same command line and the same
// log protocol, and delivers the reports to any MQTT broker (a mosquitto on loopback in
// the simulated router):
//
//   awsiotpub -i <client id> -f <file> -t <topic> -o <stage class>
//   awsiotpub -i <client id> -e 1 -d <directory> -t <topic> -o <stage class>
//
// Each report is published with QoS 1 and the program waits, with a bounded timeout, for
// the broker's acknowledgement. The last line is "Publish done" when every report was
// acknowledged; every failure (no broker, refused connection, timeout, unreadable file)
// prints a line containing "ERROR" and the program exits with status 1.
//
// Where to publish comes from the environment, so that the agent's command lines stay as
// they are on the router:
//   AWSIOTPUB_HOST      broker host (default 127.0.0.1)
//   AWSIOTPUB_PORT      broker port (default 1883)
//   AWSIOTPUB_TIMEOUT   seconds allowed for connecting and for each acknowledgement (default 10)
//   AWSIOTPUB_CAFILE    CA bundle; when set the connection uses TLS
//   AWSIOTPUB_CERTFILE, AWSIOTPUB_KEYFILE   client certificate and key for TLS (optional)
//   AWSIOTPUB_USERNAME, AWSIOTPUB_PASSWORD  broker credentials (optional)
#include <mosquitto.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kQos = 1;
constexpr int kKeepAliveSeconds = 60;
constexpr int kDefaultTimeoutSeconds = 10;
constexpr int kLoopSliceMs = 100;

// ---------------------------------------------------------------------------------------
// Command line

struct Options {
    std::string client_id;
    std::string file;        // -f: one report
    std::string directory;   // -d: every file of the directory (with -e 1)
    bool each_file = false;  // -e 1
    std::string topic = "analytics/";
    int stage_class = 1;  // -o: 1 production back end, 2 test back ends
};

void print_usage() {
    std::puts(
        "usage: awsiotpub -i <client id> (-f <file> | -e 1 -d <directory>) [-t <topic>] "
        "[-o <stage class>]");
}

std::optional<int> parse_int(std::string_view text) {
    if (text.empty()) return std::nullopt;
    int value = 0;
    for (char c : text) {
        if (c < '0' || c > '9' || value > 100000) return std::nullopt;
        value = value * 10 + (c - '0');
    }
    return value;
}

// Returns the options, or an error text for the log.
std::optional<Options> parse_command_line(int argc, char** argv, std::string& error) {
    Options opt;
    int c;
    opterr = 0;
    while ((c = ::getopt(argc, argv, "i:f:e:d:t:o:")) != -1) {
        switch (c) {
            case 'i':
                opt.client_id = optarg;
                break;
            case 'f':
                opt.file = optarg;
                break;
            case 'e': {
                auto v = parse_int(optarg);
                if (!v || *v > 1) {
                    error = "invalid -e value '" + std::string(optarg) + "'";
                    return std::nullopt;
                }
                opt.each_file = *v == 1;
                break;
            }
            case 'd':
                opt.directory = optarg;
                break;
            case 't':
                opt.topic = optarg;
                break;
            case 'o': {
                auto v = parse_int(optarg);
                if (!v || (*v != 1 && *v != 2)) {
                    error = "invalid stage class '" + std::string(optarg) + "'";
                    return std::nullopt;
                }
                opt.stage_class = *v;
                break;
            }
            default:
                error =
                    "unknown option or missing argument '-" + std::string(1, char(optopt)) + "'";
                return std::nullopt;
        }
    }
    if (optind < argc) {
        error = "unexpected argument '" + std::string(argv[optind]) + "'";
        return std::nullopt;
    }
    if (opt.topic.empty()) {
        error = "empty topic";
        return std::nullopt;
    }
    if (!opt.directory.empty() && !opt.each_file) {
        error = "-d needs -e 1";
        return std::nullopt;
    }
    if (opt.each_file && opt.directory.empty()) {
        error = "-e 1 needs -d <directory>";
        return std::nullopt;
    }
    if (opt.file.empty() == opt.directory.empty()) {
        error = "give exactly one of -f <file> and -e 1 -d <directory>";
        return std::nullopt;
    }
    return opt;
}

// ---------------------------------------------------------------------------------------
// Broker settings from the environment

struct BrokerSettings {
    std::string host = "127.0.0.1";
    int port = 1883;
    int timeout_seconds = kDefaultTimeoutSeconds;
    std::string cafile, certfile, keyfile;
    std::string username, password;
};

std::string env_or(const char* name, std::string fallback) {
    const char* v = std::getenv(name);
    return v && *v ? std::string(v) : std::move(fallback);
}

bool readable_file(const char* variable, const std::string& path, std::string& error) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) {
        error = std::string(variable) + " " + path +
                " cannot be read: " + (ec ? ec.message() : std::string("not a regular file"));
        return false;
    }
    if (::access(path.c_str(), R_OK) != 0) {
        error = std::string(variable) + " " + path + " cannot be read: " + std::strerror(errno);
        return false;
    }
    return true;
}

// A client certificate needs its key and the reverse; both need the CA that turns TLS
// on. Each file must be readable: the TLS library would only say "invalid arguments".
bool tls_files_usable(const BrokerSettings& s, std::string& error) {
    if (s.cafile.empty()) {
        if (!s.certfile.empty() || !s.keyfile.empty()) {
            error = "AWSIOTPUB_CERTFILE/AWSIOTPUB_KEYFILE need AWSIOTPUB_CAFILE (TLS)";
            return false;
        }
        return true;
    }
    if (!s.certfile.empty() && s.keyfile.empty()) {
        error =
            "AWSIOTPUB_CERTFILE is set without AWSIOTPUB_KEYFILE (the client certificate's key)";
        return false;
    }
    if (s.certfile.empty() && !s.keyfile.empty()) {
        error = "AWSIOTPUB_KEYFILE is set without AWSIOTPUB_CERTFILE";
        return false;
    }
    if (!readable_file("AWSIOTPUB_CAFILE", s.cafile, error)) return false;
    if (!s.certfile.empty() && !readable_file("AWSIOTPUB_CERTFILE", s.certfile, error))
        return false;
    if (!s.keyfile.empty() && !readable_file("AWSIOTPUB_KEYFILE", s.keyfile, error)) return false;
    return true;
}

std::optional<BrokerSettings> broker_settings_from_env(std::string& error) {
    BrokerSettings s;
    s.host = env_or("AWSIOTPUB_HOST", s.host);
    if (auto text = env_or("AWSIOTPUB_PORT", ""); !text.empty()) {
        auto port = parse_int(text);
        if (!port || *port < 1 || *port > 65535) {
            error = "invalid AWSIOTPUB_PORT '" + text + "'";
            return std::nullopt;
        }
        s.port = *port;
    }
    if (auto text = env_or("AWSIOTPUB_TIMEOUT", ""); !text.empty()) {
        auto t = parse_int(text);
        if (!t || *t < 1 || *t > 600) {
            error = "invalid AWSIOTPUB_TIMEOUT '" + text + "'";
            return std::nullopt;
        }
        s.timeout_seconds = *t;
    }
    s.cafile = env_or("AWSIOTPUB_CAFILE", "");
    s.certfile = env_or("AWSIOTPUB_CERTFILE", "");
    s.keyfile = env_or("AWSIOTPUB_KEYFILE", "");
    if (!tls_files_usable(s, error)) return std::nullopt;
    s.username = env_or("AWSIOTPUB_USERNAME", "");
    s.password = env_or("AWSIOTPUB_PASSWORD", "");
    return s;
}

// ---------------------------------------------------------------------------------------
// Reports to send

struct Report {
    std::string path;
    std::string payload;
};

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using UniqueFile = std::unique_ptr<std::FILE, FileCloser>;

std::optional<std::string> read_whole_file(const std::string& path, std::string& error) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) {
        error = "cannot read " + path + ": " + (ec ? ec.message() : "not a regular file");
        return std::nullopt;
    }
    UniqueFile in(std::fopen(path.c_str(), "rb"));
    if (!in) {
        error = "cannot open " + path + ": " + std::strerror(errno);
        return std::nullopt;
    }
    std::string data;
    char buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, in.get())) > 0) data.append(buf, n);
    if (std::ferror(in.get())) {
        error = "cannot read " + path + ": " + std::strerror(errno);
        return std::nullopt;
    }
    return data;
}

// The files to publish, in name order for a directory (regular files only).
std::optional<std::vector<std::string>> report_paths(const Options& opt, std::string& error) {
    if (!opt.file.empty()) return std::vector<std::string>{opt.file};
    std::error_code ec;
    std::filesystem::directory_iterator it(opt.directory, ec);
    if (ec) {
        error = "cannot open directory " + opt.directory + ": " + ec.message();
        return std::nullopt;
    }
    std::vector<std::string> paths;
    for (const auto& entry : it) {
        std::error_code type_ec;
        if (entry.is_regular_file(type_ec)) paths.push_back(entry.path().string());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::optional<std::vector<Report>> load_reports(const Options& opt, std::string& error) {
    auto paths = report_paths(opt, error);
    if (!paths) return std::nullopt;
    std::vector<Report> reports;
    for (auto& p : *paths) {
        auto data = read_whole_file(p, error);
        if (!data) return std::nullopt;
        reports.push_back(Report{std::move(p), std::move(*data)});
    }
    return reports;
}

// ---------------------------------------------------------------------------------------
// MQTT session

// Library initialisation for the lifetime of main().
class MosquittoLibrary {
  public:
    MosquittoLibrary() { mosquitto_lib_init(); }
    ~MosquittoLibrary() { mosquitto_lib_cleanup(); }
    MosquittoLibrary(const MosquittoLibrary&) = delete;
    MosquittoLibrary& operator=(const MosquittoLibrary&) = delete;
};

struct MosquittoDeleter {
    void operator()(mosquitto* m) const { mosquitto_destroy(m); }
};
using MosquittoPtr = std::unique_ptr<mosquitto, MosquittoDeleter>;

// What the callbacks learn, read by the waiting loops.
struct SessionEvents {
    std::string last_library_error;  // the TLS library's reason, through the log callback
    bool connack_received = false;
    int connack_code = -1;
    bool disconnected = false;
    int disconnect_code = 0;
    std::vector<int> acknowledged;  // message ids whose PUBACK arrived
};

class Session {
  public:
    Session(const BrokerSettings& settings, const std::string& client_id)
        : settings_(settings),
          handle_(mosquitto_new(client_id.empty() ? nullptr : client_id.c_str(), true, &events_)) {
        if (!handle_) return;
        mosquitto_connect_callback_set(handle_.get(), on_connect);
        mosquitto_disconnect_callback_set(handle_.get(), on_disconnect);
        mosquitto_publish_callback_set(handle_.get(), on_publish);
        mosquitto_log_callback_set(handle_.get(), on_log);
    }

    bool valid() const { return handle_ != nullptr; }

    bool connect(std::string& error) {
        mosquitto* m = handle_.get();
        int rc;
        if (!settings_.username.empty()) {
            rc = mosquitto_username_pw_set(
                m, settings_.username.c_str(),
                settings_.password.empty() ? nullptr : settings_.password.c_str());
            if (rc != MOSQ_ERR_SUCCESS) return fail(error, "credentials", rc);
        }
        if (!settings_.cafile.empty()) {
            rc = mosquitto_tls_set(
                m, settings_.cafile.c_str(), nullptr,
                settings_.certfile.empty() ? nullptr : settings_.certfile.c_str(),
                settings_.keyfile.empty() ? nullptr : settings_.keyfile.c_str(), nullptr);
            if (rc != MOSQ_ERR_SUCCESS) return fail(error, "TLS set-up", rc);
        }
        rc = mosquitto_connect_async(m, settings_.host.c_str(), settings_.port, kKeepAliveSeconds);
        if (rc != MOSQ_ERR_SUCCESS) {
            fail(error, "connect to " + endpoint(), rc);
            error += tls_hint(rc);
            return false;
        }
        auto deadline = Clock::now() + std::chrono::seconds(settings_.timeout_seconds);
        while (!events_.connack_received) {
            if (!run_loop_until(deadline, error, "waiting for the broker's CONNACK")) return false;
        }
        if (events_.connack_code != 0) {
            error = "broker " + endpoint() +
                    " refused the connection: " + mosquitto_connack_string(events_.connack_code);
            return false;
        }
        return true;
    }

    bool publish(const std::string& topic, const std::string& payload, std::string& error) {
        int mid = 0;
        int rc = mosquitto_publish(handle_.get(), &mid, topic.c_str(),
                                   static_cast<int>(payload.size()), payload.data(), kQos, false);
        if (rc != MOSQ_ERR_SUCCESS) return fail(error, "publish", rc);
        auto deadline = Clock::now() + std::chrono::seconds(settings_.timeout_seconds);
        while (std::find(events_.acknowledged.begin(), events_.acknowledged.end(), mid) ==
               events_.acknowledged.end()) {
            if (!run_loop_until(deadline, error, "waiting for PUBACK")) return false;
        }
        return true;
    }

    void disconnect() {
        if (!events_.connack_received || events_.disconnected) return;
        mosquitto_disconnect(handle_.get());
        auto deadline = Clock::now() + std::chrono::seconds(1);
        while (!events_.disconnected && Clock::now() < deadline)
            if (mosquitto_loop(handle_.get(), kLoopSliceMs, 1) != MOSQ_ERR_SUCCESS) break;
    }

    std::string endpoint() const { return settings_.host + ":" + std::to_string(settings_.port); }

  private:
    static void on_connect(mosquitto*, void* obj, int rc) {
        auto* ev = static_cast<SessionEvents*>(obj);
        ev->connack_received = true;
        ev->connack_code = rc;
    }
    static void on_disconnect(mosquitto*, void* obj, int rc) {
        auto* ev = static_cast<SessionEvents*>(obj);
        ev->disconnected = true;
        ev->disconnect_code = rc;
    }
    // The library reports why a TLS handshake failed ("certificate verify failed",
    // "certificate expired") only in its log; keep the last error for the ERROR line.
    static void on_log(mosquitto*, void* obj, int level, const char* text) {
        if (level == MOSQ_LOG_ERR && text)
            static_cast<SessionEvents*>(obj)->last_library_error = text;
    }
    static void on_publish(mosquitto*, void* obj, int mid) {
        static_cast<SessionEvents*>(obj)->acknowledged.push_back(mid);
    }

    // One network round; false (with `error` set) when the deadline passed or the
    // connection is gone.
    bool run_loop_until(Clock::time_point deadline, std::string& error, const char* what) {
        if (Clock::now() >= deadline) {
            error = "timed out after " + std::to_string(settings_.timeout_seconds) + " s " + what +
                    " from " + endpoint();
            return false;
        }
        int rc = mosquitto_loop(handle_.get(), kLoopSliceMs, 1);
        if (events_.disconnected && !events_.connack_received) {
            error = "connection to " + endpoint() + " closed before CONNACK" + tls_hint(rc);
            return false;
        }
        if (rc == MOSQ_ERR_SUCCESS) return true;
        fail(error, std::string("connection to ") + endpoint() + " lost while " + what, rc);
        error += tls_hint(rc);
        return false;
    }

    // Why a TLS connection failed, when the library told; empty without TLS.
    std::string tls_hint(int rc) const {
        if (settings_.cafile.empty()) return "";
        if (rc != MOSQ_ERR_TLS && events_.last_library_error.empty() && events_.connack_received)
            return "";
        std::string hint = " (TLS";
        if (!events_.last_library_error.empty()) hint += ": " + events_.last_library_error;
        return hint + "; check AWSIOTPUB_CAFILE, AWSIOTPUB_CERTFILE and AWSIOTPUB_KEYFILE)";
    }

    static bool fail(std::string& error, const std::string& what, int rc) {
        error = what + ": ";
        error += rc == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(rc);
        return false;
    }

    BrokerSettings settings_;
    SessionEvents events_;
    MosquittoPtr handle_;
};

// ---------------------------------------------------------------------------------------
// A hard bound on the whole run, whatever a system call does: the log still gets its
// ERROR line.

void on_watchdog(int) {
    static const char msg[] = "ERROR: publisher timed out\n";
    ssize_t ignored = ::write(STDOUT_FILENO, msg, sizeof msg - 1);
    (void)ignored;
    ::_exit(1);
}

void arm_watchdog(int seconds) {
    struct sigaction sa {};
    sa.sa_handler = on_watchdog;
    sigemptyset(&sa.sa_mask);
    ::sigaction(SIGALRM, &sa, nullptr);
    ::alarm(static_cast<unsigned>(seconds));
}

int report_error(const std::string& error) {
    std::printf("ERROR: %s\n", error.c_str());
    return 1;
}

int run(int argc, char** argv) {
    std::string error;
    auto opt = parse_command_line(argc, argv, error);
    if (!opt) {
        print_usage();
        return report_error(error);
    }
    auto settings = broker_settings_from_env(error);
    if (!settings) return report_error(error);
    auto reports = load_reports(*opt, error);
    if (!reports) return report_error(error);

    // Connecting plus one acknowledgement per report, and a little slack.
    long budget =
        static_cast<long>(settings->timeout_seconds) * (2 + static_cast<long>(reports->size())) + 2;
    arm_watchdog(static_cast<int>(std::min<long>(budget, 3600)));

    std::printf("awsiotpub: client %s, stage class %d (%s back end), topic %s\n",
                opt->client_id.empty() ? "(generated)" : opt->client_id.c_str(), opt->stage_class,
                opt->stage_class == 1 ? "production" : "test", opt->topic.c_str());
    if (reports->empty()) {
        std::printf("No report in %s\n", opt->directory.c_str());
        std::puts("Publish done");
        return 0;
    }

    MosquittoLibrary library;
    Session session(*settings, opt->client_id);
    if (!session.valid()) return report_error("cannot create the MQTT client");
    if (!session.connect(error)) return report_error(error);
    std::printf("Connected to %s\n", session.endpoint().c_str());

    for (const auto& r : *reports) {
        std::printf("Publishing %s (%zu bytes)\n", r.path.c_str(), r.payload.size());
        if (!session.publish(opt->topic, r.payload, error)) {
            session.disconnect();
            return report_error(error);
        }
    }
    session.disconnect();
    std::printf("%zu report(s) acknowledged by %s\n", reports->size(), session.endpoint().c_str());
    std::puts("Publish done");
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    int rc = run(argc, argv);
    std::fflush(stdout);
    return rc;
}
