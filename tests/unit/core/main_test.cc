// The whole of start-up, called in this process. The other rooms' functions that start-up names are replaced by ones
// that only note that they were called; what core/ and provision/ do themselves is real.
#include <mxml.h>
#include <setjmp.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "include/provision_status.h"
#include "protocol/protocol.h"
#include "protocol/wire/endpoint.h"
#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"

int kelvane_main(int argc, char **argv);

using kelvane::Protocol;

namespace {

int64_t detect(const Protocol *) {
  recording::note("detect()");
  return -1;
}

int64_t report_provision_status(const Protocol *, const kelvane::ProvisionStatus *status) {
  recording::note(std::string("report_provision_status(") + status->state + ")");
  return -1;
}

Protocol table() {
  Protocol made = {};
  made.detect = detect;
  made.report_provision_status = report_provision_status;
  return made;
}

// Of the document's first password; it was overwritten when it is empty.
std::string password_in(mxml_node_t *document) {
  mxml_node_t *element = mxmlFindElement(document, document, "UserPassword", nullptr, nullptr, MXML_DESCEND);
  const char *text = element != nullptr ? mxmlGetText(element, nullptr) : nullptr;
  return text != nullptr ? text : "none";
}

const Protocol kWire = table();
const Protocol kMetaData = table();

}  // namespace

extern "C" {

const Protocol *__wrap__ZN7kelvane15ProtocolGetWireEv() {
  recording::note("ProtocolGetWire()");
  return &kWire;
}

const Protocol *__wrap__ZN7kelvane19ProtocolGetMetaDataEv() {
  recording::note("ProtocolGetMetaData()");
  return &kMetaData;
}

int32_t __wrap__ZN7kelvane18pluginManager_InitEv() {
  recording::note("pluginManager_Init()");
  return -1;
}

int32_t __wrap__ZN7kelvane17TransportCertMakeEv() {
  recording::note("TransportCertMake()");
  return -1;
}

void __wrap__ZN7kelvane13TelemetryInitEv() {
  recording::note("TelemetryInit()");
}

void __wrap__ZN7kelvane21TelemetrySetOSVersionEPKc(const char *text) {
  recording::note(std::string("TelemetrySetOSVersion(") + (text != nullptr ? text : "null") + ")");
}

void __wrap__ZN7kelvane17CryptoLibraryInitEv() {
  recording::note("CryptoLibraryInit()");
}

void __real_mxmlDelete(mxml_node_t *node);

void __wrap_mxmlDelete(mxml_node_t *node) {
  recording::note("mxmlDelete(password \"" + password_in(node) + "\")");
  __real_mxmlDelete(node);
}

int __wrap_curl_global_init(long flags) {
  recording::note("curl_global_init(" + std::to_string(flags) + ")");
  return 0;
}

}  // extern "C"

namespace {

constexpr uint32_t kEndpoint = 0x10813FA8;  // 168.63.129.16

class Main : public RecordingTest {
 protected:
  Main() {
    recording::seed_factory_defaults();
    ncfg_system_settings settings = {};
    strcpy(settings.time_zone, "CET-1");
    settings.time_zone_index = 1;
    recording::seed_system_settings(settings);
    strcpy(recording::debug_record().os_version, "Pellix 7.1");
    os_.write("/dev/urandom", std::string("pw\0", 3));
    os_.write("/dev/sr0", "");
    recording::seed_interface("port1", kEndpoint, NCFG_ADDRESSING_DHCP);
  }
  ~Main() override {
    unsetenv("TZ");
    kelvane::WireProtocolSetEndpoint(0);
  }

  // Starts up and leaves at the first sleep of one second, which is the loop's.
  void start(std::vector<std::string> arguments = {"kelvane"}) {
    std::vector<char *> pointers;
    for (std::string &argument : arguments) {
      pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    recording::clear_trace();
    os_.on_sleep = [this] {
      if (recording::trace().back() == "sleep(1)") {
        longjmp(out_, 1);
      }
    };
    if (setjmp(out_) == 0) {
      status_ = kelvane_main(static_cast<int>(arguments.size()), pointers.data());
    }
  }
  static Lines between(const std::string &first, const std::string &last) {
    const Lines &all = recording::trace();
    const auto from = std::find(all.begin(), all.end(), first);
    const auto to = std::find(from, all.end(), last);
    return to == all.end() ? Lines{"not found"} : Lines(from, to + 1);
  }

  FakeOs os_;
  jmp_buf out_;
  int status_ = -1000;  // while main has not returned
};

TEST_F(Main, StartsUpInThisOrderOnTheFirstBoot) {
  recording::set_debug_level(7);
  start();
  const Lines expected = {
      "conf_init()",
      "nCfg_query(100)",
      "cmf_query_update(100)",
      "setenv(\"TZ\", \"CET-1\", 1)",
      "unlink(\"/etc/localtime\") -> ENOENT",
      "get_zoneinfo(1)",
      "symlink(\"/etc/zoneinfo/Europe/Berlin\", \"/etc/localtime\")",
      "tzset()",
      "curl_global_init(3)",
      "sigaction(12, 0x10000000)",
      "open(\"/var/run/kelvane.pid\", create, 0644)",
      "close(\"/var/run/kelvane.pid\")",
      "message: [kelvane]: Starting kelvane...\\n",
      "CryptoLibraryInit()",
      "openssl_init_rng()",
      "pluginManager_Init()",
      "TransportCertMake()",
      "TelemetryInit()",
      "TelemetrySetOSVersion(Pellix 7.1)",
      "access(\"/data/etc/.provisioned\", F_OK) -> ENOENT",
      "open(\"/dev/urandom\", read)",
      "close(\"/dev/urandom\")",
      "cmf_query_create(340)",
      "cmf_query_do_table_find(340, 0, \"admin\", 2)",
      "make_new_passwd(\"pw\", 0)",
      "passwd_policy_save_info(\"admin\")",
      "cmf_query_commit(340)",
      "cmf_get_cur_domain_id()",
      "cmf_write_config(7)",
      "message: change admin passwd success!\\n",
      "close(\"/dev/urandom\") again",
      "cmf_query_free(340)",
      "mkdir(\"/cdrom\", 0700) -> EEXIST",
      "message: [kelvane]: mountDVD: Attempting mount\\n",
      "open(\"/dev/sr0\", read)",
      "close(\"/dev/sr0\")",
      "mount(\"/dev/sr0\", \"/cdrom\", \"udf\", 1, null)",
      "message: [kelvane]: Mounted CDROM succeeded on attempt #1\\n",
      "message: [kelvane]: OVFENV: mount succeeded\\n",
      "message: [kelvane]: OvfEnvLoad:208 - loading ovf-env.xml\\n",
      "open(\"/cdrom/ovf-env.xml\", read) -> ENOENT",
      "open(\"/data/etc/.ovf-env.xml\", read) -> ENOENT",
      "access(\"/cdrom/CustomData.bin\", R_OK) -> ENOENT",
      "message: [kelvane]: OvfEnvLoad:236 - done - failed\\n",
      "umount(\"/cdrom\")",
      "message: [kelvane]: Determining protocol\\n",
      "open(\"/data/etc/.provisioned\", read) -> ENOENT",
      "nCfg_query(440)",
      "cmf_query_do_table_find(440, 0, \"port1\", 2)",
      "nCfg_query(440)",
      "cmf_query_do_table_find(440, 0, \"port1\", 2)",
      "message: AzureEndpoint = 276905896\\n",
      "message: [kelvane]: in WireProtocolSetEndpoint at 62, IP=0x10813fa8\\n",
      "message: [kelvane]: Protocol: wire\\n",
      "ProtocolGetWire()",
      "detect()",
      "access(\"/data/etc/.provisioned\", R_OK) -> ENOENT",
      "message: [kelvane]: Provisioning...\\n",
      "report_provision_status(NotReady)",
  };
  const Lines &all = recording::trace();
  ASSERT_GE(all.size(), expected.size());
  EXPECT_EQ(joined(Lines(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(expected.size()))), joined(expected));
  EXPECT_EQ(Lines(all.end() - 4, all.end()), (Lines{"report_provision_status(Ready)", "time()", "time()", "sleep(1)"}));
  EXPECT_EQ(os_.read("/data/etc/.provisioned"), "10813fa8\n");
}

TEST_F(Main, ASecondStartDoesNotTouchTheAdministratorAndReportsNothing) {
  recording::set_debug_level(7);
  os_.write("/data/etc/.provisioned", "");
  start();
  EXPECT_EQ(between("TelemetrySetOSVersion(Pellix 7.1)", "mkdir(\"/cdrom\", 0700) -> EEXIST"),
            (Lines{"TelemetrySetOSVersion(Pellix 7.1)", "access(\"/data/etc/.provisioned\", F_OK)",
                   "mkdir(\"/cdrom\", 0700) -> EEXIST"}));
  EXPECT_EQ(between("detect()", "sleep(1)"),
            (Lines{"detect()", "access(\"/data/etc/.provisioned\", R_OK)", "message: [kelvane]: Already Provisioned\\n",
                   "time()", "time()", "sleep(1)"}));
  EXPECT_EQ(std::string(recording::account("admin")->password), "factory");
}

TEST_F(Main, ItsLinesAreGated) {
  os_.write("/data/etc/.provisioned", "");
  recording::set_debug_level(6);
  start();
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: Starting kelvane...\n", "[kelvane]: OVFENV: mount succeeded\n",
                                          "[kelvane]: Determining protocol\n", "AzureEndpoint = 276905896\n",
                                          "[kelvane]: Protocol: wire\n", "[kelvane]: Already Provisioned\n"}));
  recording::set_debug_level(5);
  start();
  EXPECT_EQ(recording::messages(), Lines{"AzureEndpoint = 276905896\n"});
}

TEST_F(Main, AFailedMountDoesNotStopIt) {
  recording::set_debug_level(6);
  os_.write("/data/etc/.provisioned", "");
  ASSERT_EQ(::unlink(os_.real("/dev/sr0").c_str()), 0);
  start();
  EXPECT_EQ(recording::messages(),
            (Lines{"[kelvane]: Starting kelvane...\n", "mountDVD: Retrying: 2 of 5\n", "mountDVD: Retrying: 3 of 5\n",
                   "mountDVD: Retrying: 4 of 5\n", "mountDVD: Retrying: 5 of 5\n", "mountDVD: Failed mounting CDROM\n",
                   "[kelvane]: Determining protocol\n", "AzureEndpoint = 276905896\n", "[kelvane]: Protocol: wire\n",
                   "[kelvane]: Already Provisioned\n"}));
  EXPECT_EQ(recording::calls_of("umount"), Lines{"umount(\"/cdrom\")"});
}

TEST_F(Main, ProvisionsFromTheDocumentOnTheMedium) {
  os_.write("/cdrom/ovf-env.xml", "<Environment><HostName>gate-7</HostName></Environment>");
  start();
  EXPECT_STREQ(recording::system_settings(recording::State::kDurable).host_name, "gate-7");
}

TEST_F(Main, OverwritesThePasswordInTheDocumentOnceProvisioningHasRun) {
  os_.write("/cdrom/ovf-env.xml", "<E><UserPassword>Secret-1</UserPassword></E>");
  start();
  EXPECT_EQ(between("report_provision_status(Ready)", "sleep(1)"),
            (Lines{"report_provision_status(Ready)", "mxmlDelete(password \"\")", "time()", "time()", "sleep(1)"}));
}

TEST_F(Main, OverwritesThePasswordInTheDocumentBeforeItEndsWithoutAnInterface) {
  os_.write("/cdrom/ovf-env.xml", "<E><UserPassword>Secret-1</UserPassword></E>");
  recording::remove(440, "port1");
  start();
  EXPECT_EQ(between("mxmlDelete(password \"\")", "conf_end()"),
            (Lines{"mxmlDelete(password \"\")", "sleep(5)", "conf_end()"}));
}

TEST_F(Main, WithoutAnEndpointTakesTheMetadataProtocol) {
  recording::set_debug_level(6);
  os_.write("/data/etc/.provisioned", "");
  recording::seed_interface("port1", 0, NCFG_ADDRESSING_DHCP);
  start();
  EXPECT_EQ(between("message: Wait for AzureEndpoint failed for 10 times.\\n", "detect()"),
            (Lines{"message: Wait for AzureEndpoint failed for 10 times.\\n",
                   "message: [kelvane]: Protocol: metadata\\n", "ProtocolGetMetaData()", "detect()"}));
  EXPECT_EQ(status_, -1000);
  recording::set_debug_level(5);
  start();
  EXPECT_EQ(recording::messages().back(), "Wait for AzureEndpoint failed for 10 times.\n");
}

TEST_F(Main, WithoutTheInterfaceEndsWithMinusOneAfterFiveSeconds) {
  recording::set_debug_level(3);
  recording::remove(440, "port1");
  start();
  EXPECT_EQ(status_, -1);
  EXPECT_EQ(between("message: waitForEndpoint:280 cannot find port1\\n", "conf_end()"),
            (Lines{"message: waitForEndpoint:280 cannot find port1\\n",
                   "message: [kelvane]: Waiting for Endpoint Failed. Exiting!\\n", "sleep(5)", "conf_end()"}));
  EXPECT_EQ(recording::trace().back(), "conf_end()");
}

TEST_F(Main, TheFailureLinePrintsAboveTwoButSleepAndEndAreAlways) {
  recording::set_debug_level(2);
  recording::remove(440, "port1");
  start();
  EXPECT_EQ(between("message: waitForEndpoint:280 cannot find port1\\n", "conf_end()"),
            (Lines{"message: waitForEndpoint:280 cannot find port1\\n", "sleep(5)", "conf_end()"}));
}

using MainDeathTest = Main;

TEST_F(MainDeathTest, MinusOneIsExitStatus255) {
  recording::remove(440, "port1");
  EXPECT_EXIT(
      {
        start();
        exit(status_);
      },
      testing::ExitedWithCode(255), "");
}

TEST_F(Main, AnswersTheVersionQueryBeforeAnythingElse) {
  for (const std::vector<std::string> &arguments :
       {std::vector<std::string>{"kelvane", "-version"}, {"kelvane", "-version", "-daemon"}}) {
    testing::internal::CaptureStdout();
    start(arguments);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "TorvikGuest-2.2.26 running on Pellix\nPython: 2.7.16\nGoal state agent: 2.2.26\n");
    EXPECT_EQ(status_, 0);
    EXPECT_EQ(recording::trace(), Lines{});
  }
}

TEST_F(Main, AnyOtherArgumentStartsTheAgent) {
  os_.write("/data/etc/.provisioned", "");
  for (const char *argument : {"-version2", "version", "--version", "-daemon", ""}) {
    testing::internal::CaptureStdout();
    start({"kelvane", argument});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << argument;
    EXPECT_EQ(recording::trace().back(), "sleep(1)") << argument;
  }
}

TEST_F(Main, GoesOnWhenTheConfigurationCannotBeReached) {
  os_.write("/data/etc/.provisioned", "");
  recording::fail_always("conf_init");
  recording::fail_always("openssl_init_rng");
  start();
  EXPECT_EQ(recording::trace().back(), "sleep(1)");
}

TEST_F(Main, AVersionThatFillsItsFieldEndsThere) {
  ncfg_debug_zone &record = recording::debug_record();
  std::memset(record.os_version, 'v', sizeof record.os_version);
  strcpy(record.host_name, "host");
  start();
  EXPECT_THAT(recording::trace(), testing::Contains("TelemetrySetOSVersion(" + std::string(64, 'v') + ")"));
}

TEST_F(Main, WithoutADebugRecordPassesNoOsVersionAndLogsUngatedLinesOnly) {
  os_.write("/data/etc/.provisioned", "");
  recording::set_debug_record_present(false);
  start();
  EXPECT_THAT(recording::trace(), testing::Contains("TelemetrySetOSVersion(null)"));
  EXPECT_EQ(recording::messages(), Lines{"AzureEndpoint = 276905896\n"});
}

}  // namespace
