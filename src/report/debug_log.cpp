#include "report/debug_log.h"

#include <cstdio>
#include <string>

#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"
#include "platform/zt.h"
#include "report/envelope.h"
#include "report/policy.h"

namespace {

constexpr const char* kArg1Key = "rae_satNotify_first_arg1";
constexpr const char* kArg2Key = "rae_satNotify_first_arg2";
constexpr const char* kDetectWanArg2Key = "detectWANType_dbgarg2";
constexpr const char* kNoEvent = "No event sending";
constexpr int kDalFolderTries = 3;
constexpr unsigned kDalFolderRetrySeconds = 10;
constexpr size_t kCommandBuffer = 512;

json::Ptr time_stamp_obj() {
    int date[3] = {0, 0, 0};
    int time[3] = {0, 0, 0};
    get_local_date_time(date, time);
    json::Ptr stamp = json::object();
    json::add(stamp.get(), "date", json::int_array(std::span<const int>(date, 3)));
    json::add(stamp.get(), "time", json::int_array(std::span<const int>(time, 3)));
    return stamp;
}

// The document around one entry; `entry` is filled by the variant.
json::Ptr dbglog_document(const std::string& epoch, json::Ptr entry) {
    json::Ptr doc = json::object();
    json::Ptr info = json::object();
    json::Ptr logs = json::array();
    if (!doc || !info || !logs || !entry) {
        json::report_no_memory();
        return nullptr;
    }
    json::add_number(info.get(), "eventType", kDbgLogEventType);
    json::add(info.get(), "timeStamp", time_stamp_obj());
    json::add_string(info.get(), "epochTimeStamp", epoch);
    json::add_string(info.get(), "ntpResult", ntp_result());
    json::add(doc.get(), "publishEventInfo", std::move(info));
    json::add_to_array(logs.get(), std::move(entry));
    json::add(doc.get(), "dbgLogs", std::move(logs));
    return doc;
}

json::Ptr entry_head(const DbgLogFields& f, const std::string& epoch) {
    json::Ptr entry = json::object();
    if (!entry) return nullptr;
    json::add_string(entry.get(), "dbgEpochTimeStamp", epoch);
    json::add_string(entry.get(), "dbglogType", f.type);
    json::add_string(entry.get(), "dbglevel", f.level);
    json::add_string(entry.get(), "dbgSource", f.source);
    json::add_string(entry.get(), "dbgSummary", f.summary);
    return entry;
}

std::string epoch_text() {
    return std::to_string(platform::wall_time());
}

std::string status_text(const char* key) {
    std::string value;
    ovraZTConfig_get(key, value);
    if (value.size() > kSatStatusMax) value.resize(kSatStatusMax);
    return value;
}

void send_sat_event(const std::string& summary, const std::string& arg1, const std::string& arg2) {
    ovraNvramConfig_save();
    json::Ptr setup;
    if (platform::file_exists(kSatelliteSetupFile))
        if (auto text = platform::read_file(kSatelliteSetupFile)) setup = json::parse(*text);
    DbgLogFields f{"satNotify", "Debug", "Device", summary, "", arg1, arg2};
    json::Ptr doc = create_dbglog_msg_event(f, std::move(setup));
    if (doc) move_dbglog_file(doc.get(), "satNotify", "");
}

bool is_soap_api(const std::string& name) {
    return name == "DetectWANType" || name == "CheckInternetStatus" ||
           name == "RunNetworkDiagnostics";
}

void soap_result_event(const std::string& name) {
    DbgLogFields f;
    f.level = "Debug";
    if (is_soap_api(name)) {
        f.type = "SOAP API";
        f.source = "Device";
        f.message = name;
        if (name == "DetectWANType") {
            std::string arg2 = ovraNvramConfig_get(kDetectWanArg2Key);
            if (!arg2.empty()) {
                if (arg2.size() > kDetectWanArg2Max) arg2.resize(kDetectWanArg2Max);
                f.arg2 = arg2;
                ovraNvramConfig_unset(kDetectWanArg2Key);
            }
        }
    }
    auto text = platform::read_file(std::string(kSoapResultDir) + "/" + name);
    if (!text) return;
    json::Ptr result = json::parse(*text);
    soap_result_check(result.get(), name, f.summary);
    json::Ptr doc = create_dbglog_arg_event(f, std::move(result));
    if (doc) move_dbglog_file(doc.get(), "", name);
}

}  // namespace

std::string ntp_result() {
    if (ovraNvramConfig_get("ntp_sync_status") == "0") return "yes";
    if (ovraNvramConfig_get("time_state") == "Cloud") return "Cloud";
    return "no";
}

json::Ptr create_dbglog_msg_event(const DbgLogFields& f, json::Ptr message) {
    std::string epoch = epoch_text();
    json::Ptr entry = entry_head(f, epoch);
    if (entry) {
        json::add(entry.get(), "dbgMsg", std::move(message));
        json::add_string(entry.get(), "dbgArg1", f.arg1);
        json::add_string(entry.get(), "dbgArg2", f.arg2);
    }
    return dbglog_document(epoch, std::move(entry));
}

json::Ptr create_dbglog_arg_event(const DbgLogFields& f, json::Ptr arg1) {
    std::string epoch = epoch_text();
    json::Ptr entry = entry_head(f, epoch);
    if (entry) {
        json::add_string(entry.get(), "dbgMsg", f.message);
        json::add(entry.get(), "dbgArg1", std::move(arg1));
        json::add_string(entry.get(), "dbgArg2", f.arg2);
    }
    return dbglog_document(epoch, std::move(entry));
}

std::string get_dal_ra_folder() {
    std::string folder;
    for (int attempt = 1; attempt <= kDalFolderTries; ++attempt) {
        ovraZTConfig_get(kDalRaFolderKey, folder);
        if (!folder.empty()) return folder;
        if (attempt < kDalFolderTries) platform::sleep_seconds(kDalFolderRetrySeconds);
    }
    return kDefaultDalRaFolder;
}

int move_dbglog_file(const cJSON* doc, std::string_view source, std::string_view file_name) {
    if (!doc) return -1;
    if (!source.empty() && dbgLogsPolicy(std::string(source).c_str()) != 1) return -1;
    if (!platform::write_file(kDbgLogStagingFile, json::print_string(doc))) return -1;
    std::string folder = get_dal_ra_folder();
    if (!platform::file_exists(folder)) {
        shell::run(shell::compose(kCommandBuffer, "mkdir -p %s", shell::path(folder)));
        doSystem("killall telem_heartbeat");
    } else if (auto entries = platform::list_dir(folder); entries && !entries->empty()) {
        // Stopping the heartbeat makes it restart and pick the waiting events up.
        doSystem("killall telem_heartbeat");
    }
    auto move =
        file_name.empty()
            ? shell::compose(kCommandBuffer, "mv %s %s/", shell::constant(kDbgLogStagingFile),
                             shell::path(folder))
            : shell::compose(kCommandBuffer, "mv %s %s/%s", shell::constant(kDbgLogStagingFile),
                             shell::path(folder), shell::word(file_name));
    if (!move) return -1;
    shell::run(move);
    return 0;
}

void soap_result_check(const cJSON* result, std::string_view api, std::string& out) {
    const char* member =
        api == "RunNetworkDiagnostics" ? "completeSOAPResponseCode" : "ReponsesCode ";
    const char* code = result ? json::get_string(result, member) : nullptr;
    std::string_view text = code ? code : "";
    out = (code && (text == "0" || text == "000" || text == "OK")) ? "Success" : "Fail";
}

void satNotify() {
    enum class Incomplete { Unchanged, FirstSeen, Changed } noted = Incomplete::Unchanged;
    std::string incomplete = status_text("SatelliteSetupInfo.incompleteSatSetupEventStatus");
    if (!incomplete.empty()) {
        if (!ovraNvramConfig_exist(kArg2Key)) {
            ovraNvramConfig_set(kArg2Key, incomplete);
            noted = Incomplete::FirstSeen;
        } else if (ovraNvramConfig_get(kArg2Key) != incomplete) {
            ovraNvramConfig_set(kArg2Key, incomplete);
            noted = Incomplete::Changed;
        }
    }
    const std::string& arg2 = incomplete;
    std::string complete = status_text("SatelliteSetupInfo.completeSatSetupEventStatus");
    if (incomplete.empty() && complete.empty()) return;

    std::string arg1;
    if (!complete.empty()) {
        if (!ovraNvramConfig_exist(kArg1Key)) {
            ovraNvramConfig_set(kArg1Key, complete);
            send_sat_event(kNoEvent, arg1, arg2);
            return;
        }
        arg1 = complete;
        if (ovraNvramConfig_get(kArg1Key) != complete) {
            ovraNvramConfig_set(kArg1Key, complete);
            send_sat_event("Sat complete event sending: " + arg1, arg1, arg2);
            return;
        }
    }
    if (noted == Incomplete::Changed)
        send_sat_event("Sat incomplete event sending: " + arg2, arg1, arg2);
    else if (noted == Incomplete::FirstSeen)
        send_sat_event(kNoEvent, arg1, arg2);
}

void soap_api_event() {
    auto entries = platform::list_dir(kSoapResultDir);
    if (!entries) {
        std::perror("opendir");
        return;
    }
    for (const auto& name : *entries) soap_result_event(name);
    doSystem(*shell::compose(kCommandBuffer, "rm -rf %s/*", shell::constant(kSoapResultDir)));
}
