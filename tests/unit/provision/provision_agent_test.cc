#include "provision/provision_agent.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "core/base/xml.h"
#include "protocol/wire/endpoint.h"
#include "tests/support/account_calls.h"
#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"
#include "tests/support/recording_state.h"
#include "tests/support/refused_memory.h"
#include "tests/support/watched_memory.h"

namespace {

using kelvane::Protocol;
using kelvane::ProvisionStatus;

const char kFullDocument[] =
    "<E><HostName>gate-7</HostName><UserName>operator</UserName><UserPassword>Secret-1</UserPassword>"
    "<PublicKeys><PublicKey><Value>key</Value></PublicKey></PublicKeys></E>";
const char kNotReady[] = "report(\"NotReady\", \"Provisioning\", \"Starting\", null)";
const char kReady[] = "report(\"Ready\", null, null, \"\")";

class ProvisionAgent : public RecordingTest {
 protected:
  ProvisionAgent() {
    recording::seed_factory_defaults();
    os_.write("/dev/urandom", std::string("pw\0", 3));
    kelvane::WireProtocolSetEndpoint(0);
    table_.report_provision_status = [](const Protocol *, const ProvisionStatus *status) -> int64_t {
      recording::note("report(" + recording::quoted(status->state) + ", " + recording::quoted(status->substatus) +
                      ", " + recording::quoted(status->description) + ", " + recording::quoted(status->thumbprint) +
                      ")");
      return -1;
    };
    recording::clear_trace();
  }
  ~ProvisionAgent() override { kelvane::WireProtocolSetEndpoint(0); }

  void run(const char *document, bool document_lost = false) {
    const kelvane::XmlOwner tree(document != nullptr ? mxmlLoadString(nullptr, document, MXML_NO_CALLBACK) : nullptr);
    kelvane::ProvisionAgent_HandlerRun(&table_, tree.get(), document_lost);
  }
  static Lines reports() { return recording::calls_of("report"); }
  // The trace without the dashboard's look-ups, which always come first.
  static Lines steps() {
    Lines found;
    for (const std::string &text : recording::trace()) {
      if (text.find("(330") == std::string::npos) {
        found.push_back(text);
      }
    }
    return found;
  }

  FakeOs os_;
  Protocol table_ = {};
};

// Without the marker the next start does it all again. What comes before the account is done: it needs no more than
// what is known, and is done with or without a document.
TEST_F(ProvisionAgent, WithoutMemoryForATextThereIsNoAccountAndNothingMarked) {
  const std::string document = "<E><HostName>gate-7</HostName><UserName>" + std::string(1300, 'u') + "</UserName></E>";
  const refused_memory::Refusal refusal(1301);
  for (const int32_t level : {0, 1}) {
    recording::clear_trace();
    recording::set_debug_level(level);
    run(document.c_str());
    EXPECT_EQ(recording::messages(),
              level == 0 ? Lines{} : Lines{"[kelvane]: no memory for the provisioning document\n"});
    EXPECT_EQ(reports(), (Lines{kNotReady, kReady}));
    EXPECT_STREQ(recording::system_settings(recording::State::kDurable).host_name, "gate-7");
    EXPECT_EQ(recording::calls_of("__nCfg_sess_table_change_by_mkey").size(), 3u);
    EXPECT_EQ(recording::calls_of("cmf_query_table_append"), Lines());
    EXPECT_FALSE(os_.exists("/data/etc/.provisioned"));
  }
}

TEST_F(ProvisionAgent, WithoutMemoryForTheHostNameThePortsAreResetAllTheSame) {
  const std::string document =
      "<E><HostName>" + std::string(1300, 'h') + "</HostName><UserName>operator</UserName></E>";
  const refused_memory::Refusal refusal(1301);
  run(document.c_str());
  EXPECT_EQ(recording::calls_of("sethostname"), Lines());
  EXPECT_EQ(recording::calls_of("__nCfg_sess_table_change_by_mkey").size(), 3u);
  EXPECT_EQ(recording::keys(340), Lines{"admin"});
  EXPECT_FALSE(os_.exists("/data/etc/.provisioned"));
}

// A disc without room takes neither the account nor the marker's text.
TEST_F(ProvisionAgent, AMarkerThatFindsNoRoomStaysUnlessTheAccountFoundNoneEither) {
  kelvane::WireProtocolSetEndpoint(0x10813FA8);
  for (const bool written : {true, false}) {
    ASSERT_EQ(symlink("/dev/full", os_.real("/data/etc/.provisioned").c_str()), 0);
    os_.fail("access(\"/data/etc/.provisioned\", R_OK)", ENOENT);
    if (!written) {
      recording::fail_always("cmf_write_config");
    }
    run(kFullDocument);
    EXPECT_EQ(os_.exists("/data/etc/.provisioned"), written);
    unlink(os_.real("/data/etc/.provisioned").c_str());
  }
  // Where nothing is to be written into it, it stays: what became of the account is not looked at.
  kelvane::WireProtocolSetEndpoint(0);
  run(kFullDocument);
  EXPECT_TRUE(os_.exists("/data/etc/.provisioned"));
}

TEST_F(ProvisionAgent, ADocumentThatThereWasNoMemoryForIsNotTakenForNone) {
  recording::set_debug_level(1);
  os_.write("/etc/tmpdata.conf", "data");
  run(nullptr, true);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: no memory for the provisioning document\n"});
  EXPECT_EQ(reports(), (Lines{kNotReady, kReady}));
  EXPECT_EQ(recording::calls_of("__nCfg_sess_table_change_by_mkey").size(), 3u);
  EXPECT_EQ(os_.exists("/data/etc/.provisioned"), false);
  EXPECT_EQ(os_.exists("/data/etc/.customdata"), false);
  run(kFullDocument);
  EXPECT_EQ(recording::keys(340, recording::State::kDurable), (Lines{"admin", "operator"}));
  EXPECT_EQ(os_.exists("/data/etc/.provisioned"), true);
}

TEST_F(ProvisionAgent, ProvisionsInThisOrder) {
  recording::set_debug_level(6);
  recording::seed_interface("port1", 5, 1);
  for (const char *port : {"port3", "port4"}) {
    recording::remove(440, port);
  }
  os_.write("/etc/tmpdata.conf", "data");
  os_.write("/data/etc/ssh/ssh_host_rsa_key.pub.fp", "00:11:22:33:44:55:66:77:88:99:aa:bb:cc:dd:ee:ff\n");
  kelvane::WireProtocolSetEndpoint(0x10813FA8);
  run(kFullDocument);
  std::string host_name_call = "sethostname(\"gate-7";
  for (int i = 0; i < 58; i++) {
    host_name_call += "\\x00";
  }
  host_name_call += "\", 64)";
  const Lines before = {
      "access(\"/data/etc/.provisioned\", R_OK) -> ENOENT",
      "message: [kelvane]: Provisioning...\\n",
      kNotReady,
      "SSHPubKeyAdd(\"key\", null, 1)",
      "cmf_query_create(100)",
      "cmf_query_update(100)",
      "cmf_query_commit(100)",
      "cmf_query_free(100)",
      "cmf_get_cur_domain_id()",
      "cmf_write_config(7)",
      host_name_call,
      "nCfg_query(440)",
      "cmf_query_table_head(440)",
      "cmf_query_get_next(440)",
      "__nCfg_sess_table_change_by_mkey(0, 440, \"port2\", \"port2\", 0)",
      "cmf_query_get_next(440) -> none",
  };
  const Lines after = {
      "SSHPubKeySet(\"operator\")",
      "open(\"/data/etc/.provisioned\", create, 0600)",
      "close(\"/data/etc/.provisioned\")",
      "message: [kelvane]: Provisioning Done\\n",
      "access(\"/etc/tmpdata.conf\", F_OK)",
      "access(\"/data/etc/.customdata\", F_OK) -> ENOENT",
      "rename(\"/etc/tmpdata.conf\", \"/data/etc/.customdata\")",
      "sync()",
      "open(\"/data/etc/ssh/ssh_host_rsa_key.pub.fp\", read)",
      "close(\"/data/etc/ssh/ssh_host_rsa_key.pub.fp\")",
      "report(\"Ready\", null, null, \"00112233445566778899aabbccddeeff\")",
  };
  EXPECT_EQ(joined(steps()),
            joined(before + account_calls::kOperatorsPassword + account_calls::kOperatorsAccount + after));
  EXPECT_EQ(os_.read("/data/etc/.provisioned"), "10813fa8\n");
  EXPECT_EQ(support::mode_of(os_.real("/data/etc/.provisioned")), 0600);
}

TEST_F(ProvisionAgent, LooksTheWidgetsUpBeforeItReadsTheDocument) {
  run(kFullDocument);
  const Lines &all = recording::trace();
  const auto widget = std::find(all.begin(), all.end(), "cmf_query_do_table_find(330, 0, \"sysop\", 2)");
  const auto key = std::find(all.begin(), all.end(), "SSHPubKeyAdd(\"key\", null, 1)");
  EXPECT_LT(widget, key);
  EXPECT_NE(key, all.end());
}

TEST_F(ProvisionAgent, WithAMarkerReportsNothing) {
  os_.write("/data/etc/.provisioned", "");
  recording::set_debug_level(6);
  run(kFullDocument);
  EXPECT_EQ(recording::trace(),
            (Lines{"access(\"/data/etc/.provisioned\", R_OK)", "message: [kelvane]: Already Provisioned\\n"}));
}

TEST_F(ProvisionAgent, ASecondRunDoesNothing) {
  run(kFullDocument);
  recording::clear_trace();
  run(kFullDocument);
  EXPECT_EQ(recording::trace(), Lines{"access(\"/data/etc/.provisioned\", R_OK)"});
}

TEST_F(ProvisionAgent, ItsLinesPrintAboveFiveOnly) {
  recording::set_debug_level(5);
  run(kFullDocument);
  run(kFullDocument);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(ProvisionAgent, WithoutADocumentIsStillMarkedAndReported) {
  os_.write("/etc/tmpdata.conf", "data");
  run(nullptr);
  EXPECT_EQ(recording::keys(340), Lines{"admin"});
  EXPECT_EQ(reports(), (Lines{kNotReady, kReady}));
  EXPECT_EQ(recording::calls_of("__nCfg_sess_table_change_by_mkey").size(), 3u);
  EXPECT_EQ(os_.read("/data/etc/.provisioned"), "");
  EXPECT_EQ(os_.read("/data/etc/.customdata"), "data");
  EXPECT_EQ(recording::calls_of("sethostname"), Lines{});
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(ProvisionAgent, WithoutAUserNameStillSetsTheRest) {
  os_.write("/etc/tmpdata.conf", "data");
  run("<E><HostName>gate-7</HostName><UserPassword>Secret-1</UserPassword></E>");
  EXPECT_STREQ(recording::system_settings(recording::State::kDurable).host_name, "gate-7");
  EXPECT_EQ(recording::calls_of("__nCfg_sess_table_change_by_mkey").size(), 3u);
  EXPECT_EQ(recording::keys(340), Lines{"admin"});
  EXPECT_EQ(recording::passwords_given(), Lines{});
  EXPECT_EQ(os_.exists("/data/etc/.provisioned"), true);
  EXPECT_EQ(os_.read("/data/etc/.customdata"), "data");
  EXPECT_EQ(recording::calls_of("SSHPubKeySet"), Lines{});
}

TEST_F(ProvisionAgent, WithoutAPasswordMakesARandomOne) {
  run("<E><UserName>operator</UserName></E>");
  EXPECT_EQ(recording::passwords_given(), Lines{"pw"});
  EXPECT_STREQ(recording::account("operator", recording::State::kDurable)->password, "stored(pw)");
}

TEST_F(ProvisionAgent, ARefusedPasswordStopsEarlyButReadyIsReported) {
  recording::set_debug_level(7);
  recording::set_policy_answer(1, "too short");
  os_.write("/etc/tmpdata.conf", "data");
  os_.write("/data/etc/ssh/ssh_host_rsa_key.pub.fp", "12:34:ab\n");
  run(kFullDocument);
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: Provisioning...\n", "passwd check failed, too short"}));
  EXPECT_EQ(recording::keys(340), Lines{"admin"});
  EXPECT_EQ(recording::calls_of("SSHPubKeySet"), Lines{});
  EXPECT_EQ(os_.exists("/data/etc/.provisioned"), false);
  EXPECT_EQ(os_.exists("/data/etc/.customdata"), false);
  EXPECT_EQ(reports(), (Lines{kNotReady, "report(\"Ready\", null, null, \"1234ab\\n\")"}));
  EXPECT_STREQ(recording::system_settings().host_name, "gate-7");
}

TEST_F(ProvisionAgent, AfterARefusalTheNextRunProvisionsAgain) {
  recording::set_policy_answer(1, "too short");
  run(kFullDocument);
  recording::set_policy_answer(0, "");
  run(kFullDocument);
  EXPECT_EQ(recording::keys(340, recording::State::kDurable), (Lines{"admin", "operator"}));
  EXPECT_EQ(os_.exists("/data/etc/.provisioned"), true);
}

TEST_F(ProvisionAgent, WithoutTheAccountTableStopsEarly) {
  recording::set_debug_level(6);
  recording::fail_nth("cmf_query_create", 3);  // host name, profile, accounts
  run(kFullDocument);
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: Provisioning...\n", "cmf_query_create() error\n"}));
  EXPECT_EQ(os_.exists("/data/etc/.provisioned"), false);
  EXPECT_EQ(reports(), (Lines{kNotReady, kReady}));
}

TEST_F(ProvisionAgent, AnAccountThatCannotBeAddedStopsEarly) {
  recording::set_debug_level(1);
  recording::fail_always("cmf_query_table_append");
  run(kFullDocument);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: account operator cannot be added\n"});
  EXPECT_EQ(os_.exists("/data/etc/.provisioned"), false);
  EXPECT_EQ(recording::calls_of("SSHPubKeySet"), Lines{});
  EXPECT_EQ(reports(), (Lines{kNotReady, kReady}));
}

TEST_F(ProvisionAgent, AnAccountThatExistsIsNoReasonToProvisionForEver) {
  recording::seed_account("operator", "before");
  run(kFullDocument);
  EXPECT_EQ(os_.exists("/data/etc/.provisioned"), true);
  EXPECT_EQ(recording::calls_of("SSHPubKeySet"), Lines{"SSHPubKeySet(\"operator\")"});
}

TEST_F(ProvisionAgent, TheMarkerHasNoLeadingZerosAndLowercaseLetters) {
  kelvane::WireProtocolSetEndpoint(0x00ABCDEF);
  run(nullptr);
  EXPECT_EQ(os_.read("/data/etc/.provisioned"), "abcdef\n");
}

TEST_F(ProvisionAgent, AMarkerThatCannotBeWrittenIsLoggedAndReadyReported) {
  recording::set_debug_level(1);
  os_.fail("open(\"/data/etc/.provisioned\", create, 0600)", EROFS);
  run(nullptr);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: cannot write /data/etc/.provisioned: Read-only file system\n"});
  EXPECT_EQ(reports(), (Lines{kNotReady, kReady}));
}

TEST_F(ProvisionAgent, APipeInTheMarkersPlaceDoesNotHoldItUp) {
  recording::set_debug_level(1);
  os_.fail("access(\"/data/etc/.provisioned\", R_OK)", ENOENT);
  ASSERT_EQ(mkfifo(os_.real("/data/etc/.provisioned").c_str(), 0600), 0);
  run(nullptr);
  EXPECT_EQ(recording::messages(),
            Lines{"[kelvane]: cannot write /data/etc/.provisioned: No such device or address\n"});
  EXPECT_EQ(reports(), (Lines{kNotReady, kReady}));
}

TEST_F(ProvisionAgent, AnUnreadableMarkerIsReplaced) {
  os_.write("/data/etc/.provisioned", "a marker of another kind");
  os_.fail("access(\"/data/etc/.provisioned\", R_OK)", EACCES);
  run(nullptr);
  EXPECT_EQ(os_.read("/data/etc/.provisioned"), "");
}

TEST_F(ProvisionAgent, ThePasswordIsWipedInEveryCase) {
  for (const int32_t refused : {0, 1}) {
    watched_memory::wiped.clear();
    recording::set_policy_answer(refused, "");
    run("<E><UserName>operator</UserName><UserPassword>Secret-1</UserPassword></E>");
    EXPECT_THAT(watched_memory::wiped, testing::Contains("Secret-1")) << refused;
    unlink(os_.real("/data/etc/.provisioned").c_str());
  }
  watched_memory::wiped.clear();
  run("<E><UserPassword>Secret-1</UserPassword></E>");
  EXPECT_THAT(watched_memory::wiped, testing::Contains("Secret-1"));
}

TEST_F(ProvisionAgent, ThePasswordIsNeverLogged) {
  recording::set_debug_level(100);
  run(kFullDocument);
  EXPECT_THAT(recording::log_text(), testing::Not(testing::HasSubstr("Secret-1")));
}

}  // namespace
