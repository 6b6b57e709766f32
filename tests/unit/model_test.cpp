#include "platform/model.h"

#include <gtest/gtest.h>

#include <utility>

#include "support/fake_backend.h"

using platform::IfnameMap;
using platform::PortMap;
using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

const std::string kGrep = "grep -n FhA1_5G.ifname /var/state/wireless > /tmp/telem_get_ifname";

std::string lookup(const std::string& key) {
    return "uci -q -P /var/state get wireless." + key + " > /tmp/telem_get_ifname";
}

int model_index_of(FakeRouter& fake, const std::string& hwver) {
    fake->nvram["hwver"] = hwver;
    return get_model_index();
}

IfnameMap map_of(const std::string& hwver) {
    IfnameMap map;
    init_ifname_map(map, hwver);
    return map;
}

// A router whose wireless state is published, with the given runtime names.
void publish_state(FakeRouter& fake, const std::map<std::string, std::string>& names) {
    fake->write("/var/state/wireless", "wireless.FhA1_5G.ifname='ath13'\n");
    fake->on_exact(kGrep, FakeBackend::outputs("3:wireless.FhA1_5G.ifname='ath13'\n"));
    for (const auto& [key, name] : names) fake->on_exact(lookup(key), FakeBackend::outputs(name));
}

}  // namespace

// --- model index -----------------------------------------------------------------

TEST(ModelIndex, EveryHardwareVersionOfTheTable) {
    const std::pair<const char*, int> table[] = {
        {"VRA310", 0}, {"VCA310", 0}, {"VRA420", 1},   {"VRA430", 1}, {"VRA440", 1},
        {"VRB530", 1}, {"VRB540", 1}, {"VRE650", 2},   {"VRA460", 2}, {"VRE670", 3},
        {"VRE680", 3}, {"VRE630", 4}, {"VRE670v2", 5}, {"VRE640", 5},
    };
    FakeRouter fake;
    for (const auto& [hwver, index] : table) EXPECT_EQ(model_index_of(fake, hwver), index) << hwver;
}

TEST(ModelIndex, VRE640SharesIndexFiveWithVRE670v2) {
    FakeRouter fake;
    EXPECT_EQ(model_index_of(fake, "VRE640"), 5);
    EXPECT_EQ(model_index_of(fake, "VRE670v2"), 5);
}

TEST(ModelIndex, VRE650AndVRA460BothYieldTwo) {
    FakeRouter fake;
    EXPECT_EQ(model_index_of(fake, "VRE650"), 2);
    EXPECT_EQ(model_index_of(fake, "VRA460"), 2);
}

TEST(ModelIndex, UnknownOrMissingHardwareVersionYieldsMinusOne) {
    FakeRouter fake;
    EXPECT_EQ(model_index_of(fake, "VRE999"), -1);
    EXPECT_EQ(model_index_of(fake, ""), -1);
    EXPECT_EQ(model_index_of(fake, "vre650"), -1);   // exact comparison
    EXPECT_EQ(model_index_of(fake, "VRE650 "), -1);  // no trimming
    EXPECT_EQ(model_index_of(fake, "VRE660"), -1);   // has a map, but no index
    fake->nvram.erase("hwver");                      // key not set at all
    EXPECT_EQ(get_model_index(), -1);
}

TEST(ModelIndex, HardwareVersionIsComparedWithin64ByteBuffer) {
    FakeRouter fake;
    EXPECT_EQ(model_index_of(fake, "VRE670v2" + std::string(80, 'x')), -1);
}

// --- fixed interface maps ----------------------------------------------------------

TEST(IfnameMap, VRE660Row) {
    FakeRouter fake;
    IfnameMap map;
    map[5] = "keep";
    EXPECT_EQ(init_ifname_map(map, "VRE660"), 0);
    EXPECT_EQ(map, (IfnameMap{"ath0", "ath1", "ath3", "ath04", "ath13", "keep", "ath03", "ath12",
                              "ath02", "ath2", "ath4"}));
    EXPECT_TRUE(fake->commands.empty());
}

TEST(IfnameMap, VRE650Row) {
    FakeRouter fake;
    IfnameMap map;
    map[5] = "keep";
    EXPECT_EQ(init_ifname_map(map, "VRE650"), 0);
    EXPECT_EQ(map, (IfnameMap{"ath0", "ath1", "ath3", "ath04", "ath13", "keep", "ath03", "ath12",
                              "ath02", "ath2", "ath32"}));
}

TEST(IfnameMap, VRA310GroupRow) {
    FakeRouter fake;
    const IfnameMap want{"ath1",  "ath0",  "",      "ath12", "ath01", "",
                         "ath13", "ath02", "ath11", "ath2",  ""};
    for (const char* hw : {"VRA310", "VRA430", "VRA420", "VRA440"}) {
        IfnameMap map;
        map.fill("old");
        EXPECT_EQ(init_ifname_map(map, hw), 0);
        EXPECT_EQ(map, want) << hw;
    }
}

TEST(IfnameMap, VRB540GroupRow) {
    FakeRouter fake;
    const IfnameMap want{"ath1",  "ath0",  "ath3",  "ath12", "ath01", "ath32",
                         "ath13", "ath02", "ath11", "ath2",  ""};
    for (const char* hw : {"VRB540", "VRB530"}) EXPECT_EQ(map_of(hw), want) << hw;
}

TEST(IfnameMap, VRA310HasNoSixGigahertzRadio) {
    FakeRouter fake;
    IfnameMap map = map_of("VRA310");
    EXPECT_EQ(map[2], "");
}

TEST(IfnameMap, UnknownModelLeavesMapUntouchedAndReturnsZero) {
    FakeRouter fake;
    IfnameMap map;
    EXPECT_EQ(init_ifname_map(map, "VRX000"), 0);
    EXPECT_EQ(map, IfnameMap{});
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_TRUE(fake->sleeps.empty());
}

TEST(IfnameMap, VCA310AndVRA460HaveAnIndexButNoMap) {
    FakeRouter fake;
    EXPECT_EQ(map_of("VCA310"), IfnameMap{});
    EXPECT_EQ(map_of("VRA460"), IfnameMap{});
}

// --- maps with runtime lookups -------------------------------------------------------

TEST(IfnameMap, VRE670LooksUpSlotsInOrderAfterWaiting) {
    FakeRouter fake;
    publish_state(fake, {{"Fh1_2G.ifname", "ath05\n"},
                         {"Fh1_5G.ifname", "ath15\n"},
                         {"FhA1_2G.ifname", "ath06\n"},
                         {"FhA1_5G.ifname", "ath16\n"}});
    IfnameMap map;
    map[5] = "keep";
    EXPECT_EQ(init_ifname_map(map, "VRE670"), 0);
    EXPECT_EQ(map, (IfnameMap{"ath0", "ath1", "ath2", "ath05", "ath15", "keep", "ath06", "ath16",
                              "ath02", "ath12", "ath22"}));
    EXPECT_EQ(fake->commands,
              (std::vector<std::string>{kGrep, lookup("Fh1_2G.ifname"), lookup("Fh1_5G.ifname"),
                                        lookup("FhA1_2G.ifname"), lookup("FhA1_5G.ifname")}));
    EXPECT_TRUE(fake->sleeps.empty());
    EXPECT_FALSE(fake->exists("/tmp/telem_get_ifname"));
}

TEST(IfnameMap, VRE670WithoutFh1_5GInStateFileGetsAth14InSlot4) {
    FakeRouter fake;
    publish_state(fake, {{"Fh1_2G.ifname", "ath05\n"},
                         {"FhA1_2G.ifname", "ath06\n"},
                         {"FhA1_5G.ifname", "ath16\n"}});
    IfnameMap map = map_of("VRE670");
    EXPECT_EQ(map[3], "ath05");
    EXPECT_EQ(map[4], "ath14");
    EXPECT_EQ(map[6], "ath06");
}

TEST(IfnameMap, VRE680FallsBackOnEveryFailedLookup) {
    FakeRouter fake;
    publish_state(fake, {});
    IfnameMap map = map_of("VRE680");
    EXPECT_EQ(map, (IfnameMap{"ath0", "ath1", "ath2", "ath04", "ath14", "", "ath03", "ath13",
                              "ath02", "ath12", "ath22"}));
}

TEST(IfnameMap, VRE630FailedLookupCopiesThePreviousSlot) {
    FakeRouter fake;
    publish_state(fake, {{"Fh1_2G.ifname", "ath05\n"}, {"FhA1_5G.ifname", "ath16\n"}});
    IfnameMap map = map_of("VRE630");
    EXPECT_EQ(map, (IfnameMap{"ath0", "ath1", "", "ath05", "ath05", "", "ath05", "ath16", "ath02",
                              "ath12", ""}));
}

TEST(IfnameMap, VRE630FailedFirstLookupLeavesItsSlotEmpty) {
    FakeRouter fake;
    publish_state(fake, {{"Fh1_5G.ifname", "ath15\n"}});
    IfnameMap map = map_of("VRE630");
    EXPECT_EQ(map[3], "");
    EXPECT_EQ(map[4], "ath15");
    EXPECT_EQ(map[6], "ath15");
    EXPECT_EQ(map[7], "ath15");
}

TEST(IfnameMap, VRE670v2AndVRE640HaveNoFallback) {
    for (const char* hw : {"VRE670v2", "VRE640"}) {
        FakeRouter fake;
        publish_state(fake, {{"Fh1_2G.ifname", "ath05\n"}, {"FhA1_2G.ifname", "ath06\n"}});
        IfnameMap map = map_of(hw);
        EXPECT_EQ(map, (IfnameMap{"ath0", "ath1", "ath2", "ath05", "ath05", "", "ath06", "ath06",
                                  "ath02", "ath12", "ath22"}))
            << hw;
    }
}

TEST(IfnameMap, LookedUpNameIsCutToTheEightByteSlot) {
    FakeRouter fake;
    publish_state(fake, {{"Fh1_2G.ifname", "wlan0-very-long\n"}});
    IfnameMap map = map_of("VRE640");
    EXPECT_EQ(map[3], "wlan0-v");
}

TEST(IfnameMap, VRE670WithoutStateFileWaitsThenKeepsLookupSlotsEmpty) {
    // get_state_ifname reports success without a state file, so there is no fallback:
    // the slots get the (empty) lookup buffer.
    FakeRouter fake;
    IfnameMap map = map_of("VRE670");
    EXPECT_EQ(fake->sleeps, std::vector<unsigned>(20, 30));
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_EQ(map,
              (IfnameMap{"ath0", "ath1", "ath2", "", "", "", "", "", "ath02", "ath12", "ath22"}));
}

// --- wait_wireless_state -------------------------------------------------------------

TEST(WaitWirelessState, GivesUpAfterTwentyAttemptsThirtySecondsApart) {
    FakeRouter fake;
    fake->write("/var/state/wireless", "");
    uint64_t start = fake->now_uptime;
    EXPECT_EQ(wait_wireless_state(), 0);
    EXPECT_EQ(fake->sleeps, std::vector<unsigned>(20, 30));
    EXPECT_EQ(fake->now_uptime - start, 600u);
    EXPECT_EQ(fake->commands, std::vector<std::string>(20, kGrep));
    EXPECT_FALSE(fake->exists("/tmp/telem_get_ifname"));
}

TEST(WaitWirelessState, WithoutStateFileSleepsTwentyTimesAndRunsNothing) {
    FakeRouter fake;
    EXPECT_EQ(wait_wireless_state(), 0);
    EXPECT_EQ(fake->sleeps, std::vector<unsigned>(20, 30));
    EXPECT_TRUE(fake->commands.empty());
}

TEST(WaitWirelessState, ReturnsAtOnceWhenGrepFindsTheKey) {
    FakeRouter fake;
    fake->write("/var/state/wireless", "x");
    fake->on_exact(kGrep, FakeBackend::outputs("7:wireless.FhA1_5G.ifname=ath13\n"));
    EXPECT_EQ(wait_wireless_state(), 1);
    EXPECT_TRUE(fake->sleeps.empty());
    EXPECT_EQ(fake->commands, std::vector<std::string>{kGrep});
    EXPECT_FALSE(fake->exists("/tmp/telem_get_ifname"));
}

TEST(WaitWirelessState, SucceedsOnTheThirdAttempt) {
    FakeRouter fake;
    fake->write("/var/state/wireless", "x");
    int calls = 0;
    fake->on_prefix("grep -n", [&calls](const std::string&) {
        return FakeBackend::outputs(++calls < 3 ? "" : "1:wireless.FhA1_5G.ifname=ath13\n");
    });
    EXPECT_EQ(wait_wireless_state(), 1);
    EXPECT_EQ(fake->sleeps, (std::vector<unsigned>{30, 30}));
    EXPECT_EQ(calls, 3);
}

// --- get_state_ifname --------------------------------------------------------------

TEST(StateIfname, MissingStateFileReturnsZeroAndLeavesOutput) {
    FakeRouter fake;
    std::string out = "before";
    EXPECT_EQ(get_state_ifname("Fh1_2G.ifname", out), 0);
    EXPECT_EQ(out, "before");
    EXPECT_TRUE(fake->commands.empty());
}

TEST(StateIfname, LineIsCutAtFirstBlankOrNewline) {
    FakeRouter fake;
    fake->write("/var/state/wireless", "x");
    fake->on_exact(lookup("Fh1_2G.ifname"), FakeBackend::outputs("ath05 trailing\n"));
    fake->on_exact(lookup("Fh1_5G.ifname"), FakeBackend::outputs("ath15\nath99\n"));
    std::string out;
    EXPECT_EQ(get_state_ifname("Fh1_2G.ifname", out), 0);
    EXPECT_EQ(out, "ath05");
    EXPECT_EQ(get_state_ifname("Fh1_5G.ifname", out), 0);
    EXPECT_EQ(out, "ath15");
    EXPECT_EQ(fake->commands,
              (std::vector<std::string>{lookup("Fh1_2G.ifname"), lookup("Fh1_5G.ifname")}));
    EXPECT_FALSE(fake->exists("/tmp/telem_get_ifname"));
}

TEST(StateIfname, EmptyOutputReturnsMinusOneAndLeavesOutput) {
    FakeRouter fake;
    fake->write("/var/state/wireless", "x");
    fake->on_exact(lookup("Fh1_2G.ifname"), FakeBackend::outputs(" ath05\n"));
    std::string out = "before";
    EXPECT_EQ(get_state_ifname("Fh1_5G.ifname", out), -1);  // nothing scripted: empty file
    EXPECT_EQ(get_state_ifname("Fh1_2G.ifname", out), -1);  // leading blank: empty name
    EXPECT_EQ(out, "before");
}

TEST(StateIfname, ReadsOneLineOfAtMost64Bytes) {
    FakeRouter fake;
    fake->write("/var/state/wireless", "x");
    fake->on_exact(lookup("k"), FakeBackend::outputs(std::string(100, 'a') + "\n"));
    std::string out;
    EXPECT_EQ(get_state_ifname("k", out), 0);
    EXPECT_EQ(out, std::string(63, 'a'));
}

TEST(StateIfname, HostileKeyRunsNothing) {
    FakeRouter fake;
    fake->write("/var/state/wireless", "x");
    testing::internal::CaptureStdout();
    std::string out = "before";
    EXPECT_EQ(get_state_ifname("x;reboot", out), -1);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("refused to run"), std::string::npos);
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_EQ(out, "before");
}

// --- port map ----------------------------------------------------------------------

namespace {
PortMap ports_of(FakeRouter& fake, const std::string& hwver) {
    fake->nvram["hwver"] = hwver;
    PortMap ports;
    EXPECT_EQ(init_port_map(ports), 0);
    return ports;
}
void expect_ports(const PortMap& p, std::array<std::string, 5> mask, int wan, int wan_cable,
                  std::array<int, 5> port) {
    EXPECT_EQ(p.mask, mask);
    EXPECT_EQ(p.wan, wan);
    EXPECT_EQ(p.wan_cable, wan_cable);
    EXPECT_EQ(p.port, port);
}
}  // namespace

TEST(PortMap, IndexZero) {
    FakeRouter fake;
    for (const char* hw : {"VRA310", "VCA310"})
        expect_ports(ports_of(fake, hw), {"0x02", "0x04", "0x08", "0x10", "0x20"}, 1, 6,
                     {1, 2, 3, 4, 5});
}

TEST(PortMap, IndexOne) {
    FakeRouter fake;
    expect_ports(ports_of(fake, "VRA420"), {"0x02", "0x04", "0x08", "0x10", ""}, 5, -1,
                 {1, 2, 3, 4, -1});
}

TEST(PortMap, IndexTwo) {
    FakeRouter fake;
    expect_ports(ports_of(fake, "VRE650"), {"0x04", "0x02", "0x10", "0x08", "0x40"}, 5, -1,
                 {2, 1, 4, 3, 6});
}

TEST(PortMap, IndexThree) {
    FakeRouter fake;
    expect_ports(ports_of(fake, "VRE670"), {"0x08", "0x04", "0x02", "", ""}, 2, -1,
                 {3, 2, 1, -1, -1});
}

TEST(PortMap, IndexFour) {
    FakeRouter fake;
    expect_ports(ports_of(fake, "VRE630"), {"0x02", "", "", "", ""}, 2, -1, {1, -1, -1, -1, -1});
}

TEST(PortMap, IndexFive) {
    FakeRouter fake;
    expect_ports(ports_of(fake, "VRE640"), {"0x02", "0x04", "0x08", "", ""}, 2, -1,
                 {1, 2, 3, -1, -1});
}

TEST(PortMap, UnknownModelLeavesEverythingEmptyAndZero) {
    FakeRouter fake;
    expect_ports(ports_of(fake, "VRX000"), {"", "", "", "", ""}, 0, 0, {0, 0, 0, 0, 0});
}
