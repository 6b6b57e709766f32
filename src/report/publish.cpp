#include "report/publish.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/numbers.h"
#include "platform/platform.h"
#include "platform/shell.h"
#include "report/install_event_id.h"
#include "report/report_files.h"
#include "state/health_alarms.h"

namespace {

constexpr size_t kCommandSize = 512;
constexpr size_t kLogLineSize = 128;  // lines of at most 127 characters
constexpr size_t kPurgePathSize = 384;
constexpr int kRetriesPerCycle = 4;
constexpr int kWifiRadioSlots = 3;

enum class Publisher { None, AwsIot, Mcs };
enum class Verdict { None, Failure, Success };

Publisher publisher_of(const std::string& report_method) {
    if (report_method == "IoT") return Publisher::AwsIot;
    if (report_method == "MCS") return Publisher::Mcs;
    return Publisher::None;
}

RetryState* retry_of(PublishState& p, int code) {
    if (code < 0 || code >= kEventCodes) return nullptr;
    return &p.retry[static_cast<size_t>(code)];
}

// The stage may be switched in nvram between reports: production goes to class 1, the
// test back ends to class 2, and an unknown stage keeps what the policy chose.
void refresh_stage_class(Policy& policy) {
    const std::string stage = ovraNvramConfig_get("RA_stage");
    if (stage.empty() || stage == "prod")
        policy.stage_class = 1;
    else if (stage == "dev" || stage == "qa")
        policy.stage_class = 2;
}

std::optional<std::string> awsiot_command(const Daemon& d, const std::string& hw, int code,
                                          bool wifi_directory) {
    if (wifi_directory)
        return shell::compose(kCommandSize,
                              "LD_LIBRARY_PATH=/usr/share %s/awsiotpub -i %s -e 1 -d %s -t "
                              "\"analytics/\" -o %d >%s",
                              shell::path(d.publisher_dir), shell::word(d.info.mac),
                              shell::constant(kWifiEventDir), d.policy.stage_class,
                              shell::constant(kPublishLog));
    return shell::compose(kCommandSize,
                          "LD_LIBRARY_PATH=/usr/share %s/awsiotpub -i %s -f "
                          "/tmp/telem_json_dir/telem_%s_%d.json -t \"analytics/\" -o %d >%s",
                          shell::path(d.publisher_dir), shell::word(d.info.mac), shell::word(hw),
                          code, d.policy.stage_class, shell::constant(kPublishLog));
}

std::optional<std::string> mcs_command(const Daemon& d, int code) {
    return shell::compose(kCommandSize, "%s/%s -g %d -f %s", shell::path(d.publisher_dir),
                          shell::constant("mcs_publish"), code, shell::constant(kPublishLog));
}

// Shows what is about to be sent on the console.
void show_on_console(const std::string& hw, int code, bool wifi_directory) {
    if (wifi_directory) {
        platform::append_console("\n[TELEM_WIFI show directory events]\n");
        shell::run(
            shell::compose(kCommandSize, "ls %s > /dev/console", shell::constant(kWifiEventDir)));
        shell::run(shell::compose(kCommandSize, "cat %s/* > /dev/console",
                                  shell::constant(kWifiEventDir)));
        return;
    }
    shell::run(shell::compose(kCommandSize,
                              "cat /tmp/telem_json_dir/telem_%s_%d.json > /dev/console",
                              shell::word(hw), code));
}

void back_up_report(const Daemon& d, const std::string& hw, int code) {
    if (ovraNvramConfig_match("telem_json_backup", "1") != 1) return;
    std::printf("backup JSON file ==> %s//telem_%s.json_%s\n", kBackupDir, hw.c_str(),
                d.report_stamp.c_str());
    shell::run(shell::compose(kCommandSize,
                              "cp /tmp/telem_json_dir/telem_%s_%d.json %s/telem_%s.json_%s",
                              shell::word(hw), code, shell::constant(kBackupDir), shell::word(hw),
                              shell::word(d.report_stamp)));
}

bool contains(const std::string& line, const char* part) {
    return line.find(part) != std::string::npos;
}

// awsiotpub: the first line naming "ERROR" or "Publish done" decides; a log with
// neither (or none at all) decides nothing.
Verdict read_awsiot_log() {
    const auto lines = platform::read_lines(kPublishLog, kLogLineSize);
    if (!lines) return Verdict::None;
    for (const std::string& line : *lines) {
        if (contains(line, "ERROR")) return Verdict::Failure;
        if (contains(line, "Publish done")) return Verdict::Success;
    }
    return Verdict::None;
}

// mcs_publish reports only failures; no failure line (or no log) is a success.
Verdict read_mcs_log() {
    const auto lines = platform::read_lines(kPublishLog, kLogLineSize);
    if (!lines) return Verdict::Success;
    for (const std::string& line : *lines)
        if (contains(line, "X-Error") || contains(line, "Couldn't resolve"))
            return Verdict::Failure;
    return Verdict::Success;
}

void show_publish_log() {
    shell::run(shell::compose(kCommandSize, "cat %s", shell::constant(kPublishLog)));
}

// Counts a failed upload in the retry cycles: three re-sends of the same file, then a
// fresh report with three re-sends of its own. The Wi-Fi event batch has no second
// cycle: it goes straight back to the first.
void count_awsiot_failure(RetryState& r, int code) {
    if (r.phase == 1) {
        if (++r.second == kRetriesPerCycle) {
            r.second = 0;
            r.phase = 0;
        }
        return;
    }
    if (++r.first == kRetriesPerCycle) {
        r.first = 0;
        r.phase = code == kWifiEventReportCode ? 0 : 1;
    }
}

// A report that did not go out asks for the next one to be sent: "0" becomes "1".
void rearm_report_key(int code) {
    const char* key = code == 4 ? "RA_useroption_report" : code == 5 ? "RA_voice_report" : nullptr;
    if (key && ovraNvramConfig_match(key, "0") == 1) ovraNvramConfig_set(key, "1");
}

void count_in_nvram(const char* key) {
    const std::string current = ovraNvramConfig_get(key);
    // Saturating: a count at INT_MAX (or a value written beyond it) stays INT_MAX.
    const int next =
        current.empty() ? 1 : numbers::increment_saturated(numbers::parse_int(current));
    char text[16];
    std::snprintf(text, sizeof text, "%d", next);
    ovraNvramConfig_set(key, text);
}

void record_awsiot_failure(Daemon& d, int code) {
    std::printf("\n[RAE]awsiot Publish failed !!");
    platform::append_console("\nawsiot Publish failed !!\n");
    show_publish_log();
    if (RetryState* r = retry_of(d.publish, code)) count_awsiot_failure(*r, code);
    rearm_report_key(code);
    count_in_nvram("awsiot_retry_count");
}

void clear_retry(Daemon& d, int code) {
    if (RetryState* r = retry_of(d.publish, code)) {
        *r = RetryState{};
        d.loop.backoff_wait[static_cast<size_t>(code)] = 0;
    }
}

void note_first_publish(Daemon& d, int code) {
    if (!d.publish.first_publish_marker) return;
    d.publish.first_publish_marker = 0;
    const time_t now = static_cast<time_t>(platform::wall_time());
    std::tm t{};
    my_localtime_r(&now, &t);
    char when[64];
    std::snprintf(when, sizeof when, "%d/%d/%d %02d:%02d:%02d", t.tm_year + 1900, t.tm_mon + 1,
                  t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
    char line[160];
    std::snprintf(line, sizeof line, "awsiot first Publish success for group %d at %s!!\n", code,
                  when);
    platform::append_console(line);
}

int wifi_radio_count(const Daemon& d) {
    int radios = 0;
    for (int slot = 0; slot < kWifiRadioSlots; ++slot)
        if (!d.ifnames[static_cast<size_t>(slot)].empty()) ++radios;
    return radios;
}

// The routine report has carried the connectivity counts, the radio temperature
// extremes and the management flags to the cloud: start them afresh.
void clear_reported_router_state(Daemon& d) {
    std::printf("clear  gateway_fail_count!!");
    d.info.gateway_fail_count = 0;
    d.info.last_inconclusive_test = 0;
    d.info.internet_fail_count = 0;
    clear_retry(d, kRoutineReportCode);
    const int radios = wifi_radio_count(d);
    for (int radio = 0; radio < radios; ++radio) {
        char key[64];
        std::snprintf(key, sizeof key, "ra_otp_wifi%d_highestTemp", radio);
        ovraNvramConfig_unset(key);
        std::snprintf(key, sizeof key, "ra_otp_wifi%d_lowestTemp", radio);
        ovraNvramConfig_unset(key);
        clear_radio_temperature_statistics(d, radio);
    }
    std::printf("Clear manageByGui, manageByApp after publish ok !!!!");
    ovraNvramConfig_set("manage_by_gui", "0");
    ovraNvramConfig_set("manage_by_app", "0");
}

void clear_sent_wifi_events() {
    purge_directory(kWifiEventDir);
    char line[192];
    std::snprintf(line, sizeof line, "[%s %d] Publish done, remove all file on %s\n\n",
                  "create_device_json", 12881, kWifiEventDir);
    platform::append_console(line);
}

void record_awsiot_success(Daemon& d, int code) {
    advance_install_event_id();
    std::printf("\n[RAE]awsiot Publish success !!");
    platform::append_console("\nawsiot Publish success !!\n");
    note_first_publish(d, code);
    switch (code) {
        case kRoutineReportCode:
            clear_reported_router_state(d);
            break;
        case kWifiEventReportCode:
            clear_retry(d, code);
            clear_sent_wifi_events();
            break;
        case 4:
            clear_retry(d, code);
            ovraNvramConfig_set("RA_useroption_report", "1");
            break;
        case 5:
            clear_retry(d, code);
            ovraNvramConfig_set("RA_voice_report", "1");
            break;
        default:
            clear_retry(d, code);
            break;
    }
}

void record_mcs_failure(Daemon& d, int code) {
    std::printf("\n[RAE]MCS Publish failed !!");
    show_publish_log();
    if (RetryState* r = retry_of(d.publish, code)) {
        if (++r->first == kRetriesPerCycle) r->first = 0;
    }
}

void record_mcs_success(Daemon& d, int code) {
    std::printf("\n[RAE]MCS Publish success !!");
    if (RetryState* r = retry_of(d.publish, code)) r->first = 0;
    if (code == 4) ovraNvramConfig_set("RA_useroption_report", "1");
    if (code == 5) ovraNvramConfig_set("RA_voice_report", "1");
}

}  // namespace

bool retry_pending(const PublishState& p, int code) {
    if (code < 0 || code >= kEventCodes) return false;
    const RetryState& r = p.retry[static_cast<size_t>(code)];
    return r.first != 0 || r.second != 0;
}

bool any_retry_pending(const PublishState& p) {
    for (int code = 0; code < kEventCodes; ++code)
        if (retry_pending(p, code)) return true;
    return false;
}

bool any_backing_off(const PublishState& p) {
    for (const RetryState& r : p.retry)
        if (r.phase == 1) return true;
    return false;
}

void backoff_tick(Daemon& d) {
    for (size_t code = 0; code < d.publish.retry.size(); ++code) {
        RetryState& r = d.publish.retry[code];
        if (r.phase != 1) continue;
        int& wait = d.loop.backoff_wait[code];
        if (++wait >= kBackoffWaitsBeforeRetry) {
            r.second = 1;
            wait = 0;
        }
    }
}

int purge_directory(std::string_view dir) {
    const auto names = platform::list_dir(dir);
    if (!names) {
        std::perror("Failed to open directory");
        return -1;
    }
    const std::string base(dir);
    for (const std::string& name : *names) {
        char path[kPurgePathSize];
        std::snprintf(path, sizeof path, "%s/%s", base.c_str(), name.c_str());
        platform::remove_file(path);
    }
    return 0;
}

void publish_report(Daemon& d, int code, bool wifi_directory) {
    refresh_stage_class(d.policy);
    const Publisher publisher = publisher_of(d.policy.report_method);
    if (publisher == Publisher::None) return;

    const std::string hw = getHWVersion();
    // Composed first: a line refused for an unsafe value publishes nothing, so nothing
    // else of this report runs either and no outcome is recorded.
    const std::optional<std::string> command = publisher == Publisher::AwsIot
                                                   ? awsiot_command(d, hw, code, wifi_directory)
                                                   : mcs_command(d, code);
    if (!command) return;

    show_on_console(hw, code, wifi_directory);
    if (publisher == Publisher::AwsIot) std::printf("cmd=%s\n", command->c_str());
    shell::run(command);
    back_up_report(d, hw, code);

    if (publisher == Publisher::AwsIot) {
        switch (read_awsiot_log()) {
            case Verdict::Failure:
                record_awsiot_failure(d, code);
                break;
            case Verdict::Success:
                record_awsiot_success(d, code);
                break;
            case Verdict::None:
                break;
        }
        return;
    }
    if (read_mcs_log() == Verdict::Failure)
        record_mcs_failure(d, code);
    else
        record_mcs_success(d, code);
}
