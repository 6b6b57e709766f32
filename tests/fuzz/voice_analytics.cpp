// The SOAP client's voice-service answers in nvram ("soapc_sat_<i>_..."), one
// "key=value" per input line, as the voice analytics body reads them after its
// requests; the hand-shake keys (soapc_sat_router_fire, soapc_action) come from the
// input as well, so every way the wait can end is tried.
#include "mesh/voice_analytics.h"

#include "core/daemon.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    fuzz::nvram_lines(*fake, fuzz::text(data, size));
    Daemon d;
    json::Ptr body = create_satellite_voice_obj(d);
    fuzz::require(body != nullptr, "the voice body is built");
    const cJSON* devices = json::get(body.get(), "device");
    const cJSON* count = json::get(body.get(), "numberOfDevice");
    fuzz::require(cJSON_IsArray(devices) && cJSON_IsNumber(count), "count and device list");
    fuzz::require(cJSON_GetArraySize(devices) == count->valueint, "one element per device");
    fuzz::require(count->valueint <= kMaxVoiceSatellites, "at most the satellite cache");
    int records = 0;
    int media = 0;
    const cJSON* dev = nullptr;
    cJSON_ArrayForEach(dev, devices) {
        const cJSON* rec = nullptr;
        cJSON_ArrayForEach(rec, json::get(dev, "record")) {
            ++records;
            media += cJSON_GetArraySize(json::get(rec, "mediaRecord"));
        }
    }
    fuzz::require(records <= kMaxVoiceRecordsPerBody, "at most a week of records a body");
    fuzz::require(media <= kMaxVoiceMediaPerBody, "at most as many media entries a body");
    return 0;
}
