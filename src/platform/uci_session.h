// A UCI session in the calling order every reader and writer uses: init, configuration
// directory, update (load) of the package, any number of reads and writes, commit for
// writers, and always exit. Failing codes are printed by name and the caller goes on.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// The printed name of a UCI result code ("UCI_OK" ... "UCI_ERR_LAST").
const char* uci_error_name(int code);
// Prints "[<func> <line>] <operation> : <code name>\n".
void uci_report(const char* func, int line, const char* operation, int code);

class UciSession {
  public:
    // Opens a session on `package` of `dir`. `func` names the caller in messages.
    UciSession(std::string_view dir, std::string_view package, const char* func);
    ~UciSession();
    UciSession(const UciSession&) = delete;
    UciSession& operator=(const UciSession&) = delete;

    // The code of the update (load) step: UCI_OK when the package is there.
    int status() const { return status_; }
    // ovraUciConfig_w_get_value with a buffer of `size` bytes. Nothing (and the failing
    // code printed unless `quiet`) when the value cannot be read.
    std::optional<std::string> get(std::string_view path, size_t size, bool quiet = true);
    // The code of ovraUciConfig_w_get_value into `out` (left as it was on failure).
    int get(std::string_view path, std::string& out, size_t size);
    int set(std::string_view path, std::string_view value);
    int commit();

  private:
    std::string package_;
    const char* func_;
    int status_ = 0;
};
