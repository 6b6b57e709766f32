// The mesh stack's topology dump (/tmp/net_scan.log): the parser that turns it into
// the satellite report's topology document, and the hop count the router information
// takes from the same dump through grep and sed.
#include "mesh/net_scan.h"

#include "fuzz_support.h"
#include "json/json.h"
#include "state/router_info.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    const std::string input = fuzz::text(data, size);
    NetScanResult parsed = parse_net_scan(input);
    fuzz::require((parsed.rc == 0) == (parsed.root != nullptr), "document exactly when rc is 0");
    if (parsed.root) {
        // The satellite report reads the document back from its file.
        std::string printed = json::print_string(parsed.root.get());
        json::Ptr again = json::parse(printed);
        fuzz::require(again != nullptr, "the topology document parses back");
        fuzz::require(json::get(again.get(), "Basic") && json::get(again.get(), "Satellite"),
                      "the topology document has Basic and Satellite");
    }
    testing_support::FakeRouter fake;
    fake->write(kNetScanLog, input);
    fuzz::every_command_outputs(*fake, input);
    const int hop = get_hop_from_net_scan();
    fuzz::require(hop == 0 || hop == 1 || hop == -1, "hop is -1, 0 or 1");
    return 0;
}
