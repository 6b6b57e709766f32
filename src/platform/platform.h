// The operations the daemon imports from the maker's libraries (nvram, UCI wrapper,
// shared helpers, MD5), under the names the rest of the program uses. Each dispatches
// to the installed Backend (backend.h).
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "platform/backend.h"
#include "platform/md5.h"

// nvram. A missing key reads as "".
std::string ovraNvramConfig_get(std::string_view key);
void ovraNvramConfig_set(std::string_view key, std::string_view value);
int ovraNvramConfig_match(std::string_view key, std::string_view value);
int ovraNvramConfig_invmatch(std::string_view key, std::string_view value);
int ovraNvramConfig_exist(std::string_view key);
void ovraNvramConfig_unset(std::string_view key);
void ovraNvramConfig_save();

// UCI wrapper: one session at a time; every call returns a UCI result code.
enum UciResult {
    UCI_OK = 0,
    UCI_ERR_MEM = 1,
    UCI_ERR_INVAL = 2,
    UCI_ERR_NOTFOUND = 3,
    UCI_ERR_IO = 4,
    UCI_ERR_PARSE = 5,
    UCI_ERR_DUPLICATE = 6,
    UCI_ERR_UNKNOWN = 7,
    UCI_ERR_LAST = 8,
};
int ovraUciConfig_w_init();
int ovraUciConfig_w_set_config_dir(std::string_view dir);
int ovraUciConfig_w_update(std::string_view package);
// On UCI_OK `out` holds the value, cut to `size` - 1 bytes as the caller's buffer would.
int ovraUciConfig_w_get_value(std::string_view path, std::string& out, size_t size);
int ovraUciConfig_w_set_value(std::string_view path, std::string_view value);
int ovraUciConfig_w_commit(std::string_view package);
int ovraUciConfig_w_exit();

// Shared library.
int doSystem(const std::string& command);
int _eval(const std::vector<std::string>& argv, const std::string& outfile, int timeout, int* pid);
std::string getHWVersion();
uint32_t sys_uptime();
int IsTimeout(uint32_t start, uint32_t seconds);
std::tm* my_localtime_r(const time_t* when, std::tm* out);
void trim_(std::string& text);
void strlwr(std::string& text);
std::string itoa(long number);
void load_ac_mac_list();
int get_mac_status(const unsigned char mac[6]);
int shared_get_mtd_index(std::string_view name);
void hook_soapc(int request);
int get_check_fw_responseCode();

namespace platform {

// Clock and randomness of the installed backend.
int64_t wall_time();
void sleep_seconds(unsigned seconds);
void seed_random(unsigned seed);
int random_number();

}  // namespace platform
