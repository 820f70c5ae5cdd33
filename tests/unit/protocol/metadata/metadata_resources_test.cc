// The eight URLs, and one extension's URL made of the seventh.
#include "protocol/metadata/metadata_resources.h"

#include <cstring>

#include "protocol/metadata/metadata_protocol.h"
#include "tests/unit/protocol/metadata/metadata_world.h"

namespace {

class MetadataResourcesTest : public MetadataTest {
 protected:
  // The URL with a mark behind the field, which must stay.
  static std::string url_for(const char *name) {
    struct {
      char url[kelvane::kMetadataExtensionUrlSize];
      char mark[8];
    } room;
    std::memset(&room, 'm', sizeof room);
    kelvane::metadata_extension_url(name, room.url);
    EXPECT_EQ(std::string(room.mark, sizeof room.mark), "mmmmmmmm");
    EXPECT_LT(strnlen(room.url, sizeof room.url), sizeof room.url);
    return room.url;
  }

  const std::string front_ = "http://169.254.169.254/Microsoft.Compute/status/extensions/";
  const std::string back_ = "?api-version=2015-05-01-preview";
};

TEST_F(MetadataResourcesTest, TheEightUrls) {
  EXPECT_STREQ(kelvane::metadata_url(kelvane::kMetadataIdentity),
               "http://169.254.169.254/Microsoft.Compute/identity?api-version=2015-05-01-preview");
  EXPECT_STREQ(kelvane::metadata_url(kelvane::kMetadataCertificates),
               "http://169.254.169.254/Microsoft.Compute/certificates?api-version=2015-05-01-preview");
  EXPECT_STREQ(kelvane::metadata_url(kelvane::kMetadataExtensionHandlers),
               "http://169.254.169.254/Microsoft.Compute/extensionHandlers?api-version=2015-05-01-preview");
  EXPECT_STREQ(kelvane::metadata_url(kelvane::kMetadataAgentVersions),
               "http://169.254.169.254/Microsoft.Compute/vmAgentVersions?api-version=2015-05-01-preview");
  EXPECT_STREQ(kelvane::metadata_url(kelvane::kMetadataProvisioningStatus),
               "http://169.254.169.254/Microsoft.Compute/provisioningStatus?api-version=2015-05-01-preview");
  EXPECT_STREQ(kelvane::metadata_url(kelvane::kMetadataVmStatus),
               "http://169.254.169.254/Microsoft.Compute/status/vmagent?api-version=2015-05-01-preview");
  EXPECT_STREQ(kelvane::metadata_url(kelvane::kMetadataExtensionStatus),
               "http://169.254.169.254/Microsoft.Compute/status/extensions/%s?api-version=2015-05-01-preview");
  EXPECT_STREQ(kelvane::metadata_url(kelvane::kMetadataTelemetry),
               "http://169.254.169.254/Microsoft.Compute/status/telemetry?api-version=2015-05-01-preview");
  EXPECT_EQ(kelvane::kMetadataResources, 8);
  EXPECT_EQ(kelvane::kMetadataUrlSize, 1024u);
}

TEST_F(MetadataResourcesTest, EveryCallForTheTableBuildsThemAnew) {
  char *url = const_cast<char *>(kelvane::metadata_url(kelvane::kMetadataTelemetry));
  std::strcpy(url, "spoilt");
  EXPECT_EQ(kelvane::ProtocolGetMetaData(), protocol_);
  EXPECT_STREQ(kelvane::metadata_url(kelvane::kMetadataTelemetry),
               "http://169.254.169.254/Microsoft.Compute/status/telemetry?api-version=2015-05-01-preview");
}

TEST_F(MetadataResourcesTest, AnExtensionsNameTakesItsPlace) {
  EXPECT_EQ(url_for("Torvik.Ext_1"), front_ + "Torvik.Ext_1" + back_);
  EXPECT_EQ(url_for(""), front_ + back_);
  EXPECT_EQ(url_for(nullptr), front_ + back_);
}

TEST_F(MetadataResourcesTest, WithoutItsPlaceANameIsLeftOut) {
  char *pattern = const_cast<char *>(kelvane::metadata_url(kelvane::kMetadataExtensionStatus));
  pattern[0] = '\0';  // as before the first building
  EXPECT_EQ(url_for("Torvik.Ext_1"), "");
  std::strcpy(pattern, "no place");
  EXPECT_EQ(url_for("Torvik.Ext_1"), "no place");
}

TEST_F(MetadataResourcesTest, NothingInANameIsAFormat) {
  EXPECT_EQ(url_for("100%"), front_ + "100%" + back_);
  EXPECT_EQ(url_for("%s%n%s%d%5$x"), front_ + "%s%n%s%d%5$x" + back_);
  EXPECT_EQ(url_for("%%"), front_ + "%%" + back_);
  EXPECT_EQ(url_for("a/../b?c#d"), front_ + "a/../b?c#d" + back_);
}

TEST_F(MetadataResourcesTest, AtMost2047CharactersAreKept) {
  const std::string long_name(3000, 'n');
  const std::string cut = url_for(long_name.c_str());
  EXPECT_EQ(cut.size(), 2047u);
  EXPECT_EQ(cut, (front_ + long_name).substr(0, 2047));
  // 59 characters in front, 31 behind: one with 1957 fits to the last character, one more is cut at its end.
  EXPECT_EQ(url_for(std::string(1957, 'n').c_str()), front_ + std::string(1957, 'n') + back_);
  EXPECT_EQ(url_for(std::string(1958, 'n').c_str()),
            front_ + std::string(1958, 'n') + "?api-version=2015-05-01-previe");
}

}  // namespace
