#include "platform/platform.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>

namespace platform {
namespace {

// The one UCI session the wrapper library keeps between init and exit. Packages are
// shared with the backend's cache until a set_value makes a private copy.
struct UciSessionState {
    std::string dir = "/etc/config";
    std::map<std::string, std::shared_ptr<const UciPackage>, std::less<>> loaded;
    std::map<std::string, std::shared_ptr<UciPackage>, std::less<>> changed;
};

struct Seam {
    Backend* backend = nullptr;
    UciSessionState uci;
};

Seam& seam() {
    static Seam s;
    return s;
}

}  // namespace

void install(Backend* backend) {
    seam().backend = backend;
    seam().uci = UciSessionState{};
}

Backend& backend() {
    Backend* b = seam().backend;
    if (!b) {
        std::fputs("platform: no backend installed\n", stderr);
        std::abort();
    }
    return *b;
}

int64_t wall_time() {
    return backend().wall_time();
}
void sleep_seconds(unsigned seconds) {
    backend().sleep_seconds(seconds);
}
void seed_random(unsigned seed) {
    backend().seed_random(seed);
}
int random_number() {
    return backend().random();
}

}  // namespace platform

using platform::backend;

std::string ovraNvramConfig_get(std::string_view key) {
    return backend().nvram_get(key);
}
void ovraNvramConfig_set(std::string_view key, std::string_view value) {
    backend().nvram_set(key, value);
}
int ovraNvramConfig_match(std::string_view key, std::string_view value) {
    return backend().nvram_get(key) == value ? 1 : 0;
}
int ovraNvramConfig_invmatch(std::string_view key, std::string_view value) {
    return backend().nvram_get(key) != value ? 1 : 0;
}
int ovraNvramConfig_exist(std::string_view key) {
    return backend().nvram_exist(key) ? 1 : 0;
}
void ovraNvramConfig_unset(std::string_view key) {
    backend().nvram_unset(key);
}
void ovraNvramConfig_save() {
    backend().nvram_save();
}

namespace {

platform::UciSessionState& uci() {
    return platform::seam().uci;
}

// The package a dotted path names, loading it into the session when needed.
const platform::UciPackage* session_package(std::string_view name, int& err) {
    auto& s = uci();
    if (auto it = s.changed.find(name); it != s.changed.end()) return it->second.get();
    if (auto it = s.loaded.find(name); it != s.loaded.end()) return it->second.get();
    err = ovraUciConfig_w_update(name);
    if (err != UCI_OK) return nullptr;
    return s.loaded.find(name)->second.get();
}

// The package the session is about to change. When the session and the backend's cache
// are the only holders of the loaded package, the backend hands it over and it is
// changed in place; otherwise (someone else still reads it) the session works on a copy.
std::shared_ptr<platform::UciPackage> package_to_change(std::string_view name) {
    auto& s = uci();
    auto loaded = s.loaded.find(name);
    std::shared_ptr<const platform::UciPackage> held = std::move(loaded->second);
    s.loaded.erase(loaded);
    auto own = backend().uci_hand_over(s.dir, std::string(name));
    if (own && own.get() == held.get()) {
        held.reset();
        if (own.use_count() == 1) return own;
        return std::make_shared<platform::UciPackage>(*own);
    }
    // The backend keeps no parsed package for the file (the fake one never does; the
    // host one lets large ones go while the daemon sleeps) or has parsed a newer file
    // since: the changes apply to a copy of what the session loaded.
    return std::make_shared<platform::UciPackage>(*held);
}

}  // namespace

int ovraUciConfig_w_init() {
    uci() = platform::UciSessionState{};
    return UCI_OK;
}

int ovraUciConfig_w_set_config_dir(std::string_view dir) {
    if (dir.empty()) return UCI_ERR_INVAL;
    uci().dir = std::string(dir);
    return UCI_OK;
}

int ovraUciConfig_w_update(std::string_view package) {
    if (package.empty() || package.find('.') != package.npos) return UCI_ERR_INVAL;
    int err = UCI_OK;
    auto pkg = backend().uci_load(uci().dir, std::string(package), err);
    // A reload drops the session's uncommitted changes; a failed one also drops what
    // an earlier load of this package held.
    if (auto it = uci().changed.find(package); it != uci().changed.end()) uci().changed.erase(it);
    if (!pkg) {
        if (auto it = uci().loaded.find(package); it != uci().loaded.end()) uci().loaded.erase(it);
        return err == UCI_OK ? UCI_ERR_NOTFOUND : err;
    }
    uci().loaded.insert_or_assign(std::string(package), std::move(pkg));
    return UCI_OK;
}

int ovraUciConfig_w_get_value(std::string_view path, std::string& out, size_t size) {
    size_t dot = path.find('.');
    if (dot == path.npos || dot == 0 || size == 0) return UCI_ERR_INVAL;
    int err = UCI_OK;
    const platform::UciPackage* pkg = session_package(path.substr(0, dot), err);
    if (!pkg) return err;
    auto value = pkg->get(path.substr(dot + 1));
    if (!value) return UCI_ERR_NOTFOUND;
    out = value->substr(0, size - 1);
    return UCI_OK;
}

int ovraUciConfig_w_set_value(std::string_view path, std::string_view value) {
    size_t dot = path.find('.');
    if (dot == path.npos || dot == 0) return UCI_ERR_INVAL;
    std::string_view name = path.substr(0, dot);
    auto& s = uci();
    auto it = s.changed.find(name);
    if (it == s.changed.end()) {
        int err = UCI_OK;
        if (!session_package(name, err)) return err;
        it = s.changed.emplace(std::string(name), package_to_change(name)).first;
    }
    std::string_view rest = path.substr(dot + 1);
    if (it->second->set(rest, value)) return UCI_OK;
    // An option of a section that does not exist is "not found"; anything else that
    // cannot be set (bad option, section or type name) is an invalid argument.
    size_t opt = rest.find('.');
    if (opt != rest.npos && !it->second->section(rest.substr(0, opt))) return UCI_ERR_NOTFOUND;
    return UCI_ERR_INVAL;
}

int ovraUciConfig_w_commit(std::string_view package) {
    auto& s = uci();
    auto it = s.changed.find(package);
    if (it == s.changed.end()) return UCI_OK;  // nothing changed
    int err = backend().uci_store(s.dir, *it->second);
    if (err == UCI_OK) {
        s.loaded.insert_or_assign(std::string(package), it->second);
        s.changed.erase(it);
    }
    return err;
}

int ovraUciConfig_w_exit() {
    uci() = platform::UciSessionState{};
    return UCI_OK;
}

int doSystem(const std::string& command) {
    return backend().run_shell(command);
}

int _eval(const std::vector<std::string>& argv, const std::string& outfile, int /*timeout*/,
          int* pid) {
    if (pid) *pid = 0;
    return backend().exec_to_file(argv, outfile);
}

std::string getHWVersion() {
    return backend().hw_version();
}

uint32_t sys_uptime() {
    return static_cast<uint32_t>(backend().uptime());
}

int IsTimeout(uint32_t start, uint32_t seconds) {
    return static_cast<uint32_t>(sys_uptime() - start) >= seconds ? 1 : 0;
}

std::tm* my_localtime_r(const time_t* when, std::tm* out) {
    backend().local_time(static_cast<int64_t>(*when), *out);
    return out;
}

void trim_(std::string& text) {
    size_t b = 0;
    while (b < text.size() && std::isspace(static_cast<unsigned char>(text[b]))) ++b;
    size_t e = text.size();
    while (e > b && std::isspace(static_cast<unsigned char>(text[e - 1]))) --e;
    text = text.substr(b, e - b);
}

void strlwr(std::string& text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

std::string itoa(long number) {
    return std::to_string(number);
}

void load_ac_mac_list() {
    backend().load_ac_mac_list();
}
int get_mac_status(const unsigned char mac[6]) {
    return backend().mac_status(mac);
}
int shared_get_mtd_index(std::string_view name) {
    return backend().mtd_index(name);
}
void hook_soapc(int request) {
    backend().hook_soapc(request);
}
int get_check_fw_responseCode() {
    return backend().check_fw_response_code();
}
