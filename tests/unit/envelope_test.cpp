#include "report/envelope.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "core/daemon.h"
#include "report/event_files.h"
#include "support/fake_backend.h"
#include "unit/md5_vectors.h"

namespace {

using testing_support::FakeBackend;
using testing_support::FakeRouter;

constexpr const char* kKilnCommand = "kiln version -s > /tmp/rae_kiln_version";
constexpr int64_t kNoon = 1767268245;  // 2026-01-01 11:50:45 in the fake router's zone

// A router with a known identity, clock and nvram.
void set_up_router(FakeRouter& fake, Daemon& d) {
    d.info.model = "VRE670";
    d.info.fw_version = "1.2.3.4";
    d.info.mac = "AABBCC001122";
    d.info.serial = "6LA1234567890";
    d.policy.stage = "prod";
    fake->now_wall = kNoon;
    fake->nvram["time_zone"] = "-5";
    fake->nvram["hwrev"] = "H2";
    fake->nvram["telem_fw_last_upgrade_time"] = "2025-12-30 10:00:00";
    fake->nvram["telem_fw_last_check_time"] = "2026-01-01 08:00:00";
    fake->nvram["auto_upgrade_enable"] = "1";
}

void install_kiln(FakeRouter& fake, const std::string& output) {
    fake->write("/usr/bin/kiln", "");
    fake->on_exact(kKilnCommand, FakeBackend::outputs(output));
}

json::Ptr build(Daemon& d, int code, int* event_type = nullptr, std::string* out = nullptr) {
    testing::internal::CaptureStdout();
    json::Ptr h = create_router_hardware_obj(d, code, event_type);
    std::string printed = testing::internal::GetCapturedStdout();
    if (out) *out = printed;
    return h;
}

std::vector<std::string> member_names(const cJSON* obj) {
    std::vector<std::string> names;
    for (const cJSON* c = obj ? obj->child : nullptr; c; c = c->next) names.emplace_back(c->string);
    return names;
}

bool is_hex_digest(const char* text) {
    if (!text || std::string(text).size() != 32) return false;
    for (const char* p = text; *p; ++p)
        if (!((*p >= '0' && *p <= '9') || (*p >= 'a' && *p <= 'f'))) return false;
    return true;
}

std::filesystem::path golden_dir() {
    return std::filesystem::path(__FILE__).parent_path().parent_path() / "golden";
}

// Compares the report text of `header` with a reviewed golden file. With
// TELEM_UPDATE_GOLDEN=1 in the environment the file is rewritten instead.
void expect_golden(json::Ptr header, const std::string& name) {
    json::Ptr root = json::object();
    json::add(root.get(), "routerHardware", std::move(header));
    std::string text = json::print_string(root.get()) + "\n";
    std::filesystem::path path = golden_dir() / name;
    if (const char* update = std::getenv("TELEM_UPDATE_GOLDEN");
        update && std::string(update) == "1")
        std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    std::ifstream in(path, std::ios::binary);
    ASSERT_TRUE(in) << path;
    std::ostringstream golden;
    golden << in.rdbuf();
    EXPECT_EQ(text, golden.str()) << path;
}

// Makes the cJSON allocation number `fail_at` (1-based) fail while in scope.
class FailingAllocation {
  public:
    explicit FailingAllocation(int fail_at) {
        fail_at_ = fail_at;
        count_ = 0;
        cJSON_Hooks hooks{&FailingAllocation::allocate, &std::free};
        cJSON_InitHooks(&hooks);
    }
    ~FailingAllocation() { cJSON_InitHooks(nullptr); }
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    static int failures() { return failures_; }
    static void reset_failures() { failures_ = 0; }

  private:
    static void* allocate(size_t size) {
        if (++count_ == fail_at_) {
            ++failures_;
            return nullptr;
        }
        return std::malloc(size);
    }
    static inline int fail_at_ = 0;
    static inline int count_ = 0;
    static inline int failures_ = 0;
};

const char* kDalFile = R"({
  "event": {"eventType": 17, "timeStamp": {"date": [2026, 1, 2], "time": [3, 4, 5]},
            "epochTimeStamp": 1767323045, "ntpResult": "synced", "other": 1},
  "installEvent": {"app": "x"}
})";

}  // namespace

// ---- golden headers -----------------------------------------------------------------------

TEST(RouterHardwareGolden, AnalyticsEnabledWithKiln) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->nvram["RA_enable"] = "1";
    install_kiln(fake, "kiln: v1.2.3\nkiln_services: v4.5.6\n");
    expect_golden(build(d, 1), "router_hardware_ra_enabled.json");
}

TEST(RouterHardwareGolden, AnalyticsDisabled) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->nvram["RA_enable"] = "0";
    expect_golden(build(d, 2), "router_hardware_ra_disabled.json");
}

TEST(RouterHardwareGolden, AnalyticsUnset) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    expect_golden(build(d, 4), "router_hardware_ra_unset.json");
}

// ---- members and conditions ---------------------------------------------------------------

TEST(RouterHardware, MembersInOrderWhenAnalyticsEnabled) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->nvram["RA_enable"] = "1";
    install_kiln(fake, "kiln: v1\n");
    json::Ptr h = build(d, 1);
    ASSERT_TRUE(h);
    EXPECT_EQ(member_names(h.get()),
              (std::vector<std::string>{
                  "productFamily", "modelName", "hwRevision", "stage", "deviceInfo", "eventType",
                  "timeStamp", "timeZoneOffset", "firmware", "tncVersion", "autoUpdateOption",
                  "routerAnalyticsOption", "kiln_version", "kiln_services", "kilnEnabled"}));
    EXPECT_EQ(member_names(json::get(h.get(), "deviceInfo")),
              (std::vector<std::string>{"macAddress", "serialNumber"}));
    EXPECT_EQ(member_names(json::get(h.get(), "timeStamp")),
              (std::vector<std::string>{"date", "time"}));
    EXPECT_EQ(member_names(json::get(h.get(), "firmware")),
              (std::vector<std::string>{"fwVersion", "fwLastUpdate", "fwLastChecked"}));
}

TEST(RouterHardware, RaEnableUnsetHashesIdentifiersAndOmitsRevisionAndOption) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    json::Ptr h = build(d, 1);
    ASSERT_TRUE(h);
    const cJSON* info = json::get(h.get(), "deviceInfo");
    EXPECT_TRUE(is_hex_digest(json::get_string(info, "macAddress")));
    EXPECT_TRUE(is_hex_digest(json::get_string(info, "serialNumber")));
    EXPECT_EQ(json::get_string(info, "macAddress"), md5_hex_string("AABBCC001122"));
    EXPECT_EQ(json::get_string(info, "serialNumber"), md5_hex_string("6LA1234567890"));
    EXPECT_EQ(json::get(h.get(), "hwRevision"), nullptr);
    EXPECT_EQ(json::get(h.get(), "routerAnalyticsOption"), nullptr);
}

TEST(RouterHardware, RaEnableZeroHashesIdentifiersAndReportsOptionTwo) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->nvram["RA_enable"] = "0";
    json::Ptr h = build(d, 1);
    const cJSON* info = json::get(h.get(), "deviceInfo");
    EXPECT_EQ(json::get_string(info, "macAddress"), md5_hex_string("AABBCC001122"));
    EXPECT_EQ(json::get_string(info, "serialNumber"), md5_hex_string("6LA1234567890"));
    EXPECT_EQ(json::get(h.get(), "hwRevision"), nullptr);
    EXPECT_EQ(json::get(h.get(), "routerAnalyticsOption")->valueint, 2);
}

TEST(RouterHardware, RaEnableOneSendsIdentifiersAsTheyAre) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->nvram["RA_enable"] = "1";
    json::Ptr h = build(d, 1);
    const cJSON* info = json::get(h.get(), "deviceInfo");
    EXPECT_STREQ(json::get_string(info, "macAddress"), "AABBCC001122");
    EXPECT_STREQ(json::get_string(info, "serialNumber"), "6LA1234567890");
    EXPECT_STREQ(json::get_string(h.get(), "hwRevision"), "H2");
    EXPECT_EQ(json::get(h.get(), "routerAnalyticsOption")->valueint, 1);
}

TEST(RouterHardware, OtherRaEnableValuesOmitTheOptionAndHash) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->nvram["RA_enable"] = "2";
    json::Ptr h = build(d, 1);
    EXPECT_EQ(json::get(h.get(), "routerAnalyticsOption"), nullptr);
    EXPECT_EQ(json::get_string(json::get(h.get(), "deviceInfo"), "macAddress"),
              md5_hex_string("AABBCC001122"));
}

TEST(RouterHardware, EmptyHwrevWithRaEnableOneGivesH1) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->nvram["RA_enable"] = "1";
    fake->nvram["hwrev"] = "";
    json::Ptr h = build(d, 1);
    EXPECT_STREQ(json::get_string(h.get(), "hwRevision"), "H1");
}

TEST(RouterHardware, AutoUpgradeTwoOrUnsetGivesZero) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->nvram["auto_upgrade_enable"] = "2";
    EXPECT_EQ(json::get(build(d, 1).get(), "autoUpdateOption")->valueint, 0);
    fake->nvram.erase("auto_upgrade_enable");
    EXPECT_EQ(json::get(build(d, 1).get(), "autoUpdateOption")->valueint, 0);
    fake->nvram["auto_upgrade_enable"] = "1";
    EXPECT_EQ(json::get(build(d, 1).get(), "autoUpdateOption")->valueint, 1);
    fake->nvram["auto_upgrade_enable"] = "0";
    EXPECT_EQ(json::get(build(d, 1).get(), "autoUpdateOption")->valueint, 2);
}

TEST(RouterHardware, BuilderAddingMacAddressTwiceKeepsFirstAndWarnsOnce) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->nvram["RA_enable"] = "1";
    json::Ptr h = build(d, 1);
    cJSON* info = json::get(h.get(), "deviceInfo");
    testing::internal::CaptureStdout();
    json::add_string(info, "macAddress", "112233445566");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n[RA format warning] warning duplicate attribute name = macAddress   \n");
    EXPECT_STREQ(json::get_string(info, "macAddress"), "AABBCC001122");
    EXPECT_EQ(cJSON_GetArraySize(info), 2);
}

TEST(RouterHardware, StageIsCopiedFromThePolicy) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    d.policy.stage = "qa";
    fake->write(kPolicyFile, R"({"stage":"dev"})");  // never read by the header
    EXPECT_STREQ(json::get_string(build(d, 1).get(), "stage"), "qa");
}

TEST(RouterHardware, EventTypeAndTimeStampOfOrdinaryReport) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    int event_type = -1;
    json::Ptr h = build(d, 2, &event_type);
    EXPECT_EQ(event_type, 2);
    EXPECT_EQ(json::get(h.get(), "eventType")->valueint, 2);
    EXPECT_EQ(json::print_compact(json::get(h.get(), "timeStamp")),
              R"({"date":[2026,1,1],"time":[11,50,45]})");
    EXPECT_EQ(d.report_stamp, "20260101-115045");
}

TEST(RouterHardware, ReportStampFollowsEveryNonDalHeader) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    build(d, 1);
    fake->now_wall = kNoon + 3600 * 24 * 40 + 9;  // 2026-02-10 11:50:54
    build(d, 0);
    EXPECT_EQ(d.report_stamp, "20260210-115054");
}

TEST(RouterHardware, TimeZoneOffsetFromNvram) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    EXPECT_STREQ(json::get_string(build(d, 1).get(), "timeZoneOffset"), "-05:00");
    fake->nvram["time_zone"] = "95";
    EXPECT_STREQ(json::get_string(build(d, 1).get(), "timeZoneOffset"), "+09:30");
    fake->nvram["time_zone"] = "14";  // no mapping: an empty text
    EXPECT_STREQ(json::get_string(build(d, 1).get(), "timeZoneOffset"), "");
}

TEST(RouterHardware, FirmwareTimesAreCopiedIntoTheIdentity) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    json::Ptr h = build(d, 1);
    EXPECT_EQ(json::print_compact(json::get(h.get(), "firmware")),
              R"({"fwVersion":"1.2.3.4","fwLastUpdate":"2025-12-30 10:00:00",)"
              R"("fwLastChecked":"2026-01-01 08:00:00"})");
    EXPECT_EQ(d.info.fw_last_upgrade, "2025-12-30 10:00:00");
    EXPECT_EQ(d.info.fw_last_check, "2026-01-01 08:00:00");
    EXPECT_EQ(d.info.fw_version, "1.2.3.4");
}

TEST(RouterHardware, FixedMembers) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    json::Ptr h = build(d, 1);
    EXPECT_STREQ(json::get_string(h.get(), "productFamily"), "wifiSystem");
    EXPECT_STREQ(json::get_string(h.get(), "modelName"), "VRE670");
    EXPECT_STREQ(json::get_string(h.get(), "tncVersion"), "V2.0");
}

TEST(RouterHardware, WithoutKilnToolOnlyKilnEnabledFalse) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    json::Ptr h = build(d, 1);
    EXPECT_STREQ(json::get_string(h.get(), "kilnEnabled"), "false");
    EXPECT_EQ(json::get(h.get(), "kiln_version"), nullptr);
    EXPECT_EQ(json::get(h.get(), "kiln_services"), nullptr);
    EXPECT_TRUE(fake->commands.empty());
}

TEST(RouterHardware, FailedKilnCommandGivesEmptyVersionsButEnabledTrue) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->write("/usr/bin/kiln", "");
    fake->on_exact(kKilnCommand,
                   FakeBackend::Response{{}, false, {}, 127, {"/tmp/rae_kiln_version"}});
    json::Ptr h = build(d, 1);
    EXPECT_STREQ(json::get_string(h.get(), "kiln_version"), "");
    EXPECT_STREQ(json::get_string(h.get(), "kiln_services"), "");
    EXPECT_STREQ(json::get_string(h.get(), "kilnEnabled"), "true");
}

// ---- out of memory ------------------------------------------------------------------------

TEST(RouterHardwareMemory, AnyOfTheFourObjectsMissingGivesNullAndMessage) {
    for (int fail_at = 1; fail_at <= 4; ++fail_at) {
        FakeRouter fake;
        Daemon d;
        set_up_router(fake, d);
        install_kiln(fake, "kiln: v1\n");
        std::string out;
        json::Ptr h;
        {
            FailingAllocation failing(fail_at);
            h = build(d, 1, nullptr, &out);
        }
        EXPECT_FALSE(h) << fail_at;
        EXPECT_EQ(out, "Not enough memory!\n") << fail_at;
        EXPECT_TRUE(fake->commands.empty()) << fail_at;
        EXPECT_EQ(d.report_stamp, "") << fail_at;
    }
}

TEST(RouterHardwareMemory, LaterFailuresLoseOnlyMembersAndNeverLeak) {
    // Every single failing allocation after the four objects, up to the first run in
    // which nothing failed; the sanitizer build checks that nothing leaks or is freed
    // twice on any of these paths.
    for (int code : {1, kDalEventCode}) {
        FakeRouter fake;
        Daemon d;
        set_up_router(fake, d);
        fake->nvram["RA_enable"] = "1";
        install_kiln(fake, "kiln: v1\nkiln_services: v2\n");
        fake->write(kDalEventFile, kDalFile);
        int fail_at = 5;
        for (;; ++fail_at) {
            FailingAllocation::reset_failures();
            json::Ptr h;
            {
                FailingAllocation failing(fail_at);
                h = build(d, code);
                if (h) json::print_string(h.get());
            }
            EXPECT_TRUE(h) << fail_at;
            if (FailingAllocation::failures() == 0) break;
        }
        EXPECT_GT(fail_at, 30) << code;  // the whole header was walked
    }
}

// ---- DAL event header ---------------------------------------------------------------------

TEST(RouterHardwareDal, TakesEventFieldsFromTheFirstMemberInPlace) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->write(kDalEventFile, kDalFile);
    d.report_stamp = "untouched";
    int event_type = -1;
    json::Ptr h = build(d, kDalEventCode, &event_type);
    ASSERT_TRUE(h);
    EXPECT_EQ(
        member_names(h.get()),
        (std::vector<std::string>{"productFamily", "modelName", "stage", "deviceInfo", "eventType",
                                  "timeStamp", "epochTimeStamp", "ntpResult", "timeZoneOffset",
                                  "firmware", "tncVersion", "autoUpdateOption", "kilnEnabled"}));
    EXPECT_EQ(json::get(h.get(), "eventType")->valueint, 17);
    EXPECT_EQ(event_type, 17);
    EXPECT_EQ(d.info.install_event, 1);
    EXPECT_EQ(json::print_compact(json::get(h.get(), "timeStamp")),
              R"({"date":[2026,1,2],"time":[3,4,5]})");
    EXPECT_EQ(json::get(h.get(), "epochTimeStamp")->valuedouble, 1767323045.0);
    EXPECT_STREQ(json::get_string(h.get(), "ntpResult"), "synced");
    EXPECT_EQ(json::get(h.get(), "other"), nullptr);
    EXPECT_EQ(d.report_stamp, "untouched");
}

TEST(RouterHardwareDal, MembersAreReferencesIntoTheKeptDocument) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->write(kDalEventFile, kDalFile);
    json::Ptr h = build(d, kDalEventCode);
    ASSERT_TRUE(d.dal_header_source);
    const cJSON* event = d.dal_header_source->child;
    for (const char* name : {"eventType", "timeStamp", "epochTimeStamp", "ntpResult"}) {
        const cJSON* ref = json::get(h.get(), name);
        ASSERT_TRUE(ref) << name;
        EXPECT_TRUE(ref->type & cJSON_IsReference) << name;
    }
    // The referenced object shares its children with the kept document.
    EXPECT_EQ(json::get(h.get(), "timeStamp")->child, json::get(event, "timeStamp")->child);
}

TEST(RouterHardwareDal, ReportDocumentAndSourceAreEachFreedOnce) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->write(kDalEventFile, kDalFile);
    std::string first;
    {
        json::Ptr root = json::object();
        json::add(root.get(), "routerHardware", build(d, kDalEventCode));
        first = json::print_string(root.get());
    }  // the report document goes first, as in the report pipeline
    // The source is still whole after its references were deleted.
    EXPECT_EQ(json::print_compact(json::get(d.dal_header_source->child, "timeStamp")),
              R"({"date":[2026,1,2],"time":[3,4,5]})");
    // The next DAL header replaces the source; the old tree is freed exactly once.
    fake->write(kDalEventFile,
                R"({"event":{"eventType":6,"timeStamp":{"date":[2026,2,2]}},"body":{}})");
    {
        json::Ptr root = json::object();
        json::add(root.get(), "routerHardware", build(d, kDalEventCode));
        EXPECT_NE(json::print_string(root.get()), first);
        EXPECT_EQ(
            json::print_compact(json::get(json::get(root.get(), "routerHardware"), "timeStamp")),
            R"({"date":[2026,2,2]})");
    }
    EXPECT_EQ(d.info.install_event, 1);  // raised before, not cleared by the header
}

TEST(RouterHardwareDal, EventTypeOnlyWhenANumber) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->write(kDalEventFile, R"({"event":{"eventType":"17","ntpResult":0},"body":{}})");
    int event_type = -1;
    json::Ptr h = build(d, kDalEventCode, &event_type);
    EXPECT_EQ(json::get(h.get(), "eventType"), nullptr);
    EXPECT_EQ(json::get(h.get(), "timeStamp"), nullptr);
    EXPECT_EQ(json::get(h.get(), "ntpResult")->valueint, 0);
    EXPECT_EQ(event_type, kDalEventCode);
    EXPECT_EQ(d.info.install_event, 0);
}

TEST(RouterHardwareDal, OtherEventTypeDoesNotRaiseInstallEvent) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->write(kDalEventFile, R"({"event":{"eventType":16},"body":{}})");
    int event_type = -1;
    build(d, kDalEventCode, &event_type);
    EXPECT_EQ(event_type, 16);
    EXPECT_EQ(d.info.install_event, 0);
}

TEST(RouterHardwareDal, MissingFileGivesNoEventTypeNorTimeStamp) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    d.dal_header_source = json::parse(R"({"old":{}})");
    std::string out;
    json::Ptr h = build(d, kDalEventCode, nullptr, &out);
    ASSERT_TRUE(h);
    EXPECT_EQ(out, "Failed to open " + std::string(kDalEventFile) + "! \n");
    EXPECT_EQ(json::get(h.get(), "eventType"), nullptr);
    EXPECT_EQ(json::get(h.get(), "timeStamp"), nullptr);
    EXPECT_STREQ(json::get_string(h.get(), "timeZoneOffset"), "-05:00");
    EXPECT_FALSE(d.dal_header_source);
}

TEST(RouterHardwareDal, SingleMemberFileGivesNoEventFields) {
    FakeRouter fake;
    Daemon d;
    set_up_router(fake, d);
    fake->write(kDalEventFile, R"({"event":{"eventType":17}})");
    std::string out;
    json::Ptr h = build(d, kDalEventCode, nullptr, &out);
    EXPECT_EQ(out, "JSON format error: No second child node found.\n");
    EXPECT_EQ(json::get(h.get(), "eventType"), nullptr);
    EXPECT_EQ(d.info.install_event, 0);
}

// ---- kiln version -------------------------------------------------------------------------

TEST(KilnVersion, VersionLineKilnV123GivesV123) {
    FakeRouter fake;
    install_kiln(fake, "kiln: v1.2.3\n");
    std::string version, services;
    get_kiln_version(version, services);
    EXPECT_EQ(version, "V1.2.3");
    EXPECT_EQ(services, "");
    EXPECT_EQ(fake->commands, std::vector<std::string>{kKilnCommand});
    EXPECT_FALSE(fake->exists("/tmp/rae_kiln_version"));
}

TEST(KilnVersion, ServicesLineAndLaterLinesOverwrite) {
    FakeRouter fake;
    install_kiln(fake,
                 "kiln_services: v0.1\nkiln: v1.0\nnoise\nkiln: v2.0 extra\nkiln_services: v0.2\n");
    std::string version, services;
    get_kiln_version(version, services);
    EXPECT_EQ(version, "V2.0");
    EXPECT_EQ(services, "V0.2");
}

TEST(KilnVersion, OutputsAreCutToThirtyOneCharacters) {
    FakeRouter fake;
    install_kiln(fake, "kiln: v" + std::string(40, '9') + "\n");
    std::string version, services;
    get_kiln_version(version, services);
    EXPECT_EQ(version, "V" + std::string(30, '9'));
}

TEST(KilnVersion, LinesAreReadInPiecesOf511Characters) {
    FakeRouter fake;
    // The first 511 characters hold "kiln:" away from the start (a bare "V"); the rest
    // of the line is read as a piece of its own that starts with the tag. Read whole,
    // the line would give "V".
    std::string line = std::string(500, 'x') + "kiln:" + std::string(6, 'x') + "kiln: v8.8\n";
    ASSERT_EQ(line.find("kiln: v8.8"), 511u);
    install_kiln(fake, line);
    std::string version, services;
    get_kiln_version(version, services);
    EXPECT_EQ(version, "V8.8");
}

TEST(KilnVersion, LineContainingButNotStartingWithTheTagGivesBareV) {
    FakeRouter fake;
    install_kiln(fake, "  kiln: v3.0\n");
    std::string version, services;
    get_kiln_version(version, services);
    EXPECT_EQ(version, "V");
}

TEST(KilnVersion, MissingOutputLeavesBothEmpty) {
    FakeRouter fake;
    fake->on_exact(kKilnCommand,
                   FakeBackend::Response{{}, false, {}, 127, {"/tmp/rae_kiln_version"}});
    std::string version, services;
    get_kiln_version(version, services);
    EXPECT_EQ(version, "");
    EXPECT_EQ(services, "");
}

// ---- md5 and local time -------------------------------------------------------------------

TEST(Md5HexString, Rfc1321TestSuite) {
    for (const auto& [text, digest] : md5_vectors::kRfc1321Suite)
        EXPECT_EQ(md5_hex_string(text), digest) << text;
}

TEST(Md5HexString, HashesBytesWithoutTerminator) {
    std::string with_nul("a\0b", 3);
    EXPECT_NE(md5_hex_string(with_nul), md5_hex_string("a"));
    EXPECT_EQ(md5_hex_string(with_nul).size(), 32u);
}

TEST(LocalDateTime, ConvertsWallClockToLocalTriples) {
    FakeRouter fake;
    fake->now_wall = kNoon;
    int date[3] = {}, time[3] = {};
    get_local_date_time(date, time);
    EXPECT_EQ(date[0], 2026);
    EXPECT_EQ(date[1], 1);
    EXPECT_EQ(date[2], 1);
    EXPECT_EQ(time[0], 11);
    EXPECT_EQ(time[1], 50);
    EXPECT_EQ(time[2], 45);
    EXPECT_EQ(fake->console(), "");
}

TEST(LocalDateTime, DebugLineOnConsoleWhenTelemDebugIsOne) {
    FakeRouter fake;
    fake->now_wall = kNoon;
    fake->nvram["telem_debug"] = "1";
    int date[3] = {}, time[3] = {};
    get_local_date_time(date, time);
    EXPECT_EQ(fake->console(), "2026 1 1 11 50 45\n");
}
