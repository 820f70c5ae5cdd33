#include "provision/host_name.h"

#include <cerrno>

#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"

namespace {

class HostName : public RecordingTest {
 protected:
  HostName() {
    ncfg_system_settings settings = {};
    strcpy(settings.host_name, "old-name-that-is-longer");
    strcpy(settings.time_zone, "CET-1");
    recording::seed_system_settings(settings);
    memset(recording::debug_record().host_name, 'o', 64);
  }
  static std::string zone_name() { return std::string(recording::debug_record().host_name, 65); }
  // What sethostname is given for a name: 64 bytes, shown as the trace shows them.
  static std::string kernel_call(const std::string &name) {
    std::string text = "sethostname(\"" + name;
    for (size_t i = name.size(); i < 64; i++) {
      text += "\\x00";
    }
    return text + "\", 64)";
  }

  FakeOs os_;
};

TEST_F(HostName, IsStoredWrittenAndAnnouncedInThisOrder) {
  kelvane::ProvisionAgent_SetHostname("gate-7");
  EXPECT_EQ(recording::trace(),
            (Lines{"cmf_query_create(100)", "cmf_query_update(100)", "cmf_query_commit(100)", "cmf_query_free(100)",
                   "cmf_get_cur_domain_id()", "cmf_write_config(7)", kernel_call("gate-7")}));
  const ncfg_system_settings stored = recording::system_settings(recording::State::kDurable);
  EXPECT_STREQ(stored.host_name, "gate-7");
  EXPECT_STREQ(stored.time_zone, "CET-1");
  EXPECT_EQ(zone_name(), "gate-7" + std::string(59, '\0'));
}

TEST_F(HostName, NoneIsLoggedAndChangesNothing) {
  kelvane::ProvisionAgent_SetHostname(nullptr);
  EXPECT_EQ(recording::trace(), Lines{"message: hostname is NULL!\\n"});
}

TEST_F(HostName, IsCutTo63CharactersInTheConfigurationAnd64BytesElsewhere) {
  const std::string name(70, 'n');
  kelvane::ProvisionAgent_SetHostname(name.c_str());
  EXPECT_EQ(std::string(recording::system_settings().host_name, 64), std::string(63, 'n') + '\0');
  EXPECT_EQ(zone_name(), std::string(64, 'n') + '\0');
  EXPECT_EQ(recording::trace().back(), "sethostname(\"" + std::string(64, 'n') + "\", 64)");
}

TEST_F(HostName, AFailedWriteIsLoggedUnderTheStartUpStepsNameAndGoesOn) {
  recording::set_debug_level(-1);
  recording::fail_always("cmf_write_config", 1);
  kelvane::ProvisionAgent_SetHostname("gate-7");
  EXPECT_EQ(recording::messages(), Lines{"boxinit_set_hostname: load irdb cmdb write conf failed.\n"});
  EXPECT_EQ(recording::trace().back(), kernel_call("gate-7"));
}

TEST_F(HostName, WithoutAQueryIsStillAnnounced) {
  recording::fail_always("cmf_query_create");
  kelvane::ProvisionAgent_SetHostname("gate-7");
  EXPECT_EQ(recording::trace(), (Lines{"cmf_query_create(100) -> failed", "cmf_get_cur_domain_id()",
                                       "cmf_write_config(7)", kernel_call("gate-7")}));
}

TEST_F(HostName, WithoutARecordNothingIsCommitted) {
  recording::fail_always("cmf_query_update");
  kelvane::ProvisionAgent_SetHostname("gate-7");
  EXPECT_EQ(recording::trace(),
            (Lines{"cmf_query_create(100)", "cmf_query_update(100) -> failed", "cmf_query_free(100)",
                   "cmf_get_cur_domain_id()", "cmf_write_config(7)", kernel_call("gate-7")}));
}

TEST_F(HostName, WithoutADebugRecordTheKernelIsStillTold) {
  recording::set_debug_record_present(false);
  kelvane::ProvisionAgent_SetHostname("gate-7");
  EXPECT_EQ(recording::trace().back(), kernel_call("gate-7"));
}

TEST_F(HostName, WithoutTheRightToSetItGoesOn) {
  os_.fail(kernel_call("gate-7"), EPERM);
  kelvane::ProvisionAgent_SetHostname("gate-7");
  EXPECT_EQ(recording::messages(), Lines{});
}

}  // namespace
