// The backend for a Linux host, or a router without the maker's libraries.
//
//  - nvram: the text file /etc/nvram.txt (or $NVRAM_FILE), see nvram_file.h.
//  - UCI: package P of directory D is the file D/P; parsed packages are cached and
//    re-parsed only when the file changes; commit replaces the file atomically. A
//    parsed package takes about four times the memory of its text, so the large ones
//    (the device tables of a crowded home) are released whenever the daemon sleeps:
//    the passes that read them share one parse, the waits between passes hold none.
//  - Router paths are resolved against the backend's root: "" (the host's "/") unless
//    a root directory is given (as the tests do).
//  - Commands run through /bin/sh -c exactly as composed.
//  - getHWVersion(): first line of /etc/hw_version, "" when missing.
//  - Clock: uptime from CLOCK_BOOTTIME (what sysinfo() reports, and what a
//    speed-scaling time library can accelerate), wall and local time from libc.
//  - Vendor hooks, host meanings:
//      shared_get_mtd_index(name): the index N of the "mtdN:" line of /proc/mtd whose
//        quoted name equals `name`, -1 when there is none;
//      load_ac_mac_list()/get_mac_status(mac): nvram keys `ac_allow_list` and
//        `ac_block_list`, each a blank-separated list of MAC addresses in any case,
//        with or without colons; 1 when allowed, 0 when blocked, -1 when not listed;
//      hook_soapc(request): prints "[hook_soapc] request %d" and does nothing else;
//      get_check_fw_responseCode(): the decimal value of nvram
//        `check_fw_response_code`, 0 when unset.
#pragma once

#include <map>
#include <set>
#include <string>

#include "platform/backend.h"
#include "platform/file_watch.h"
#include "platform/nvram_file.h"

namespace platform {

class HostBackend : public Backend {
  public:
    HostBackend();
    explicit HostBackend(std::string nvram_path);
    // Router paths (/etc/hw_version, /proc/mtd, UCI directories, command output files)
    // resolved below `root`; the nvram file path is used as given.
    HostBackend(std::string nvram_path, std::string root);

    std::string nvram_get(std::string_view key) override;
    void nvram_set(std::string_view key, std::string_view value) override;
    bool nvram_exist(std::string_view key) override;
    void nvram_unset(std::string_view key) override;
    void nvram_save() override;

    std::shared_ptr<const UciPackage> uci_load(const std::string& dir, const std::string& package,
                                               int& err) override;
    int uci_store(const std::string& dir, const UciPackage& pkg) override;
    std::shared_ptr<UciPackage> uci_hand_over(const std::string& dir,
                                              const std::string& package) override;

    int run_shell(const std::string& command) override;
    std::optional<std::string> popen_read(const std::string& command) override;
    int exec_to_file(const std::vector<std::string>& argv, const std::string& outfile) override;

    int daemonize() override;
    const std::string& root() const override { return root_; }

    uint64_t uptime() override;
    int64_t wall_time() override;
    void local_time(int64_t when, std::tm& out) override;
    void sleep_seconds(unsigned seconds) override;

    void seed_random(unsigned seed) override;
    int random() override;

    std::string hw_version() override;
    int mtd_index(std::string_view partition) override;
    void load_ac_mac_list() override;
    int mac_status(const unsigned char mac[6]) override;
    void hook_soapc(int request) override;
    int check_fw_response_code() override;

    NvramFile& nvram() { return nvram_; }
    unsigned long uci_parse_count() const { return uci_parses_; }

    // Parsed packages whose text has at least this many bytes are not kept over a sleep.
    static constexpr size_t kKeepParsedBelow = 16 * 1024;

  private:
    struct CachedPackage {
        explicit CachedPackage(std::string file) : watch(std::move(file)) {}
        FileWatch watch;
        std::shared_ptr<UciPackage> pkg;  // lent out read-only; handed over for changes
        int err = 0;                      // the code of the last parse when pkg is empty
        size_t text_size = 0;             // of the text last parsed
    };
    std::string at(std::string_view router_path) const;
    // The file of UCI package `package` in configuration directory `dir`.
    std::string package_file(const std::string& dir, const std::string& package) const {
        return at(dir + "/" + package);
    }
    void release_large_packages();

    std::string root_;
    NvramFile nvram_;
    std::map<std::string, CachedPackage> uci_cache_;
    unsigned long uci_parses_ = 0;
    std::set<std::string> ac_allow_, ac_block_;
};

}  // namespace platform
