#include "provision/ports.h"

#include "tests/support/recording_fixture.h"

namespace {

using Ports = RecordingTest;

Lines changes() {
  return recording::calls_of("__nCfg_sess_table_change_by_mkey");
}

TEST_F(Ports, EveryPortButTheFirstIsReset) {
  recording::seed_interface("port1", 1, 0, 0, 11);
  recording::seed_interface("port2", 2, 0, 0, 22);
  recording::seed_interface("port10", 3, 1, 0, 33);
  EXPECT_EQ(kelvane::ProvisionAgent_ResetPorts(), 0);
  EXPECT_EQ(recording::trace(),
            (Lines{"nCfg_query(440)", "cmf_query_table_head(440)", "cmf_query_get_next(440)",
                   "__nCfg_sess_table_change_by_mkey(0, 440, \"port2\", \"port2\", 0)", "cmf_query_get_next(440)",
                   "__nCfg_sess_table_change_by_mkey(0, 440, \"port10\", \"port10\", 0)",
                   "cmf_query_get_next(440) -> none"}));
  EXPECT_EQ(recording::interface_record("port1")->addressing_mode, 0u);
  EXPECT_EQ(recording::interface_record("port1")->default_server, 11u);
  for (const char *name : {"port2", "port10"}) {
    const ncfg_interface port = recording::interface_record(name, recording::State::kDurable).value();
    EXPECT_EQ(port.addressing_mode, 1u) << name;
    EXPECT_EQ(port.default_server, 0u) << name;
  }
  EXPECT_EQ(recording::interface_record("port2")->AzureEndpoint, 2u);
}

TEST_F(Ports, OtherNamesAndHandMadePortsAreLeftAlone) {
  recording::seed_interface("mgmt", 0, 0, 0, 1);
  recording::seed_interface("por", 0, 0, 0, 1);
  recording::seed_interface("Port2", 0, 0, 0, 1);
  recording::seed_interface("xport2", 0, 0, 0, 1);
  recording::seed_interface("port3", 0, 0, 1, 1);
  recording::seed_interface("port4", 0, 0, 255, 1);
  EXPECT_EQ(kelvane::ProvisionAgent_ResetPorts(), 0);
  EXPECT_EQ(changes(), Lines{});
}

TEST_F(Ports, AnyNameThatBeginsWithPortCounts) {
  recording::seed_interface("port");
  recording::seed_interface("portal");
  recording::seed_interface("port11");
  EXPECT_EQ(kelvane::ProvisionAgent_ResetPorts(), 0);
  EXPECT_EQ(changes().size(), 3u);
}

TEST_F(Ports, ANameThatFillsItsFieldIsReadWithinIt) {
  ncfg_interface port = {};
  memset(port.name, '1', sizeof port.name);
  memcpy(port.name, "port", 4);
  recording::seed(440, port);
  EXPECT_EQ(kelvane::ProvisionAgent_ResetPorts(), 0);
  EXPECT_EQ(changes().size(), 1u);
}

TEST_F(Ports, AnEmptyTableOrNoTableIsFine) {
  EXPECT_EQ(kelvane::ProvisionAgent_ResetPorts(), 0);
  EXPECT_EQ(recording::trace(), (Lines{"nCfg_query(440)", "cmf_query_table_head(440) -> none"}));
  recording::fail_always("nCfg_query");
  EXPECT_EQ(kelvane::ProvisionAgent_ResetPorts(), 0);
}

TEST_F(Ports, AFailedChangeDoesNotStopTheWalk) {
  recording::seed_interface("port2");
  recording::seed_interface("port3");
  recording::fail_always("__nCfg_sess_table_change_by_mkey");
  EXPECT_EQ(kelvane::ProvisionAgent_ResetPorts(), 0);
  EXPECT_EQ(changes().size(), 2u);
}

}  // namespace
