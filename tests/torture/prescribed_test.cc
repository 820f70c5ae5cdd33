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
