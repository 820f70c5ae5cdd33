#include "tests/torture/prescribed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace torture {
namespace {

using testing::Contains;
using testing::Not;

std::string row_for(const Strike &strike, const Difference &difference) {
  return prescribed_difference(strike, difference);
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
  const Difference no_key = {"/tables/340/operator/ssh_keys/keys/0/text", "\"k\"", "nothing"};
  EXPECT_NE(row_for(strike("request", "request(http://a/?comp=certificates)", "28"), no_key), "");
  EXPECT_EQ(row_for(strike("request", "request(http://a/?comp=certificates)", "KILL"), no_key), "");
  const Difference no_header = {"/requests GET /?comp=certificates header x-ms-guest-agent-public-x509-cert", "a", "b"};
  EXPECT_NE(row_for(strike("memory", "malloc(text_format < wire_certificates_headers < x)", "ENOMEM"), no_header), "");
  EXPECT_EQ(row_for(strike("memory", "malloc(text_format < wire_certificates_headers < x)", "KILL"), no_header), "");
}

TEST(Prescribed, OnlyTheSuccessThatIsNotToldAgainIsMeantEverywhere) {
  const char *const place =
      "/reports/status blob/handlers/Microsoft.OSTCExtensions.VMAccessForLinux/settingsStatus/status/status";
  EXPECT_NE(row_for(strike("platform", "conf_end()", "KILL"), {place, "nothing", "\"success\""}), "");
  EXPECT_EQ(row_for(strike("platform", "conf_end()", "KILL"), {place, "nothing", "\"error\""}), "");
  EXPECT_EQ(row_for(strike("platform", "conf_end()", "KILL"), {place, "\"success\"", "nothing"}), "");
}

TEST(Prescribed, AnEndIsAPlaceToo) {
  EXPECT_NE(row_for(strike("platform", "conf_init()", "EIO"), {"exit", "0", "255"}), "");
  EXPECT_EQ(row_for(strike("platform", "conf_init()", "EIO"), {"exit", "0", "1"}), "");
  EXPECT_EQ(row_for(strike("platform", "conf_end()", "EIO"), {"exit", "0", "255"}), "");
}

TEST(Prescribed, WhatNoPlayNeedsIsTold) {
  const std::string hostname = "system E* sethostname(*";
  EXPECT_THAT(unused_patterns({}, false), Contains(hostname));
  EXPECT_THAT(unused_patterns({hostname + " -> /files/hostname"}, false), Not(Contains(hostname)));
  EXPECT_THAT(unused_patterns({}, true), Not(Contains(hostname)));
  EXPECT_THAT(unused_patterns({}, true), Contains("file POWER* rename(/etc/tmpdata.conf)"));
  EXPECT_THAT(unused_patterns({}, false), Not(Contains("file POWER* rename(/etc/tmpdata.conf)")));
}

}  // namespace
}  // namespace torture
