#include "state/shield.h"

#include <gtest/gtest.h>

#include "core/daemon.h"
#include "json/json.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

constexpr const char* kStatusCommand =
    "/opt/bitdefender/bin/bdagent-manage -get_status_report > /tmp/shield_status_report";

constexpr const char* kFailedLines =
    "[GET API INFO] shieldSubscriptionExpirationDate=fail   \n"
    "[GET API INFO] shieldSubscriptionType=fail   \n"
    "[GET API INFO] shieldSubscriptionStatus=fail   \n"
    "[GET API INFO] shieldBdAgentStatus=fail   \n"
    "[GET API INFO] shieldRegistrationStatus=fail   \n"
    "[GET API INFO] routerProtectionLicenseStatus=invalid   \n"
    "[GET API INFO] routerProtectionEnabled=false   \n";

class Shield : public ::testing::Test {
  protected:
    void status(const std::string& text) {
        fake->on_exact(kStatusCommand, FakeBackend::outputs(text));
    }
    std::string report() {
        testing::internal::CaptureStdout();
        get_shield_status_report(d);
        return testing::internal::GetCapturedStdout();
    }
    json::Ptr members() {
        json::Ptr obj = json::object();
        testing::internal::CaptureStdout();
        create_router_config_shield(d, obj.get());
        out = testing::internal::GetCapturedStdout();
        return obj;
    }
    const ShieldStatus& s() const { return d.info.router_config.shield; }
    FakeRouter fake;
    Daemon d;
    std::string out;
};

void expect_failed(const ShieldStatus& s) {
    EXPECT_EQ(s.agent_status, "fail");
    EXPECT_EQ(s.registration, "fail");
    EXPECT_EQ(s.subscription_status, "fail");
    EXPECT_EQ(s.expiry, "fail");
    EXPECT_EQ(s.level, "fail");
    EXPECT_EQ(s.license_status, "invalid");
    EXPECT_EQ(s.protection_enabled, "false");
}

}  // namespace

TEST_F(Shield, StatusFileMissingFailsWithItsMessage) {
    FakeBackend::Response r;
    r.remove = {"/tmp/shield_status_report"};
    fake->on_exact(kStatusCommand, r);
    std::string printed = report();
    EXPECT_EQ(printed, std::string("Failed to open /tmp/shield_status_report! \n") + kFailedLines);
    expect_failed(s());
}

TEST_F(Shield, BadJsonFailsWithItsMessage) {
    status("{\"agent\": nope}");
    std::string printed = report();
    EXPECT_EQ(printed, std::string("Not /tmp/shield_status_report valid JSON string, Error before: "
                                   "[nope}]\n") +
                           kFailedLines);
    expect_failed(s());
    EXPECT_FALSE(fake->exists("/tmp/shield_status_report"));
}

TEST_F(Shield, TruncatedJsonFails) {
    status("{\"agent\": {\"registered\": true, \"subscr");
    std::string printed = report();
    EXPECT_NE(printed.find("Not /tmp/shield_status_report valid JSON string, Error before: ["),
              std::string::npos);
    expect_failed(s());
}

TEST_F(Shield, EmptyOutputOfAMissingToolFails) {
    std::string printed = report();  // the shell still creates the empty file
    EXPECT_EQ(printed,
              std::string("Not /tmp/shield_status_report valid JSON string, Error before: []\n") +
                  kFailedLines);
    expect_failed(s());
}

TEST_F(Shield, DocumentWithoutAgentFailsAfterReadingRouterProtection) {
    status(R"({"router_protection":{"license_status":"valid","enabled":true}})");
    std::string printed = report();
    EXPECT_EQ(printed, kFailedLines);
    expect_failed(s());
}

TEST_F(Shield, FullDocument) {
    status(R"({"agent":{"registered":true,"subscription":{"status":"valid","expiry":1767139200,)"
           R"("level":"premium"}},"router_protection":{"license_status":"valid","enabled":true}})");
    std::string printed = report();
    EXPECT_EQ(printed,
              "[GET API INFO] shieldSubscriptionExpirationDate=1767139200   \n"
              "[GET API INFO] shieldSubscriptionType=premium   \n"
              "[GET API INFO] shieldSubscriptionStatus=valid   \n"
              "[GET API INFO] shieldBdAgentStatus=ok   \n"
              "[GET API INFO] shieldRegistrationStatus=True   \n"
              "[GET API INFO] routerProtectionLicenseStatus=valid   \n"
              "[GET API INFO] routerProtectionEnabled=true   \n");
    EXPECT_EQ(fake->commands, std::vector<std::string>{kStatusCommand});
}

TEST_F(Shield, MissingSubscriptionItemsKeepTheirEarlierValues) {
    d.info.router_config.shield.expiry = "123";
    d.info.router_config.shield.level = "basic";
    status(R"({"agent":{"registered":false,"subscription":{"status":"invalid"}}})");
    report();
    EXPECT_EQ(s().agent_status, "ok");
    EXPECT_EQ(s().registration, "False");
    EXPECT_EQ(s().subscription_status, "invalid");
    EXPECT_EQ(s().expiry, "123");
    EXPECT_EQ(s().level, "basic");
    EXPECT_EQ(s().license_status, "invalid");
    EXPECT_EQ(s().protection_enabled, "false");
}

TEST_F(Shield, RouterProtectionWithoutLicenceIsInvalid) {
    status(R"({"agent":{},"router_protection":{"enabled":false}})");
    report();
    EXPECT_EQ(s().license_status, "invalid");
    EXPECT_EQ(s().protection_enabled, "false");
}

TEST_F(Shield, LongStatusValuesKeepTheirBound) {
    status(R"({"agent":{"subscription":{"level":")" + std::string(100, 'x') + R"("}}})");
    report();
    EXPECT_EQ(s().level, std::string(31, 'x'));
}

TEST_F(Shield, InsideTheContainerTheToolRunsThroughLxcAttach) {
    d.info.features.security_in_container = 1;
    report();
    EXPECT_EQ(fake->commands,
              std::vector<std::string>{"lxc-attach shield-bd -- "
                                       "/opt/bitdefender/bin/bdagent-manage -get_status_report > "
                                       "/tmp/shield_status_report"});
}

TEST_F(Shield, InfoDoesNothingWithoutZt) {
    std::string v = "old";
    for (int item = 1; item <= 6; ++item) get_shield_info(d, item, v);
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_EQ(v, "old");
}

TEST_F(Shield, InfoItemsOneToFourReadZtKeys) {
    fake->write("/usr/bin/zt", "");
    fake->on_prefix("zt -s shieldstatus.activateState", FakeBackend::outputs("true yes\n"));
    std::string v;
    testing::internal::CaptureStdout();
    get_shield_info(d, 1, v);
    std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(v, "true");
    EXPECT_EQ(printed, "line: true yes\n, result:true\n");
    EXPECT_FALSE(fake->exists("/tmp/shield.txt"));
    for (int item = 2; item <= 4; ++item) get_shield_info(d, item, v);
    EXPECT_EQ(fake->commands, (std::vector<std::string>{
                                  "zt -s shieldstatus.activateState > /tmp/shield.txt",
                                  "zt -s shieldstatus.expiryDate > /tmp/shield.txt",
                                  "zt -s shieldstatus.protectionStatus > /tmp/shield.txt",
                                  "zt -s shieldstatus.subscriptionStatus > /tmp/shield.txt"}));
}

TEST_F(Shield, AgentVersionFromTheReleaseFileOutsideTheContainer) {
    fake->write("/usr/bin/zt", "");
    fake->write("/opt/bitdefender/bitdefender-release", "NAME=bd\nVERSION=4.2.0~r7\n");
    fake->on_prefix("cat /opt/bitdefender/bitdefender-release",
                    FakeBackend::outputs("VERSION=4.2.0~r7\n"));
    std::string v;
    get_shield_info(d, 5, v);
    EXPECT_EQ(v, "4.2.0");
    EXPECT_EQ(fake->commands,
              std::vector<std::string>{"cat /opt/bitdefender/bitdefender-release | "
                                       "grep VERSION > /tmp/telem_shieldversion.txt"});
    EXPECT_FALSE(fake->exists("/tmp/telem_shieldversion.txt"));
}

TEST_F(Shield, AgentVersionInsideTheContainer) {
    fake->write("/usr/bin/zt", "");
    d.info.features.security_in_container = 1;
    fake->on_prefix("lxc-attach", FakeBackend::outputs("X=1\nVERSION=5.0.1~b2\n"));
    std::string v;
    get_shield_info(d, 5, v);
    EXPECT_EQ(v, "5.0.1");
    EXPECT_EQ(fake->commands,
              std::vector<std::string>{"lxc-attach shield-bd -- cat "
                                       "/opt/bitdefender/bitdefender-release | grep VERSION > "
                                       "/tmp/telem_shieldversion.txt"});
}

TEST_F(Shield, AgentVersionFromKiln) {
    fake->write("/usr/bin/zt", "");
    fake->on_prefix("kiln version -s", FakeBackend::outputs("shield-bd: v4.0.1\n"));
    std::string v;
    get_shield_info(d, 5, v);
    EXPECT_EQ(v, "4.0.1");
    EXPECT_EQ(fake->commands,
              std::vector<std::string>{
                  "kiln version -s | grep shield-bd: > /tmp/telem_shieldversion.txt"});
}

TEST_F(Shield, GusterVersion) {
    fake->write("/usr/bin/zt", "");
    fake->on_prefix("lxc-attach", FakeBackend::outputs("1.8.3\n"));
    std::string v;
    testing::internal::CaptureStdout();
    get_shield_info(d, 6, v);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Shield Guster version=1.8.3\n");
    EXPECT_EQ(v, "1.8.3");
    EXPECT_EQ(fake->commands, std::vector<std::string>{"lxc-attach shield-bd -- cat "
                                                       "/opt/bitdefender/guster/guster.version > "
                                                       "/tmp/telem_gusterversion.txt"});
}

TEST_F(Shield, MembersWhenTheToolFails) {
    json::Ptr obj = members();
    EXPECT_EQ(json::print_compact(obj.get()),
              R"({"shieldActivate":false,"shieldEnable":false,"shieldAgentVersion":"",)"
              R"("shieldSubscriptionStatus":"fail","shieldSubscriptionExpirationDate":"fail",)"
              R"("shieldSubscriptionType":"fail","shieldBdAgentStatus":"fail",)"
              R"("shieldRegistrationStatus":"fail","shieldGusterVersion":"NA",)"
              R"("routerProtectLicenseStatus":"invalid","routerProtectEnabled":"false"})");
    EXPECT_EQ(out.rfind("create_router_config_shield(2101) ===> START\n", 0), 0u);
    EXPECT_NE(out.find("create_router_config_shield(2162) ===> EXIT\n"), std::string::npos);
}

TEST_F(Shield, MembersOfAnUnknownSubscription) {
    fake->write("/usr/bin/zt", "");
    fake->on_prefix("zt -s shieldstatus.activateState", FakeBackend::outputs("trueish\n"));
    fake->on_prefix("zt -s shieldstatus.protectionStatus", FakeBackend::outputs("true\n"));
    status(R"j({"agent":{"registered":false,"subscription":{"status":"(unknown)","expiry":0,)j"
           R"j("level":"(unknown)"}}})j");
    json::Ptr obj = members();
    EXPECT_EQ(json::print_compact(obj.get()),
              R"({"shieldActivate":true,"shieldEnable":true,"shieldAgentVersion":"",)"
              R"("shieldSubscriptionStatus":"off","shieldSubscriptionExpirationDate":"0",)"
              R"("shieldSubscriptionType":"invalid","shieldBdAgentStatus":"ok",)"
              R"("shieldRegistrationStatus":"false","shieldGusterVersion":"NA",)"
              R"("routerProtectLicenseStatus":"invalid","routerProtectEnabled":"false"})");
}

TEST_F(Shield, ShieldIsNotEnabledInApMode) {
    fake->write("/usr/bin/zt", "");
    fake->nvram["enable_ap_mode"] = "1";
    fake->on_prefix("zt -s shieldstatus.protectionStatus", FakeBackend::outputs("true\n"));
    json::Ptr obj = members();
    EXPECT_TRUE(cJSON_IsFalse(cJSON_GetObjectItem(obj.get(), "shieldEnable")));
}

TEST_F(Shield, RegistrationWordsAndSubscriptionType) {
    d.info.router_config.shield.level = "keep";
    status(R"({"agent":{"registered":"yes","subscription":{"status":"other","level":"family"}}})");
    json::Ptr obj = members();
    EXPECT_STREQ(json::get_string(obj.get(), "shieldRegistrationStatus"), "false");
    EXPECT_STREQ(json::get_string(obj.get(), "shieldSubscriptionType"), "shield-family");
    EXPECT_STREQ(json::get_string(obj.get(), "shieldSubscriptionStatus"), "fail");
    // An expiry never given stays empty, which is reported as "fail".
    EXPECT_STREQ(json::get_string(obj.get(), "shieldSubscriptionExpirationDate"), "fail");
}

// The version is everything after '=' up to a '~'; without one, the line's end (its
// newline included) belongs to the version, as the scan of the release line gives it.
TEST_F(Shield, AgentVersionWithoutTildeKeepsTheRestOfTheLine) {
    fake->write("/usr/bin/zt", "");
    fake->write("/opt/bitdefender/bitdefender-release", "VERSION=4.2.0\n");
    fake->on_prefix("cat /opt/bitdefender/bitdefender-release",
                    FakeBackend::outputs("VERSION=4.2.0\n"));
    std::string v;
    get_shield_info(d, 5, v);
    EXPECT_EQ(v, "4.2.0\n");
}
