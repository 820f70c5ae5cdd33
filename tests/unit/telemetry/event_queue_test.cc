#include "telemetry/event_queue.h"

#include "telemetry/telemetry.h"
#include "tests/support/event_parameters.h"
#include "tests/unit/telemetry/telemetry_spies.h"

namespace {

class EventQueue : public TelemetryTest {
 protected:
  static void add(const char *name) { kelvane::AddExtensionEvent(name, 3, 1, 0, "1.0", "text"); }

  std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const std::string &event : take_all()) {
      all.push_back(value(event, "Name"));
    }
    return all;
  }

  // One event queued while something fails: what the queue then holds.
  std::vector<std::string> left_after(int telemetry_spies::Spies::*refusal, int nth) {
    recording::set_debug_level(1);
    spies_.*refusal = nth;
    add("lost");
    EXPECT_EQ(spies_.*refusal, 0) << "the call came";
    EXPECT_EQ(recording::messages(), Lines{});
    add("kept");
    return names();
  }
};

TEST_F(EventQueue, AnEventIsTwentyParametersInThisOrder) {
  kelvane::AddExtensionEvent("", 0, 0, 0, "", "");
  EXPECT_EQ(take_all(), Lines{"<Param Name=\"OpcodeName\" T=\"mt:wstr\" Value=\"\" />"
                              "<Param Name=\"IsInternal\" T=\"mt:bool\" Value=\"False\" />"
                              "<Param Name=\"ExecutionMode\" T=\"mt:wstr\" Value=\"IAAS\" />"
                              "<Param Name=\"KeywordName\" T=\"mt:wstr\" Value=\"\" />"
                              "<Param Name=\"TaskName\" T=\"mt:wstr\" Value=\"\" />"
                              "<Param Name=\"ExtensionType\" T=\"mt:wstr\" Value=\"\" />"
                              "<Param Name=\"GAVersion\" T=\"mt:wstr\" Value=\"TorvikGuest-2.0.16\" />"
                              "<Param Name=\"OSVersion\" T=\"mt:wstr\" Value=\"\" />"
                              "<Param Name=\"ContainerId\" T=\"mt:wstr\" Value=\"\" />"
                              "<Param Name=\"TenantName\" T=\"mt:wstr\" Value=\"\" />"
                              "<Param Name=\"Processors\" T=\"mt:uint64\" Value=\"3\" />"
                              "<Param Name=\"RoleName\" T=\"mt:wstr\" Value=\"\" />"
                              "<Param Name=\"RoleInstanceName\" T=\"mt:wstr\" Value=\"\" />"
                              "<Param Name=\"RAM\" T=\"mt:uint64\" Value=\"8192\" />"
                              "<Param Name=\"OperationSuccess\" T=\"mt:bool\" Value=\"False\" />"
                              "<Param Name=\"Version\" T=\"mt:wstr\" Value=\"\" />"
                              "<Param Name=\"Name\" T=\"mt:wstr\" Value=\"\" />"
                              "<Param Name=\"Message\" T=\"mt:wstr\" Value=\"\" />"
                              "<Param Name=\"Operation\" T=\"mt:wstr\" Value=\"Unknown\" />"
                              "<Param Name=\"Duration\" T=\"mt:uint64\" Value=\"0\" />"});
}

TEST_F(EventQueue, MarkupInValuesIsEscapedAndTheSectionStaysWhole) {
  kelvane::TelemetrySetOSVersion("os <1>");
  kelvane::TelemetrySetContainerId("c & d");
  kelvane::TelemetrySetTenantName("\"tenant\"");
  kelvane::TelemetrySetRoleName("role's");
  kelvane::TelemetrySetRoleInstanceName("]]>");
  kelvane::AddExtensionEvent("</DATA>", 10, 7, 18446744073709551615u, "<v>", "a</DATA>]]><![CDATA[b\xc3\xa9 &amp; \"");
  EXPECT_EQ(take_all(),
            Lines{support::event_parameters({{"OSVersion", "os &lt;1&gt;"},
                                             {"ContainerId", "c &amp; d"},
                                             {"TenantName", "&quot;tenant&quot;"},
                                             {"RoleName", "role's"},
                                             {"RoleInstanceName", "]]&gt;"},
                                             {"OperationSuccess", "True"},
                                             {"Version", "&lt;v&gt;"},
                                             {"Name", "&lt;/DATA&gt;"},
                                             {"Message", "a&lt;/DATA&gt;]]&gt;&lt;![CDATA[b\xc3\xa9 &amp;amp; &quot;"},
                                             {"Operation", "HealthCheck"},
                                             {"Duration", "18446744073709551615"}})});
}

TEST_F(EventQueue, EveryOperationNumberHasItsName) {
  const Lines expected = {"Unknown", "HeartBeat", "Provision", "Install", "UnInstall",   "Disable",
                          "Enable",  "Download",  "Upgrade",   "Update",  "HealthCheck", "Restart"};
  Lines operations;
  for (int32_t number = 0; number <= 11; number++) {
    kelvane::AddExtensionEvent("n", number, 1, 0, "v", "m");
  }
  for (const std::string &event : take_all()) {
    operations.push_back(value(event, "Operation"));
  }
  EXPECT_EQ(operations, expected);
}

TEST_F(EventQueue, AnythingButZeroIsSuccess) {
  for (const int32_t success : {1, -1, 0, 256}) {
    kelvane::AddExtensionEvent("n", 1, success, 0, "v", "m");
  }
  Lines results;
  for (const std::string &event : take_all()) {
    results.push_back(value(event, "OperationSuccess"));
  }
  EXPECT_EQ(results, (Lines{"True", "True", "False", "True"}));
}

TEST_F(EventQueue, NullTextsCountAsEmpty) {
  recording::set_debug_level(7);
  kelvane::AddExtensionEvent(nullptr, 1, 1, 0, nullptr, nullptr);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: EVENT: Add Event Operation(HeartBeat) Success(1) - Message()\n"});
  const std::string event = take_all().at(0);
  EXPECT_EQ(value(event, "Name"), "");
  EXPECT_EQ(value(event, "Version"), "");
  EXPECT_EQ(value(event, "Message"), "");
}

TEST_F(EventQueue, ALineAboveLevelSixOnly) {
  for (const int32_t level : {0, 1, 6}) {
    recording::set_debug_level(level);
    add("n");
  }
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(7);
  kelvane::AddExtensionEvent("n", 4, -2, 0, "v", "why %s");
  EXPECT_EQ(recording::messages(),
            Lines{"[kelvane]: EVENT: Add Event Operation(UnInstall) Success(-2) - Message(why %s)\n"});
}

TEST_F(EventQueue, FirstInFirstOut) {
  EXPECT_FALSE(kelvane::event_queue_waiting());
  for (const char *name : {"1", "2", "3"}) {
    add(name);
  }
  EXPECT_TRUE(kelvane::event_queue_waiting());
  EXPECT_EQ(names(), (Lines{"1", "2", "3"}));
  EXPECT_FALSE(kelvane::event_queue_waiting());
  EXPECT_EQ(kelvane::event_queue_take(), nullptr);
  add("4");
  EXPECT_EQ(names(), Lines{"4"});
}

TEST_F(EventQueue, StaysWhenTheTextsAreFreed) {
  add("1");
  kelvane::TelemetryCleanup();
  EXPECT_EQ(names(), Lines{"1"});
}

TEST_F(EventQueue, HasNoLimit) {
  for (int i = 0; i < 1000; i++) {
    add(std::to_string(i).c_str());
  }
  const std::vector<std::string> all = names();
  ASSERT_EQ(all.size(), 1000u);
  EXPECT_EQ(all.back(), "999");
}

TEST_F(EventQueue, AParameterThatCannotBeMadeIsLeftOut) {
  spies_.refuse_element = 1 + 17;  // behind the outer element
  add("n");
  const std::string event = take_all().at(0);
  EXPECT_EQ(value(event, "Name"), "(none)");
  EXPECT_EQ(value(event, "Version"), "1.0");
  EXPECT_EQ(value(event, "Message"), "text");
}

TEST_F(EventQueue, WithoutMemoryTheEventIsDroppedSilently) {
  EXPECT_EQ(left_after(&telemetry_spies::Spies::refuse_element, 1), Lines{"kept"});
  EXPECT_EQ(left_after(&telemetry_spies::Spies::refuse_save, 1), Lines{"kept"});
  EXPECT_EQ(left_after(&telemetry_spies::Spies::refuse_element, 22), Lines{"kept"});
  EXPECT_EQ(left_after(&telemetry_spies::Spies::refuse_cdata, 1), Lines{"kept"});
  EXPECT_EQ(left_after(&telemetry_spies::Spies::refuse_calloc, 1), Lines{"kept"});
}

}  // namespace
