// The log of the publisher, /tmp/ra_pub_log.txt, after an upload.
#include "core/daemon.h"
#include "fuzz_support.h"
#include "report/publish.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const std::string input = fuzz::text(data, size);
    fuzz::every_command_outputs(*fake, input);
    fake->write("/tmp/ra_pub_log.txt", input);
    Daemon d;
    d.info.mac = "AABBCC001122";
    d.policy.report_method = "IoT";
    publish_report(d, 1);
    publish_report(d, 3, true);
    d.policy.report_method = "MCS";
    publish_report(d, 2);
    return 0;
}
