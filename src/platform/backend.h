// The one door to the router: everything the daemon asks of nvram, UCI, processes,
// the clock, randomness and the maker's libraries goes through exactly one installed
// Backend. The host backend talks to a Linux machine; the fake backend of the tests
// is an in-memory router.
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/uci_file.h"

namespace platform {

class Backend {
  public:
    virtual ~Backend() = default;

    // nvram: a flat store of string keys and values; a missing key reads as "".
    virtual std::string nvram_get(std::string_view key) = 0;
    virtual void nvram_set(std::string_view key, std::string_view value) = 0;
    virtual bool nvram_exist(std::string_view key) = 0;
    virtual void nvram_unset(std::string_view key) = 0;
    virtual void nvram_save() = 0;

    // UCI: package `package` of configuration directory `dir`. load() returns the
    // parsed package, or nullptr with `err` set to a UCI result code (3 when the
    // package does not exist, 5 when it does not parse). store() replaces the package
    // atomically and returns a UCI result code.
    virtual std::shared_ptr<const UciPackage> uci_load(const std::string& dir,
                                                       const std::string& package, int& err) = 0;
    virtual int uci_store(const std::string& dir, const UciPackage& pkg) = 0;
    // Hands over the parsed package the backend keeps for that file, for a session that
    // is about to change it: changing it in place spares a copy of a whole device
    // table. The backend forgets it and parses the file again when next asked. Nullptr
    // when it keeps none (the session then copies what it loaded).
    virtual std::shared_ptr<UciPackage> uci_hand_over(const std::string& /*dir*/,
                                                      const std::string& /*package*/) {
        return nullptr;
    }

    // Processes. run_shell() is system(): the line runs through /bin/sh -c exactly as
    // composed and the wait status comes back (-1 when the shell could not start).
    virtual int run_shell(const std::string& command) = 0;
    // popen(command, "r"): the whole standard output, or nothing when it could not run.
    virtual std::optional<std::string> popen_read(const std::string& command) = 0;
    // Runs argv without a shell, standard output sent to `outfile`; exit status or -1.
    virtual int exec_to_file(const std::vector<std::string>& argv, const std::string& outfile) = 0;

    // daemon(1, 1): detach, keeping the working directory and the standard streams.
    // 0 on success, -1 (errno set) on failure.
    virtual int daemonize() = 0;

    // The directory every absolute router path is resolved against ("" for "/").
    virtual const std::string& root() const = 0;

    // Clock. uptime() counts seconds since boot; wall_time() seconds since the epoch.
    virtual uint64_t uptime() = 0;
    virtual int64_t wall_time() = 0;
    virtual void local_time(int64_t when, std::tm& out) = 0;
    virtual void sleep_seconds(unsigned seconds) = 0;

    // Randomness (srand/rand).
    virtual void seed_random(unsigned seed) = 0;
    virtual int random() = 0;

    // The maker's shared-library hooks.
    virtual std::string hw_version() = 0;
    virtual int mtd_index(std::string_view partition) = 0;
    virtual void load_ac_mac_list() = 0;
    // 1 allowed, 0 blocked, anything else: not listed.
    virtual int mac_status(const unsigned char mac[6]) = 0;
    virtual void hook_soapc(int request) = 0;
    virtual int check_fw_response_code() = 0;
};

// Installs `backend` as the one the seam dispatches to. The caller keeps ownership
// and must keep it alive while installed.
void install(Backend* backend);
Backend& backend();

}  // namespace platform
