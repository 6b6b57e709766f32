// Randomised inputs for the parsers of text that comes from outside the program: the
// nvram store, UCI files and change lists, and the device-location answer. Each must
// take any bytes without crashing, and what it writes must read back the same.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "core/daemon.h"
#include "core/geo_location.h"
#include "platform/nvram_file.h"
#include "platform/uci_file.h"
#include "support/fake_backend.h"

namespace {

constexpr int kRounds = 3000;

// Bytes biased towards the characters the formats give meaning to.
std::string random_text(std::mt19937& rng, size_t max_len) {
    static const std::string alphabet =
        "abcXYZ019_-.=:'\"\\#\n\n\t @[]{}\r,\x01\xff"
        "configoptionlistpackage ";
    std::uniform_int_distribution<size_t> len(0, max_len);
    std::uniform_int_distribution<size_t> pick(0, alphabet.size() - 1);
    std::string s(len(rng), ' ');
    for (char& c : s) c = alphabet[pick(rng)];
    return s;
}

std::string random_value(std::mt19937& rng) {
    std::uniform_int_distribution<int> byte(1, 255);
    std::uniform_int_distribution<size_t> len(0, 40);
    std::string s(len(rng), ' ');
    for (char& c : s) c = static_cast<char>(byte(rng));
    return s;
}

TEST(ParserFuzz, NvramTextNeverCrashesAndRoundTrips) {
    std::mt19937 rng(20261122);
    for (int i = 0; i < kRounds; ++i) {
        auto parsed = platform::parse_nvram_text(random_text(rng, 300));
        EXPECT_EQ(platform::parse_nvram_text(platform::render_nvram_text(parsed)), parsed);
    }
}

TEST(ParserFuzz, NvramValuesOfAnyBytesRoundTrip) {
    std::mt19937 rng(7);
    for (int i = 0; i < kRounds; ++i) {
        std::map<std::string, std::string, std::less<>> values{{"key", random_value(rng)}};
        EXPECT_EQ(platform::parse_nvram_text(platform::render_nvram_text(values)), values);
    }
}

TEST(ParserFuzz, UciTextNeverCrashesAndRendersToTheSamePackage) {
    std::mt19937 rng(42);
    int parsed_ok = 0;
    for (int i = 0; i < kRounds; ++i) {
        std::string text = random_text(rng, 400);
        auto pkg = platform::parse_uci(text, "p");
        if (!pkg) continue;
        ++parsed_ok;
        auto again = platform::parse_uci(platform::render_uci(*pkg), "p");
        ASSERT_TRUE(again) << platform::render_uci(*pkg);
        EXPECT_EQ(platform::render_uci(*again), platform::render_uci(*pkg));
    }
    // Random text is mostly not UCI; empty and comment-only inputs still parse.
    EXPECT_GT(parsed_ok, 0);
}

TEST(ParserFuzz, UciValuesOfAnyBytesRoundTrip) {
    std::mt19937 rng(99);
    for (int i = 0; i < kRounds; ++i) {
        platform::UciPackage pkg;
        pkg.name = "devices";
        pkg.add_section("device", "AABBCCDDEEFF");
        std::string value = random_value(rng);
        ASSERT_TRUE(pkg.set("AABBCCDDEEFF.name", value));
        auto again = platform::parse_uci(platform::render_uci(pkg), "devices");
        ASSERT_TRUE(again);
        EXPECT_EQ(again->get("AABBCCDDEEFF.name"), value);
    }
}

TEST(ParserFuzz, UciChangeListsNeverCrash) {
    std::mt19937 rng(5);
    for (int i = 0; i < kRounds; ++i) {
        platform::UciPackage pkg;
        pkg.name = "wireless";
        pkg.add_section("wifi-iface", "Fh1_2G");
        platform::apply_uci_changes(pkg, random_text(rng, 300));
        EXPECT_TRUE(platform::parse_uci(platform::render_uci(pkg), "wireless"));
    }
}

TEST(ParserFuzz, LocationLinesOfAnyShapeNeverCrash) {
    testing_support::FakeRouter fake;
    std::mt19937 rng(11);
    const char* keys[] = {"_type", "zoneOffset", "timeZone", "country", "region",
                          "city",  "zip",        "ip",       "isp"};
    std::uniform_int_distribution<size_t> which(0, 8);
    testing::internal::CaptureStdout();
    for (int i = 0; i < kRounds; ++i) {
        GeoLocation geo;
        std::string line = random_text(rng, 20);
        line.insert(std::min(line.size(), line.size() / 2), keys[which(rng)]);
        parse_location_line(line.substr(0, 63), geo);
        EXPECT_LE(geo.city.size(), 31u);
        EXPECT_LE(geo.isp.size(), 31u);
    }
    testing::internal::GetCapturedStdout();
}

}  // namespace
