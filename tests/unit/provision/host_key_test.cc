#include "provision/host_key.h"

#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"

namespace {

const char kPath[] = "/data/etc/ssh/ssh_host_rsa_key.pub.fp";

class HostKey : public RecordingTest {
 protected:
  // Forty bytes of 'z', of which 32 may be written.
  int32_t read() {
    buffer_.assign(40, 'z');
    return kelvane::ProvisionAgent_ReadHostKeyFingerprint(buffer_.data(), 32);
  }
  // What is read of these bytes.
  std::string of(const std::string &bytes) {
    os_.write(kPath, bytes);
    EXPECT_EQ(read(), 0);
    return buffer_;
  }
  static std::string filled(const std::string &start) { return start + std::string(40 - start.size(), 'z'); }

  FakeOs os_;
  std::string buffer_;
};

TEST_F(HostKey, DropsColonsAndKeepsTheLineEndWithoutATerminator) {
  EXPECT_EQ(of("12:34:ab\n"), filled("1234ab\n"));
}

TEST_F(HostKey, SixteenBytesWithColonsFitExactly) {
  EXPECT_EQ(of("00:11:22:33:44:55:66:77:88:99:aa:bb:cc:dd:ee:ff"), filled("00112233445566778899aabbccddeeff"));
}

TEST_F(HostKey, StopsAt32Characters) {
  EXPECT_EQ(of("00:11:22:33:44:55:66:77:88:99:aa:bb:cc:dd:ee:ff\n"), filled("00112233445566778899aabbccddeeff"));
  EXPECT_EQ(of(std::string(200, 'a')), filled(std::string(32, 'a')));
}

TEST_F(HostKey, ReadsAtMost128Bytes) {
  EXPECT_EQ(of(std::string(127, ':') + "ab"), filled("a"));
  EXPECT_EQ(of(std::string(128, ':') + "ab"), filled(""));
}

TEST_F(HostKey, OtherBytesAreKeptAsTheyAre) {
  EXPECT_EQ(of(std::string("A \0\xff-::\tz", 9)), filled(std::string("A \0\xff-\tz", 7)));
}

TEST_F(HostKey, AnEmptyOrMissingFileGivesMinusOne) {
  EXPECT_EQ(read(), -1);
  EXPECT_EQ(buffer_, filled(""));
  os_.write(kPath, "");
  EXPECT_EQ(read(), -1);
  EXPECT_EQ(buffer_, filled(""));
}

TEST_F(HostKey, APipeOrAFolderInItsPlaceGivesMinusOne) {
  ASSERT_EQ(mkfifo(os_.real(kPath).c_str(), 0600), 0);
  EXPECT_EQ(read(), -1);
  ASSERT_EQ(::unlink(os_.real(kPath).c_str()), 0);
  ASSERT_EQ(::mkdir(os_.real(kPath).c_str(), 0700), 0);
  EXPECT_EQ(read(), -1);
  EXPECT_EQ(buffer_, filled(""));
}

TEST_F(HostKey, OpensAndClosesTheFile) {
  os_.write(kPath, "x");
  read();
  EXPECT_EQ(recording::trace(), (Lines{"open(\"/data/etc/ssh/ssh_host_rsa_key.pub.fp\", read)",
                                       "close(\"/data/etc/ssh/ssh_host_rsa_key.pub.fp\")"}));
}

}  // namespace
