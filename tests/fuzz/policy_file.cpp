// The analytics policy file, as the cloud side (or anyone) may leave it.
#include "core/daemon.h"
#include "fuzz_support.h"
#include "report/policy.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    fake->write(kPolicyFile, fuzz::text(data, size));
    Daemon d;
    load_DRI_interval(d, 1);
    load_DRI_interval(d, 0);
    dbgLogsPolicy("webui");
    read_wifi_event_rule(d.policy, kPolicyFile);
    merge_wifi_event_rule(d.policy);
    return 0;
}
