#include "tests/torture/prescribed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace torture {
namespace {

using testing::Contains;
using testing::Not;

constexpr Circumstances kFirstBoot = {.first_boot = true, .marked = true, .asked = true};
constexpr Circumstances kBehind = {.first_boot = false, .marked = true, .asked = true};
constexpr Circumstances kUnmarked = {.first_boot = true, .marked = false, .asked = true};
constexpr Circumstances kUnasked = {.first_boot = true, .marked = false, .asked = false};

std::string row_for(const Strike &strike, const Difference &difference, const Circumstances &around) {
  return prescribed_difference(strike, around, difference);
}

// In either phase; the tests of the phases are their own.
std::string row_for(const Strike &strike, const Difference &difference) {
  const std::string found = row_for(strike, difference, kFirstBoot);
  return found != "" ? found : row_for(strike, difference, kBehind);
}

Strike strike(const char *call_class, const char *call, const char *blow) {
  return {"wire", {call_class, 1, call}, blow, ""};
}

TEST(Prescribed, ARowSaysWhatMayCome) {
  const Strike before_the_report = strike("file", "open(/data/etc/ssh/ssh_host_rsa_key.pub.fp)", "KILL");
  EXPECT_NE(row_for(before_the_report,
                    {"/reports/health", "\"<State>Ready</State>\"", "\"<State>NotReady</State><Details></Details>\""}),
            "");
  EXPECT_EQ(row_for(before_the_report, {"/reports/health", "\"<State>Ready</State>\"", "nothing"}), "");
}

TEST(Prescribed, TheReportOfReadyIsOwedByEveryOtherStrike) {
  const Difference not_ready = {"/reports/health", "\"<State>Ready</State>\"", "\"<State>NotReady</State>\""};
  EXPECT_EQ(row_for(strike("file", "open(/data/etc/ssh/ssh_host_rsa_key.pub.fp)", "EIO"), not_ready), "");
  EXPECT_EQ(row_for(strike("file", "open(/data/etc/.provisioned)", "KILL"), not_ready), "");
  EXPECT_EQ(row_for(strike("platform", "cmf_write_config(1)", "KILL"), not_ready), "");
}

// A failure may cost what its call was for; a kill repeats it.
TEST(Prescribed, RowsOfFailuresExcuseNoKill) {
  const Difference no_account = {"/tables/340/operator/profile", "\"super_admin\"", "nothing"};
  EXPECT_NE(row_for(strike("file", "open(/cdrom/ovf-env.xml)", "EIO"), no_account), "");
  EXPECT_EQ(row_for(strike("file", "open(/cdrom/ovf-env.xml)", "KILL"), no_account), "");
  EXPECT_EQ(row_for(strike("file", "open(/cdrom/ovf-env.xml)", "POWER2"), no_account), "");
  const Difference no_key = {"/tables/340/operator/ssh_keys/2", "\"key 2\"", "nothing"};
  EXPECT_NE(row_for(strike("request", "request(http://a/?comp=certificates)", "fabric:html"), no_key), "");
  EXPECT_EQ(row_for(strike("request", "request(http://a/?comp=certificates)", "KILL"), no_key), "");
  const Difference no_header = {"/requests GET /?comp=certificates header x-ms-guest-agent-public-x509-cert", "a",
                                "no such header"};
  EXPECT_NE(row_for(strike("memory", "malloc(text_format < wire_certificates_headers < x)", "ENOMEM"), no_header), "");
  EXPECT_EQ(row_for(strike("memory", "malloc(text_format < wire_certificates_headers < x)", "KILL"), no_header), "");
}

TEST(Prescribed, AnInterruptedReadOrWriteOfACopyLosesNothing) {
  const Difference no_custom_data = {"/files/.customdata", "\"config\"", "\"absent\""};
  for (const char *call : {"read(/cdrom/CustomData.bin)", "write(/etc/.kelvane-copy)"}) {
    EXPECT_NE(row_for(strike("inside", call, "EIO"), no_custom_data), "") << call;
    EXPECT_EQ(row_for(strike("inside", call, "EINTR"), no_custom_data), "") << call;
    EXPECT_EQ(row_for(strike("inside", call, "SHORT"), no_custom_data), "") << call;
  }
  EXPECT_NE(row_for(strike("inside", "write(/etc/.kelvane-copy)", "ENOSPC"), no_custom_data), "");
  EXPECT_NE(row_for(strike("inside", "open(/cdrom/CustomData.bin)", "EINTR"), no_custom_data), "");
  EXPECT_NE(row_for(strike("inside", "open(/etc/.kelvane-copy)", "EINTR"), no_custom_data), "");
}

TEST(Prescribed, AnInterruptedReadOfTheFingerprintIsTakenUpAgain) {
  const Difference no_fingerprint = {"/reports/provisioning/properties/certificateThumbprint", "\"AA\"", "\"\""};
  EXPECT_NE(row_for(strike("bytes", "read(/data/etc/ssh/ssh_host_rsa_key.pub.fp)", "EIO"), no_fingerprint), "");
  EXPECT_EQ(row_for(strike("bytes", "read(/data/etc/ssh/ssh_host_rsa_key.pub.fp)", "EINTR"), no_fingerprint), "");
}

TEST(Prescribed, OnlyTheSuccessThatIsNotToldAgainIsMeantEverywhere) {
  const char *const place =
      "/reports/status blob/handlers/Microsoft.OSTCExtensions.VMAccessForLinux/settingsStatus/status/status";
  EXPECT_NE(row_for(strike("platform", "conf_end()", "KILL"), {place, "nothing", "\"success\""}), "");
  EXPECT_EQ(row_for(strike("platform", "conf_end()", "KILL"), {place, "nothing", "\"error\""}), "");
  EXPECT_EQ(row_for(strike("platform", "conf_end()", "KILL"), {place, "\"success\"", "nothing"}), "");
}

TEST(Prescribed, AnEndIsAPlaceToo) {
  EXPECT_NE(row_for(strike("platform", "conf_init()", "EIO"), {"exit", "0", "255"}, kUnasked), "");
  EXPECT_EQ(row_for(strike("platform", "conf_init()", "EIO"), {"exit", "0", "1"}, kUnasked), "");
  EXPECT_EQ(row_for(strike("platform", "conf_end()", "EIO"), {"exit", "0", "255"}, kUnasked), "");
}

TEST(Prescribed, AnAgentThatAskedForSomethingDoesNotEnd) {
  const Strike dead = strike("file", "open(/data/etc/.plugin_status)", "DEAD");
  EXPECT_NE(row_for(dead, {"exit", "0", "255"}, kUnasked), "");
  EXPECT_EQ(row_for(dead, {"exit", "0", "255"}, kFirstBoot), "");
  EXPECT_EQ(row_for(dead, {"exit", "0", "255"}, kBehind), "");
}

TEST(Prescribed, AFailureCostsOnePauseWhereTheRequestsBehindItCanBeMade) {
  const Difference wait = {"wait", "no more than 11", "77"};
  EXPECT_NE(row_for(strike("request", "request(http://a/machine/?comp=goalstate)", "fabric:cut"), wait), "");
  EXPECT_EQ(row_for(strike("request", "request(http://a/machine/?comp=goalstate)", "fabric:status:503"), wait), "");
  EXPECT_EQ(row_for(strike("request", "request(http://a/machine/?comp=health)", "fabric:cut"), wait), "");
  EXPECT_NE(row_for(strike("platform", "generate_RSA_key(2048, 65537)", "EIO"), wait), "");
  EXPECT_EQ(row_for(strike("platform", "cmf_write_config(1)", "EIO"), wait), "");
}

TEST(Prescribed, WithoutAMarkerFirstBootOwesEverything) {
  const Strike unread = strike("file", "open(/cdrom/ovf-env.xml)", "EIO");
  const Difference no_name = {"/tables/100/fields/host_name", "\"edge-fw-01\"", "\"kelvane\""};
  EXPECT_NE(row_for(unread, no_name, kFirstBoot), "");
  EXPECT_EQ(row_for(unread, no_name, kUnmarked), "");
  const Strike told = strike("request", "request(http://a/machine/?comp=health)", "KILL");
  const Difference not_ready = {"/reports/health", "\"<State>Ready</State>\"", "\"<State>NotReady</State>\""};
  EXPECT_NE(row_for(told, not_ready, kBehind), "");
  EXPECT_EQ(row_for(told, not_ready, kUnmarked), "") << "it is the first report";
  EXPECT_EQ(row_for(strike("file", "open(/cdrom/ovf-env.xml)", "DEAD"), no_name, kFirstBoot), "");
}

// A letter for each time in which the row holds: f for first boot with a marker behind it, u without one, b behind it.
TEST(Prescribed, EachRowHoldsInItsTimeOnly) {
  const char kCustom[] = "/files/.customdata", kAbsent[] = "\"absent\"";
  const char kThumbprint[] = "/reports/provisioning/properties/certificateThumbprint", kEmpty[] = "\"\"";
  const char kOperators[] = "/tables/340/operator/354/records/0/widget", kNothing[] = "nothing";
  const char kAuditors[] = "/tables/340/auditor/354/records/0/widget";
  const char kHub[] = "/tables/640/fields/event_hub_name", kOldHub[] = "\"firewall-logs\"";
  const char kPassword[] = "/tables/340/auditor/password", kOldPassword[] = "\"that of Slate-Orchard-77?\"";
  const char kHeader[] = "/requests GET http://a/?comp=certificates header x-ms-guest-agent-public-x509-cert";
  const char kState[] = "/reports/health", kNotReady[] = "\"<State>NotReady</State>\"";
  const struct {
    const char *call_class, *blow, *call, *place, *came, *times;
  } kCases[] = {
      {"file", "EIO", "open(/cdrom/ovf-env.xml)", "/history/operator", kNothing, "f"},
      {"platform", "EIO", "get_rnd_bytes(8)", "/tables/340/operator/ssh_keys/2", kNothing, "f"},
      {"platform", "EIO", "ssh_pubkey_data_set(\"operator\", a key, 1)", "/tables/340/operator/ssh_keys/1", kNothing,
       "f"},
      {"platform", "EIO", "ssh_pubkey_data_set(\"operator\", a key, 2)", "/tables/340/operator/ssh_keys/2", kNothing,
       "f"},
      {"database", "FULL", "write(x in ssh_pubkey_data_set(\"operator\", a key, 1))", "/tables/340/operator/ssh_keys/2",
       kNothing, "f"},
      {"database", "FULL", "write(x in ssh_pubkey_data_set(\"operator\", a key, 2))", "/tables/340/operator/ssh_keys/2",
       kNothing, "f"},
      {"memory", "ENOMEM", "malloc(a < take_public_key < main)", "/tables/340/auditor/ssh_keys/1", "\"key 1\"", "u"},
      {"platform", "EIO", "make_new_passwd(a password, 0)", "/tables/340/auditor/ssh_keys/2", "\"key 2\"", "u"},
      {"platform", "EIO", "cmf_query_commit(340)", "/history/admin", kNothing, "f"},
      {"platform", "EIO", "cmf_query_update(100)", "/tables/100/fields/host_name", "\"kelvane\"", "f"},
      {"system", "EPERM", "sethostname(a)", "/files/hostname", kAbsent, "f"},
      {"platform", "EIO", "nCfg_query(440)", "/tables/440/port2/addressing_mode", "0", "f"},
      {"platform", "EIO", "nCfg_query(330)", kOperators, "0", "f"},
      {"platform", "EIO", "nCfg_query(330)", kAuditors, "0", "b"},
      {"platform", "EIO", "nCfg_query(340)", kOperators, kNothing, "f"},
      {"platform", "EIO", "nCfg_query(340)", kAuditors, kNothing, "b"},
      {"platform", "EIO", "cmf_query_create_child_with_key(340, 354, \"x\")", kOperators, kNothing, "f"},
      {"platform", "EIO", "cmf_query_create_child_with_key(340, 14050, \"x\")", "/tables/340/auditor/14050/x", kNothing,
       "b"},
      {"platform", "EIO", "cmf_query_table_append(354 of \"x\")", kOperators, "27", "f"},
      {"platform", "EIO", "cmf_query_create(280)", "/tables/340/operator/access_profile", "0", "f"},
      {"platform", "EIO", "cmf_query_create(280)", "/tables/340/auditor/access_profile", "0", "b"},
      {"file", "EIO", "rename(/etc/tmpdata.conf)", kCustom, kAbsent, "fb"},
      {"file", "KILL", "rename(/etc/tmpdata.conf)", kCustom, kAbsent, "fb"},
      {"file", "DEAD", "rename(/etc/tmpdata.conf)", kCustom, kAbsent, "fb"},
      {"bytes", "EIO", "write(/data/etc/.provisioned)", "/files/.provisioned", kEmpty, "fb"},
      {"bytes", "DEAD", "write(/data/etc/.provisioned)", "/files/.provisioned", kEmpty, "fb"},
      {"bytes", "POWER1", "sync()", "/files/.provisioned", kEmpty, "fb"},
      {"bytes", "KILL", "sync()", kState, kNotReady, "fb"},
      {"request", "fabric:cut", "request(http://a/?comp=health)", kState, kNotReady, "b"},
      {"memory", "ENOMEM", "malloc(a < report < ProvisionAgent_HandlerRun < main)", kState, kNotReady, "b"},
      {"file", "EIO", "open(/data/etc/ssh/a.fp)", kThumbprint, kEmpty, "fb"},
      {"platform", "EIO", "passwd_policy_save_info(\"admin\")", "/history/admin", kNothing, "f"},
      {"platform", "EIO", "passwd_policy_save_info(\"operator\")", "/history/operator", kNothing, "f"},
      {"platform", "EIO", "passwd_policy_save_info(\"auditor\")", "/history/auditor", kOldPassword, "b"},
      {"platform", "EIO", "get_rnd_bytes(8)", kHeader, "no such header", "fub"},
      {"memory", "ENOMEM+", "realloc(add < a < pluginManager_Init < main)", kHeader, "no such header", "fub"},
      {"memory", "ENOMEM", "realloc(add < a < pluginManager_Init < main)", kHeader, "no such header", ""},
      {"request", "fabric:cut", "request(http://a/?comp=goalstate)", "wait", "77", "fu"},
      {"platform", "EIO", "get_rnd_bytes(8)", "wait", "77", "fub"},
      {"request", "fabric:cut", "request(http://storage.example.invalid/a)", "wait", "77", ""},
      {"platform", "EIO", "miglib_b64_pton(a text)", kHub, kOldHub, "b"},
      {"platform", "EIO", "cmf_query_update(640)", kHub, kOldHub, "b"},
      {"memory", "ENOMEM", "calloc(Secret::allocate < a < custom_script_command < b)", kHub, kOldHub, "b"},
      {"platform", "EIO", "cmf_query_commit(340)", kPassword, kOldPassword, "b"},
      {"platform", "EIO", "nCfg_query(340)", kPassword, kOldPassword, "b"},
      {"platform", "EIO", "cmf_write_config(1)", kPassword, kOldPassword, "b"},
      {"platform", "EIO", "cmf_write_config(1)", "/tables/events/\"Config eventhub fails.\"", "true", "b"},
      {"memory", "ENOMEM+", "malloc(a < main_loop_run < main)", kPassword, kOldPassword, "b"}};
  for (const auto &one : kCases) {
    const Strike struck = strike(one.call_class, one.call, one.blow);
    const Difference difference = {one.place, "another", one.came};
    std::string times;
    times += row_for(struck, difference, kFirstBoot) != "" ? "f" : "";
    times += row_for(struck, difference, kUnmarked) != "" ? "u" : "";
    times += row_for(struck, difference, kBehind) != "" ? "b" : "";
    EXPECT_EQ(times, one.times) << one.blow << " " << one.call << " " << one.place;
  }
  Strike full = strike("database", "write(x in cmf_write_config(1))", "FULL");
  full.protocol = "metadata";
  EXPECT_EQ(row_for(full, {"/history/operator", "x", kNothing}, kBehind), "");
  EXPECT_NE(row_for(full, {"/history/operator", "x", kNothing}, kFirstBoot), "");
}

// A disc that is full or gone is more than one call that fails.
TEST(Prescribed, OnlyASingleFailureOfTheDatabaseIsThatOfItsPlatformCall) {
  const Difference not_locked = {"/tables/340/admin/password", "\"that of nobody\"", "\"no password: x\""};
  for (const char *blow : {"EIO", "ENOSPC", "SHORT", "FULL", "DEAD"}) {
    const Strike written = strike("database", "write(kelvane-config.db-wal in cmf_query_commit(340))", blow);
    const bool single = blow != std::string("FULL") && blow != std::string("DEAD");
    EXPECT_EQ(row_for(written, not_locked, kFirstBoot) != "", single) << blow;
  }
}

// An answer that looks well is believed; any other is asked for again.
TEST(Prescribed, ARequestThatFailsOutrightExcusesNothing) {
  const Difference no_key = {"/tables/340/operator/ssh_keys/2", "\"key 2\"", "nothing"};
  const Difference not_ready = {"/reports/health", "\"<State>Ready</State>\"", "\"<State>NotReady</State>\""};
  const Difference no_status = {"/reports/provisioning/status", "\"Ready\"", "\"NotReady\""};
  const Difference no_range = {"/requests PUT http://a/?comp=page page range", "0", "nothing"};
  const struct {
    const char *call;
    Difference difference;
    const char *well;
  } kCases[] = {{"request(http://a/?comp=certificates)", no_key, "fabric:html"},
                {"request(http://169.254.169.254/a/certificates/1)", no_key, "fabric:status:503"},
                {"request(http://a/machine/?comp=health)", not_ready, "fabric:cut"},
                {"request(http://169.254.169.254/a/provisioningStatus)", no_status, "fabric:status:404"},
                {"request(http://storage.example.invalid/a)", no_range, "fabric:empty"}};
  for (const auto &one : kCases) {
    EXPECT_NE(row_for(strike("request", one.call, one.well), one.difference), "") << one.call;
    for (const char *blow : {"7", "28", "56", "fabric:reset:0"}) {
      EXPECT_EQ(row_for(strike("request", one.call, blow), one.difference), "") << one.call << " " << blow;
    }
  }
  const Difference wait = {"wait", "1 and one pause", "91"};
  EXPECT_EQ(row_for(strike("request", "request(http://storage.example.invalid/a)", "28"), wait), "");
  for (const char *blow : {"fabric:cut", "fabric:reset:100", "fabric:wrong-length:7"}) {
    EXPECT_EQ(row_for(strike("request", "request(http://169.254.169.254/a/certificates/1)", blow), no_key), "") << blow;
  }
  EXPECT_EQ(row_for(strike("request", "request(http://a/machine/?comp=health)", "fabric:wrong-length:7"), not_ready),
            "");
  EXPECT_EQ(row_for(strike("request", "request(http://a/?comp=certificates)", "fabric:status:503"), no_key), "");
  EXPECT_EQ(row_for(strike("request", "request(http://a/machine/?comp=health)", "fabric:status:404"), not_ready), "");
}

const Difference kFirstHub = {"/tables/640/fields/event_hub_name", "\"firewall-logs-v2\"", "\"firewall-logs\""};
const Difference kFirstPassword = {"/tables/340/auditor/password", "\"that of Copper-Lantern-31?\"",
                                   "\"that of Slate-Orchard-77?\""};

TEST(Prescribed, AFailureInOneCommandExcusesNoOther) {
  const Strike in_the_hub = strike("platform", "cmf_query_update(640)", "EIO");
  EXPECT_NE(row_for(in_the_hub, kFirstHub), "");
  EXPECT_EQ(row_for(in_the_hub, kFirstPassword), "");
  for (const char *call : {"nCfg_query(340)", "cmf_query_commit(340)", "make_new_passwd(a password, 0)",
                           "cmf_query_do_table_find(340, 0, \"auditor\", 2)", "cmf_write_config(1)"}) {
    EXPECT_NE(row_for(strike("platform", call, "EIO"), kFirstPassword), "") << call;
    EXPECT_EQ(row_for(strike("platform", call, "EIO"), kFirstHub), "") << call;
  }
}

TEST(Prescribed, WhatIsForBothCommandsExcusesBoth) {
  EXPECT_NE(row_for(strike("platform", "miglib_b64_pton(a text)", "EIO"), kFirstHub), "");
  EXPECT_NE(row_for(strike("platform", "miglib_b64_pton(a text)", "EIO"), kFirstPassword), "");
  const Strike certificate = strike("memory", "malloc(append_record < CertStoreSlot < x)", "ENOMEM");
  EXPECT_NE(row_for(certificate, kFirstHub), "");
  EXPECT_NE(row_for(certificate, kFirstPassword), "");
}

TEST(Prescribed, ASecretIsOfTheCommandThatAskedForIt) {
  const Strike hub =
      strike("memory", "calloc(Secret::allocate < enable < custom_script_command < launch < main)", "ENOMEM");
  EXPECT_NE(row_for(hub, kFirstHub), "");
  EXPECT_EQ(row_for(hub, kFirstPassword), "");
  const Strike account =
      strike("memory", "calloc(Secret::allocate < enable < vm_access_command < launch < main)", "ENOMEM");
  EXPECT_EQ(row_for(account, kFirstHub), "");
  EXPECT_NE(row_for(account, kFirstPassword), "");
}

// What a command that failed leaves is what the command before it made.
TEST(Prescribed, ACommandThatFailsLeavesWhatWas) {
  const Strike written = strike("platform", "cmf_write_config(1)", "EIO");
  const auto password = [](const char *came) {
    return Difference{"/tables/340/auditor/password", kFirstPassword.expected, came};
  };
  EXPECT_NE(row_for(written, kFirstPassword), "");
  EXPECT_EQ(row_for(written, password("nothing")), "");
  EXPECT_EQ(row_for(written, password("\"no password: x\"")), "");
  EXPECT_EQ(row_for(written, password("\"that of Plum-Harbour-42!\"")), "");
  EXPECT_NE(row_for(written, {"/history/auditor", "x", "\"that of Slate-Orchard-77?\""}), "");
  EXPECT_EQ(row_for(written, {"/history/auditor", "x", "nothing"}), "");
  const Strike found = strike("platform", "cmf_query_update(640)", "EIO");
  EXPECT_EQ(row_for(found, {"/tables/640/fields/event_hub_name", "x", "nothing"}), "");
  EXPECT_EQ(row_for(found, {"/tables/640/fields/enabled", "1", "0"}), "");
  const char *const message = "/plugins/Microsoft.OSTCExtensions.CustomScriptForLinux/config/message";
  const Strike text = strike("memory", "malloc(text_format < CustomScript_ConfigEventHub < x)", "ENOMEM");
  EXPECT_NE(row_for(text, {message, "x", R"("Command is finished.\nOperation ID: op-2201\n\n---errout---\n\n")"}), "");
  EXPECT_EQ(row_for(text, {message, "x", R"("Command is finished.\nOperation ID: op-22010\n")"}), "");
  EXPECT_EQ(row_for(text, {message, "x", "\"\""}), "");
}

TEST(Prescribed, WhatDidNotComeIsNotThere) {
  const Strike unread = strike("file", "open(/cdrom/ovf-env.xml)", "EIO");
  EXPECT_EQ(row_for(unread, {"/tables/340/operator/profile", "\"super_admin\"", "\"prof_admin\""}), "");
  EXPECT_EQ(row_for(unread, {"/history/operator", "x", "\"no password\""}), "");
  EXPECT_NE(row_for(unread, {"/tables/100/fields/host_name", "\"edge-fw-01\"", "\"kelvane\""}), "");
  EXPECT_EQ(row_for(unread, {"/tables/100/fields/host_name", "\"edge-fw-01\"", "\"\""}), "");
  EXPECT_EQ(row_for(unread, {"/files/hostname", "\"edge-fw-01\\n\"", "\"\\n\""}), "");
  Strike full = strike("database", "write(kelvane-config.db-wal in cmf_write_config(1))", "FULL");
  full.protocol = "metadata";
  EXPECT_NE(row_for(full, {"/tables/340/operator/profile", "\"super_admin\"", "nothing"}), "");
  EXPECT_EQ(row_for(full, {"/tables/340/operator/profile", "\"super_admin\"", "\"\""}), "");
  const Strike no_profile = strike("platform", "cmf_query_create(280)", "EIO");
  EXPECT_NE(row_for(no_profile, {"/tables/340/auditor/access_profile", "2", "0"}), "");
  EXPECT_EQ(row_for(no_profile, {"/tables/340/auditor/access_profile", "2", "1"}), "");
}

TEST(Prescribed, OnlyThePasswordThatWasNotRememberedIsMissing) {
  const Strike of_operator = strike("platform", "passwd_policy_save_info(\"operator\")", "EIO");
  EXPECT_NE(row_for(of_operator, {"/history/operator", "x", "nothing"}), "");
  EXPECT_EQ(row_for(of_operator, {"/history/operator", "x", "\"that of Slate-Orchard-77?\""}), "");
  EXPECT_EQ(row_for(of_operator, {"/history/admin", "x", "nothing"}), "");
  EXPECT_EQ(row_for(of_operator, {"/history/auditor", "x", "\"that of Slate-Orchard-77?\""}), "");
  const Strike of_auditor = strike("platform", "passwd_policy_save_info(\"auditor\")", "EIO");
  EXPECT_NE(row_for(of_auditor, {"/history/auditor", "x", "\"that of Slate-Orchard-77?\""}), "");
  EXPECT_EQ(row_for(of_auditor, {"/history/auditor", "x", "nothing"}), "");
}

TEST(Prescribed, APluginThatIsNotThereConfiguresNothing) {
  const Strike unknown = strike("memory", "realloc(add < pluginManager_Add < pluginManager_Init < main)", "ENOMEM");
  const char *const message = "/plugins/Microsoft.OSTCExtensions.CustomScriptForLinux/config/message";
  EXPECT_NE(row_for(unknown, {"/tables/640/fields/event_hub_name", "\"firewall-logs-v2\"", "\"\""}), "");
  EXPECT_EQ(row_for(unknown, kFirstHub), "");
  EXPECT_NE(row_for(unknown, {message, "x", "\"Plugin enabled\""}), "");
  EXPECT_EQ(row_for(unknown, {message, "x", "nothing"}), "");
  EXPECT_EQ(row_for(unknown, {"/tables/events/{\"text\":\"Config eventhub fails.\"}", "nothing", "true"}), "");
}

TEST(Prescribed, AWidgetThatIsNotFoundLeavesTheRestOfItsEntry) {
  const Strike not_found = strike("platform", "nCfg_query(330)", "EIO");
  EXPECT_NE(row_for(not_found, {"/tables/340/operator/354/records/3/widget", "31", "0"}), "");
  EXPECT_EQ(row_for(not_found, {"/tables/340/operator/354/records/3/widget", "31", "24"}), "");
  for (const char *field : {"column", "open", "height"}) {
    EXPECT_EQ(row_for(not_found, {"/tables/340/operator/354/records/3/" + std::string(field), "2", "0"}), "") << field;
  }
  EXPECT_EQ(row_for(not_found, {"/tables/340/operator/14050/records/status/name", "\"status\"", "nothing"}), "");
}

TEST(Prescribed, EntriesThatFollowAMissingOneMoveUp) {
  const Strike append =
      strike("platform", "cmf_query_table_append(354 of \"operator\", widget 27 column 1 open 1 height 300)", "EIO");
  EXPECT_NE(row_for(append, {"/tables/340/operator/354/records/1/widget", "27", "12"}), "");
  EXPECT_EQ(row_for(append, {"/tables/340/operator/354/records/1/widget", "27", "31"}), "");
  EXPECT_EQ(row_for(append, {"/tables/340/operator/354/records/1/widget", "27", "nothing"}), "");
  EXPECT_NE(row_for(append, {"/tables/340/operator/354/records/7/widget", "15", "nothing"}), "");
  EXPECT_EQ(row_for(append, {"/tables/340/operator/354/records/7/height", "300", "0"}), "");
  const Strike child = strike("platform", "cmf_query_create_child_with_key(340, 354, \"operator\")", "EIO");
  EXPECT_NE(row_for(child, {"/tables/340/operator/354/records/0/widget", "11", "nothing"}), "");
  EXPECT_EQ(row_for(child, {"/tables/340/operator/354/records/0/widget", "11", "27"}), "");
  EXPECT_EQ(row_for(child, {"/tables/340/operator/14050/records/status/name", "\"status\"", "nothing"}), "");
}

TEST(Prescribed, AnInterfaceKeepsWhatTheFactoryGaveIt) {
  const Strike unread = strike("platform", "nCfg_query(440)", "EIO");
  EXPECT_NE(row_for(unread, {"/tables/440/port2/addressing_mode", "1", "0"}), "");
  EXPECT_NE(row_for(unread, {"/tables/440/port4/default_server", "0", "1"}), "");
  EXPECT_EQ(row_for(unread, {"/tables/440/port2/addressing_mode", "1", "nothing"}), "");
  EXPECT_EQ(row_for(unread, {"/tables/440/port1/default_server", "0", "1"}), "");
  EXPECT_EQ(row_for(unread, {"/tables/440/port2/name", "\"port2\"", "\"\""}), "");
}

TEST(Prescribed, OnlyAKeyThatDidNotComeIsMissing) {
  const auto slot = [](const char *number, const char *came) {
    return Difference{"/tables/340/operator/ssh_keys/" + std::string(number), "x", came};
  };
  const Strike unread = strike("request", "request(http://a/?comp=certificates)", "fabric:html");
  EXPECT_NE(row_for(unread, slot("1", "\"key 2\"")), "");
  EXPECT_EQ(row_for(unread, slot("1", "\"a key that the fabric made\"")), "");
  EXPECT_EQ(row_for(unread, slot("1", "nothing")), "");
  EXPECT_EQ(row_for(unread, slot("2", "\"key 1\"")), "");
  EXPECT_EQ(row_for(unread, slot("3", "\"key 2\"")), "");
  const Strike first = strike("platform", "ssh_pubkey_data_set(\"operator\", a key, 1)", "EIO");
  EXPECT_NE(row_for(first, slot("1", "nothing")), "");
  EXPECT_EQ(row_for(first, slot("1", "\"key 2\"")), "") << "its slot is used up";
  EXPECT_EQ(row_for(first, slot("2", "nothing")), "");
  const Strike second = strike("platform", "ssh_pubkey_data_set(\"operator\", a key, 2)", "EIO");
  EXPECT_NE(row_for(second, slot("2", "nothing")), "");
  EXPECT_EQ(row_for(second, slot("1", "nothing")), "");
  const Strike no_password = strike("platform", "make_new_passwd(a password, 0)", "EIO");
  EXPECT_NE(row_for(no_password, {"/tables/340/auditor/ssh_keys/1", "nothing", "\"key 1\""}, kUnmarked), "");
  EXPECT_EQ(row_for(no_password, {"/tables/340/auditor/ssh_keys/1", "nothing", "\"key 2\""}, kUnmarked), "");
}

TEST(Prescribed, CustomDataThatIsNotMovedIsWhole) {
  const Strike not_moved = strike("file", "rename(/etc/tmpdata.conf)", "KILL");
  const auto waiting = [](const char *came) { return Difference{"/files/tmpdata.conf", "\"absent\"", came}; };
  EXPECT_NE(row_for(not_moved, waiting(R"("config system global\nset hostname edge-fw-01\nend\n")")), "");
  EXPECT_EQ(row_for(not_moved, waiting(R"("config system global\nset host")")), "");
  EXPECT_EQ(row_for(not_moved, waiting("\"\"")), "");
}

TEST(Prescribed, ACertificateThatIsNotShownHasNoHeader) {
  const Strike no_text = strike("platform", "generate_RSA_key(2048, 65537)", "EIO");
  const char *const place = "/requests GET http://a/extensionHandlers header x-ms-vmagent-public-x509-cert";
  EXPECT_NE(row_for(no_text, {place, "a certificate", "no such header"}), "");
  EXPECT_EQ(row_for(no_text, {place, "a certificate", "\"\""}), "");
}

// The marker's places are of rows of failures and of rows of kills; no play is to overlook them.
TEST(Prescribed, ThePlacesThatNoPlayNeedsAreToldToo) {
  EXPECT_THAT(unused_patterns({}, true), Contains("/files/.provisioned = \"\""));
  EXPECT_THAT(unused_patterns({"bytes POWER* sync() -> /files/.provisioned = \"\""}, true),
              Not(Contains("/files/.provisioned = \"\"")));
}

TEST(Prescribed, WhatNoPlayNeedsIsTold) {
  const std::string hostname = "system E* sethostname(*";
  EXPECT_THAT(unused_patterns({}, false), Contains(hostname));
  EXPECT_THAT(unused_patterns({hostname + " -> /files/hostname = \"absent\""}, false), Not(Contains(hostname)));
  EXPECT_THAT(unused_patterns({}, true), Not(Contains(hostname)));
  EXPECT_THAT(unused_patterns({}, true), Contains("file POWER* rename(/etc/tmpdata.conf)"));
  EXPECT_THAT(unused_patterns({}, false), Not(Contains("file POWER* rename(/etc/tmpdata.conf)")));
}

}  // namespace
}  // namespace torture
