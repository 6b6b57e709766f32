#include "report/login_install.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "core/daemon.h"
#include "report/assembly.h"
#include "report/install_event_id.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

class LoginEvent : public ::testing::Test {
  protected:
    void SetUp() override {
        fake->nvram["cur_access_user_ip"] = "192.168.1.23";
        fake->nvram["wan_status"] = "up";
        fake->nvram["blank_state"] = "0";
        fake->nvram["redirectString"] = "r=abc";
        fake->nvram["redirectStringENC"] = "c2lnbg";
        fake->nvram["errorReason"] = "timeout";
        fake->nvram["lan_ipaddr"] = "192.168.1.1";
        fake->nvram["sso_stage"] = "prod";
    }
    json::Ptr build(const char* code) {
        fake->nvram["SSO_event"] = code;
        testing::internal::CaptureStdout();
        json::Ptr obj = create_sso_login_event_obj(d);
        out = testing::internal::GetCapturedStdout();
        return obj;
    }
    std::string names(const json::Ptr& obj) {
        std::string list;
        for (const cJSON* c = obj ? obj->child : nullptr; c; c = c->next)
            list += std::string(list.empty() ? "" : ",") + c->string;
        return list;
    }
    FakeRouter fake;
    Daemon d;
    std::string out;
};

}  // namespace

TEST_F(LoginEvent, CodeEightKeepsOnlyTheTypeWarnsAndCarriesTheErrorReason) {
    json::Ptr obj = build("8");
    EXPECT_STREQ(json::get_string(obj.get(), "ssorapEventType"), "GUISecurityQA");
    EXPECT_EQ(json::get(obj.get(), "ssorapSubEventType"), nullptr);
    EXPECT_FALSE(out.empty());
    EXPECT_NE(out.find("ssorapEventType"), std::string::npos);
    EXPECT_STREQ(json::get_string(obj.get(), "errorReason"), "timeout");
    EXPECT_EQ(names(obj), "ssorapEventType,fromIP,internetStatus,duringInstallation,errorReason");
}

TEST_F(LoginEvent, CodeNineLikewise) {
    json::Ptr obj = build("9");
    EXPECT_EQ(names(obj), "ssorapEventType,fromIP,internetStatus,duringInstallation,errorReason");
    EXPECT_STREQ(json::get_string(obj.get(), "ssorapEventType"), "GUISecurityQA");
}

TEST_F(LoginEvent, CodeFiveDuringInstallationOnQaLinksToTheTestSignup) {
    fake->nvram["blank_state"] = "1";
    fake->nvram["sso_stage"] = "qa";
    json::Ptr obj = build("5");
    std::string link = json::get_string(obj.get(), "redirectStringENC");
    std::string start = std::string(config::kAccountServiceQa) + "/signup?redirectUrl=http://";
    EXPECT_EQ(link.rfind(start, 0), 0u) << link;
    EXPECT_EQ(link, start + "192.168.1.1&signature=c2lnbg");
    EXPECT_EQ(names(obj),
              "ssorapEventType,ssorapSubEventType,fromIP,internetStatus,"
              "duringInstallation,redirectString,redirectStringENC");
}

TEST_F(LoginEvent, CodeZeroOrTwelveHasExactlyThreeMembers) {
    for (const char* code : {"0", "12"}) {
        json::Ptr obj = build(code);
        EXPECT_EQ(cJSON_GetArraySize(obj.get()), 3) << code;
        EXPECT_EQ(names(obj), "fromIP,internetStatus,duringInstallation") << code;
    }
}

TEST_F(LoginEvent, OutOfRangeOrNonNumericCodeCountsAsNoCode) {
    for (const char* code : {"9999999999", "-3", "abc", "", "99999999999999999999999"}) {
        json::Ptr obj = build(code);
        EXPECT_EQ(names(obj), "fromIP,internetStatus,duringInstallation") << code;
    }
}

TEST_F(LoginEvent, MembersOfEachCode) {
    const char* three = "fromIP,internetStatus,duringInstallation";
    EXPECT_EQ(names(build("1")),
              std::string("ssorapEventType,ssorapSubEventType,") + three + ",errorReason");
    EXPECT_EQ(names(build("2")), std::string("ssorapEventType,ssorapSubEventType,") + three);
    EXPECT_EQ(names(build("3")),
              std::string("ssorapEventType,ssorapSubEventType,") + three + ",errorReason");
    EXPECT_EQ(names(build("4")), std::string("ssorapEventType,ssorapSubEventType,") + three);
    EXPECT_EQ(names(build("6")), std::string("ssorapEventType,ssorapSubEventType,") + three);
    EXPECT_EQ(names(build("7")), std::string("ssorapEventType,ssorapSubEventType,") + three +
                                     ",redirectString,redirectStringENC,errorReason");
}

TEST_F(LoginEvent, TypesAndSubEventsOfTheTable) {
    const char* expected[9][2] = {
        {"APPRemotePixie", "remotePixieTokenQuery"},
        {"APPRemotePixie", "remotePixieLoginTouchDown"},
        {"APPSecurityQA", "APPSecurityQALogin"},
        {"APPSecurityQA", "APPSecurityQATouchDown"},
        {"GUILoginRedirect", "LoginRedirectToServer"},
        {"GUILoginRedirect", "LoginAbort"},
        {"GUILoginRedirect", "LoginRedirectBackFromServer"},
    };
    for (int code = 1; code <= 7; ++code) {
        json::Ptr obj = build(std::to_string(code).c_str());
        EXPECT_STREQ(json::get_string(obj.get(), "ssorapEventType"), expected[code - 1][0]);
        EXPECT_STREQ(json::get_string(obj.get(), "ssorapSubEventType"), expected[code - 1][1]);
    }
}

TEST_F(LoginEvent, CodeSevenTakesTheEncodedStringFromNvram) {
    json::Ptr obj = build("7");
    EXPECT_STREQ(json::get_string(obj.get(), "redirectStringENC"), "c2lnbg");
}

TEST_F(LoginEvent, StatusTexts) {
    fake->nvram["wan_status"] = "down";
    json::Ptr obj = build("2");
    EXPECT_STREQ(json::get_string(obj.get(), "internetStatus"), "OFF");
    EXPECT_STREQ(json::get_string(obj.get(), "duringInstallation"), "NO");
    fake->nvram["wan_status"] = "up";
    fake->nvram["blank_state"] = "1";
    obj = build("2");
    EXPECT_STREQ(json::get_string(obj.get(), "internetStatus"), "ON");
    EXPECT_STREQ(json::get_string(obj.get(), "duringInstallation"), "YES");
}

TEST_F(LoginEvent, SignInLinkByStageAndBlankState) {
    fake->nvram["sso_stage"] = "dev";
    EXPECT_EQ(sso_sign_in_link(), std::string(config::kAccountServiceDev) +
                                      "/login?redirectUrl=http://192.168.1.1&signature=c2lnbg");
    fake->nvram["sso_stage"] = "prod";
    EXPECT_EQ(sso_sign_in_link().rfind(config::kAccountServiceProd, 0), 0u);
    fake->nvram["sso_stage"] = "beta";
    EXPECT_EQ(sso_sign_in_link(), "/login?redirectUrl=http://192.168.1.1&signature=c2lnbg");
    fake->nvram["blank_state"] = "2";
    EXPECT_EQ(sso_sign_in_link(), "");
}

TEST_F(LoginEvent, SignInLinkIsKeptTo511Characters) {
    fake->nvram["redirectStringENC"] = std::string(800, 's');
    EXPECT_EQ(sso_sign_in_link().size(), kSignInLinkMax);
}

TEST_F(LoginEvent, ReportCarriesTheEventOnceWhenTheFlagIsSet) {
    fake->mkdir("/tmp/telem_json_dir");
    d.info.model = "VRE670";
    fake->nvram["RA_enable"] = "1";
    fake->nvram["SSO_event"] = "2";
    d.info.login_event = 1;
    testing::internal::CaptureStdout();
    create_device_json(d, 2);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(d.info.login_event, 0);
    auto report = fake->read("/tmp/telem_json_dir/telem_VRE670.json");
    ASSERT_TRUE(report);
    EXPECT_NE(report->find("\"ssorapLoginEvent\""), std::string::npos);
}

// --- goldens -------------------------------------------------------------------------

namespace {

void expect_golden(const std::string& name, const json::Ptr& obj) {
    ASSERT_TRUE(obj);
    std::filesystem::path path =
        std::filesystem::path(__FILE__).parent_path().parent_path() / "golden" / name;
    std::ifstream in(path, std::ios::binary);
    ASSERT_TRUE(in) << "missing golden file " << path;
    std::stringstream golden;
    golden << in.rdbuf();
    EXPECT_EQ(json::print_string(obj.get()) + "\n", golden.str()) << "differs from " << path;
}

}  // namespace

TEST_F(LoginEvent, GoldenAppRemotePixie) {
    expect_golden("login_event_app_remote_pixie.json", build("1"));
}

TEST_F(LoginEvent, GoldenAppSecurityQa) {
    expect_golden("login_event_app_security_qa.json", build("4"));
}

TEST_F(LoginEvent, GoldenGuiLoginRedirect) {
    fake->nvram["blank_state"] = "1";
    fake->nvram["sso_stage"] = "qa";
    expect_golden("login_event_gui_login_redirect.json", build("5"));
}

TEST_F(LoginEvent, GoldenGuiSecurityQa) {
    expect_golden("login_event_gui_security_qa.json", build("9"));
}

// --- install event -------------------------------------------------------------------

namespace {

class InstallEvent : public ::testing::Test {
  protected:
    void SetUp() override {
        d.info.serial = "6LA1234567890";
        d.info.fw_version = "V2.0.1.14";
        d.info.model = "VRE670";
        fake->write("/usr/bin/kiln", "");
        fake->on_exact("kiln version -s > /tmp/rae_kiln_version",
                       FakeBackend::outputs("kiln: v1.2.3\nkiln_services: v4.5.6\n"));
    }
    FakeRouter fake;
    Daemon d;
};

const char* const kInstallBody = R"({"timestamp": "2026-01-01T10:00:00Z", "status": "done",
    "feature": "mesh", "subFeature": "satellite", "verb": "add",
    "payload": {"satellites": [1, 2]}, "extra": "dropped"})";

}  // namespace

TEST_F(InstallEvent, GoldenInstallEvent) {
    fake->nvram["RAE_installEventId"] = "41";
    json::Ptr body = json::parse(kInstallBody);
    json::Ptr obj = create_install_event_obj(body.get(), d.info);
    expect_golden("install_event.json", obj);
    EXPECT_EQ(json::get(body.get(), "payload"), nullptr);  // moved, not copied
}

TEST_F(InstallEvent, EmptyIdBeforeTheFirstUploadThenOne) {
    json::Ptr body = json::parse(kInstallBody);
    json::Ptr obj = create_install_event_obj(body.get(), d.info);
    EXPECT_STREQ(json::get_string(obj.get(), "id"), "");
    advance_install_event_id();
    EXPECT_EQ(fake->nvram["RAE_installEventId"], "1");
}

TEST_F(InstallEvent, MissingOrNumericTextsGiveEmptyStrings) {
    json::Ptr body = json::parse(R"({"timestamp": 1767225600, "status": ["x"], "verb": null})");
    json::Ptr obj = create_install_event_obj(body.get(), d.info);
    for (const char* name : {"timestamp", "status", "feature", "subFeature", "verb"})
        EXPECT_STREQ(json::get_string(obj.get(), name), "") << name;
    EXPECT_EQ(json::get(obj.get(), "payload"), nullptr);
}

TEST_F(InstallEvent, FillerReplacesTheBodyMembersInPlaceAndClearsTheFlag) {
    d.info.install_event = 1;
    d.dal_header_source = json::parse(R"({"publishEventInfo": {"eventType": 17}})");
    json::Ptr root = json::object();
    json::add(root.get(), "installEvent", json::parse(kInstallBody));
    cJSON* body = json::get(root.get(), "installEvent");
    fill_install_event(d, body);
    EXPECT_EQ(d.info.install_event, 0);
    EXPECT_EQ(json::get(root.get(), "installEvent"), body);
    EXPECT_STREQ(json::get_string(body, "source"), "RA");
    EXPECT_EQ(json::get(body, "extra"), nullptr);
    EXPECT_EQ(json::print_compact(json::get(body, "payload")), R"({"satellites":[1,2]})");
}

TEST_F(InstallEvent, BodyThatIsNotAnObjectBecomesTheInstallEvent) {
    d.dal_header_source = json::parse(R"({"publishEventInfo": {"eventType": 17}})");
    json::Ptr root = json::object();
    json::add(root.get(), "installEvent", json::string("just text"));
    cJSON* body = json::get(root.get(), "installEvent");
    fill_install_event(d, body);
    EXPECT_TRUE(cJSON_IsObject(body));
    EXPECT_STREQ(json::get_string(body, "source"), "RA");
    EXPECT_STREQ(json::get_string(body, "timestamp"), "");
}

TEST_F(InstallEvent, DalReportOfTypeSeventeenCarriesTheInstallEvent) {
    fake->mkdir("/tmp/telem_json_dir");
    fake->nvram["RA_enable"] = "1";
    fake->nvram["RAE_installEventId"] = "7";
    fake->write("/tmp/telem_json_dal_dir/dal_event.json",
                std::string(R"({"publishEventInfo": {"eventType": 17}, "installEvent": )") +
                    kInstallBody + "}");
    testing::internal::CaptureStdout();
    create_device_json(d, 6);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(d.info.install_event, 0);
    auto report = fake->read("/tmp/telem_json_dir/telem_VRE670.json");
    ASSERT_TRUE(report);
    json::Ptr doc = json::parse(*report);
    const cJSON* ev = json::get(doc.get(), "installEvent");
    EXPECT_STREQ(json::get_string(ev, "id"), "7");
    EXPECT_STREQ(json::get_string(ev, "kilnVersion"), "V1.2.3");
    EXPECT_STREQ(json::get_string(ev, "routerModel"), "VRE670");
}

TEST_F(InstallEvent, FlagOfAnUnusableInstallEventDoesNotCarryOverToTheNextDalEvent) {
    fake->mkdir("/tmp/telem_json_dir");
    fake->nvram["RA_enable"] = "1";
    // An install event without a body: rejected, the builder never runs.
    fake->write("/tmp/telem_json_dal_dir/dal_event.json",
                R"({"publishEventInfo": {"eventType": 17}})");
    testing::internal::CaptureStdout();
    create_device_json(d, 6);
    fake->write("/tmp/telem_json_dal_dir/dal_event.json",
                R"({"publishEventInfo": {"eventType": 12}, "speedTest": {"status": "done"}})");
    create_device_json(d, 6);
    testing::internal::GetCapturedStdout();
    auto report = fake->read("/tmp/telem_json_dir/telem_VRE670.json");
    ASSERT_TRUE(report);
    json::Ptr doc = json::parse(*report);
    const cJSON* body = json::get(doc.get(), "speedTest");
    EXPECT_STREQ(json::get_string(body, "status"), "done");
    EXPECT_EQ(json::get(body, "source"), nullptr);
    EXPECT_EQ(d.info.install_event, 0);
}
