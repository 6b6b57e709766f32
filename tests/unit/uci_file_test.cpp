#include "platform/uci_file.h"

#include <gtest/gtest.h>

using platform::parse_uci;
using platform::render_uci;
using platform::UciPackage;

namespace {

UciPackage parsed(const std::string& text) {
    std::string why;
    auto pkg = parse_uci(text, "test", &why);
    EXPECT_TRUE(pkg) << why;
    return pkg ? *pkg : UciPackage{};
}

std::string value(const UciPackage& pkg, const std::string& path) {
    return pkg.get(path).value_or("<none>");
}

}  // namespace

TEST(UciText, NamedAndAnonymousSectionsRoundTrip) {
    UciPackage pkg;
    pkg.name = "wireless";
    pkg.add_section("wifi-device", "radio0");
    ASSERT_TRUE(pkg.set("radio0.channel", "36"));
    pkg.add_section("wifi-iface", "");
    pkg.add_section("wifi-iface", "");
    ASSERT_TRUE(pkg.set("@wifi-iface[0].ifname", "ath0"));
    ASSERT_TRUE(pkg.set("@wifi-iface[1].ifname", "ath1"));
    ASSERT_TRUE(pkg.add_list("@wifi-iface[1].maclist", "AA"));
    ASSERT_TRUE(pkg.add_list("@wifi-iface[1].maclist", "BB"));

    std::string text = render_uci(pkg);
    EXPECT_EQ(text,
              "\nconfig wifi-device 'radio0'\n\toption channel '36'\n"
              "\nconfig wifi-iface\n\toption ifname 'ath0'\n"
              "\nconfig wifi-iface\n\toption ifname 'ath1'\n\tlist maclist 'AA'\n\tlist maclist "
              "'BB'\n\n");
    UciPackage back = parsed(text);
    ASSERT_EQ(back.sections().size(), 3u);
    EXPECT_EQ(back.sections()[0].name, "radio0");
    EXPECT_EQ(back.sections()[1].name, "");
    EXPECT_EQ(value(back, "radio0"), "wifi-device");
    EXPECT_EQ(value(back, "radio0.channel"), "36");
    EXPECT_EQ(value(back, "@wifi-iface[0].ifname"), "ath0");
    EXPECT_EQ(value(back, "@wifi-iface[1].ifname"), "ath1");
    EXPECT_EQ(value(back, "@wifi-iface[1].maclist"), "AA BB");
    EXPECT_EQ(render_uci(back), text);
}

TEST(UciText, QuotesBackslashesAndNewlinesRoundTrip) {
    const std::string hard[] = {"it's",      "say \"hi\"",     "back\\slash", "two  blanks",
                                "x\ny",      "#not a comment", "'''",         "",
                                "tab\there", "end\\"};
    UciPackage pkg;
    pkg.name = "p";
    pkg.add_section("t", "s");
    for (size_t i = 0; i < std::size(hard); ++i)
        ASSERT_TRUE(pkg.set("s.o" + std::to_string(i), hard[i]));
    UciPackage back = parsed(render_uci(pkg));
    for (size_t i = 0; i < std::size(hard); ++i)
        EXPECT_EQ(value(back, "s.o" + std::to_string(i)), hard[i]) << i;
}

TEST(UciText, SingleQuoteInsideValueIsWrittenAsCloseEscapeReopen) {
    EXPECT_EQ(platform::uci_quote("it's"), "'it'\\''s'");
}

TEST(UciText, DoubleQuotesAndBackslashEscapesAreRead) {
    UciPackage pkg = parsed(
        "config t s\n"
        "\toption a \"say \\\"hi\\\"\"\n"
        "\toption b \"back\\\\slash\"\n"
        "\toption c unquoted\\ blank\n"
        "\toption d 'single \"double\" inside'\n"
        "\toption e mixed'quo'\"ting\"\n");
    EXPECT_EQ(value(pkg, "s.a"), "say \"hi\"");
    EXPECT_EQ(value(pkg, "s.b"), "back\\slash");
    EXPECT_EQ(value(pkg, "s.c"), "unquoted blank");
    EXPECT_EQ(value(pkg, "s.d"), "single \"double\" inside");
    EXPECT_EQ(value(pkg, "s.e"), "mixedquoting");
}

TEST(UciText, CommentsAndBlankLinesAreIgnored) {
    UciPackage pkg = parsed(
        "# leading comment\n"
        "package test\n"
        "\n"
        "config t 's'   # trailing comment\n"
        "   # indented comment\n"
        "\toption a '1' # after a value\n"
        "\toption b '# inside quotes'\n");
    EXPECT_EQ(value(pkg, "s"), "t");
    EXPECT_EQ(value(pkg, "s.a"), "1");
    EXPECT_EQ(value(pkg, "s.b"), "# inside quotes");
}

TEST(UciText, ListIsReadAsValuesJoinedByOneBlank) {
    UciPackage pkg = parsed(
        "config lists 'lists'\n"
        "\tlist mac 'AABBCCDDEEFF'\n"
        "\tlist mac '001122334455'\n"
        "\tlist mac 'A B'\n");
    EXPECT_EQ(value(pkg, "lists.mac"), "AABBCCDDEEFF 001122334455 A B");
}

TEST(UciText, TypeIndexAddressing) {
    UciPackage pkg = parsed(
        "config iface\n\toption n 'first'\n"
        "config other 'named'\n\toption n 'named'\n"
        "config iface 'second'\n\toption n 'second'\n"
        "config iface\n\toption n 'third'\n");
    EXPECT_EQ(value(pkg, "@iface[0].n"), "first");
    EXPECT_EQ(value(pkg, "@iface[1].n"), "second");  // named sections count too
    EXPECT_EQ(value(pkg, "@iface[2].n"), "third");
    EXPECT_EQ(value(pkg, "@iface[-1].n"), "third");
    EXPECT_EQ(value(pkg, "@other[0].n"), "named");
    EXPECT_EQ(value(pkg, "@iface[3].n"), "<none>");
    EXPECT_EQ(value(pkg, "@iface[x].n"), "<none>");
    EXPECT_EQ(value(pkg, "@nosuch[0].n"), "<none>");
}

TEST(UciText, RepeatedNamedSectionMergesIntoTheFirst) {
    UciPackage pkg = parsed("config t 's'\n\toption a '1'\nconfig t 's'\n\toption b '2'\n");
    ASSERT_EQ(pkg.sections().size(), 1u);
    EXPECT_EQ(value(pkg, "s.a"), "1");
    EXPECT_EQ(value(pkg, "s.b"), "2");
}

TEST(UciText, ListAfterOptionOfSameNameKeepsTheValue) {
    UciPackage pkg = parsed("config t 's'\n\toption a '1'\n\tlist a '2'\n");
    EXPECT_EQ(value(pkg, "s.a"), "1 2");
}

TEST(UciText, MalformedTextIsRefusedWithItsLine) {
    const std::pair<const char*, const char*> bad[] = {
        {"config t 's'\n\toption a 'unterminated\n", "line 2: unterminated quote"},
        {"\toption a '1'\n", "line 1: option outside a section"},
        {"config t 's'\nfrobnicate x\n", "line 2: unknown keyword 'frobnicate'"},
        {"config t 's'\n\toption a\n", "line 2: bad option line"},
        {"config 'bad type!'\n", "line 1: bad config line"},
        {"config t 'bad name'\n", "line 1: bad section name"},
        {"config t 's'\n\toption a \"open\n", "line 2: unterminated quote"},
    };
    for (const auto& [text, why] : bad) {
        std::string error;
        EXPECT_FALSE(parse_uci(text, "p", &error)) << text;
        EXPECT_EQ(error, why) << text;
    }
}

TEST(UciText, LineNumbersCountLinesInsideQuotes) {
    std::string error;
    EXPECT_FALSE(parse_uci("config t 's'\n\toption a 'x\ny'\n\toption\n", "p", &error));
    EXPECT_EQ(error, "line 4: bad option line");
}

TEST(UciText, SetNeedsAnExistingSectionAndValidNames) {
    UciPackage pkg = parsed("config t 's'\n");
    EXPECT_FALSE(pkg.set("missing.o", "v"));
    EXPECT_FALSE(pkg.set("s.bad name", "v"));
    EXPECT_FALSE(pkg.set("new", "bad type!"));
    EXPECT_TRUE(pkg.set("new", "t2"));
    EXPECT_EQ(value(pkg, "new"), "t2");
    EXPECT_TRUE(pkg.set("s", "t3"));  // changes the type
    EXPECT_EQ(value(pkg, "s"), "t3");
}

TEST(UciText, RemoveSection) {
    UciPackage pkg = parsed("config t 'a'\nconfig t 'b'\n\toption o '2'\n");
    EXPECT_TRUE(pkg.remove_section("a"));
    EXPECT_FALSE(pkg.remove_section("a"));
    EXPECT_EQ(value(pkg, "b.o"), "2");
    EXPECT_EQ(value(pkg, "@t[0].o"), "2");
}

TEST(UciChanges, StateLinesApplyOnTopOfTheConfiguration) {
    UciPackage pkg = parsed("config wifi-iface 'Fh1_2G'\n\toption ssid 'home'\n");
    pkg.name = "wireless";
    platform::apply_uci_changes(pkg,
                                "wireless.Fh1_2G.ifname='ath05'\n"
                                "wireless.FhA1_5G=wifi-iface\n"
                                "wireless.FhA1_5G.ifname=ath13\n"
                                "wireless.Fh1_2G.ssid=\"it's\"\n"
                                "|wireless.Fh1_2G.maclist='AA'\n"
                                "|wireless.Fh1_2G.maclist='BB'\n"
                                "wireless.Nosuch.ifname='skipped'\n"
                                "other.Fh1_2G.ifname='skipped'\n"
                                "-wireless.Fh1_2G.ssid\n");
    EXPECT_EQ(value(pkg, "Fh1_2G.ifname"), "ath05");
    EXPECT_EQ(value(pkg, "FhA1_5G"), "wifi-iface");
    EXPECT_EQ(value(pkg, "FhA1_5G.ifname"), "ath13");
    EXPECT_EQ(value(pkg, "Fh1_2G.maclist"), "AA BB");
    EXPECT_EQ(value(pkg, "Fh1_2G.ssid"), "<none>");
    EXPECT_EQ(value(pkg, "Nosuch.ifname"), "<none>");
}

TEST(UciChanges, DeleteOfSectionAndRejectedLines) {
    UciPackage pkg = parsed("config t 'a'\n\toption o '1'\n");
    pkg.name = "p";
    EXPECT_FALSE(platform::apply_uci_change(pkg, "p.a.o"));  // a set needs '='
    EXPECT_FALSE(platform::apply_uci_change(pkg, "p.a.o='open"));
    EXPECT_FALSE(platform::apply_uci_change(pkg, "-p.a.nosuch"));
    EXPECT_FALSE(platform::apply_uci_change(pkg, "pp.a.o=1"));
    EXPECT_TRUE(platform::apply_uci_change(pkg, "-p.a"));
    EXPECT_EQ(pkg.sections().size(), 0u);
}

namespace {

// A section of `n` options "o0".."o<n-1>" with values "v0".."v<n-1>".
platform::UciSection section_of(size_t n) {
    platform::UciSection s("t", "s");
    for (size_t i = 0; i < n; ++i)
        s.option("o" + std::to_string(i)).values.assign_one("v" + std::to_string(i));
    return s;
}

void expect_options_in_order(const platform::UciSection& s, const std::vector<size_t>& numbers) {
    ASSERT_EQ(s.options().size(), numbers.size());
    for (size_t i = 0; i < numbers.size(); ++i) {
        const std::string name = "o" + std::to_string(numbers[i]);
        EXPECT_EQ(s.options()[i].name, name);
        const platform::UciOption* o = s.find(name);
        ASSERT_NE(o, nullptr) << name;
        EXPECT_EQ(o->values.at(0), "v" + std::to_string(numbers[i]));
    }
}

}  // namespace

TEST(UciSectionIndex, SmallSectionIsSearchedInOrder) {
    const size_t n = platform::UciSection::kIndexFrom - 1;
    platform::UciSection s = section_of(n);
    std::vector<size_t> left;
    for (size_t i = 0; i < n; ++i)
        if (i != 3) left.push_back(i);
    EXPECT_TRUE(s.remove("o3"));
    EXPECT_FALSE(s.remove("o3"));
    EXPECT_EQ(s.find("o3"), nullptr);
    expect_options_in_order(s, left);
}

TEST(UciSectionIndex, SectionGrowingPastTheIndexThresholdFindsEveryOption) {
    for (size_t n : {platform::UciSection::kIndexFrom, platform::UciSection::kIndexFrom + 1,
                     platform::UciSection::kIndexFrom * 3}) {
        platform::UciSection s = section_of(n);
        std::vector<size_t> all(n);
        for (size_t i = 0; i < n; ++i) all[i] = i;
        expect_options_in_order(s, all);
        EXPECT_EQ(s.find("o" + std::to_string(n)), nullptr);
        // The same option asked for again is the same entry, not a second one.
        s.option("o0").values.assign_one("again");
        EXPECT_EQ(s.options().size(), n);
        EXPECT_EQ(s.find("o0")->values.at(0), "again");
    }
}

TEST(UciSectionIndex, RemovalsFromAnIndexedSectionKeepOrderAndLookups) {
    const size_t n = platform::UciSection::kIndexFrom + 4;
    platform::UciSection s = section_of(n);
    // Removing below the threshold again keeps every lookup right.
    std::vector<size_t> left;
    for (size_t i = 0; i < n; ++i)
        if (i % 2 == 1) left.push_back(i);
    for (size_t i = 0; i < n; i += 2) EXPECT_TRUE(s.remove("o" + std::to_string(i)));
    expect_options_in_order(s, left);
    s.option("late").values.assign_one("x");
    EXPECT_EQ(s.options().back().name, "late");
    EXPECT_EQ(s.find("late")->values.at(0), "x");
}

TEST(UciText, RenderingInPiecesGivesTheSameTextAsAWhole) {
    auto pkg = parse_uci(
        "config a 'one'\n\toption x 'it''s'\n\tlist l '1'\n\tlist l '2'\nconfig b\n", "p");
    ASSERT_TRUE(pkg);
    std::string pieces;
    size_t count = 0;
    render_uci(*pkg, [&](std::string_view piece) {
        pieces += piece;
        ++count;
    });
    EXPECT_EQ(pieces, render_uci(*pkg));
    EXPECT_EQ(pieces,
              "\nconfig a 'one'\n\toption x 'its'\n\tlist l '1'\n\tlist l '2'\n\nconfig b\n\n");
    EXPECT_GT(count, 1u);
    std::string nothing = "unchanged";
    render_uci(UciPackage{}, [&](std::string_view piece) { nothing += piece; });
    EXPECT_EQ(nothing, "unchanged");
}

TEST(UciValues, PlainValueListsAndCopiesKeepEveryValueInOrder) {
    platform::UciValues v;
    EXPECT_TRUE(v.empty());
    EXPECT_THROW(v.at(0), std::out_of_range);
    v.assign_one("one");
    EXPECT_EQ(v.size(), 1u);
    EXPECT_EQ(v.at(0), "one");
    for (const char* more : {"two", "three", "four"}) v.push_back(more);
    platform::UciValues copy = v;
    v.assign_one("only");  // the copy keeps its own values
    EXPECT_EQ(v.size(), 1u);
    EXPECT_THROW(v.at(1), std::out_of_range);
    std::vector<std::string> seen;
    for (const std::string& value : copy) seen.push_back(value);
    EXPECT_EQ(seen, (std::vector<std::string>{"one", "two", "three", "four"}));
    EXPECT_EQ(copy[3], "four");
    EXPECT_THROW(copy.at(4), std::out_of_range);
    copy = v;
    EXPECT_EQ(copy.size(), 1u);
    EXPECT_EQ(copy[0], "only");
    platform::UciValues moved = std::move(copy);
    EXPECT_EQ(moved.at(0), "only");
}
