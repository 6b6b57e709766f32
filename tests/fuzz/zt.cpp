// The answer of the zt configuration tool.
#include "platform/zt.h"

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const std::string input = fuzz::text(data, size);
    fuzz::every_command_outputs(*fake, input);
    std::string value;
    (void)ovraZTConfig_get("qagentcfg[0].q_agent_id", value);
    (void)ovraZTConfig_match("qagentcfg[0].q_agent_id", "1");
    return 0;
}
