#include "protocol/wire/endpoint.h"

#include <cstring>

#include "tests/support/recording_fixture.h"

namespace {

class EndpointTest : public RecordingTest {};

uint32_t address_of(unsigned char a, unsigned char b, unsigned char c, unsigned char d) {
  const unsigned char octets[4] = {a, b, c, d};
  uint32_t address = 0;
  std::memcpy(&address, octets, sizeof address);
  return address;
}

TEST_F(EndpointTest, TheAddressIsStoredAndMayBeSetAgain) {
  kelvane::WireProtocolSetEndpoint(address_of(10, 0, 0, 1));
  EXPECT_EQ(kelvane::WireProtocolGetEndpoint(), address_of(10, 0, 0, 1));
  kelvane::WireProtocolSetEndpoint(0);
  EXPECT_EQ(kelvane::WireProtocolGetEndpoint(), 0u);
}

TEST_F(EndpointTest, TheUrlsFollowEachSettingWithTheOctetsInMemoryOrder) {
  kelvane::WireProtocolSetEndpoint(address_of(10, 0, 0, 1));
  const kelvane::WireUrls *urls = kelvane::wire_urls();
  EXPECT_STREQ(urls->versions, "http://10.0.0.1/?comp=versions");
  EXPECT_STREQ(urls->goal_state, "http://10.0.0.1/machine/?comp=goalstate");
  EXPECT_STREQ(urls->health, "http://10.0.0.1/machine/?comp=health");
  EXPECT_STREQ(urls->role_properties, "http://10.0.0.1/machine/?comp=roleProperties");
  EXPECT_STREQ(urls->telemetry_data, "http://10.0.0.1/machine/?comp=telemetrydata");
  kelvane::WireProtocolSetEndpoint(address_of(168, 63, 129, 255));
  EXPECT_STREQ(urls->versions, "http://168.63.129.255/?comp=versions");
  EXPECT_STREQ(urls->telemetry_data, "http://168.63.129.255/machine/?comp=telemetrydata");
}

TEST_F(EndpointTest, TheUrlsHaveRoomFor1024Bytes) {
  EXPECT_EQ(sizeof(kelvane::WireUrls::versions), 1024u);
  EXPECT_EQ(sizeof(kelvane::WireUrls), 5120u);
}

TEST_F(EndpointTest, TheSettingIsLoggedAboveLevelSixWithTheWordAsItLiesInMemory) {
  recording::set_debug_level(6);
  kelvane::WireProtocolSetEndpoint(address_of(10, 0, 0, 1));
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(7);
  kelvane::WireProtocolSetEndpoint(0x0100000Au);
  kelvane::WireProtocolSetEndpoint(0xABCDEF01u);
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: in WireProtocolSetEndpoint at 62, IP=0x100000a\n",
                                          "[kelvane]: in WireProtocolSetEndpoint at 62, IP=0xabcdef01\n"}));
}

TEST_F(EndpointTest, OnALittleEndianHostTheFirstOctetIsTheLowestDigitPair) {
  if (address_of(1, 0, 0, 0) != 1) {
    GTEST_SKIP() << "SKIP: not a little-endian host";
  }
  recording::set_debug_level(7);
  kelvane::WireProtocolSetEndpoint(address_of(10, 0, 0, 1));
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: in WireProtocolSetEndpoint at 62, IP=0x100000a\n"});
}

}  // namespace
