#include "core/admin_lock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"

namespace {

// In place of the stored form that the recording platform makes, which is never as long; empty: none.
std::string stored_form;

}  // namespace

extern "C" {
const char *__real_make_new_passwd(const char *password, int32_t options);
const char *__wrap_make_new_passwd(const char *password, int32_t options);

const char *__wrap_make_new_passwd(const char *password, int32_t options) {
  return stored_form.empty() ? __real_make_new_passwd(password, options) : stored_form.c_str();
}
}

namespace {

const char kOpen[] = "open(\"/dev/urandom\", read)";
const char kClose[] = "close(\"/dev/urandom\")";

class AdminLock : public RecordingTest {
 protected:
  AdminLock() {
    stored_form.clear();
    recording::seed_account("admin", "factory");
    os_.write("/dev/urandom", "0123456789012345678901234567890123456789012345678901234567890123456789");
  }
  static std::string password(recording::State state = recording::State::kDurable) {
    const ncfg_account account = recording::account("admin", state).value();
    return std::string(account.password, strnlen(account.password, sizeof account.password));
  }

  FakeOs os_;
};

TEST_F(AdminLock, StoresARandomPasswordInThisOrder) {
  kelvane::admin_lock();
  EXPECT_EQ(recording::trace(),
            (Lines{kOpen, kClose, "cmf_query_create(340)", "cmf_query_do_table_find(340, 0, \"admin\", 2)",
                   "make_new_passwd(\"0123456789012345678901234567890123456789012345678901234567890123\", 0)",
                   "passwd_policy_save_info(\"admin\")", "cmf_query_commit(340)", "cmf_get_cur_domain_id()",
                   "cmf_write_config(7)", "message: change admin passwd success!\\n", "close(\"/dev/urandom\") again",
                   "cmf_query_free(340)"}));
  EXPECT_EQ(password(), "stored(0123456789012345678901234567890123456789012345678901234567890123)");
}

TEST_F(AdminLock, ThePasswordEndsAtTheFirstZeroByte) {
  os_.write("/dev/urandom", std::string("ab\xff\0cd", 6) + std::string(100, 'x'));
  kelvane::admin_lock();
  EXPECT_EQ(recording::passwords_given(), Lines{"ab\xff"});
}

TEST_F(AdminLock, ThePolicySeesTheNewPassword) {
  os_.write("/dev/urandom", std::string("ab\0", 3));
  kelvane::admin_lock();
  ASSERT_EQ(recording::policy_saves().size(), 1u);
  EXPECT_STREQ(recording::policy_saves()[0].password, "stored(ab)");
}

TEST_F(AdminLock, AnotherFieldOfTheAccountIsNotTouched) {
  ncfg_account before = recording::account("admin").value();
  memset(before.reserved_194, 0x5A, sizeof before.reserved_194);
  before.after_password = 0x77;
  recording::seed(340, before);
  kelvane::admin_lock();
  ncfg_account after = recording::account("admin").value();
  memset(before.password, 0, sizeof before.password);
  memset(after.password, 0, sizeof after.password);
  EXPECT_EQ(memcmp(&before, &after, sizeof before), 0);
}

TEST_F(AdminLock, TheRestOfThePasswordFieldIsZeroed) {
  ncfg_account before = recording::account("admin").value();
  memset(before.password, 'q', sizeof before.password);
  recording::seed(340, before);
  os_.write("/dev/urandom", std::string("ab\0", 3));
  kelvane::admin_lock();
  const ncfg_account after = recording::account("admin").value();
  std::string expected(129, '\0');
  expected.replace(0, 10, "stored(ab)");
  EXPECT_EQ(std::string(after.password, 129), expected);
}

// All of the field's 129 bytes may be characters; what stands behind the field stays.
TEST_F(AdminLock, AStoredFormThatFillsTheFieldHasNoTerminator) {
  ncfg_account before = recording::account("admin").value();
  before.after_password = 0x77;
  recording::seed(340, before);
  for (const size_t length : {128u, 129u, 130u, 500u}) {
    stored_form = std::string(length - 1, 'f') + "e";
    kelvane::admin_lock();
    const ncfg_account after = recording::account("admin").value();
    std::string expected = stored_form + '\0';
    expected.resize(129);
    EXPECT_EQ(std::string(after.password, 129), expected) << length;
    EXPECT_EQ(after.after_password, 0x77) << length;
  }
  stored_form.clear();
}

TEST_F(AdminLock, AFailedWriteIsLogged) {
  recording::fail_always("cmf_write_config", 1);
  kelvane::admin_lock();
  EXPECT_EQ(recording::messages(), Lines{"change admin passwd failed!\n"});
  EXPECT_EQ(password(), "factory");
}

// The closing line tells of the write alone; the commit's failure has a line of its own.
TEST_F(AdminLock, AFailedCommitIsLoggedAndTheWriteStillDecides) {
  recording::set_debug_level(1);
  recording::fail_always("cmf_query_commit");
  kelvane::admin_lock();
  EXPECT_EQ(recording::messages(),
            (Lines{"[kelvane]: the new password of admin cannot be kept\n", "change admin passwd success!\n"}));
  EXPECT_EQ(password(), "factory");
  recording::clear_trace();
  recording::set_debug_level(0);
  kelvane::admin_lock();
  EXPECT_EQ(recording::messages(), Lines{"change admin passwd success!\n"});
}

TEST_F(AdminLock, WithoutAStoredFormNothingIsStored) {
  recording::fail_always("make_new_passwd");
  kelvane::admin_lock();
  EXPECT_EQ(recording::messages(), Lines{"change admin passwd failed!\n"});
  EXPECT_EQ(password(recording::State::kCurrent), "factory");
  EXPECT_EQ(recording::calls_of("cmf_query_commit"), Lines{});
  EXPECT_EQ(recording::calls_of("passwd_policy_save_info"), Lines{});
  EXPECT_EQ(recording::calls_of("cmf_write_config"), Lines{});
}

TEST_F(AdminLock, AMissingAccountIsLogged) {
  recording::remove(340, "admin");
  recording::seed_account("admin2", "other");
  kelvane::admin_lock();
  EXPECT_EQ(recording::trace(),
            (Lines{kOpen, kClose, "cmf_query_create(340)", "cmf_query_do_table_find(340, 0, \"admin\", 2) -> none",
                   "message: cmf_query_table_mfind error\\n", "close(\"/dev/urandom\") again", "cmf_query_free(340)"}));
}

TEST_F(AdminLock, AMissingTableIsLogged) {
  recording::fail_always("cmf_query_create");
  kelvane::admin_lock();
  EXPECT_EQ(recording::trace(), (Lines{kOpen, kClose, "cmf_query_create(340) -> failed",
                                       "message: cmf_query_table_mfind error\\n", "close(\"/dev/urandom\") again"}));
}

TEST_F(AdminLock, ItsLinesPrintAtEveryLevel) {
  recording::set_debug_level(-1);
  kelvane::admin_lock();
  recording::remove(340, "admin");
  kelvane::admin_lock();
  EXPECT_EQ(recording::messages(), (Lines{"change admin passwd success!\n", "cmf_query_table_mfind error\n"}));
}

// Sixty-four zero bytes would be the empty password, which everybody knows.
TEST_F(AdminLock, WithoutARandomSourceThePlatformsBytesAreTaken) {
  os_.fail(kOpen, ENOENT);
  recording::set_random_bytes({'p', 'q', 0, 'r'});
  kelvane::admin_lock();
  std::string expected;
  for (int i = 0; i < 16; i++) {
    expected += "pq\x01r";
  }
  EXPECT_EQ(recording::passwords_given(), Lines{expected});
  EXPECT_EQ(recording::calls_of("get_rnd_bytes"), Lines{"get_rnd_bytes(64)"});
  EXPECT_EQ(recording::calls_of("close"), Lines{});
}

TEST_F(AdminLock, ALeadingZeroByteTakesThePlatformsBytes) {
  os_.write("/dev/urandom", std::string(64, '\0'));
  recording::set_random_bytes({'p'});
  kelvane::admin_lock();
  EXPECT_EQ(recording::passwords_given(), Lines{std::string(64, 'p')});
}

TEST_F(AdminLock, ASourceThatCannotBeReadTakesThePlatformsBytes) {
  ASSERT_EQ(unlink((os_.real("/dev/urandom")).c_str()), 0);
  ASSERT_EQ(mkdir(os_.real("/dev/urandom").c_str(), 0700), 0);
  recording::set_random_bytes({'p'});
  kelvane::admin_lock();
  EXPECT_EQ(recording::passwords_given(), Lines{std::string(64, 'p')});
}

TEST_F(AdminLock, WithoutAnyRandomBytesThePasswordStays) {
  os_.fail(kOpen, ENOENT);
  recording::fail_always("get_rnd_bytes");
  kelvane::admin_lock();
  EXPECT_EQ(recording::messages(), Lines{"change admin passwd failed!\n"});
  EXPECT_EQ(recording::passwords_given(), Lines{});
  EXPECT_EQ(password(recording::State::kCurrent), "factory");
}

TEST_F(AdminLock, TheSecondCloseHitsNoFileThatThePlatformOpensMeanwhile) {
  int platforms = -1;
  recording::on_call("cmf_query_create", [&] { platforms = open("/proc/self/status", O_RDONLY); });
  kelvane::admin_lock();
  ASSERT_GE(platforms, 0);
  EXPECT_NE(fcntl(platforms, F_GETFD), -1);
  close(platforms);
}

TEST_F(AdminLock, LeavesNoDescriptorOpen) {
  const int before = open("/proc/self/status", O_RDONLY);
  close(before);
  kelvane::admin_lock();
  const int after = open("/proc/self/status", O_RDONLY);
  close(after);
  EXPECT_EQ(before, after);
}

}  // namespace
