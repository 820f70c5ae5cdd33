// What a new appliance's configuration holds, and the schema object.
#include <algorithm>
#include <cstring>
#include <set>

#include "tests/platform/conformance.h"

namespace conformance {
namespace {

using Factory = ConnectedPlatform;

constexpr const char *kWidgets[] = {"sysinfo",       "vexwatch", "sysres",          "policysummary",
                                    "attacksummary", "alert",    "policy-sessions", "sysop"};

TEST_F(Factory, HasAVisibleAdministratorWithTheAdministratorProfile) {
  const ncfg_account admin = account("admin");
  EXPECT_STREQ("admin", admin.name);
  EXPECT_EQ(0, admin.hidden);
  cmf_query *profiles = nCfg_query(NCFG_TABLE_ACCESS_PROFILES);
  ASSERT_NE(nullptr, find<ncfg_access_profile>(profiles, "prof_admin"));
  EXPECT_NE(0u, profiles->found_key_number);
  EXPECT_EQ(profiles->found_key_number, admin.access_profile);
}

TEST_F(Factory, HasTheEightWidgetsWithKeyNumbersOfTheirOwn) {
  cmf_query *query = nCfg_query(NCFG_TABLE_WIDGETS);
  std::set<uint32_t> numbers;
  for (const char *name : kWidgets) {
    const ncfg_widget *widget = find<ncfg_widget>(query, name);
    ASSERT_NE(nullptr, widget) << name;
    EXPECT_STREQ(name, widget->name);
    EXPECT_NE(0u, query->found_key_number) << name;
    numbers.insert(query->found_key_number);
  }
  EXPECT_EQ(8u, numbers.size());
}

TEST_F(Factory, HasTheFirstPortWithoutAnEndpoint) {
  const ncfg_interface port = interface("port1");
  EXPECT_STREQ("port1", port.name);
  EXPECT_EQ(0u, port.AzureEndpoint);
}

TEST_F(Factory, HasOneRecordOfSystemSettings) {
  const auto *settings =
      static_cast<const ncfg_system_settings *>(cmf_query_update(nCfg_query(NCFG_TABLE_SYSTEM_SETTINGS)));
  ASSERT_NE(nullptr, settings);
  EXPECT_NE(nullptr, memchr(settings->host_name, 0, sizeof settings->host_name));
  EXPECT_NE(nullptr, memchr(settings->time_zone, 0, sizeof settings->time_zone));
}

TEST_F(Factory, HasOneRecordOfEventHubSettingsSwitchedOff) {
  const auto *settings = static_cast<const ncfg_event_hub *>(cmf_query_update(nCfg_query(NCFG_TABLE_EVENT_HUB)));
  ASSERT_NE(nullptr, settings);
  EXPECT_EQ(0u, settings->enabled);
}

TEST_F(Factory, ComesOnceOnly) {
  ASSERT_EQ(0, commit_password("admin", "changed"));
  ASSERT_EQ(0, write_config());
  conf_end();
  ASSERT_EQ(0, conf_init());
  EXPECT_STREQ("changed", account("admin").password);
}

struct Definition {
  uint32_t number;
  uint32_t record_size;
};
constexpr Definition kDefinitions[] = {{100, sizeof(ncfg_system_settings)},
                                       {280, sizeof(ncfg_access_profile)},
                                       {330, sizeof(ncfg_widget)},
                                       {340, 2464},
                                       {354, 60},
                                       {440, sizeof(ncfg_interface)},
                                       {640, 652},
                                       {14050, sizeof(ncfg_gui_dashboard)}};

TEST(Schema, KnowsEachTableBeforeTheFirstConnection) {
  ASSERT_LE(14050u, cmdb.table_count);
  for (const Definition &expected : kDefinitions) {
    const cmdb_table *table = cmdb.tables[expected.number];
    ASSERT_NE(nullptr, table) << expected.number;
    EXPECT_EQ(expected.number, table->number);
    EXPECT_EQ(expected.record_size, table->record_size) << expected.number;
    EXPECT_NE(nullptr, table->default_record) << expected.number;
  }
}

TEST(Schema, HasNoTableWhereThereIsNone) {
  EXPECT_EQ(nullptr, cmdb.tables[99]);
  EXPECT_EQ(nullptr, cmdb.tables[14049]);
}

TEST(Schema, DefaultRecordIsCopiedWhole) {
  ncfg_account record;
  memset(&record, 0xaa, sizeof record);
  copy_cmdb_default(cmdb.tables[340], &record, sizeof record);
  EXPECT_EQ(0, memcmp(cmdb.tables[340]->default_record, &record, sizeof record));
}

TEST(Schema, DefaultRecordStopsAtTheRoomThatThereIs) {
  std::vector<uint8_t> record(300, 0xaa);
  copy_cmdb_default(cmdb.tables[340], record.data(), 200);
  EXPECT_EQ(0, memcmp(cmdb.tables[340]->default_record, record.data(), 200));
  EXPECT_EQ(100, std::count(record.begin() + 200, record.end(), 0xaa));
}

TEST(Schema, BytesBeyondTheDefaultRecordStayAsTheyAre) {
  std::vector<uint8_t> record(2464 + 8, 0xaa);
  copy_cmdb_default(cmdb.tables[340], record.data(), record.size());
  EXPECT_EQ(8, std::count(record.begin() + 2464, record.end(), 0xaa));
}

TEST(Schema, DefaultOfNoTableIsNothing) {
  uint8_t byte = 0xaa;
  copy_cmdb_default(nullptr, &byte, 1);
  EXPECT_EQ(0xaa, byte);
  copy_cmdb_default(cmdb.tables[340], nullptr, 0);
}

}  // namespace
}  // namespace conformance
