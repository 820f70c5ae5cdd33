#include "tests/torture/prescribed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace torture {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::Not;

constexpr Circumstances kFirstBoot = {.first_boot = true, .marked = true, .asked = true};
constexpr Circumstances kBehind = {.first_boot = false, .marked = true, .asked = true};
constexpr Circumstances kUnmarked = {.first_boot = true, .marked = false, .asked = true};
constexpr Circumstances kUnseen = {.first_boot = true, .marked = true, .asked = true, .restart = true};
constexpr Circumstances kRestart = {.first_boot = false, .marked = true, .asked = true, .restart = true};
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
  const Difference no_header = {
      "/requests GET /?comp=certificates&incarnation=1 header x-ms-guest-agent-public-x509-cert", "a",
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

// The clock is virtual: a wait is as long as the pauses in it, to the second.
TEST(Prescribed, AFailureCostsOnePauseWhereTheRequestsBehindItCanBeMade) {
  const auto waits = [](const char *came) {
    return Difference{"wait", "0 before the loop, 1 in it and one pause", came};
  };
  const Strike cut = strike("request", "request(http://a/machine/?comp=goalstate)", "fabric:cut");
  EXPECT_NE(row_for(cut, waits("280 before the loop, 1 in it")), "");
  for (const char *came : {"280 before the loop, 91 in it", "281 before the loop, 1 in it",
                           "270 before the loop, 1 in it", "0 before the loop, 280 in it", "280"}) {
    EXPECT_EQ(row_for(cut, waits(came)), "") << came;
  }
  const Strike html = strike("request", "request(http://a/machine/?comp=goalstate)", "fabric:html");
  EXPECT_NE(row_for(html, waits("270 before the loop, 1 in it")), "");
  EXPECT_EQ(row_for(html, waits("280 before the loop, 1 in it")), "");
  EXPECT_NE(row_for(html, waits("77 before the loop, 0 in it")), "") << "the run ended meanwhile";
  EXPECT_EQ(row_for(html, waits("77 before the loop, 1 in it")), "");
  const Strike no_container = strike("memory", "malloc(GetNodeTextData < a < goal_state_parse < b)", "ENOMEM");
  EXPECT_NE(row_for(no_container, waits("180 before the loop, 1 in it")), "");
  EXPECT_EQ(row_for(no_container, waits("90 before the loop, 1 in it")), "");
  const Strike no_certificate = strike("platform", "generate_RSA_key(2048, 65537)", "EIO");
  EXPECT_NE(row_for(no_certificate, waits("90 before the loop, 91 in it")), "");
  EXPECT_EQ(row_for(no_certificate, waits("90 before the loop, 1 in it")), "");
  const Strike no_header = strike("memory", "malloc(text_format < wire_certificates_headers < a)", "ENOMEM");
  EXPECT_NE(row_for(no_header, waits("90 before the loop, 1 in it"), kFirstBoot), "");
  EXPECT_NE(row_for(no_header, waits("0 before the loop, 91 in it"), kBehind), "");
  EXPECT_EQ(row_for(no_header, waits("0 before the loop, 91 in it"), kFirstBoot), "");
  const Difference usual = waits("77 before the loop, 0 in it");
  EXPECT_EQ(row_for(strike("request", "request(http://a/machine/?comp=goalstate)", "fabric:status:503"), usual), "");
  EXPECT_EQ(row_for(strike("request", "request(http://a/machine/?comp=health)", "fabric:cut"), usual), "");
  EXPECT_EQ(row_for(strike("platform", "cmf_write_config(1)", "EIO"), usual), "");
  Strike over_metadata = no_certificate;
  over_metadata.protocol = "metadata";
  EXPECT_EQ(row_for(over_metadata, usual), "") << "nothing is refused there";
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

// A letter for each time in which the row holds: f for first boot with a marker behind it, u without one, b behind it,
// r for a start that finds it.
TEST(Prescribed, EachRowHoldsInItsTimeOnly) {
  const char kCustom[] = "/files/.customdata", kAbsent[] = "\"absent\"";
  const char kThumbprint[] = "/reports/provisioning/properties/certificateThumbprint", kEmpty[] = "\"\"";
  const char kOperators[] = "/tables/340/operator/354/records/0/widget", kNothing[] = "nothing";
  const char kAuditors[] = "/tables/340/auditor/354/records/0/widget";
  const char kHub[] = "/tables/640/fields/event_hub_name", kOldHub[] = "\"firewall-logs\"";
  const char kPassword[] = "/tables/340/auditor/password", kOldPassword[] = "\"that of Slate-Orchard-77?\"";
  const char kHeader[] =
      "/requests GET http://a/?comp=certificates&incarnation=2 header x-ms-guest-agent-public-x509-cert";
  const char kFirstHeader[] =
      "/requests GET http://a/?comp=certificates&incarnation=1 header x-ms-guest-agent-public-x509-cert";
  const char kMetadataHeader[] = "/requests GET http://a/extensionHandlers header x-ms-vmagent-public-x509-cert";
  const char kNoHeader[] = "no such header", kRange[] = "/requests PUT http://a/?comp=page page range";
  const char kIncarnation[] = "/requests POST http://a/?comp=health /Health/GoalStateIncarnation";
  const char kCutShort[] = "77 before the loop, 0 in it";
  const char kState[] = "/reports/health", kNotReady[] = "\"<State>NotReady</State>\"";
  const struct {
    const char *call_class, *blow, *call, *place, *came, *times;
  } kCases[] = {
      {"file", "EIO", "open(/cdrom/ovf-env.xml)", "/history/operator", kNothing, "f"},
      {"request", "fabric:html", "request(http://a/?comp=certificates)", "/tables/340/operator/ssh_keys/2", kNothing,
       "f"},
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
      {"platform", "EIO", "make_new_passwd(a password, 0)", "/history/admin", kNothing, "f"},
      {"platform", "EIO", "cmf_query_commit(340)", "/tables/340/admin/password", "\"no password: x\"", "f"},
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
      {"platform", "EIO", "get_rnd_bytes(8)", kHeader, kNoHeader, "fubr"},
      {"platform", "EIO", "get_rnd_bytes(8)", kMetadataHeader, kNoHeader, "fubr"},
      {"memory", "ENOMEM+", "realloc(add < a < pluginManager_Init < main)", kMetadataHeader, kNoHeader, "fubr"},
      {"memory", "ENOMEM+", "realloc(add < a < pluginManager_Init < main)", kHeader, kNoHeader, ""},
      {"memory", "ENOMEM", "realloc(add < a < pluginManager_Init < main)", kMetadataHeader, kNoHeader, ""},
      {"memory", "ENOMEM+", "malloc(a < goal_state_parse < b)", kFirstHeader, kNoHeader, "fur"},
      {"memory", "ENOMEM", "malloc(text_format < wire_certificates_headers < b)", kFirstHeader, kNoHeader, "fur"},
      {"memory", "ENOMEM", "malloc(text_format < wire_certificates_headers < b)", kHeader, kNoHeader, "b"},
      {"request", "fabric:cut", "request(http://a/?comp=goalstate)", kIncarnation, kEmpty, "fur"},
      {"request", "fabric:cut", "request(http://a/?comp=goalstate)", "wait", kCutShort, "fur"},
      {"platform", "EIO", "get_rnd_bytes(8)", "wait", kCutShort, "fur"},
      {"request", "fabric:cut", "request(http://storage.example.invalid/a)", "wait", kCutShort, ""},
      {"request", "fabric:cut", "request(http://storage.example.invalid/status/kelvane-pages.status)", kRange,
       "bytes 0 to 2559", "b"},
      {"memory", "ENOMEM", "realloc(add < pluginManager_Add < pluginManager_Init < main)", "/tables/640/fields/enabled",
       "0", "fb"},
      {"platform", "EIO", "miglib_b64_pton(a text)", kHub, kOldHub, "b"},
      {"platform", "EIO", "cmf_query_update(640)", kHub, kOldHub, "b"},
      {"memory", "ENOMEM", "calloc(Secret::allocate < a < custom_script_command < b)", kHub, kOldHub, "b"},
      {"platform", "EIO", "cmf_query_commit(340)", kPassword, kOldPassword, "b"},
      {"platform", "EIO", "nCfg_query(340)", kPassword, kOldPassword, "b"},
      {"platform", "EIO", "cmf_write_config(1)", kPassword, kOldPassword, "b"},
      {"platform", "EIO", "cmf_write_config(1)", "/tables/events/\"Config eventhub fails.\"", "true", "b"},
      {"memory", "ENOMEM+", "malloc(a < vm_access_command < b < main_loop_run < main)", kPassword, kOldPassword, "b"}};
  for (const auto &one : kCases) {
    const Strike struck = strike(one.call_class, one.call, one.blow);
    const Difference difference = {one.place, "another", one.came};
    std::string times;
    times += row_for(struck, difference, kFirstBoot) != "" ? "f" : "";
    times += row_for(struck, difference, kUnmarked) != "" ? "u" : "";
    times += row_for(struck, difference, kBehind) != "" ? "b" : "";
    times += row_for(struck, difference, kRestart) != "" ? "r" : "";
    EXPECT_EQ(times, one.times) << one.blow << " " << one.call << " " << one.place;
  }
  Strike full = strike("database", "write(x in cmf_write_config(1))", "FULL");
  full.protocol = "metadata";
  EXPECT_EQ(row_for(full, {"/history/operator", "x", kNothing}, kBehind), "");
  EXPECT_NE(row_for(full, {"/history/operator", "x", kNothing}, kFirstBoot), "");
}

TEST(Prescribed, AStartThatFindsTheMarkerHasRowsOfItsOwn) {
  const Difference once_more = {"first boot", "none", "once more"};
  const Difference ready = {"/reports/health", "nothing", "\"<State>Ready</State>\""};
  const Difference status = {"/reports/provisioning/status", "nothing", "\"Ready\""};
  const auto property = [](const std::string &value) {
    return Difference{"/reports/role properties", "nothing",
                      R"("<Property name=\"CertificateThumbprint\" value=\")" + value + R"(\" />")"};
  };
  const auto thumbprint = [](const std::string &value) {
    return Difference{"/reports/provisioning/properties/certificateThumbprint", "nothing", "\"" + value + "\""};
  };
  const std::string made = "123456789abcdef0123456789abcdef0";
  const auto over = [](const char *protocol, const char *call_class, const char *call, const char *blow) {
    Strike out = strike(call_class, call, blow);
    out.protocol = protocol;
    return out;
  };
  const char kLook[] = "access(/data/etc/.provisioned)";
  const Strike look = over("wire-restart", "file", kLook, "EIO"),
               dead = over("wire-restart", "bytes", "read(/a)", "DEAD");
  const Strike service_look = over("metadata-restart", "file", kLook, "EACCES");
  const Strike service_dead = over("metadata-restart", "file", "mkdir(/cdrom)", "DEAD");
  for (const Strike &one : {look, dead, service_look, service_dead}) {
    EXPECT_NE(row_for(one, once_more, kUnseen), "") << one.address();
    EXPECT_EQ(row_for(one, once_more, kRestart), "") << one.address() << ", behind the last look";
  }
  EXPECT_EQ(row_for(over("wire-restart", "file", "open(/a)", "EIO"), once_more, kUnseen), "");
  EXPECT_EQ(row_for(over("wire", "file", kLook, "EIO"), once_more, kFirstBoot), "");
  EXPECT_NE(row_for(look, ready, kUnseen), "");
  EXPECT_NE(row_for(dead, ready, kUnseen), "");
  EXPECT_EQ(row_for(service_look, ready, kUnseen), "");
  EXPECT_NE(row_for(service_look, status, kUnseen), "");
  EXPECT_NE(row_for(service_dead, status, kUnseen), "");
  EXPECT_EQ(row_for(look, status, kUnseen), "");
  EXPECT_NE(row_for(look, property(made), kUnseen), "");
  EXPECT_EQ(row_for(look, property(""), kUnseen), "") << "only a dead disc has none";
  EXPECT_NE(row_for(dead, property(""), kUnseen), "");
  EXPECT_EQ(row_for(dead, property(made), kUnseen), "");
  EXPECT_NE(row_for(service_look, thumbprint(made), kUnseen), "");
  EXPECT_EQ(row_for(service_look, thumbprint(""), kUnseen), "");
  EXPECT_NE(row_for(service_dead, thumbprint(""), kUnseen), "");
  EXPECT_EQ(row_for(service_dead, thumbprint(made), kUnseen), "");

  const Difference waiting = {"/files/tmpdata.conf", "\"absent\"",
                              R"("config system global\nset hostname edge-fw-01\nend\n")"};
  const Difference lost = {"/files/.customdata", "\"x\"", "\"absent\""};
  const Strike unseen_data = over("wire-restart", "file", "access(/data/etc/.customdata)", "EIO");
  EXPECT_NE(row_for(unseen_data, waiting, kRestart), "");
  EXPECT_EQ(row_for(unseen_data, lost, kRestart), "");
  for (const char *blow : {"KILL", "DEAD"}) {
    EXPECT_EQ(row_for(over("wire-restart", "file", "access(/data/etc/.customdata)", blow), lost, kUnseen), "") << blow;
  }

  const Difference old_hub = {"/tables/640/fields/event_hub_name", "\"firewall-logs-v2\"", "\"firewall-logs\""};
  const char kNoRoom[] = "realloc(add < pluginManager_Add < pluginManager_Init < main)";
  EXPECT_NE(row_for(over("metadata-restart", "memory", kNoRoom, "ENOMEM"), old_hub, kRestart), "");
  EXPECT_EQ(row_for(over("metadata-restart", "platform", "miglib_b64_pton(a text)", "EIO"), old_hub, kRestart), "");
  EXPECT_EQ(row_for(over("metadata", "memory", kNoRoom, "ENOMEM"), old_hub, kBehind), "");

  const Difference never_installed = {"/plugins/Contoso.DiskScanner/config/installed", "1", "0"};
  const Difference no_name = {
      "/requests PUT http://169.254.169.254/Microsoft.Compute/status/extensions/?api-version=1 target", "a", "b"};
  const char kData[] = "calloc(pluginManager_RegisterUnSupported < pluginManager_Find < load_element < main)";
  EXPECT_NE(row_for(over("wire-restart", "memory", kData, "ENOMEM"), never_installed, kRestart), "");
  EXPECT_EQ(row_for(over("wire", "memory", kData, "ENOMEM"), never_installed, kBehind), "");
  EXPECT_NE(row_for(over("metadata-restart", "memory", kData, "ENOMEM"), no_name, kRestart), "");
  EXPECT_EQ(row_for(over("wire-restart", "memory", kData, "ENOMEM"), no_name, kRestart), "");
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
  const Difference no_range = {"/requests PUT http://a/?comp=page page range", "no pages", "bytes 0 to 2559"};
  const struct {
    const char *call;
    Difference difference;
    const char *well;
  } kCases[] = {{"request(http://a/?comp=certificates)", no_key, "fabric:html"},
                {"request(http://169.254.169.254/a/certificates/1)", no_key, "fabric:status:503"},
                {"request(http://a/machine/?comp=health)", not_ready, "fabric:cut"},
                {"request(http://169.254.169.254/a/provisioningStatus)", no_status, "fabric:status:404"},
                {"request(http://storage.example.invalid/status/kelvane-pages.status)", no_range, "fabric:empty"}};
  for (const auto &one : kCases) {
    EXPECT_NE(row_for(strike("request", one.call, one.well), one.difference), "") << one.call;
    for (const char *blow : {"7", "28", "56", "fabric:reset:0"}) {
      EXPECT_EQ(row_for(strike("request", one.call, blow), one.difference), "") << one.call << " " << blow;
    }
  }
  const Difference wait = {"wait", "0 before the loop, 1 in it and one pause", "0 before the loop, 91 in it"};
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

// "Ready" is posted before the properties are, and told in another report at the metadata service.
TEST(Prescribed, AReportThatIsStruckExcusesNoOther) {
  const Difference health = {"/reports/health", "\"<State>Ready</State>\"", "\"<State>NotReady</State>\""};
  const Difference properties = {"/reports/role properties", "x", "nothing"};
  const Difference status = {"/reports/provisioning/status", "\"Ready\"", "\"NotReady\""};
  const char kHealth[] = "request(http://a/?comp=health)", kProperties[] = "request(http://a/?comp=roleProperties)";
  const char kStatus[] = "request(http://a/provisioningStatus?v=1)";
  const char kBuffer[] = "malloc(a < report < ProvisionAgent_HandlerRun < main)";
  const struct {
    const char *call_class, *call, *blow, *excused;  // a letter for each of the three
  } kCases[] = {{"request", kHealth, "KILL", "hp"},
                {"request", kHealth, "POWER", "hp"},
                {"request", kHealth, "fabric:html", "h"},
                {"request", kProperties, "KILL", "p"},
                {"request", kProperties, "POWER", "p"},
                {"request", kProperties, "fabric:wrong-length:-7", "p"},
                {"request", kStatus, "KILL", "s"},
                {"request", kStatus, "fabric:status:503", "s"},
                {"memory", kBuffer, "KILL", "hp"},
                {"memory", kBuffer, "ENOMEM", "hp"},
                {"bytes", "write(/data/etc/.provisioned)", "KILL", "hp"},
                {"bytes", "sync()", "KILL", "hps"}};
  for (const auto &one : kCases) {
    const Strike struck = strike(one.call_class, one.call, one.blow);
    std::string excused;
    excused += row_for(struck, health) != "" ? "h" : "";
    excused += row_for(struck, properties) != "" ? "p" : "";
    excused += row_for(struck, status) != "" ? "s" : "";
    EXPECT_EQ(excused, one.excused) << one.blow << " " << one.call;
  }
}

TEST(Prescribed, WhatAReportLacksOfTheGoalStateIsEmpty) {
  const Strike unread = strike("request", "request(http://a/machine/?comp=goalstate)", "fabric:html");
  for (const char *place : {"/requests POST http://a/?comp=health /Health/GoalStateIncarnation",
                            "/requests POST http://a/?comp=health /Health/Container/ContainerId",
                            "/requests POST http://a/?comp=roleProperties /RoleProperties/Container/ContainerId"}) {
    EXPECT_NE(row_for(unread, {place, "x", "\"\""}), "") << place;
    EXPECT_EQ(row_for(unread, {place, "x", "\"another\""}), "") << place;
  }
  const Strike not_made =
      strike("request", "request(http://storage.example.invalid/status/kelvane-pages.status)", "fabric:html");
  const char *const range = "/requests PUT http://a/?comp=page page range";
  EXPECT_EQ(row_for(not_made, {range, "x", "bytes 0 to 511"}), "");
  const Strike another = strike("request", "request(http://storage.example.invalid/status/a.status)", "fabric:html");
  EXPECT_EQ(row_for(another, {range, "x", "bytes 0 to 2559"}), "") << "it has no pages";
}

TEST(Prescribed, ACertificateOfOneGoalStateIsOfNoOther) {
  const auto key = [](const char *number, const char *blow, const Circumstances &around) {
    const std::string call = "request(http://169.254.169.254/a/certificates/" + std::string(number) + "?v=1)";
    Strike struck = strike("request", call.c_str(), blow);
    return row_for(struck, {"/tables/340/operator/ssh_keys/2", "\"key 2\"", "nothing"}, around) +
           row_for(struck, kFirstPassword, around);
  };
  for (const char *blow : {"fabric:html", "fabric:wrong-length:-7"}) {
    EXPECT_NE(key("1", blow, kFirstBoot), "");
    EXPECT_EQ(key("1", blow, kBehind), "");
    EXPECT_EQ(key("2", blow, kFirstBoot), "");
    EXPECT_NE(key("2", blow, kBehind), "");
  }
}

// Without memory the commands that come behind the call are lost, and what was done stays done.
TEST(Prescribed, APassWithoutMemoryLosesTheCommandsBehindIt) {
  const auto from = [](const char *call) { return strike("memory", call, "ENOMEM+"); };
  const Strike hub = from("calloc(a < custom_script_command < pluginManager_LaunchCommand < main_loop_run < main)");
  EXPECT_NE(row_for(hub, kFirstHub), "");
  EXPECT_NE(row_for(hub, kFirstPassword), "");
  const Strike event = from("calloc(append < AddExtensionEvent < pluginManager_LaunchCommand < main_loop_run < main)");
  EXPECT_EQ(row_for(event, kFirstHub), "");
  EXPECT_NE(row_for(event, kFirstPassword), "");
  const Strike upload = from("malloc(text_format < make_page_url < status_upload < main_loop_run < main)");
  EXPECT_EQ(row_for(upload, kFirstPassword), "");
}

TEST(Prescribed, CustomDataIsInItsPlaceOrWaits) {
  const Difference gone = {"/files/.customdata", "\"config\"", "\"absent\""};
  const Difference waits = {"/files/tmpdata.conf", "\"absent\"",
                            R"("config system global\nset hostname edge-fw-01\nend\n")"};
  const Difference no_name = {"/names/data/etc/.customdata", "\"file 0600\"", "nothing"};
  const Difference name = {"/names/etc/tmpdata.conf", "nothing", "\"file 0600\""};
  for (const Difference &one : {gone, waits, no_name, name}) {
    EXPECT_FALSE(contradicted(one, {gone, no_name, waits, name})) << one.place;
    EXPECT_TRUE(contradicted(one, {one})) << one.place;
  }
  EXPECT_TRUE(contradicted(gone, {gone, no_name})) << "it is lost";
  EXPECT_TRUE(contradicted(waits, {waits, name})) << "it is there twice";
  const Difference half = {"/files/tmpdata.conf", "\"absent\"", "\"config system global\""};
  EXPECT_TRUE(contradicted(gone, {gone, no_name, half, name}));
  const Difference open = {"/names/etc/tmpdata.conf", "nothing", "\"file 0644\""};
  EXPECT_TRUE(contradicted(gone, {gone, no_name, waits, open}));
}

// Both commands write the configuration, and the call does not tell for which.
TEST(Prescribed, TheHubsCommandThatFailsLosesNoPassword) {
  const Difference hub_fails = {"/tables/events/{\"text\":\"Config eventhub fails.\"}", "nothing", "true"};
  const Difference remembered = {"/history/auditor", "x", "\"that of Slate-Orchard-77?\""};
  EXPECT_FALSE(contradicted(kFirstPassword, {kFirstPassword, remembered, kFirstHub}));
  EXPECT_TRUE(contradicted(kFirstPassword, {kFirstPassword, hub_fails}));
  EXPECT_TRUE(contradicted(remembered, {hub_fails, remembered}));
  EXPECT_FALSE(contradicted(hub_fails, {hub_fails, kFirstPassword}));
  EXPECT_FALSE(contradicted(kFirstHub, {kFirstHub}));
  EXPECT_EQ(row_for(strike("platform", "cmf_write_config(1)", "EIO"), {hub_fails.place, "true", "nothing"}), "");
}

TEST(Prescribed, EveryPairThatNoPlayNeedsIsTold) {
  const std::string name = "system E* sethostname(* -> /files/hostname = \"absent\"";
  const std::string other = "system E* sethostname(* -> /names/etc/hostname = nothing";
  EXPECT_THAT(unused_pairs({}, false), Contains(name));
  EXPECT_THAT(unused_pairs({name}, false), AllOf(Not(Contains(name)), Contains(other)));
  EXPECT_THAT(unused_pairs({name, other}, false), AllOf(Not(Contains(name)), Not(Contains(other))));
}

// A row may be of failures and of kills; no play is asked for what only the other kind comes to.
TEST(Prescribed, APairIsToldByThePlaysOfItsKind) {
  const char kAbsent[] = " -> /files/.customdata = \"absent\"";
  const std::string failure = std::string("file E* rename(/etc/tmpdata.conf)") + kAbsent;
  const std::string dead = std::string("file DEAD rename(/etc/tmpdata.conf)") + kAbsent;
  const std::string killed = std::string("file KILL rename(/etc/tmpdata.conf)") + kAbsent;
  const std::string power = std::string("file POWER* rename(/etc/tmpdata.conf)") + kAbsent;
  EXPECT_THAT(unused_pairs({}, false),
              AllOf(Contains(failure), Contains(dead), Not(Contains(killed)), Not(Contains(power))));
  EXPECT_THAT(unused_pairs({}, true),
              AllOf(Not(Contains(failure)), Not(Contains(dead)), Contains(killed), Contains(power)));
  const std::string of_one = "wire*: platform EIO get_rnd_bytes(8) -> wait = 77 before the loop, 0 in it";
  EXPECT_THAT(unused_pairs({}, false), Contains(of_one));
  EXPECT_THAT(unused_pairs({}, true), Not(Contains(of_one)));
  const std::string any = "* -> /reports/*VMAccessForLinux*/status = \"success\"";
  EXPECT_THAT(unused_pairs({}, false), Contains(any));
  EXPECT_THAT(unused_pairs({}, true), Contains(any));
}

}  // namespace
}  // namespace torture
