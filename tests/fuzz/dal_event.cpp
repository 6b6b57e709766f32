// A DAL event file dropped by another program.
#include "fuzz_support.h"
#include "report/event_files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    fake->mkdir("/tmp/telem_json_dal_dir");
    fake->write(kDalEventFile, fuzz::text(data, size));
    EventMember header = read_dal_event_member(1);
    EventMember body = read_dal_event_member(2);
    json::Ptr taken = body.take();
    (void)header.name();
    return 0;
}
