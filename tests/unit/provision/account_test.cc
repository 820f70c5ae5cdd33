#include "provision/account.h"

#include <stdio_ext.h>

#include <cerrno>

#include "tests/support/account_calls.h"
#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"
#include "tests/support/watched_memory.h"

namespace {

using account_calls::kDashboardLookUps;
using account_calls::kOperatorsAccount;
using account_calls::kOperatorsPassword;

class Account : public RecordingTest {
 protected:
  Account() {
    recording::seed_factory_defaults();
    account_calls::write_random_digits(os_);
  }

  static int32_t create(const char *user_name, const char *password) {
    kelvane::DefaultDashboard dashboard;
    kelvane::dashboard_build(&dashboard);
    recording::clear_trace();
    return kelvane::account_create({.user_name = user_name, .password = password, .dashboard = &dashboard});
  }
  // Nothing of it can be seen: not the account, and nothing was written.
  static void expect_nothing_changed() {
    EXPECT_EQ(recording::keys(340), Lines{"admin"});
    EXPECT_EQ(recording::pending(), false);
    EXPECT_EQ(recording::calls_of("cmf_write_config"), Lines{});
    EXPECT_EQ(recording::calls_of("SSHPubKeySet"), Lines{});
  }

  FakeOs os_;
};

TEST_F(Account, TheDefaultDashboardHasEightWidgetsInOrder) {
  kelvane::DefaultDashboard dashboard;
  memset(static_cast<void *>(&dashboard), 0x5A, sizeof dashboard);
  kelvane::dashboard_build(&dashboard);
  EXPECT_EQ(joined(recording::trace()), joined(kDashboardLookUps));
  const uint32_t expected[8][4] = {{11, 1, 1, 300}, {12, 1, 1, 300}, {13, 2, 1, 300}, {14, 2, 1, 300},
                                   {15, 2, 1, 300}, {16, 2, 1, 300}, {17, 1, 1, 300}, {18, 2, 1, 300}};
  for (int i = 0; i < 8; i++) {
    uint8_t bytes[60] = {};
    memcpy(bytes, expected[i], sizeof expected[i]);
    EXPECT_EQ(memcmp(bytes, &dashboard.entries[i], sizeof bytes), 0) << i;
  }
}

TEST_F(Account, AnUnknownWidgetHasTheKeyZero) {
  recording::remove(330, "sysres");
  kelvane::DefaultDashboard dashboard;
  kelvane::dashboard_build(&dashboard);
  EXPECT_EQ(dashboard.entries[1].widget, 12u);
  EXPECT_EQ(dashboard.entries[2].widget, 0u);
  EXPECT_EQ(dashboard.entries[2].column, 2u);
  EXPECT_EQ(dashboard.entries[3].widget, 14u);
  recording::fail_always("nCfg_query");
  kelvane::dashboard_build(&dashboard);
  EXPECT_EQ(dashboard.entries[0].widget, 0u);
}

TEST_F(Account, WithAPasswordIsCreatedInThisOrder) {
  EXPECT_EQ(create("operator", "Secret-1"), 0);
  EXPECT_EQ(joined(recording::trace()),
            joined(kOperatorsPassword + kOperatorsAccount + Lines{"SSHPubKeySet(\"operator\")"}));
}

TEST_F(Account, WithoutAPasswordGetsARandomOne) {
  EXPECT_EQ(create("operator", nullptr), 0);
  EXPECT_EQ(joined(recording::trace()),
            joined(Lines{"copy_cmdb_default(340, 2464)", "open(\"/dev/urandom\", read)", "close(\"/dev/urandom\")",
                         "make_new_passwd(\"0123456789012345678901234567890123456789012345678901234567890123\", 0)"} +
                   kOperatorsAccount + Lines{"SSHPubKeySet(\"operator\")"}));
}

TEST_F(Account, TheRecordHoldsTheseBytes) {
  EXPECT_EQ(create("operator", "Secret-1"), 0);
  std::vector<uint8_t> expected(2464, 0);
  memcpy(&expected[0], "operator", 8);
  memcpy(&expected[64], "stored(Secret-1)", 16);
  expected[1080] = 5;  // the key number of "prof_admin"
  expected[1088] = 1;
  expected[1096] = 1;
  expected[1100] = 0xD2;  // from the table's defaults, as the byte at 2450
  expected[2450] = 0xD1;
  expected[2460] = 0x01;
  expected[2461] = 0x01;
  EXPECT_EQ(recording::record_bytes(340, "operator", recording::State::kDurable).value(), expected);
  ASSERT_EQ(recording::policy_saves().size(), 1u);
  EXPECT_EQ(memcmp(&recording::policy_saves()[0], expected.data(), expected.size()), 0);
}

TEST_F(Account, TheFixedFieldsOverwriteTheDefaults) {
  std::vector<uint8_t> all(2464, 0xEE);
  recording::set_default_record(340, all.data(), all.size());
  EXPECT_EQ(create("operator", "Secret-1"), 0);
  const auto bytes = recording::record_bytes(340, "operator", recording::State::kDurable).value();
  EXPECT_EQ(bytes[193], 0);
  EXPECT_EQ(bytes[194], 0xEE);
  EXPECT_EQ(bytes[2448], 0);
  EXPECT_EQ(bytes[2449], 0);
  EXPECT_EQ(bytes[2447], 0xEE);
  EXPECT_EQ(bytes[2450], 0xEE);
  EXPECT_EQ(bytes[63], 0);  // the name's field is filled whole
  const ncfg_account record = recording::account("operator").value();
  EXPECT_EQ(record.field_1088, 1u);
  EXPECT_EQ(record.field_1096, 1u);
  EXPECT_EQ(record.field_2460, 0x101);
}

TEST_F(Account, WithoutADefinitionThereAreNoDefaults) {
  recording::remove_definition(340);
  EXPECT_EQ(create("operator", "Secret-1"), 0);
  EXPECT_EQ(recording::calls_of("copy_cmdb_default"), Lines{});
  EXPECT_EQ(recording::record_bytes(340, "operator", recording::State::kDurable).value()[2450], 0);
}

TEST_F(Account, ASchemaWithoutAnyDefinitionHasNoDefaults) {
  cmdb.tables = nullptr;
  EXPECT_EQ(create("operator", "Secret-1"), 0);
  EXPECT_EQ(recording::calls_of("copy_cmdb_default"), Lines{});
}

TEST_F(Account, ASchemaThatEndsBefore340HasNoDefaults) {
  cmdb.table_count = 339;
  EXPECT_EQ(create("one", "Secret-1"), 0);
  EXPECT_EQ(recording::calls_of("copy_cmdb_default"), Lines{});
  cmdb.table_count = 340;
  EXPECT_EQ(create("two", "Secret-1"), 0);
  EXPECT_EQ(recording::calls_of("copy_cmdb_default"), Lines{"copy_cmdb_default(340, 2464)"});
}

TEST_F(Account, TheRecordTakes63CharactersButChildrenAndKeysAreAskedForByTheWholeName) {
  const std::string name(70, 'u');
  EXPECT_EQ(create(name.c_str(), "Secret-1"), 0);
  EXPECT_EQ(recording::account(std::string(63, 'u'))->name, std::string(63, 'u'));
  EXPECT_EQ(recording::calls_of("cmf_query_create_child_with_key"),
            (Lines{"cmf_query_create_child_with_key(340, 354, \"" + name + "\") -> none",
                   "cmf_query_create_child_with_key(340, 14050, \"" + name + "\") -> none"}));
  EXPECT_EQ(recording::calls_of("SSHPubKeySet"), Lines{"SSHPubKeySet(\"" + name + "\")"});
}

TEST_F(Account, ARefusedPasswordCreatesNothing) {
  recording::set_debug_level(-1);
  recording::set_policy_answer(1, "too short");
  EXPECT_EQ(create("operator", "x"), -1);
  EXPECT_EQ(recording::messages(), Lines{"passwd check failed, too short"});
  EXPECT_EQ(recording::calls_of("make_new_passwd"), Lines{});
  expect_nothing_changed();
}

TEST_F(Account, ARefusalWithoutAReasonIsSilent) {
  recording::set_debug_level(7);
  recording::set_policy_answer(-3, "");
  EXPECT_EQ(create("operator", "x"), -1);
  EXPECT_EQ(recording::messages(), Lines{});
  expect_nothing_changed();
}

TEST_F(Account, AnAcceptedPasswordWithAReasonIsSilent) {
  recording::set_debug_level(7);
  recording::set_policy_answer(0, "weak, but allowed");
  EXPECT_EQ(create("operator", "x"), 0);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(Account, ARandomPasswordIsNotCheckedAgainstThePolicy) {
  recording::set_policy_answer(1, "no");
  EXPECT_EQ(create("operator", nullptr), 0);
}

TEST_F(Account, APasswordWithoutAStoredFormCreatesNothing) {
  recording::set_debug_level(1);
  recording::fail_always("make_new_passwd");
  EXPECT_EQ(create("operator", "Secret-1"), -1);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: no stored form of the password for operator\n"});
  expect_nothing_changed();
}

TEST_F(Account, WithoutRandomBytesCreatesNothing) {
  recording::set_debug_level(1);
  os_.fail("open(\"/dev/urandom\", read)", ENOENT);
  recording::fail_always("get_rnd_bytes");
  EXPECT_EQ(create("operator", nullptr), -1);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: no random bytes for the password of operator\n"});
  expect_nothing_changed();
}

TEST_F(Account, AtLevel0ThoseFailuresAreSilent) {
  recording::fail_always("make_new_passwd");
  EXPECT_EQ(create("operator", "Secret-1"), -1);
  os_.fail("open(\"/dev/urandom\", read)", ENOENT);
  recording::fail_always("get_rnd_bytes");
  EXPECT_EQ(create("operator", nullptr), -1);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(Account, ALongStoredFormIsCutAndTerminated) {
  EXPECT_EQ(create("operator", std::string(200, 'p').c_str()), 0);
  const ncfg_account record = recording::account("operator").value();
  EXPECT_EQ(std::string(record.password, 129), "stored(" + std::string(121, 'p') + '\0');
}

TEST_F(Account, WithoutTheProfileTableIsCreatedWithProfileZero) {
  recording::fail_nth("cmf_query_create", 1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(create("operator", "Secret-1"), 0);
  EXPECT_EQ(__fpending(stdout), 0u);  // the line is out, a full buffer or not
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "create query for  failed\n");
  EXPECT_EQ(recording::messages(), Lines{});
  EXPECT_EQ(recording::account("operator")->access_profile, 0u);
}

TEST_F(Account, WithoutTheProfileIsCreatedWithProfileZero) {
  recording::remove(280, "prof_admin");
  testing::internal::CaptureStdout();
  EXPECT_EQ(create("operator", "Secret-1"), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(recording::account("operator")->access_profile, 0u);
}

TEST_F(Account, WithoutTheAccountTableGivesUp) {
  recording::fail_nth("cmf_query_create", 2);
  EXPECT_EQ(create("operator", "Secret-1"), -1);
  EXPECT_EQ(recording::messages(), Lines{"cmf_query_create() error\n"});
  EXPECT_EQ(recording::policy_saves().size(), 0u);
  expect_nothing_changed();
}

TEST_F(Account, WithoutChildTablesIsCreatedAllTheSame) {
  recording::fail_always("cmf_query_create_child_with_key");
  EXPECT_EQ(create("operator", "Secret-1"), 0);
  EXPECT_EQ(recording::calls_of("add_default_gui_dashboard"), Lines{});
  EXPECT_EQ(recording::calls_of("cmf_query_table_append"), Lines{"cmf_query_table_append(340, \"operator\")"});
  EXPECT_EQ(recording::calls_of("SSHPubKeySet"), Lines{"SSHPubKeySet(\"operator\")"});
}

TEST_F(Account, WithoutTheSharedQueryIsCreatedAllTheSame) {
  kelvane::DefaultDashboard dashboard = {};
  recording::fail_always("nCfg_query");
  EXPECT_EQ(kelvane::account_create({.user_name = "operator", .password = "p", .dashboard = &dashboard}), 0);
  EXPECT_EQ(recording::calls_of("cmf_query_create_child_with_key"), Lines{});
}

// As after a first boot that was cut off between the account's writing and the marker.
TEST_F(Account, OneThatExistsKeepsWhatItHasAndGetsTheKeys) {
  recording::set_debug_level(1);
  recording::seed_account("operator", "before");
  EXPECT_EQ(create("operator", "Secret-1"), 0);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: account operator exists already and is left as it is\n"});
  EXPECT_STREQ(recording::account("operator")->password, "before");
  EXPECT_EQ(recording::calls_of("cmf_query_create_child_with_key"), Lines{});
  EXPECT_EQ(recording::calls_of("add_default_gui_dashboard"), Lines{});
  EXPECT_EQ(recording::calls_of("cmf_write_config"), Lines{"cmf_write_config(7)"});
  EXPECT_EQ(recording::calls_of("SSHPubKeySet"), Lines{"SSHPubKeySet(\"operator\")"});
}

TEST_F(Account, OneThatCannotBeAddedGivesUp) {
  recording::set_debug_level(1);
  recording::fail_always("cmf_query_table_append");
  EXPECT_EQ(create("operator", "Secret-1"), -1);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: account operator cannot be added\n"});
  EXPECT_EQ(recording::keys(340), Lines{"admin"});
  EXPECT_EQ(recording::calls_of("cmf_query_create_child_with_key"), Lines{});
  EXPECT_EQ(recording::calls_of("cmf_write_config"), Lines{});
  EXPECT_EQ(recording::calls_of("SSHPubKeySet"), Lines{});
}

TEST_F(Account, ItsOwnFailureLinesPrintAboveZeroOnly) {
  recording::set_debug_level(0);
  recording::seed_account("operator", "before");
  EXPECT_EQ(create("operator", "Secret-1"), 0);
  recording::fail_always("cmf_query_table_append");
  EXPECT_EQ(create("other", "Secret-1"), -1);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(Account, AFailedWriteChangesNothingInWhatIsDone) {
  recording::set_debug_level(7);
  recording::fail_always("cmf_write_config");
  EXPECT_EQ(create("operator", "Secret-1"), kelvane::kAccountNotWritten);
  EXPECT_EQ(recording::messages(), Lines{});
  EXPECT_EQ(recording::calls_of("SSHPubKeySet"), Lines{"SSHPubKeySet(\"operator\")"});
}

TEST_F(Account, TheRecordAndTheRandomTextAreWiped) {
  watched_memory::wiped.clear();
  EXPECT_EQ(create("operator", nullptr), 0);
  EXPECT_THAT(
      watched_memory::wiped,
      testing::Contains(testing::StartsWith("0123456789012345678901234567890123456789012345678901234567890123")));
  EXPECT_THAT(watched_memory::wiped, testing::Contains(testing::SizeIs(2464)));
}

}  // namespace
