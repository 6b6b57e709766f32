// The Wi-Fi event batch handed over by the Wi-Fi daemon.
#include "fuzz_support.h"
#include "report/event_files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    fake->mkdir("/tmp/telem_json_dir");
    fake->write(kWifiEventFile, fuzz::text(data, size));
    EventMember member = read_wifi_event_member();
    (void)member.name();
    json::Ptr taken = member.take();
    return 0;
}
