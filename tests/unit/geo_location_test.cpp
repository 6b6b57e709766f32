#include "core/geo_location.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/config.h"
#include "core/daemon.h"
#include "support/fake_backend.h"

namespace {

using testing_support::FakeBackend;
using testing_support::FakeRouter;

const std::string kNonCfu = "##### nonCFU version, use qagent nvram  to get qcloud info #####\n";
const std::string kCfu = "##### CFU version, use zt table to get qcloud info #####\n";

const std::string kAnswer =
    "{\n"
    "  \"_type\": \"Feature\",\n"
    "  \"zoneOffset\": -300,\n"
    "  \"timeZone\": \"America/Chicago\",\n"
    "  \"country\": \"US\",\n"
    "  \"region\": \"IL\",\n"
    "  \"city\": \"Chicago\",\n"
    "  \"zip\": \"60601\",\n"
    "  \"ip\": \"203.0.113.7\",\n"
    "  \"isp\": \"Example Net\"\n"
    "}\n";

std::string curl_line(const std::string& host, const std::string& id, const std::string& claim) {
    return "curl -X GET --cacert /opt/qagent/certs/ca-bundle-mega.crt https://" + host +
           "/device-location/resolve -H \"content-type: application/json\" -H \"Authorization:" +
           id + ":" + claim + "\" -o /tmp/qCloud_MAXmind --connect-timeout 3";
}

template <typename F>
std::string captured(F&& step) {
    testing::internal::CaptureStdout();
    step();
    return testing::internal::GetCapturedStdout();
}

// A curl that writes `content` to the location file.
FakeBackend::Response curl_writes(const std::string& content) {
    FakeBackend::Response r;
    r.files["/tmp/qCloud_MAXmind"] = content;
    return r;
}

void set_agent(FakeBackend& fake, const std::string& url) {
    fake.nvram["q_agent_id"] = "agent-1";
    fake.nvram["q_agent_claim_code"] = "CLAIM9";
    fake.nvram["q_advisor_url"] = url;
}

std::string zt_read(const std::string& key) {
    return "zt -s " + key + " > /tmp/qagent.txt";
}

}  // namespace

// --- cloud agent values -------------------------------------------------------------

TEST(QagentInformation, NvramVariantWithoutZtTool) {
    FakeRouter fake;
    fake->nvram["q_agent_id"] = "id1";
    fake->nvram["q_agent_claim_code"] = "cc2";
    fake->nvram["q_advisor_url"] = "https://advisor.example";
    fake->nvram["q_agent_registered"] = "1";
    fake->nvram["q_agent_claimed"] = "yes";
    const std::vector<std::string> expected = {"",  "id1", "cc2", "https://advisor.example",
                                               "1", "yes", "yes"};
    for (int kind = 1; kind <= 6; ++kind) {
        std::string dest;
        std::string out = captured([&] { getQagentInformation(kind, dest, 64); });
        EXPECT_EQ(out, kNonCfu);
        EXPECT_EQ(dest, expected[kind]) << kind;
    }
    EXPECT_TRUE(fake->commands.empty());
}

TEST(QagentInformation, NvramValueIsBoundedBySize) {
    FakeRouter fake;
    fake->nvram["q_agent_id"] = "0123456789";
    std::string dest;
    captured([&] { getQagentInformation(1, dest, 5); });
    EXPECT_EQ(dest, "0123");
}

TEST(QagentInformation, UnknownKindLeavesDestinationAlone) {
    FakeRouter fake;
    fake->nvram["q_agent_id"] = "id1";
    std::string dest = "keep";
    std::string out = captured([&] {
        getQagentInformation(0, dest, 64);
        getQagentInformation(7, dest, 64);
    });
    EXPECT_EQ(dest, "keep");
    EXPECT_EQ(out, kNonCfu + kNonCfu);
}

TEST(QagentInformation, ZtVariantTakesFirstWordAndKeepsTheFile) {
    FakeRouter fake;
    fake->write("/usr/bin/zt", "");
    fake->on_exact(zt_read("qagentcfg[0].q_agent_id"), FakeBackend::outputs("abc def\nxyz\n"));
    std::string dest;
    std::string out = captured([&] { getQagentInformation(1, dest, 64); });
    EXPECT_EQ(dest, "abc");
    EXPECT_EQ(out, kCfu + "line: abc def\n, result:abc\n");
    EXPECT_EQ(fake->read("/tmp/qagent.txt"), "abc def\nxyz\n");
    EXPECT_EQ(fake->commands, std::vector<std::string>{zt_read("qagentcfg[0].q_agent_id")});
}

TEST(QagentInformation, ZtKeysByKind) {
    FakeRouter fake;
    fake->write("/usr/bin/zt", "");
    for (int kind = 1; kind <= 6; ++kind) {
        std::string dest;
        captured([&] { getQagentInformation(kind, dest, 64); });
    }
    EXPECT_EQ(fake->commands, (std::vector<std::string>{
                                  zt_read("qagentcfg[0].q_agent_id"),
                                  zt_read("qagentcfg[0].q_agent_claim_code"),
                                  zt_read("qagentcfg[0].q_advisor_url"),
                                  zt_read("qagentcfg[0].q_agent_registered"),
                                  zt_read("qagentcfg[0].q_agent_claimed"),
                                  zt_read("qagentcfg[0].q_agent_claimed"),
                              }));
}

TEST(QagentInformation, ZtLineIsReadIn64BytePieces) {
    FakeRouter fake;
    fake->write("/usr/bin/zt", "");
    std::string word(100, 'w');
    fake->on_exact(zt_read("qagentcfg[0].q_agent_id"), FakeBackend::outputs(word + "\n"));
    std::string dest;
    captured([&] { getQagentInformation(1, dest, 128); });
    EXPECT_EQ(dest, std::string(63, 'w'));
}

TEST(QagentInformation, ZtEmptyAnswerLeavesDestinationAlone) {
    FakeRouter fake;
    fake->write("/usr/bin/zt", "");
    fake->on_exact(zt_read("qagentcfg[0].q_agent_id"), FakeBackend::outputs(""));
    std::string dest = "keep";
    std::string out = captured([&] { getQagentInformation(1, dest, 64); });
    EXPECT_EQ(dest, "keep");
    EXPECT_EQ(out, kCfu + "line: , result:keep\n");
}

// --- service host -------------------------------------------------------------------

TEST(DeviceLocationHost, ChosenByAdvisorUrl) {
    EXPECT_STREQ(device_location_host("https://advisor.example.com"),
                 config::kDeviceLocationHostProd);
    EXPECT_STREQ(device_location_host("https://advisor.qa.example.com"),
                 config::kDeviceLocationHostQa);
    EXPECT_STREQ(device_location_host("https://advisor.dev.example.com"),
                 config::kDeviceLocationHostDev);
    EXPECT_STREQ(device_location_host(""), config::kDeviceLocationHostProd);
    EXPECT_STREQ(device_location_host("https://qa.example.com"), config::kDeviceLocationHostProd);
}

TEST(DeviceLocationHost, DevelopmentWinsWhenUrlNamesBoth) {
    EXPECT_STREQ(device_location_host("https://a.qa.b.dev.example.com"),
                 config::kDeviceLocationHostDev);
    EXPECT_STREQ(device_location_host("https://a.dev.b.qa.example.com"),
                 config::kDeviceLocationHostDev);
}

// --- fetch --------------------------------------------------------------------------

TEST(GeoFetch, CommandLineAndMessage) {
    FakeRouter fake;
    set_agent(*fake, "https://advisor.example.com");
    fake->on_prefix("curl ", curl_writes(kAnswer));
    Daemon d;
    std::string out = captured([&] { fetch_geo_location(d); });
    std::string line = curl_line(config::kDeviceLocationHostProd, "agent-1", "CLAIM9");
    EXPECT_EQ(fake->commands, std::vector<std::string>{line});
    EXPECT_EQ(out.find(kNonCfu + kNonCfu + kNonCfu + "[collect_current_info," +
                       std::to_string(kLocationCommandLine) + "]command:" + line + "\n"),
              0u)
        << out;
    EXPECT_EQ(d.info.location_obtained, 1);
    EXPECT_EQ(d.info.geo.city, "Chicago");
    EXPECT_TRUE(fake->exists("/tmp/qCloud_MAXmind"));
}

TEST(GeoFetch, QaAndDevelopmentHostsInCommand) {
    for (auto [url, host] :
         {std::pair{"https://x.qa.example", config::kDeviceLocationHostQa},
          std::pair{"https://x.dev.example", config::kDeviceLocationHostDev},
          std::pair{"https://x.dev.qa.example", config::kDeviceLocationHostDev}}) {
        FakeRouter fake;
        set_agent(*fake, url);
        fake->on_prefix("curl ", curl_writes(kAnswer));
        Daemon d;
        captured([&] { fetch_geo_location(d); });
        EXPECT_EQ(fake->commands, std::vector<std::string>{curl_line(host, "agent-1", "CLAIM9")})
            << url;
    }
}

TEST(GeoFetch, ZtVariantSuppliesCredentials) {
    FakeRouter fake;
    fake->write("/usr/bin/zt", "");
    fake->on_exact(zt_read("qagentcfg[0].q_agent_id"), FakeBackend::outputs("zid\n"));
    fake->on_exact(zt_read("qagentcfg[0].q_agent_claim_code"), FakeBackend::outputs("zcc\n"));
    fake->on_exact(zt_read("qagentcfg[0].q_advisor_url"),
                   FakeBackend::outputs("https://a.qa.example\n"));
    fake->on_prefix("curl ", curl_writes(kAnswer));
    Daemon d;
    captured([&] { fetch_geo_location(d); });
    EXPECT_EQ(fake->commands.back(), curl_line(config::kDeviceLocationHostQa, "zid", "zcc"));
}

TEST(GeoFetch, EmptyAnswerIsRetriedThreeAttemptsInAll) {
    FakeRouter fake;
    set_agent(*fake, "");
    fake->on_prefix("curl ", curl_writes(""));
    Daemon d;
    captured([&] { fetch_geo_location(d); });
    EXPECT_EQ(fake->commands_containing("curl ").size(), 3u);
    EXPECT_TRUE(fake->sleeps.empty());
    // The (empty) file exists, so the fetch counts as done.
    EXPECT_EQ(d.info.location_obtained, 1);
    EXPECT_EQ(d.info.geo.city, "");
}

TEST(GeoFetch, NoAnswerFileLeavesLocationToBeFetchedAgain) {
    FakeRouter fake;
    set_agent(*fake, "");
    Daemon d;
    captured([&] { fetch_geo_location(d); });
    EXPECT_EQ(fake->commands_containing("curl ").size(), 3u);
    EXPECT_EQ(d.info.location_obtained, 0);
    captured([&] { fetch_geo_location(d); });
    EXPECT_EQ(fake->commands_containing("curl ").size(), 6u);
}

TEST(GeoFetch, StopsAsSoonAsTheAnswerArrives) {
    FakeRouter fake;
    set_agent(*fake, "");
    auto runs = std::make_shared<int>(0);
    fake->on_prefix(
        "curl ", [runs](const std::string&) { return curl_writes((*runs)++ == 0 ? "" : kAnswer); });
    Daemon d;
    captured([&] { fetch_geo_location(d); });
    EXPECT_EQ(fake->commands_containing("curl ").size(), 2u);
    EXPECT_EQ(d.info.location_obtained, 1);
    EXPECT_EQ(d.info.geo.zip, "60601");
}

TEST(GeoFetch, ExistingAnswerIsParsedWithoutRequest) {
    FakeRouter fake;
    fake->write("/tmp/qCloud_MAXmind", "  \"city\": \"Oslo\",\n");
    Daemon d;
    std::string out = captured([&] { fetch_geo_location(d); });
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_EQ(out, "[collect_current_info - " + std::to_string(kLocationExistingLine) +
                       "][RA]/tmp/qCloud_MAXmind is existed\n"
                       "line:   \"city\": \"Oslo\",\n\ndata:Oslo\n");
    EXPECT_EQ(d.info.geo.city, "Oslo");
    EXPECT_EQ(d.info.location_obtained, 1);
}

TEST(GeoFetch, NothingHappensOnceObtained) {
    FakeRouter fake;
    fake->write("/tmp/qCloud_MAXmind", kAnswer);
    Daemon d;
    d.info.location_obtained = 1;
    std::string out = captured([&] { fetch_geo_location(d); });
    EXPECT_EQ(out, "");
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_EQ(d.info.geo.city, "");
}

TEST(GeoFetch, CommandIsCutAt319Characters) {
    FakeRouter fake;
    fake->nvram["q_agent_id"] = std::string(63, 'i');
    fake->nvram["q_agent_claim_code"] = std::string(63, 'c');
    fake->on_prefix("curl ", curl_writes(kAnswer));
    Daemon d;
    captured([&] { fetch_geo_location(d); });
    std::string full =
        curl_line(config::kDeviceLocationHostProd, std::string(63, 'i'), std::string(63, 'c'));
    ASSERT_GT(full.size(), 319u);
    ASSERT_EQ(fake->commands.size(), 1u);
    EXPECT_EQ(fake->commands[0], full.substr(0, 319));
}

TEST(GeoFetch, HostileAgentIdIsRefused) {
    FakeRouter fake;
    fake->nvram["q_agent_id"] = "x;reboot";
    fake->nvram["q_agent_claim_code"] = "c";
    Daemon d;
    std::string out = captured([&] { fetch_geo_location(d); });
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_NE(out.find("refused"), std::string::npos);
    EXPECT_EQ(out.find("command:"), std::string::npos);
    EXPECT_EQ(d.info.location_obtained, 0);
}

// --- parse --------------------------------------------------------------------------

TEST(GeoParse, WholeAnswer) {
    FakeRouter fake;
    fake->write("/tmp/qCloud_MAXmind", kAnswer);
    GeoLocation geo;
    std::string out = captured([&] { parse_location_file(geo); });
    EXPECT_EQ(geo.type, "Feature");
    EXPECT_EQ(geo.zone_offset, -300);
    EXPECT_EQ(geo.time_zone, "America/Chicago");
    EXPECT_EQ(geo.country, "US");
    EXPECT_EQ(geo.region, "IL");
    EXPECT_EQ(geo.city, "Chicago");
    EXPECT_EQ(geo.zip, "60601");
    EXPECT_EQ(geo.ip, "203.0.113.7");
    EXPECT_EQ(geo.isp, "Example Net");
    EXPECT_EQ(out,
              "line: {\n\n"
              "line:   \"_type\": \"Feature\",\n\ndata:Feature\n"
              "line:   \"zoneOffset\": -300,\n\ndata: -300\n"
              "line:   \"timeZone\": \"America/Chicago\",\n\ndata:America/Chicago\n"
              "line:   \"country\": \"US\",\n\ndata:US\n"
              "line:   \"region\": \"IL\",\n\ndata:IL\n"
              "line:   \"city\": \"Chicago\",\n\ndata:Chicago\n"
              "line:   \"zip\": \"60601\",\n\ndata:60601\n"
              "line:   \"ip\": \"203.0.113.7\",\n\ndata:203.0.113.7\n"
              "line:   \"isp\": \"Example Net\"\n\ndata:Example Net\n"
              "line: }\n\n");
}

TEST(GeoParse, ZipLineIsNeverTakenAsIp) {
    GeoLocation geo;
    captured([&] { parse_location_line("  \"zip\": \"12345\",\n", geo); });
    EXPECT_EQ(geo.zip, "12345");
    EXPECT_EQ(geo.ip, "");
}

TEST(GeoParse, FirstMemberInListedOrderDecides) {
    GeoLocation geo;
    // Names "city" and "ip" both; "city" comes first in the order.
    captured([&] { parse_location_line("  \"city\": \"Ipswich ip\",\n", geo); });
    EXPECT_EQ(geo.city, "Ipswich ip");
    EXPECT_EQ(geo.ip, "");
}

TEST(GeoParse, ZoneOffsetAndIspCutTwoCharacters) {
    GeoLocation geo;
    std::string out = captured([&] {
        parse_location_line("\"zoneOffset\": 330,\n", geo);
        parse_location_line("\"isp\": \"Acme\"\n", geo);
    });
    EXPECT_EQ(geo.zone_offset, 330);
    EXPECT_EQ(geo.isp, "Acme");
    EXPECT_EQ(out, "data: 330\ndata:Acme\n");
}

TEST(GeoParse, OtherLayoutYieldsOffsetGarbage) {
    GeoLocation geo;
    // Without the blank after the colon the value is read one character late.
    captured([&] { parse_location_line("\"country\":\"NO\",\n", geo); });
    EXPECT_EQ(geo.country, "O");
}

TEST(GeoParse, FieldsKeepAtMost31Characters) {
    GeoLocation geo;
    std::string city(40, 'c');
    std::string out = captured([&] { parse_location_line("\"city\": \"" + city + "\",\n", geo); });
    EXPECT_EQ(geo.city, std::string(31, 'c'));
    EXPECT_EQ(out, "data:" + city + "\n");
}

TEST(GeoParse, ShortLinesGiveEmptyValues) {
    GeoLocation geo;
    geo.zip = "old";
    geo.ip = "old";
    geo.isp = "old";
    geo.zone_offset = 7;
    std::string out = captured([&] {
        parse_location_line("zip", geo);
        parse_location_line("\"ip\":\n", geo);
        parse_location_line("isp", geo);
        parse_location_line("zoneOffset", geo);
        parse_location_line("", geo);
    });
    EXPECT_EQ(geo.zip, "");
    EXPECT_EQ(geo.ip, "");
    EXPECT_EQ(geo.isp, "");
    EXPECT_EQ(geo.zone_offset, 0);
    EXPECT_EQ(out, "data:\ndata:\ndata:\ndata:\n");
}

TEST(GeoParse, ValueEndingExactlyAtTheCutIsEmpty) {
    GeoLocation geo;
    geo.region = "old";
    // start and end meet: nothing between the opening quote and `",\n`.
    captured([&] { parse_location_line("\"region\": \"\",\n", geo); });
    EXPECT_EQ(geo.region, "");
}

TEST(GeoParse, LongLinesAreReadIn64BytePieces) {
    FakeRouter fake;
    // The 64-byte read splits the line; the piece holding the name is cut as if it
    // ended the line, and the tail names no member.
    std::string line = "  \"isp\": \"" + std::string(80, 'n') + "\"\n";
    fake->write("/tmp/qCloud_MAXmind", line);
    GeoLocation geo;
    std::string out = captured([&] { parse_location_file(geo); });
    std::string head = line.substr(0, 63), tail = line.substr(63);
    // Value from offset 10 of the piece, its last 2 characters cut: 51 characters.
    EXPECT_EQ(out, "line: " + head + "\ndata:" + std::string(51, 'n') + "\nline: " + tail + "\n");
    EXPECT_EQ(geo.isp, std::string(31, 'n'));
}
