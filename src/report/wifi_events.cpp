#include "report/wifi_events.h"

#include <cstdio>
#include <string>
#include <string_view>

#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"
#include "report/event_files.h"
#include "report/policy.h"
#include "report/publish.h"
#include "report/report_files.h"

namespace {
// The console gets the first 39 characters of this line only: it stops at "wifiEvent
// lo", without the newline; the move line written next begins with its own newline.
constexpr std::string_view kHandOverConsoleLine =
    std::string_view("[TELEM_WIFI]: need to send wifiEvent log\n").substr(0, 39);
}  // namespace

void hand_over_wifi_output() {
    platform::append_console(kHandOverConsoleLine);
    doSystem(std::string("cat ") + kWifiOutputFile);
    std::string mv = std::string("mv ") + kWifiOutputFile + " " + kWifiEventFile;
    platform::append_console("\n[TELEM_WIFI]: " + mv + "\n");
    doSystem(mv);
}

WifiBatch collect_wifi_event_batch(Daemon& d, cJSON* root, uint32_t now, uint32_t first_delay,
                                   bool force) {
    WifiBatch batch;
    merge_wifi_event_rule(d.policy);
    ScheduleRow& timer = d.policy.rows[ROW_WIFI_EVENT_SEND];
    if (timer.last_update == 0) {
        timer.last_update = now;
        batch.due = force;
    } else {
        uint32_t elapsed = now - timer.last_update;
        batch.due = (elapsed > d.policy.wifi_event_send_interval && timer.trigger == 0) ||
                    (elapsed > first_delay && timer.trigger == 1 && !d.loop.skip_pass) || force;
    }
    if (batch.due) {
        timer.last_update = now;
        timer.trigger = 0;
        hand_over_wifi_output();
    }
    if (platform::file_exists(kWifiEventFile)) {
        EventMember events = read_wifi_event_member();
        if (events && events.name()) {
            std::string name = events.name();
            if (json::Ptr body = events.take()) {
                json::add(root, name.c_str(), std::move(body));
                batch.body = true;
            }
        }
        platform::remove_file(kWifiEventFile);
    }
    return batch;
}

namespace {

std::string waiting_file(const std::string& hw, int index) {
    return std::string(kWifiEventDir) + "/telem_wifi_" + hw + "_" + std::to_string(index) + ".json";
}

// Regular files of the waiting directory whose names hold ".json".
int count_waiting_files() {
    auto names = platform::list_dir(kWifiEventDir);
    if (!names) return 0;
    int count = 0;
    for (const auto& name : *names) {
        std::string path = std::string(kWifiEventDir) + "/" + name;
        if (name.find(".json") != std::string::npos && platform::is_regular_file(path)) ++count;
    }
    return count;
}

}  // namespace

bool queue_wifi_event_report(Daemon& d, bool body) {
    std::string hw = getHWVersion();
    int count = count_waiting_files();
    if (body) {
        if (count >= d.policy.wifi_event_max_number) {
            // Only the oldest waiting file makes room for the new one.
            for (int i = 0; i <= 65535; ++i) {
                std::string path = waiting_file(hw, i);
                if (!platform::file_exists(path)) continue;
                platform::remove_file(path);
                std::printf("[%s %d] Exceed wifiEventMaxNumber, remove: %s\n\n",
                            "create_device_json", 12514, path.c_str());
                count += i;
                break;
            }
        }
        copy_report_to_type_file(3);
        shell::run(shell::compose(
            256, "cat /tmp/telem_json_dir/telem_%s.json > %s/telem_wifi_%s_%d.json",
            shell::word(hw), shell::constant(kWifiEventDir), shell::word(hw), count));
        return true;
    }
    if (count == 0) {
        std::printf("\n[WIFI RA] Group 3 : No files to be sent.");
        return false;
    }
    return true;
}
