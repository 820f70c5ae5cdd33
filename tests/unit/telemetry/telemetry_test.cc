#include "telemetry/telemetry.h"

#include "core/base/text.h"
#include "tests/unit/telemetry/telemetry_spies.h"

namespace {

using kelvane::telemetry_context;
using kelvane::text_or;

class Telemetry : public TelemetryTest {
 protected:
  uint64_t ram_of(unsigned long total, unsigned unit) {
    spies_.total_ram = total;
    spies_.memory_unit = unit;
    kelvane::TelemetryInit();
    return telemetry_context().ram_mebibytes;
  }
};

TEST_F(Telemetry, InitSwitchesWrappingOffAndCountsProcessors) {
  kelvane::TelemetryInit();
  EXPECT_EQ(spies_.wrap_margins, std::vector<int>{0});
  EXPECT_EQ(telemetry_context().processors, 3);
}

TEST_F(Telemetry, RamIsInMebibytesRoundedDown) {
  EXPECT_EQ(ram_of(1048576, 1), 1u);
  EXPECT_EQ(ram_of(1048575, 1), 0u);
  EXPECT_EQ(ram_of(2097151, 1), 1u);
  EXPECT_EQ(ram_of(4194304, 4096), 16384u);
}

TEST_F(Telemetry, WhatTheMachineDoesNotTellIsNotTaken) {
  EXPECT_EQ(ram_of(1048576, 1), 1u);
  spies_.sysinfo_result = -1;
  EXPECT_EQ(ram_of(2097152, 1), 1u);
  spies_.processors = -1;
  kelvane::TelemetryInit();
  EXPECT_EQ(telemetry_context().processors, 0);
}

TEST_F(Telemetry, EachTextIsKeptAndTheFirstWins) {
  for (const std::string turn : {"first", "second"}) {
    kelvane::TelemetrySetTenantName(("tenant " + turn).c_str());
    kelvane::TelemetrySetContainerId(("container " + turn).c_str());
    kelvane::TelemetrySetRoleName(("role " + turn).c_str());
    kelvane::TelemetrySetRoleInstanceName(("instance " + turn).c_str());
    kelvane::TelemetrySetOSVersion(("os " + turn).c_str());
  }
  EXPECT_STREQ(telemetry_context().tenant_name, "tenant first");
  EXPECT_STREQ(telemetry_context().container_id, "container first");
  EXPECT_STREQ(telemetry_context().role_name, "role first");
  EXPECT_STREQ(telemetry_context().role_instance_name, "instance first");
  EXPECT_STREQ(telemetry_context().os_version, "os first");
}

TEST_F(Telemetry, ANullTextIsIgnored) {
  kelvane::TelemetrySetOSVersion(nullptr);
  EXPECT_EQ(telemetry_context().os_version, nullptr);
  kelvane::TelemetrySetOSVersion("os");
  kelvane::TelemetrySetOSVersion(nullptr);
  EXPECT_STREQ(telemetry_context().os_version, "os");
}

TEST_F(Telemetry, AnEmptyTextIsAValue) {
  kelvane::TelemetrySetRoleName("");
  kelvane::TelemetrySetRoleName("role");
  EXPECT_STREQ(telemetry_context().role_name, "");
}

TEST_F(Telemetry, CleanupForgetsTheTexts) {
  kelvane::TelemetrySetTenantName("one");
  kelvane::TelemetrySetContainerId("one");
  kelvane::TelemetrySetRoleName("one");
  kelvane::TelemetrySetRoleInstanceName("one");
  kelvane::TelemetrySetOSVersion("one");
  kelvane::TelemetryCleanup();
  const kelvane::TelemetryContext context = telemetry_context();
  for (const char *text :
       {context.tenant_name, context.container_id, context.role_name, context.role_instance_name, context.os_version}) {
    EXPECT_EQ(text, nullptr);
  }
  kelvane::TelemetrySetTenantName("two");
  EXPECT_STREQ(telemetry_context().tenant_name, "two");
}

}  // namespace
