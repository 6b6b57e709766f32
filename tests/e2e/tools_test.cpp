// The host tools as a user or a script runs them: real processes, real files.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "support/temp_dir.h"

using testing_support::TempDir;

namespace {

struct Result {
    int status = -1;
    std::string out;
    std::string err;
};

std::string sh_quote(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

// Runs `args` (already shell-quoted where needed) with the tool of that name.
Result run_tool(const TempDir& dir, const std::string& tool, const std::string& args,
                const std::string& env = "") {
    std::string out = dir.file(".out"), err = dir.file(".err");
    std::string line = env + " " + sh_quote(std::string(TELEM_BIN_DIR) + "/" + tool) + " " + args +
                       " >" + sh_quote(out) + " 2>" + sh_quote(err);
    Result r;
    int status = std::system(line.c_str());
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.out = dir.read(".out");
    r.err = dir.read(".err");
    return r;
}

Result nvram(const TempDir& dir, const std::string& args) {
    return run_tool(dir, "nvram", args, "NVRAM_FILE=" + sh_quote(dir.file("nvram.txt")));
}

Result uci(const TempDir& dir, const std::string& args) {
    return run_tool(dir, "uci", "-c " + sh_quote(dir.file("config")) + " " + args);
}

const char* kWireless =
    "\nconfig wifi-device 'radio0'\n"
    "\toption channel '36'\n"
    "\nconfig wifi-iface 'Fh1_2G'\n"
    "\toption ssid 'home net'\n"
    "\tlist maclist 'AA'\n"
    "\tlist maclist 'BB'\n"
    "\nconfig wifi-iface\n"
    "\toption ifname 'ath1'\n";

}  // namespace

TEST(NvramTool, SetGetShowUnsetCommit) {
    TempDir dir;
    EXPECT_EQ(nvram(dir, "set hwver=VRE670").status, 0);
    EXPECT_EQ(nvram(dir, "set 'msg=a=b c'").status, 0);
    Result got = nvram(dir, "get hwver");
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.out, "VRE670\n");
    EXPECT_EQ(nvram(dir, "get msg").out, "a=b c\n");
    Result show = nvram(dir, "show");
    EXPECT_EQ(show.status, 0);
    EXPECT_EQ(show.out, "hwver=VRE670\nmsg=a=b c\n");
    EXPECT_EQ(nvram(dir, "unset msg").status, 0);
    EXPECT_EQ(nvram(dir, "show").out, "hwver=VRE670\n");
    EXPECT_EQ(nvram(dir, "commit").status, 0);
    EXPECT_EQ(dir.read("nvram.txt"), "hwver=VRE670\n");
}

TEST(NvramTool, MissingKeyPrintsNothingWithStatusZero) {
    TempDir dir;
    Result r = nvram(dir, "get nosuch");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "");
}

TEST(NvramTool, EmptyValueIsStoredAndPrintedAsEmptyLine) {
    TempDir dir;
    EXPECT_EQ(nvram(dir, "set k=").status, 0);
    EXPECT_EQ(nvram(dir, "get k").out, "\n");
}

TEST(NvramTool, SeveralCommandsInOneCall) {
    TempDir dir;
    Result r = nvram(dir, "set a=1 set b=2 get a commit");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "1\n");
    EXPECT_EQ(dir.read("nvram.txt"), "a=1\nb=2\n");
}

TEST(NvramTool, ReadsAStoreWrittenByHand) {
    TempDir dir;
    dir.write("nvram.txt", "# router defaults\nRA_enable=1\nlines=one\\ntwo\n");
    EXPECT_EQ(nvram(dir, "get RA_enable").out, "1\n");
    EXPECT_EQ(nvram(dir, "get lines").out, "one\ntwo\n");
}

TEST(NvramTool, BadUsageFailsWithStatusOne) {
    TempDir dir;
    EXPECT_EQ(nvram(dir, "").status, 1);
    EXPECT_EQ(nvram(dir, "get").status, 1);
    EXPECT_EQ(nvram(dir, "set novalue").status, 1);
    Result bad = nvram(dir, "set =v");
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.err, "nvram: invalid key \"\"\n");
    Result unknown = nvram(dir, "frobnicate");
    EXPECT_EQ(unknown.status, 1);
    EXPECT_NE(unknown.err.find("nvram: unknown command \"frobnicate\""), std::string::npos);
}

TEST(UciTool, GetOptionTypeAndList) {
    TempDir dir;
    dir.write("config/wireless", kWireless);
    Result r = uci(dir, "get wireless.Fh1_2G.ssid");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "home net\n");
    EXPECT_EQ(uci(dir, "get wireless.Fh1_2G").out, "wifi-iface\n");
    EXPECT_EQ(uci(dir, "get wireless.Fh1_2G.maclist").out, "AA BB\n");
    EXPECT_EQ(uci(dir, "get 'wireless.@wifi-iface[1].ifname'").out, "ath1\n");
}

TEST(UciTool, MissingEntryPrintsEntryNotFoundWithStatusOne) {
    TempDir dir;
    dir.write("config/wireless", kWireless);
    for (const char* path :
         {"wireless.Fh1_2G.nosuch", "wireless.nosuch.ssid", "wireless.nosuch", "nopackage.a.b"}) {
        Result r = uci(dir, std::string("get ") + path);
        EXPECT_EQ(r.status, 1) << path;
        EXPECT_EQ(r.out, "") << path;
        EXPECT_EQ(r.err, "uci: Entry not found\n") << path;
    }
}

TEST(UciTool, QuietMissingEntryPrintsNothingButStillFails) {
    TempDir dir;
    dir.write("config/wireless", kWireless);
    Result r = uci(dir, "-q get wireless.Fh1_2G.nosuch");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "");
}

TEST(UciTool, ShowPrintsSectionAndOptionLines) {
    TempDir dir;
    dir.write("config/wireless", kWireless);
    Result r = uci(dir, "show wireless");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out,
              "wireless.radio0=wifi-device\n"
              "wireless.radio0.channel='36'\n"
              "wireless.Fh1_2G=wifi-iface\n"
              "wireless.Fh1_2G.ssid='home net'\n"
              "wireless.Fh1_2G.maclist='AA' 'BB'\n"
              "wireless.@wifi-iface[1]=wifi-iface\n"
              "wireless.@wifi-iface[1].ifname='ath1'\n");
    EXPECT_EQ(uci(dir, "show wireless.radio0").out,
              "wireless.radio0=wifi-device\nwireless.radio0.channel='36'\n");
    EXPECT_EQ(uci(dir, "show wireless.Fh1_2G.ssid").out, "wireless.Fh1_2G.ssid='home net'\n");
    EXPECT_EQ(uci(dir, "show wireless.nosuch").status, 1);
}

TEST(UciTool, ShowWithoutArgumentListsEveryPackage) {
    TempDir dir;
    dir.write("config/b", "config t 's'\n\toption o '2'\n");
    dir.write("config/a", "config t 's'\n");
    EXPECT_EQ(uci(dir, "show").out, "a.s=t\nb.s=t\nb.s.o='2'\n");
}

TEST(UciTool, SetWritesTheFileAtOnceAndCommitIsAccepted) {
    TempDir dir;
    dir.write("config/devices", "");
    EXPECT_EQ(uci(dir, "set devices.AABBCCDDEEFF=device").status, 0);
    EXPECT_EQ(uci(dir, "set \"devices.AABBCCDDEEFF.name=it's mine\"").status, 0);
    EXPECT_EQ(dir.read("config/devices"),
              "\nconfig device 'AABBCCDDEEFF'\n\toption name 'it'\\''s mine'\n\n");
    EXPECT_EQ(uci(dir, "get devices.AABBCCDDEEFF.name").out, "it's mine\n");
    EXPECT_EQ(uci(dir, "commit devices").status, 0);
    EXPECT_EQ(uci(dir, "commit").status, 0);
    EXPECT_EQ(uci(dir, "show devices.AABBCCDDEEFF.name").out,
              "devices.AABBCCDDEEFF.name='it'\\''s mine'\n");
}

TEST(UciTool, SetOfOptionInMissingSectionIsNotFound) {
    TempDir dir;
    dir.write("config/devices", "");
    Result r = uci(dir, "set devices.nosuch.ip=1.2.3.4");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "uci: Entry not found\n");
    EXPECT_EQ(dir.read("config/devices"), "");
}

TEST(UciTool, AddListAndDelete) {
    TempDir dir;
    dir.write("config/devices", "config lists 'lists'\n");
    EXPECT_EQ(uci(dir, "add_list devices.lists.mac=AA").status, 0);
    EXPECT_EQ(uci(dir, "add_list devices.lists.mac=BB").status, 0);
    EXPECT_EQ(uci(dir, "get devices.lists.mac").out, "AA BB\n");
    EXPECT_EQ(uci(dir, "delete devices.lists.mac").status, 0);
    EXPECT_EQ(uci(dir, "get devices.lists.mac").status, 1);
    EXPECT_EQ(uci(dir, "delete devices.lists").status, 0);
    EXPECT_EQ(uci(dir, "get devices.lists").status, 1);
}

TEST(UciTool, StateDirectoryIsSearchedFirstForReads) {
    TempDir dir;
    dir.write("config/wireless", kWireless);
    dir.write("state/wireless", "wireless.Fh1_2G.ifname='ath05'\nwireless.radio0.channel='149'\n");
    std::string state = "-P " + sh_quote(dir.file("state")) + " ";
    EXPECT_EQ(uci(dir, state + "get wireless.Fh1_2G.ifname").out, "ath05\n");
    EXPECT_EQ(uci(dir, state + "get wireless.radio0.channel").out, "149\n");
    EXPECT_EQ(uci(dir, state + "get wireless.Fh1_2G.ssid").out, "home net\n");  // from config
    EXPECT_EQ(uci(dir, "get wireless.radio0.channel").out, "36\n");  // config itself unchanged
    Result r = uci(dir, "-q " + state + "get wireless.Fh1_5G.ifname");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out + r.err, "");
}

TEST(UciTool, SetWithStateDirectoryRecordsTheChangeThere) {
    TempDir dir;
    dir.write("config/wireless", kWireless);
    std::string state = "-P " + sh_quote(dir.file("state")) + " ";
    ::mkdir(dir.file("state").c_str(), 0755);
    EXPECT_EQ(uci(dir, state + "set wireless.FhA1_5G=wifi-iface").status, 0);
    EXPECT_EQ(uci(dir, state + "set wireless.FhA1_5G.ifname=ath13").status, 0);
    EXPECT_EQ(dir.read("state/wireless"),
              "wireless.FhA1_5G='wifi-iface'\nwireless.FhA1_5G.ifname='ath13'\n");
    EXPECT_EQ(dir.read("config/wireless"), kWireless);
    EXPECT_EQ(uci(dir, "-q " + state + "get wireless.FhA1_5G.ifname").out, "ath13\n");
    // The line the daemon's wait for the wireless state greps for.
    std::string grep = "grep -n FhA1_5G.ifname " + sh_quote(dir.file("state/wireless")) + " >" +
                       sh_quote(dir.file(".grep"));
    EXPECT_EQ(std::system(grep.c_str()), 0);
    EXPECT_EQ(dir.read(".grep"), "2:wireless.FhA1_5G.ifname='ath13'\n");
}

TEST(UciTool, MalformedPackageIsAParseError) {
    TempDir dir;
    dir.write("config/broken", "config t 's'\n\toption a 'open\n");
    Result r = uci(dir, "get broken.s.a");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "uci: Parse error (line 2: unterminated quote)\n");
}

TEST(UciTool, BadUsageFails) {
    TempDir dir;
    EXPECT_EQ(uci(dir, "").status, 1);
    EXPECT_EQ(uci(dir, "frobnicate x").status, 1);
    EXPECT_EQ(uci(dir, "get").status, 1);
    Result r = uci(dir, "get wireless");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "uci: Invalid argument\n");
}
