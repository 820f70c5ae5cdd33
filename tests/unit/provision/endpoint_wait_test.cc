#include "provision/endpoint_wait.h"

#include <sys/stat.h>

#include <cerrno>

#include "protocol/wire/endpoint.h"
#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"

namespace {

const char kShared[] = "nCfg_query(440)";
const char kFind[] = "cmf_query_do_table_find(440, 0, \"port1\", 2)";
const char kOpenMarker[] = "open(\"/data/etc/.provisioned\", read)";
const char kCloseMarker[] = "close(\"/data/etc/.provisioned\")";
const char kNoMarker[] = "open(\"/data/etc/.provisioned\", read) -> ENOENT";
const char kZero[] = "message: AzureEndpoint = 0\\n";

class EndpointWait : public RecordingTest {
 protected:
  EndpointWait() { kelvane::WireProtocolSetEndpoint(0); }
  ~EndpointWait() override { kelvane::WireProtocolSetEndpoint(0); }

  static void seed(uint32_t endpoint) { recording::seed_interface("port1", endpoint, NCFG_ADDRESSING_DHCP); }

  FakeOs os_;
};

TEST_F(EndpointWait, TakesAnEndpointThatIsThere) {
  seed(0x10813FA8);
  EXPECT_EQ(kelvane::waitForEndpoint(), 0);
  EXPECT_EQ(kelvane::WireProtocolGetEndpoint(), 0x10813FA8u);
  EXPECT_EQ(recording::trace(),
            (Lines{kNoMarker, kShared, kFind, kShared, kFind, "message: AzureEndpoint = 276905896\\n"}));
}

TEST_F(EndpointWait, PrintsTheEndpointUnsignedAtEveryLevel) {
  recording::set_debug_level(-1);
  seed(0xFFFFFFFF);
  EXPECT_EQ(kelvane::waitForEndpoint(), 0);
  EXPECT_EQ(recording::messages(), Lines{"AzureEndpoint = 4294967295\n"});
}

TEST_F(EndpointWait, ForcesTheAddressingModeOnce) {
  ncfg_interface port = {};
  strcpy(port.name, "port1");
  port.addressing_mode = 2;
  port.manual = 1;
  port.default_server = 77;
  port.AzureEndpoint = 5;
  recording::seed(440, port);
  EXPECT_EQ(kelvane::waitForEndpoint(), 0);
  EXPECT_EQ(recording::trace(),
            (Lines{kNoMarker, kShared, kFind, "__nCfg_sess_table_change_by_mkey(0, 440, \"port1\", \"port1\", 0)",
                   kShared, kFind, "message: AzureEndpoint = 5\\n"}));
  const ncfg_interface stored = recording::interface_record("port1", recording::State::kDurable).value();
  EXPECT_EQ(stored.addressing_mode, 1u);
  EXPECT_EQ(stored.default_server, 77u);
  EXPECT_EQ(stored.manual, 1);
}

TEST_F(EndpointWait, GoesOnWhenTheModeCannotBeWritten) {
  recording::seed_interface("port1", 5);
  recording::fail_always("__nCfg_sess_table_change_by_mkey");
  EXPECT_EQ(kelvane::waitForEndpoint(), 0);
}

TEST_F(EndpointWait, AnEndpointOfTheFifthTryComesAfterFourSleepsOfThreeSeconds) {
  seed(0);
  int sleeps = 0;
  os_.on_sleep = [&] {
    if (++sleeps == 4) {
      seed(9);
    }
  };
  EXPECT_EQ(kelvane::waitForEndpoint(), 0);
  EXPECT_EQ(recording::trace(), (Lines{kNoMarker,  kShared,
                                       kFind,      kShared,
                                       kFind,      kZero,
                                       "sleep(3)", kShared,
                                       kFind,      kZero,
                                       "sleep(3)", kShared,
                                       kFind,      kZero,
                                       "sleep(3)", kShared,
                                       kFind,      kZero,
                                       "sleep(3)", kShared,
                                       kFind,      "message: AzureEndpoint = 9\\n"}));
  EXPECT_EQ(kelvane::WireProtocolGetEndpoint(), 9u);
}

TEST_F(EndpointWait, AnEndpointThatStaysZeroGivesElevenTriesAndMinusTwo) {
  seed(0);
  const time_t before = os_.now;
  EXPECT_EQ(kelvane::waitForEndpoint(), -2);
  Lines expected = {kNoMarker, kShared, kFind};
  for (int i = 0; i < 11; i++) {
    for (const char *line : {kShared, kFind, kZero, "sleep(3)"}) {
      expected.emplace_back(line);
    }
  }
  expected.emplace_back("message: Wait for AzureEndpoint failed for 10 times.\\n");
  EXPECT_EQ(recording::trace(), expected);
  EXPECT_EQ(os_.now - before, 33);
  EXPECT_EQ(kelvane::WireProtocolGetEndpoint(), 0u);
}

TEST_F(EndpointWait, AMissingInterfaceGivesMinusOneAtOnce) {
  EXPECT_EQ(kelvane::waitForEndpoint(), -1);
  EXPECT_EQ(recording::trace(), (Lines{kNoMarker, kShared, std::string(kFind) + " -> none",
                                       "message: waitForEndpoint:280 cannot find port1\\n"}));
}

TEST_F(EndpointWait, AnUnreadableTableGivesMinusOneAtOnce) {
  seed(5);
  recording::fail_always("nCfg_query");
  EXPECT_EQ(kelvane::waitForEndpoint(), -1);
  EXPECT_EQ(recording::messages(), Lines{"waitForEndpoint:280 cannot find port1\n"});
}

TEST_F(EndpointWait, AnInterfaceThatGoesAwayGivesMinusOneAfterFiveSeconds) {
  seed(0);
  os_.on_sleep = [] { recording::remove(440, "port1"); };
  EXPECT_EQ(kelvane::waitForEndpoint(), -1);
  EXPECT_EQ(recording::trace(), (Lines{kNoMarker, kShared, kFind, kShared, kFind, kZero, "sleep(3)", kShared,
                                       std::string(kFind) + " -> none", "sleep(5)"}));
}

TEST_F(EndpointWait, AMarkerOfElevenBytesIsEmptied) {
  os_.write("/data/etc/.provisioned", "10813fa8\n12");
  seed(5);
  EXPECT_EQ(kelvane::waitForEndpoint(), 0);
  EXPECT_EQ(recording::trace(), (Lines{kOpenMarker, kCloseMarker, "unlink(\"/data/etc/.provisioned\")",
                                       "open(\"/data/etc/.provisioned\", create, 0600)", kCloseMarker, kShared, kFind,
                                       kShared, kFind, "message: AzureEndpoint = 5\\n"}));
  EXPECT_EQ(os_.read("/data/etc/.provisioned"), "");
}

TEST_F(EndpointWait, AMarkerOfTenBytesIsKept) {
  os_.write("/data/etc/.provisioned", "10813fa8\n1");
  seed(5);
  EXPECT_EQ(kelvane::waitForEndpoint(), 0);
  EXPECT_EQ(recording::trace(),
            (Lines{kOpenMarker, kCloseMarker, kShared, kFind, kShared, kFind, "message: AzureEndpoint = 5\\n"}));
  EXPECT_EQ(os_.read("/data/etc/.provisioned"), "10813fa8\n1");
}

TEST_F(EndpointWait, APipeInTheMarkersPlaceDoesNotHoldItUp) {
  ASSERT_EQ(mkfifo(os_.real("/data/etc/.provisioned").c_str(), 0600), 0);
  seed(5);
  EXPECT_EQ(kelvane::waitForEndpoint(), 0);
  EXPECT_EQ(recording::trace()[0], kOpenMarker);
}

TEST_F(EndpointWait, AMarkerThatCannotBeMadeAgainIsLogged) {
  os_.write("/data/etc/.provisioned", "0123456789A");
  os_.fail("open(\"/data/etc/.provisioned\", create, 0600)", ENOSPC);
  recording::set_debug_level(1);
  seed(5);
  EXPECT_EQ(kelvane::waitForEndpoint(), 0);
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: cannot write /data/etc/.provisioned: No space left on device\n",
                                          "AzureEndpoint = 5\n"}));
}

}  // namespace
