#include "plugins/vm_access.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

#include "credentials/ssh_pub_key.h"
#include "tests/support/account_calls.h"
#include "tests/unit/plugins/plugin_world.h"
#include "tests/unit/plugins/sealed.h"

namespace {

using account_calls::kDashboardLookUps;
using account_calls::kOperatorsAccount;
using account_calls::kOperatorsPassword;
using kelvane::Plugin;
using kelvane::PluginSettings;

constexpr char kSshdPidFile[] = "/var/run/sshd.pid";

const Lines kSuccess = {"[kelvane]: VMAccess: plugin enable successfully\n"};

class VMAccess : public PluginTest {
 protected:
  VMAccess() {
    recording::seed_factory_defaults();
    account_calls::write_random_digits(os_);
    kelvane::SSHPubKeySet("nobody");
    recording::clear_trace();
  }
  ~VMAccess() override { kelvane::SSHPubKeySet("nobody"); }

  // An enable with these protected settings, encrypted.
  void enable(const std::string &protected_plain, const std::string &public_text = "{}") {
    const std::string protected_text = sealed::seal(protected_plain);
    const std::string thumbprint = containers::thumbprint(sealed::certificate());
    const PluginSettings settings = {nullptr, public_text.c_str(), protected_text.c_str(), thumbprint.c_str()};
    recording::clear_trace();
    command(plugin_, 4, ++number_, &settings);
  }
  // Without what decryption calls.
  static Lines calls() {
    Lines found;
    for (const std::string &each : recording::calls()) {
      if (each.compare(0, 15, "miglib_b64_pton") != 0) {
        found.push_back(each);
      }
    }
    return found;
  }
  // The lines of the operations themselves.
  static Lines lines() {
    Lines found;
    for (const std::string &each : recording::messages()) {
      if (each.find("Received") == std::string::npos && each.find("Enabled p") == std::string::npos &&
          each.find("DECRYPTED") == std::string::npos) {
        found.push_back(each);
      }
    }
    return found;
  }
  // "status: message" as it is reported.
  std::string result() const {
    kelvane::ExtStatus status = {};
    const uint32_t installed = plugin_->data->installed;
    plugin_->data->installed = 1;
    plugin_->status(plugin_, &status);
    plugin_->data->installed = installed;
    return std::string(status.status) + ": " + status.message;
  }
  void expect_failure(const std::string &protected_plain, const Lines &expected) {
    for (const int32_t level : {0, 1, 6, 7}) {
      recording::set_debug_level(level);
      enable(protected_plain);
      EXPECT_EQ(result(), "error: Enable failed.");
      EXPECT_EQ(lines(), level == 0   ? Lines{}
                         : level == 7 ? expected + Lines{"[kelvane]: VMAccess: plugin enable failed\n"}
                                      : expected)
          << level;
    }
  }

  Plugin *plugin_ = kelvane::pluginManager_RegisterVMAccessForLinux();
  int32_t number_ = 100;
};

// ---- the life cycle ----

TEST_F(VMAccess, HasItsOwnOperations) {
  EXPECT_STREQ(plugin_->short_name, "VMAccessForLinux");
  EXPECT_EQ(plugin_->save, &kelvane::VMAccessForLinuxSave);
  EXPECT_EQ(plugin_->load, &kelvane::VMAccessForLinuxLoad);
}

TEST_F(VMAccess, TheSameNumberChangesNothing) {
  enable(R"({"remove_user":"nobody"})");
  const int32_t number = plugin_->data->sequence_number;
  os_.now += 100;
  plugin_->state = kelvane::kPluginStateInstalled;
  recording::clear_trace();
  const auto lines_at = [&](int32_t level) {
    recording::clear_trace();
    recording::set_debug_level(level);
    command(plugin_, 4, number);
    return recording::messages();
  };
  EXPECT_EQ(lines_at(5), Lines{});
  const std::string same = "[kelvane]: Same seqno " + std::to_string(number) + ", not enabling command\n";
  EXPECT_EQ(lines_at(6), Lines{same});
  EXPECT_EQ(lines_at(7), (Lines{"[kelvane]: VMAccess: Received enablecmd\n", same}));
  EXPECT_STREQ(plugin_->state, "installed");
  EXPECT_EQ(plugin_->data->command_time, 1700000000);
  EXPECT_EQ(result(), "error: Enable failed.");
}

TEST_F(VMAccess, WithoutBothSettingsItFailsBeforeAnythingIsDone) {
  const PluginSettings no_public = {"runtime", nullptr, "cHJvdGVjdGVk", "thumbprint"};
  const PluginSettings no_protected = {"runtime", "{}", nullptr, "thumbprint"};
  recording::set_debug_level(7);
  const std::string texts[][2] = {{"", ""}, {"", "cHJvdGVjdGVk"}, {"{}", ""}};
  int32_t number = 0;
  for (const PluginSettings *settings : {static_cast<const PluginSettings *>(nullptr), &no_public, &no_protected}) {
    recording::clear_trace();
    command(plugin_, 4, number + 1, settings);
    EXPECT_EQ(result(), "error: failed");
    EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: VMAccess: Received enablecmd\n",
                                            "[kelvane]: Enabled publicSettings: '" + texts[number][0] + "'\n",
                                            "[kelvane]: Enabled protectedSettings: '" + texts[number][1] + "'\n"}));
    EXPECT_EQ(recording::calls(), Lines{});
    EXPECT_STREQ(plugin_->state, "enabled");
    EXPECT_EQ(plugin_->data->sequence_number, ++number);
    EXPECT_EQ(plugin_->data->command_time, 1700000000);
  }
}

TEST_F(VMAccess, UndecryptableOrUnparsableSettingsSucceedWithoutDoingAnything) {
  recording::set_debug_level(7);
  for (const char *plain : {"no JSON", "", "null", "[]", "\"text\"", "{}"}) {
    for (const char *public_text : {"{}", "no JSON"}) {
      enable(plain, public_text);
      EXPECT_EQ(result(), "success: Enable succeeded.") << plain;
      EXPECT_EQ(calls(), Lines{});
      EXPECT_EQ(lines(), kSuccess);
    }
  }
  const PluginSettings settings = {nullptr, "{}", "no base64!", nullptr};
  command(plugin_, 4, 7, &settings);
  EXPECT_EQ(result(), "success: Enable succeeded.");
}

TEST_F(VMAccess, TheStatusHasTheStatusCodeAndTheMessage) {
  command(plugin_, 1);
  enable("{}");
  EXPECT_EQ(status_of(plugin_), "2023-11-14T22:13:20Z|Enable|success|101|0|Enable succeeded.|null|null|0|null|0");
  enable(R"({"remove_user":"nobody"})");
  EXPECT_EQ(status_of(plugin_), "2023-11-14T22:13:20Z|Enable|error|102|0|Enable failed.|null|null|0|null|0");
  EXPECT_EQ(handler_status_of(plugin_),
            "Microsoft.OSTCExtensions.VMAccessForLinux|1.2.3.4|Ready|0|Enable failed.|instance");
}

// In a process of its own, as after a restart.
TEST_F(VMAccess, TheStatusCodeIsNotPersisted) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        const kelvane::JsonOwner saved(
            json_tokener_parse(R"({"installed":1,"seqno":7,"cmdtime":0,"extname":"e","message":"Enable succeeded."})"));
        plugin_->load(plugin_, saved.get());
        _exit(status_of(plugin_) == "|Enable||7|0|Enable succeeded.|null|null|0|null|0" ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  enable("{}");
  plugin_->data->installed = 1;
  const kelvane::JsonOwner saved(plugin_->save(plugin_));
  EXPECT_STREQ(
      json_object_to_json_string_ext(saved.get(), JSON_C_TO_STRING_PLAIN),
      R"({"installed":1,"seqno":101,"cmdtime":1700000000,"extname":"instance","message":"Enable succeeded."})");
}

TEST_F(VMAccess, ItsSettingsLinesPrintAboveSixOnly) {
  recording::set_debug_level(6);
  enable("{}");
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(VMAccess, TheDecryptedSettingsAreWiped) {
  enable(R"({"username":"admin","password":"Secret-1"})");
  EXPECT_TRUE(plugin_world::was_wiped(R"({"username":"admin","password":"Secret-1"})"));
  EXPECT_NE(std::find(plugin_world::wiped.begin(), plugin_world::wiped.end(), "Secret-1"), plugin_world::wiped.end());
}

// ---- restarting the SSH daemon ----

TEST_F(VMAccess, TheSshDaemonIsTerminated) {
  recording::set_debug_level(7);
  os_.write(kSshdPidFile, "4711\n");
  enable(R"({"reset_ssh":true})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_EQ(calls(), Lines{"kill(4711, 15)"});
  EXPECT_EQ(lines(), kSuccess);
}

TEST_F(VMAccess, OneLineOfThePidFileIsRead) {
  const std::pair<std::string, Lines> cases[] = {
      {"12", {"kill(12, 15)"}},
      {" 12 \nrest", {"kill(12, 15)"}},
      {"1", {"kill(1, 15)"}},
      {"2147483647\n", {"kill(2147483647, 15)"}},
      {std::string(124, '0') + "123456", {"kill(123, 15)"}},
      {std::string(127, ' ') + "55", {}},
      {"", {}},
      {"\n12\n", {}},
      {"text", {}},
      {"0", {}},
      {"-1", {}},
      {"-12", {}},
      {"2147483648", {}},
      {"4294967297", {}},
      {"99999999999999999999999", {}},
  };
  for (const auto &[text, expected] : cases) {
    os_.write(kSshdPidFile, text);
    enable(R"({"reset_ssh":true})");
    EXPECT_EQ(result(), "success: Enable succeeded.") << text;
    EXPECT_EQ(calls(), expected) << text;
  }
}

TEST_F(VMAccess, WithoutAPidFileTheResetFails) {
  expect_failure(R"({"reset_ssh":true})", {"[kelvane]: VMAccess: reset ssh failed\n"});
  EXPECT_EQ(calls(), Lines{});
}

TEST_F(VMAccess, AfterAFailedResetNoAccountIsTouched) {
  enable(R"({"reset_ssh":true,"username":"operator","password":"Secret-1"})");
  EXPECT_EQ(result(), "error: Enable failed.");
  EXPECT_EQ(recording::keys(340), Lines{"admin"});
}

TEST_F(VMAccess, APipeInThePidFilesPlaceIsNotWaitedFor) {
  ASSERT_EQ(mkfifo(os_.real(kSshdPidFile).c_str(), 0600), 0);
  enable(R"({"reset_ssh":true})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_EQ(calls(), Lines{});
}

TEST_F(VMAccess, OnlyABooleanResets) {
  os_.write(kSshdPidFile, "4711\n");
  for (const char *value : {"false", "1", "\"true\"", "null", "[true]"}) {
    enable(std::string(R"({"reset_ssh":)") + value + "}");
    EXPECT_EQ(calls(), Lines{}) << value;
    EXPECT_EQ(result(), "success: Enable succeeded.");
  }
}

// ---- removing an account ----

TEST_F(VMAccess, AnAccountIsRemoved) {
  recording::seed_account("operator", "stored");
  recording::set_debug_level(7);
  enable(R"({"remove_user":"operator"})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_EQ(calls(), (Lines{"nCfg_query(340)", "cmf_query_do_table_find(340, 0, \"operator\", 2)",
                            "nCfg_table_delete_by_mkey(340, \"operator\")"}));
  EXPECT_EQ(lines(), kSuccess);
  EXPECT_EQ(recording::keys(340, recording::State::kDurable), Lines{"admin"});
}

TEST_F(VMAccess, AMissingAccountCannotBeRemoved) {
  expect_failure(R"({"remove_user":"operator"})", {"[kelvane]: VMAccess: _remove_user_account failed\n"});
}

TEST_F(VMAccess, AHiddenAccountCannotBeRemoved) {
  recording::seed_account("operator", "stored", 1);
  expect_failure(R"({"remove_user":"operator"})", {"[kelvane]: VMAccess: _remove_user_account failed\n"});
  EXPECT_EQ(recording::calls_of("nCfg_table_delete_by_mkey"), Lines{});
  EXPECT_EQ(recording::keys(340), (Lines{"admin", "operator"}));
}

TEST_F(VMAccess, AFailedRemovalIsTheNegativeResult) {
  recording::seed_account("operator", "stored");
  recording::fail_always("nCfg_table_delete_by_mkey", -3);
  expect_failure(R"({"remove_user":"operator"})", {"[kelvane]: VMAccess: _remove_user_account failed\n"});
  recording::fail_always("nCfg_table_delete_by_mkey", 3);
  enable(R"({"remove_user":"operator"})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
}

TEST_F(VMAccess, WithoutAccountsNothingCanBeRemoved) {
  recording::fail_always("nCfg_query");
  expect_failure(R"({"remove_user":"admin"})", {"[kelvane]: VMAccess: _remove_user_account failed\n"});
}

TEST_F(VMAccess, RemovalConflictsWithAResetAndAPassword) {
  os_.write(kSshdPidFile, "4711\n");
  recording::seed_account("operator", "stored");
  const Lines expected = {"[kelvane]: VMAccess: Argument error, conflicting operations\n"};
  expect_failure(R"({"remove_user":"operator","reset_ssh":true})", expected);
  expect_failure(R"({"remove_user":"operator","password":"Secret-1"})", expected);
  expect_failure(R"({"remove_user":"operator","password":"","username":"other"})", expected);
  EXPECT_EQ(calls(), Lines{});
  EXPECT_EQ(recording::keys(340), (Lines{"admin", "operator"}));
}

TEST_F(VMAccess, RemovalWithoutAResetIsNoConflict) {
  recording::seed_account("operator", "stored");
  enable(R"({"remove_user":"operator","reset_ssh":false,"password":7})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
}

TEST_F(VMAccess, OneAccountIsRemovedAndAnotherCreated) {
  recording::seed_account("old", "stored");
  plugin_world::has_ssh_pub_keys = 1;
  enable(R"({"remove_user":"old","username":"new"})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_EQ(recording::keys(340), (Lines{"admin", "new"}));
}

TEST_F(VMAccess, WhatWasRemovedBeforeAFailureStaysRemoved) {
  recording::seed_account("old", "stored");
  enable(R"({"remove_user":"old","username":"new"})");
  EXPECT_EQ(result(), "error: Enable failed.");
  EXPECT_EQ(recording::keys(340), Lines{"admin"});
}

// ---- creating an account ----

TEST_F(VMAccess, AnAccountIsCreatedInThisOrder) {
  recording::set_debug_level(7);
  enable(R"({"username":"operator","password":"Secret-1"})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_EQ(
      joined(calls()),
      joined(kDashboardLookUps + Lines{"nCfg_query(340)", "cmf_query_do_table_find(340, 0, \"operator\", 2) -> none"} +
             kOperatorsPassword + kOperatorsAccount + Lines{"cmf_query_do_table_find(340, 0, \"operator\", 2)"}));
  EXPECT_EQ(lines(), Lines{"[kelvane]: Create new user operator success!\n"} + kSuccess);
}

TEST_F(VMAccess, ItsRecordHoldsTheseBytes) {
  enable(R"({"username":"operator","password":"Secret-1"})");
  std::vector<uint8_t> expected(2464, 0);
  memcpy(&expected[0], "operator", 8);
  memcpy(&expected[64], "stored(Secret-1)", 16);
  expected[1080] = 5;
  expected[1088] = 1;
  expected[1096] = 1;
  expected[1100] = recording::kDefaultAccountByte1100;
  expected[2450] = recording::kDefaultAccountByte2450;
  expected[2460] = 1;
  expected[2461] = 1;
  EXPECT_EQ(recording::record_bytes(340, "operator", recording::State::kDurable), expected);
}

TEST_F(VMAccess, ItsDashboardHoldsTheseBytes) {
  enable(R"({"username":"operator","password":"Secret-1"})");
  const uint32_t expected[8][4] = {{11, 1, 1, 300}, {12, 1, 1, 300}, {13, 2, 1, 300}, {14, 2, 1, 300},
                                   {15, 2, 1, 300}, {16, 2, 1, 300}, {17, 1, 1, 300}, {18, 2, 1, 300}};
  const auto entries = recording::children_bytes(340, "operator", 354, recording::State::kDurable);
  ASSERT_EQ(entries.size(), 8u);
  for (size_t i = 0; i < 8; i++) {
    std::vector<uint8_t> bytes(60, 0);
    memcpy(bytes.data(), expected[i], sizeof expected[i]);
    EXPECT_EQ(entries[i], bytes) << i;
  }
}

TEST_F(VMAccess, WithoutAPasswordSixtyFourRandomBytesAreIt) {
  enable(R"({"username":"operator","ssh_key":"ssh-rsa AAAA"})");
  EXPECT_EQ(recording::passwords_given(), Lines{"0123456789012345678901234567890123456789012345678901234567890123"});
  EXPECT_EQ(recording::calls_of("check_passwd_policy"), Lines{});
}

TEST_F(VMAccess, APasswordThatThePolicyRefusesCreatesNothing) {
  recording::set_policy_answer(1, "too short");
  recording::set_debug_level(1);
  enable(R"({"username":"operator","password":"x"})");
  EXPECT_EQ(result(), "error: Enable failed.");
  EXPECT_EQ(lines(), (Lines{"passwd check failed, too short",
                            "[kelvane]: VMAccess: failed to create account or set the password\n",
                            "[kelvane]: VMAccess: set user account public key failed\n"}));
  EXPECT_EQ(recording::keys(340), Lines{"admin"});
}

TEST_F(VMAccess, TheReasonIsLoggedAtEveryLevel) {
  recording::set_debug_level(0);
  recording::set_policy_answer(1, "too short");
  enable(R"({"username":"operator","password":"x"})");
  EXPECT_EQ(recording::messages(), Lines{"passwd check failed, too short"});
  recording::set_policy_answer(1, "");
  enable(R"({"username":"operator","password":"x"})");
  EXPECT_EQ(recording::messages(), Lines{});
  EXPECT_EQ(recording::keys(340), Lines{"admin"});
}

TEST_F(VMAccess, AnAccountThatCannotBeAddedFails) {
  recording::fail_always("cmf_query_create");
  recording::set_debug_level(1);
  enable(R"({"username":"operator","password":"Secret-1"})");
  EXPECT_EQ(result(), "error: Enable failed.");
  EXPECT_EQ(lines(),
            (Lines{"cmf_query_create() error\n", "[kelvane]: VMAccess: failed to create account or set the password\n",
                   "[kelvane]: VMAccess: set user account public key failed\n"}));
}

TEST_F(VMAccess, WaitingKeysAreInstalledInANewAccount) {
  kelvane::SSHPubKeyAdd("ssh-rsa WAITING", nullptr, 1);
  plugin_world::has_ssh_pub_keys = 1;
  enable(R"({"username":"operator"})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_EQ(recording::ssh_key("operator", 1), "ssh-rsa WAITING");
}

TEST_F(VMAccess, NamesOfEveryKind) {
  for (const std::string &name : {std::string(63, 'n'), std::string("quote'd\\\"name"), std::string("n\u00e4me\u20ac"),
                                  std::string("../../etc"), std::string("%s%n")}) {
    std::string escaped;
    for (const char c : name) {
      escaped += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
    enable(R"({"username":")" + escaped + R"(","password":"Secret-1"})");
    EXPECT_EQ(result(), "success: Enable succeeded.") << name;
    ASSERT_TRUE(recording::account(name)) << name;
    EXPECT_STREQ(recording::account(name)->password, "stored(Secret-1)");
  }
}

// The record takes 63 characters, but everything is asked for by the whole name.
TEST_F(VMAccess, ALongerNameIsCutInItsRecordAndThenNotFound) {
  for (const size_t length : {size_t{64}, size_t{200}}) {
    const std::string name(length, length == 64 ? 'a' : 'b');
    recording::set_debug_level(7);
    enable(R"({"username":")" + name + R"(","password":"Secret-1"})");
    EXPECT_EQ(result(), "error: Enable failed.");
    EXPECT_TRUE(recording::account(name.substr(0, 63)));
    EXPECT_EQ(lines(), (Lines{"[kelvane]: Create new user " + name + " success!\n",
                              "[kelvane]: VMAccess: failed to create account or set the password\n",
                              "[kelvane]: VMAccess: set user account public key failed\n",
                              "[kelvane]: VMAccess: plugin enable failed\n"}));
  }
}

TEST_F(VMAccess, ANameIsCutBetweenCharacters) {
  enable(R"({"username":")" + std::string(62, 'n') + "\u00e4\",\"password\":\"Secret-1\"}");
  EXPECT_TRUE(recording::account(std::string(62, 'n')));
}

TEST_F(VMAccess, AnEmptyNameIsAName) {
  recording::fail_always("cmf_query_table_append");
  enable(R"({"username":"","password":"Secret-1"})");
  EXPECT_EQ(result(), "error: Enable failed.");
  EXPECT_EQ(recording::calls_of("cmf_query_table_append"), Lines{"cmf_query_table_append(340, \"\") -> failed"});
}

TEST_F(VMAccess, ANameOfAnotherTypeIsNone) {
  for (const char *value : {"7", "null", "[\"admin\"]", "true", "{}"}) {
    enable(std::string(R"({"username":)") + value + R"(,"password":"Secret-1"})");
    EXPECT_EQ(result(), "success: Enable succeeded.") << value;
    EXPECT_EQ(calls(), Lines{});
  }
}

// ---- changing a password ----

TEST_F(VMAccess, APasswordIsChangedInThisOrder) {
  recording::set_debug_level(7);
  enable(R"({"username":"admin","password":"Secret-1"})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_EQ(joined(calls()),
            joined(kDashboardLookUps + Lines{"nCfg_query(340)", "cmf_query_do_table_find(340, 0, \"admin\", 2)",
                                             "make_new_passwd(\"Secret-1\", 0)", "make_new_passwd(\"Secret-1\", 0)",
                                             "passwd_policy_save_info(\"admin\")", "cmf_query_commit(340)",
                                             "cmf_get_cur_domain_id()", "cmf_write_config(7)"}));
  EXPECT_EQ(lines(),
            (Lines{"[kelvane]: VMAccess: Changing password for admin\n", "[kelvane]: change admin passwd success!\n"} +
             kSuccess));
  EXPECT_STREQ(recording::account("admin", recording::State::kDurable)->password, "stored(Secret-1)");
  ASSERT_EQ(recording::policy_saves().size(), 1u);
  EXPECT_STREQ(recording::policy_saves()[0].password, "stored(Secret-1)");
}

TEST_F(VMAccess, ThePolicyIsNotAskedForAnExistingAccount) {
  recording::set_policy_answer(1, "too short");
  enable(R"({"username":"admin","password":"x"})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_EQ(recording::calls_of("check_passwd_policy"), Lines{});
  EXPECT_STREQ(recording::account("admin")->password, "stored(x)");
}

TEST_F(VMAccess, ItsLinesPrintAboveFiveAndAFailureAtOne) {
  const Lines success = {"[kelvane]: VMAccess: Changing password for admin\n",
                         "[kelvane]: change admin passwd success!\n"};
  const auto lines_at = [&](int32_t level) {
    recording::set_debug_level(level);
    enable(R"({"username":"admin","password":"Secret-1"})");
    EXPECT_EQ(result(), "success: Enable succeeded.");
    return lines();
  };
  EXPECT_EQ(lines_at(5), Lines{});
  EXPECT_EQ(lines_at(6), success);
  recording::fail_always("cmf_write_config", 1);
  EXPECT_EQ(lines_at(0), Lines{});
  EXPECT_EQ(lines_at(1), Lines{"[kelvane]: change admin passwd failed!\n"});
  EXPECT_EQ(lines_at(6), (Lines{success[0], "[kelvane]: change admin passwd failed!\n"}));
}

TEST_F(VMAccess, APasswordWithoutAStoredFormChangesNothing) {
  recording::set_debug_level(7);
  recording::fail_always("make_new_passwd");
  enable(R"({"username":"admin","password":"Secret-1"})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_EQ(lines(), kSuccess);
  EXPECT_STREQ(recording::account("admin")->password, "factory");
  EXPECT_EQ(recording::calls_of("cmf_query_commit"), Lines{});
}

TEST_F(VMAccess, ASecondStoredFormThatFailsIsNotStored) {
  recording::set_debug_level(1);
  recording::fail_nth("make_new_passwd", 2);
  enable(R"({"username":"admin","password":"Secret-1"})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_EQ(lines(), Lines{"[kelvane]: change admin passwd failed!\n"});
  EXPECT_STREQ(recording::account("admin")->password, "factory");
  EXPECT_EQ(recording::calls_of("cmf_query_commit"), Lines{});
}

TEST_F(VMAccess, AHiddenAccountGetsNoPassword) {
  recording::seed_account("operator", "stored", 1);
  for (const int32_t level : {3, 4}) {
    recording::set_debug_level(level);
    enable(R"({"username":"operator","password":"Secret-1","ssh_key":"ssh-rsa AAAA"})");
    EXPECT_EQ(result(), "error: Enable failed.");
    Lines expected = {"[kelvane]: VMAccess: failed to create account or set the password\n",
                      "[kelvane]: VMAccess: set user account public key failed\n"};
    if (level == 4) {
      expected.insert(expected.begin(), "[kelvane]: VMAccess: user found but hidden, no password change\n");
    }
    EXPECT_EQ(lines(), expected);
    EXPECT_STREQ(recording::account("operator")->password, "stored");
    EXPECT_EQ(recording::calls_of("make_new_passwd"), Lines{});
    EXPECT_EQ(recording::calls_of("ssh_pubkey_data_set"), Lines{});
  }
}

TEST_F(VMAccess, WithNeitherPasswordNorKeyItFails) {
  expect_failure(R"({"username":"admin"})", {"[kelvane]: VMAccess: No password or ssh_key is specified.\n",
                                             "[kelvane]: VMAccess: set user account public key failed\n"});
  EXPECT_EQ(calls(), Lines{});
}

TEST_F(VMAccess, WithNeitherButKeysFromProvisioningItGoesOn) {
  plugin_world::has_ssh_pub_keys = 1;
  enable(R"({"username":"admin"})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_STREQ(recording::account("admin")->password, "factory");
}

TEST_F(VMAccess, AnEmptyPasswordGoesOnAndChangesNothing) {
  const auto lines_at = [&](int32_t level) {
    recording::set_debug_level(level);
    enable(R"({"username":"admin","password":""})");
    EXPECT_EQ(result(), "success: Enable succeeded.");
    EXPECT_STREQ(recording::account("admin")->password, "factory");
    EXPECT_EQ(recording::calls_of("make_new_passwd"), Lines{});
    return lines();
  };
  EXPECT_EQ(lines_at(0), Lines{});
  EXPECT_EQ(lines_at(1), Lines{"[kelvane]: VMAccess: empty passwords are not allowed, ignoring password reset.\n"});
}

TEST_F(VMAccess, APasswordOfAnotherTypeIsNone) {
  enable(R"({"username":"admin","password":12345678,"ssh_key":7})");
  EXPECT_EQ(result(), "error: Enable failed.");
  EXPECT_STREQ(recording::account("admin")->password, "factory");
}

TEST_F(VMAccess, LongPasswordsAreHandedOverWhole) {
  const std::string password(1000, 'p');
  enable(R"({"username":"admin","password":")" + password + R"("})");
  EXPECT_EQ(recording::passwords_given(), (Lines{password, password}));
  EXPECT_EQ(std::string(recording::account("admin")->password), "stored(" + std::string(121, 'p'));
}

// ---- installing a key ----

TEST_F(VMAccess, APublicKeyIsInstalled) {
  recording::set_debug_level(7);
  enable(R"({"username":"admin","ssh_key":"ssh-rsa AAAA comment"})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_EQ(recording::ssh_key("admin", 1), "ssh-rsa AAAA comment");
  EXPECT_THAT(joined(lines()), testing::StartsWith("[kelvane]: VMAccess: Set ssh-key from key (no-convert).\n"));
  EXPECT_THAT(joined(lines()), testing::HasSubstr("[kelvane]: VMAccess: Set ssh-key to user 'admin' -> res 0.\n"));
}

TEST_F(VMAccess, APublicKeyThatNoSlotTakesFails) {
  for (const int32_t slot : {1, 2, 3}) {
    recording::set_ssh_result(slot, -5);
  }
  recording::set_debug_level(7);
  enable(R"({"username":"admin","ssh_key":"ssh-rsa AAAA"})");
  EXPECT_EQ(result(), "error: Enable failed.");
  EXPECT_THAT(joined(lines()), testing::HasSubstr("[kelvane]: VMAccess: Set ssh-key to user 'admin' -> res -5.\n"));
  for (const int32_t slot : {1, 2, 3}) {
    recording::set_ssh_result(slot, 5);
  }
  enable(R"({"username":"admin","ssh_key":"ssh-rsa AAAA"})");
  EXPECT_EQ(result(), "error: Enable failed.");
}

TEST_F(VMAccess, EveryOtherKeyIsACertificateAndFails) {
  std::string pem;
  for (const char c : containers::pem(sealed::certificate())) {
    pem += c == '\n' ? std::string("\\n") : std::string(1, c);
  }
  for (const std::string &key : {std::string("ssh-rsa"), std::string("ssh-rsaAAAA"), std::string(" ssh-rsa AAAA"),
                                 std::string("SSH-RSA AAAA"), std::string("ssh-ed25519 AAAA"), std::string(), pem}) {
    recording::set_debug_level(7);
    enable(R"({"username":"admin","ssh_key":")" + key + R"("})");
    EXPECT_EQ(result(), "error: Enable failed.") << key;
    const std::string log = joined(lines());
    EXPECT_THAT(log, testing::StartsWith("[kelvane]: VMAccess: Set ssh-key from cert.\n"));
    EXPECT_THAT(log, testing::HasSubstr("[kelvane]: VMAccess: Set ssh-key to user 'admin' -> res -1.\n"));
    EXPECT_THAT(log, testing::HasSubstr("[kelvane]: VMAccess: set user account public key failed\n"));
    EXPECT_EQ(recording::calls_of("ssh_pubkey_data_set"), Lines{});
  }
}

TEST_F(VMAccess, ThePasswordIsChangedBeforeAKeyFails) {
  enable(R"({"username":"admin","password":"Secret-1","ssh_key":"certificate"})");
  EXPECT_EQ(result(), "error: Enable failed.");
  EXPECT_STREQ(recording::account("admin")->password, "stored(Secret-1)");
}

// ---- settings that are read and not acted upon ----

TEST_F(VMAccess, ExpirationAndDiskSettingsChangeNothing) {
  enable(R"({"expiration":"2026-01-01","check_disk":true,"repair_disk":true,"disk_name":"sda"})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_EQ(calls(), Lines{});
}

TEST_F(VMAccess, NothingIsTakenFromThePublicSettings) {
  os_.write(kSshdPidFile, "4711\n");
  enable("{}", R"({"reset_ssh":true,"remove_user":"admin","username":"operator","password":"Secret-1"})");
  EXPECT_EQ(result(), "success: Enable succeeded.");
  EXPECT_EQ(calls(), Lines{});
}

}  // namespace
