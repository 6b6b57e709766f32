#include "mesh/voice_analytics.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/fs.h"
#include "platform/platform.h"

namespace {

constexpr const char* kFunction = "create_satellite_voice_obj";

// atoi as the router's C library computes it: leading blanks, an optional sign,
// decimal digits; anything else ends the number; out-of-range values saturate.
int decimal_value(const std::string& text) {
    long v = std::strtol(text.c_str(), nullptr, 10);
    if (v > INT_MAX) return INT_MAX;
    if (v < INT_MIN) return INT_MIN;
    return static_cast<int>(v);
}

std::string sat_key(int sat, std::string_view stem) {
    return "soapc_sat_" + std::to_string(sat) + "_" + std::string(stem);
}

// Keys of the analytics the SOAP client fetched for satellite `sat`.
std::string analytic_key(int sat, std::string_view stem) {
    return sat_key(sat, "AVSAnalytic_GetAvsAnalytic_") + std::string(stem);
}

// Record 0 reads the keys as they are; record r of 1 or more reads them with "_<r>".
std::string record_key(int sat, std::string_view stem, int record) {
    std::string key = analytic_key(sat, stem);
    if (record > 0) key += "_" + std::to_string(record);
    return key;
}

std::string media_key(int sat, int record, int media, std::string_view field) {
    return analytic_key(sat, "rec_" + std::to_string(record) + "_media_" + std::to_string(media) +
                                 "_" + std::string(field));
}

// The SOAP client fills these keys for the satellite it was asked about.
void ask_soap_client(int sat, std::string_view action) {
    ovraNvramConfig_set("soapc_sat_index", std::to_string(sat));
    setSoapRouterFire(action);
}

struct RecordCounter {
    const char* member;
    const char* stem;
};
// The member names are the published ones ("triggerCountbyButton",
// "tokenRefeshFailedCount"); the keys are spelt as the SOAP client writes them.
constexpr std::array<RecordCounter, 9> kRecordCounters = {{
    {"recordHour", "RecordHour"},
    {"triggerCountByVoice", "TriggerCountByVoice"},
    {"triggerCountbyButton", "TriggerCountByButton"},
    {"speechRecognitionFailCount", "SpeechRecognitionFailCount"},
    {"avsDisconnectedCount", "AvsDisconnectedCount"},
    {"tokenRefeshFailedCount", "TokenRefreshFailedCount"},
    {"generalEventCount", "GeneralEventCount"},
    {"todoListCount", "TodoListCount"},
    {"alertCount", "AlertCount"},
}};

// "recordDate" from a "%d-%d-%d" text; the parts that do not scan stay 0. The key and
// the numbers read go to the console for whoever follows the satellite's clock.
json::Ptr record_date(int sat, int record) {
    std::string key = record_key(sat, "RecordDate", record);
    std::string text = ovraNvramConfig_get(key);
    platform::append_console("nv " + key + " = " + text + "\n");
    std::array<int, 3> date{};
    std::sscanf(text.c_str(), "%d-%d-%d", &date[0], &date[1], &date[2]);
    char line[96];
    std::snprintf(line, sizeof line, "year_int =%d, month_int=%d, day_int=%d\n", date[0], date[1],
                  date[2]);
    platform::append_console(line);
    return json::int_array(date);
}

json::Ptr media_element(int sat, int record, int media) {
    json::Ptr item = json::object();
    if (!item) return nullptr;
    json::add_string(item.get(), "mediaProvider",
                     ovraNvramConfig_get(media_key(sat, record, media, "MediaProvider")));
    json::add_string(item.get(), "mediaPlayPeriod",
                     ovraNvramConfig_get(media_key(sat, record, media, "MediaPlayPeriod")));
    return item;
}

// What one body may still take, shared by all its satellites in index order.
struct BodyBudget {
    int records = kMaxVoiceRecordsPerBody;
    int media = kMaxVoiceMediaPerBody;
};

// A record announcing media entries lists them, indices from 1. A record announcing
// none still reports the one entry the SOAP client may have left under the record
// count (not the record index) and the satellite's running media index, which moves
// on with every such look-up.
bool add_media(cJSON* rec, int sat, int record, int record_count, int media_count, int& next_media,
               BodyBudget& budget) {
    if (media_count >= 1) {
        json::Ptr list = json::array();
        if (!list) return false;
        int shown = std::min({media_count, kMaxVoiceMedia, budget.media});
        budget.media -= shown;
        for (int m = 1; m <= shown; ++m) {
            json::Ptr item = media_element(sat, record, m);
            if (!item) return false;
            json::add_to_array(list.get(), std::move(item));
        }
        json::add(rec, "mediaRecord", std::move(list));
        return true;
    }
    if (media_count != 0 || budget.media == 0) return true;
    int media = next_media++;
    if (ovraNvramConfig_get(media_key(sat, record_count, media, "MediaProvider")).empty())
        return true;
    json::Ptr list = json::array();
    json::Ptr item = media_element(sat, record_count, media);
    if (!list || !item) return false;
    json::add_to_array(list.get(), std::move(item));
    json::add(rec, "mediaRecord", std::move(list));
    --budget.media;
    return true;
}

json::Ptr record_element(int sat, int record, int record_count, int& next_media,
                         BodyBudget& budget) {
    json::Ptr rec = json::object();
    json::Ptr date = record_date(sat, record);
    if (!rec || !date) return nullptr;
    cJSON* o = rec.get();
    json::add(o, "recordDate", std::move(date));
    for (const RecordCounter& c : kRecordCounters)
        json::add_number(o, c.member,
                         decimal_value(ovraNvramConfig_get(record_key(sat, c.stem, record))));
    int media_count = decimal_value(ovraNvramConfig_get(record_key(sat, "MediaCount", record)));
    json::add_number(o, "mediaCount", media_count);
    std::printf("%s(%d):mediaCount:%d\n", kFunction, 11323, media_count);
    if (!add_media(o, sat, record, record_count, media_count, next_media, budget)) return nullptr;
    return rec;
}

// Fills the element of a registered satellite: identity, then its records.
bool fill_device(cJSON* dev, int sat, BodyBudget& budget) {
    ask_soap_client(sat, kSoapActionAvsAnalytic);
    json::add_string(dev, "macAddress", ovraNvramConfig_get(analytic_key(sat, "MAC")));
    json::add_string(dev, "serialNumber", ovraNvramConfig_get(analytic_key(sat, "SerialNumber")));
    std::string number = ovraNvramConfig_get(analytic_key(sat, "RecordNumber"));
    json::add_string(dev, "numberOfRecord", number);
    int record_count = decimal_value(number);
    std::printf("%s(%d):recordCount:%d\n", kFunction, 11196, record_count);
    if (record_count <= 0) return true;
    json::Ptr records = json::array();
    if (!records) return false;
    int shown = std::min({record_count, kMaxVoiceRecords, budget.records});
    budget.records -= shown;
    int next_media = 1;
    for (int r = 0; r < shown; ++r) {
        json::Ptr rec = record_element(sat, r, record_count, next_media, budget);
        if (!rec) return false;
        json::add_to_array(records.get(), std::move(rec));
    }
    json::add(dev, "record", std::move(records));
    return true;
}

}  // namespace

void setSoapRouterFire(std::string_view action) {
    // The client takes one request at a time: give the one in hand a moment to finish.
    for (int sleeps = 0; sleeps < 5 && ovraNvramConfig_get("soapc_sat_router_fire") != "0";
         ++sleeps)
        platform::sleep_seconds(1);
    ovraNvramConfig_set("soapc_sat_router_fire", action);
    platform::sleep_seconds(4);
    for (int budget = 9; budget > 0;) {
        --budget;
        if (ovraNvramConfig_get("soapc_action") == "0") return;
        platform::sleep_seconds(1);
    }
}

json::Ptr create_satellite_voice_obj(Daemon&) {
    int satellites = decimal_value(ovraNvramConfig_get("soapc_sat_access_count"));
    if (satellites > kMaxVoiceSatellites) satellites = kMaxVoiceSatellites;
    json::Ptr obj = json::object();
    json::Ptr devices = json::array();
    if (!obj || !devices) {
        json::report_no_memory();
        return nullptr;
    }
    int supporting = 0;
    BodyBudget budget;
    for (int i = 0; i < satellites; ++i) {
        if (ovraNvramConfig_get(sat_key(i, "DeviceInfo_GetSupportFeatureListXML_AvsSupport"))
                .empty())
            continue;
        ++supporting;
        json::Ptr dev = json::object();
        if (!dev) {
            json::report_no_memory();
            return nullptr;
        }
        cJSON* element = dev.get();
        json::add_to_array(devices.get(), std::move(dev));
        ask_soap_client(i, kSoapActionVoiceControlStatus);
        std::string reg =
            ovraNvramConfig_get(sat_key(i, "VoiceControl_GetVoiceControlStatus_AvsRegStatus"));
        std::printf("[%s,%d]satRegStatus:%s\n", kFunction, 11174, reg.c_str());
        // Only a satellite registered with the voice service has analytics to fetch.
        if (reg != "1") continue;
        if (!fill_device(element, i, budget)) {
            json::report_no_memory();
            return nullptr;
        }
    }
    json::add_number(obj.get(), "numberOfDevice", supporting);
    json::add(obj.get(), "device", std::move(devices));
    return obj;
}
