// Queries: finding, walking, changing in place, appending, child tables.
#include <algorithm>
#include <cstring>

#include "tests/platform/conformance.h"

namespace conformance {
namespace {

using Query = ConnectedPlatform;

// A query of the test's own.
class OwnQuery {
 public:
  explicit OwnQuery(cmf_query *query) : query_(query) {}
  explicit OwnQuery(uint32_t table) : query_(cmf_query_create(table)) {}
  ~OwnQuery() { cmf_query_free(query_); }
  OwnQuery(const OwnQuery &) = delete;
  OwnQuery &operator=(const OwnQuery &) = delete;
  cmf_query *get() const { return query_; }

 private:
  cmf_query *query_;
};

cmf_query *child_of(const char *account, uint32_t table) {
  return cmf_query_create_child_with_key(nCfg_query(NCFG_TABLE_ACCOUNTS), table, account);
}

TEST_F(Query, SharedOneIsTheSameEachTime) {
  ASSERT_NE(nullptr, nCfg_query(NCFG_TABLE_ACCOUNTS));
  EXPECT_EQ(nCfg_query(NCFG_TABLE_ACCOUNTS), nCfg_query(NCFG_TABLE_ACCOUNTS));
  EXPECT_NE(nCfg_query(NCFG_TABLE_ACCOUNTS), nCfg_query(NCFG_TABLE_INTERFACES));
}

TEST_F(Query, IsNotThereForUnknownTablesOrChildTables) {
  for (const uint32_t table : {0u, 1u, 341u, 14051u, 0xffffffffu, 354u, 14050u}) {
    EXPECT_EQ(nullptr, nCfg_query(table)) << table;
    EXPECT_EQ(nullptr, cmf_query_create(table)) << table;
  }
}

TEST_F(Query, FindsARecordWithItsKeyNumber) {
  const OwnQuery query(NCFG_TABLE_INTERFACES);
  const ncfg_interface *first = find<ncfg_interface>(query.get(), "port1");
  ASSERT_NE(nullptr, first);
  EXPECT_STREQ("port1", first->name);
  const uint32_t number = query.get()->found_key_number;
  EXPECT_NE(0u, number);
  ASSERT_NE(nullptr, find<ncfg_interface>(query.get(), "port1"));
  EXPECT_EQ(number, query.get()->found_key_number);
}

TEST_F(Query, FindsNothingForAnUnknownKeyAndHasNoKeyNumberThen) {
  const OwnQuery query(NCFG_TABLE_INTERFACES);
  ASSERT_NE(nullptr, find<ncfg_interface>(query.get(), "port1"));
  for (const char *key : {"port", "port11", "PORT1", "port1 ", "", "%", "port_", "'", "port1' OR '1'='1"}) {
    EXPECT_EQ(nullptr, find<ncfg_interface>(query.get(), key)) << key;
    EXPECT_EQ(0u, query.get()->found_key_number) << key;
  }
}

TEST_F(Query, FindsTheKeyThatStandsInTheRecordItHasLent) {
  cmf_query *query = nCfg_query(NCFG_TABLE_ACCOUNTS);
  const ncfg_account *admin = find<ncfg_account>(query, "admin");
  ASSERT_NE(nullptr, admin);
  EXPECT_NE(nullptr, find<ncfg_account>(query, admin->name));
}

TEST_F(Query, FindWithoutAProperKeyEndsTheLoan) {
  cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  ASSERT_NE(nullptr, find<ncfg_account>(query, "admin"));
  EXPECT_EQ(nullptr, cmf_query_do_table_find(query, 0, nullptr, 2));
  EXPECT_EQ(0u, query->found_key_number);
  EXPECT_GT(0, cmf_query_commit(query));
  cmf_query_free(query);
}

TEST_F(Query, NewOneHasNoKeyNumber) {
  const OwnQuery query(NCFG_TABLE_ACCOUNTS);
  EXPECT_EQ(0u, query.get()->found_key_number);
}

TEST_F(Query, ChangeInPlaceIsDroppedWithoutACommit) {
  {
    const OwnQuery query(NCFG_TABLE_ACCOUNTS);
    ncfg_account *record = find<ncfg_account>(query.get(), "admin");
    ASSERT_NE(nullptr, record);
    memcpy(record->password, "changed", 8);
  }
  EXPECT_STRNE("changed", account("admin").password);
}

TEST_F(Query, CommittedChangeIsSeenAtOnceByOtherQueries) {
  ASSERT_EQ(0, commit_password("admin", "changed"));
  EXPECT_STREQ("changed", account("admin").password);
  const OwnQuery query(NCFG_TABLE_ACCOUNTS);
  const ncfg_account *record = find<ncfg_account>(query.get(), "admin");
  ASSERT_NE(nullptr, record);
  EXPECT_STREQ("changed", record->password);
}

TEST_F(Query, CommitKeepsTheKeyNumberAndTheRestOfTheRecord) {
  const ncfg_account before = account("admin");
  const uint32_t number = nCfg_query(NCFG_TABLE_ACCOUNTS)->found_key_number;
  ASSERT_EQ(0, commit_password("admin", "changed"));
  ASSERT_EQ(0, write_config());
  ncfg_account after = account("admin");
  EXPECT_EQ(number, nCfg_query(NCFG_TABLE_ACCOUNTS)->found_key_number);
  memcpy(after.password, before.password, sizeof after.password);
  EXPECT_EQ(0, memcmp(&before, &after, sizeof after));
}

TEST_F(Query, CommitsTheSameRecordAgainAfterAFurtherChange) {
  const OwnQuery query(NCFG_TABLE_ACCOUNTS);
  ncfg_account *record = find<ncfg_account>(query.get(), "admin");
  ASSERT_NE(nullptr, record);
  memcpy(record->password, "first", 6);
  ASSERT_EQ(0, cmf_query_commit(query.get()));
  memcpy(record->password, "second", 7);
  ASSERT_EQ(0, cmf_query_commit(query.get()));
  EXPECT_STREQ("second", account("admin").password);
}

TEST_F(Query, CommitWithNothingLentFails) {
  const OwnQuery query(NCFG_TABLE_ACCOUNTS);
  EXPECT_GT(0, cmf_query_commit(query.get()));
  EXPECT_EQ(nullptr, find<ncfg_account>(query.get(), "nobody"));
  EXPECT_GT(0, cmf_query_commit(query.get()));
}

TEST_F(Query, CommitOfARecordThatIsGoneFails) {
  ASSERT_EQ(0, append_account("guest"));
  const OwnQuery query(NCFG_TABLE_ACCOUNTS);
  ASSERT_NE(nullptr, find<ncfg_account>(query.get(), "guest"));
  ASSERT_EQ(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "guest"));
  EXPECT_GT(0, cmf_query_commit(query.get()));
  EXPECT_FALSE(has_account("guest"));
}

TEST_F(Query, SingleRecordIsChangedInPlace) {
  const OwnQuery query(NCFG_TABLE_SYSTEM_SETTINGS);
  auto *settings = static_cast<ncfg_system_settings *>(cmf_query_update(query.get()));
  ASSERT_NE(nullptr, settings);
  memcpy(settings->host_name, "gate-7", 7);
  ASSERT_EQ(0, cmf_query_commit(query.get()));
  const auto *again =
      static_cast<const ncfg_system_settings *>(cmf_query_update(nCfg_query(NCFG_TABLE_SYSTEM_SETTINGS)));
  ASSERT_NE(nullptr, again);
  EXPECT_STREQ("gate-7", again->host_name);
}

TEST_F(Query, SingleRecordIsOverwrittenWholeByteForByte) {
  ncfg_event_hub expected;
  memset(&expected, 0x5b, sizeof expected);
  const OwnQuery query(NCFG_TABLE_EVENT_HUB);
  void *record = cmf_query_update(query.get());
  ASSERT_NE(nullptr, record);
  memcpy(record, &expected, sizeof expected);
  ASSERT_EQ(0, cmf_query_commit(query.get()));
  ASSERT_EQ(0, write_config());
  const void *again = cmf_query_update(nCfg_query(NCFG_TABLE_EVENT_HUB));
  ASSERT_NE(nullptr, again);
  EXPECT_EQ(0, memcmp(&expected, again, sizeof expected));
}

TEST_F(Query, WalkMeetsEachRecordOnceInKeyNumberOrder) {
  const OwnQuery query(NCFG_TABLE_WIDGETS);
  std::vector<uint32_t> numbers;
  for (void *record = cmf_query_table_head(query.get()); record != nullptr; record = cmf_query_get_next(query.get())) {
    numbers.push_back(query.get()->found_key_number);
  }
  EXPECT_LE(8u, numbers.size());
  EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
  EXPECT_EQ(numbers.end(), std::adjacent_find(numbers.begin(), numbers.end()));
}

TEST_F(Query, WalkEndsWithNothingAndStaysThere) {
  const OwnQuery query(NCFG_TABLE_INTERFACES);
  void *record = cmf_query_table_head(query.get());
  while (record != nullptr) {
    record = cmf_query_get_next(query.get());
  }
  EXPECT_EQ(0u, query.get()->found_key_number);
  EXPECT_EQ(nullptr, cmf_query_get_next(query.get()));
}

TEST_F(Query, WalkWithoutAHeadIsEmpty) {
  const OwnQuery query(NCFG_TABLE_INTERFACES);
  EXPECT_EQ(nullptr, cmf_query_get_next(query.get()));
}

TEST_F(Query, WalkStartsAnewAtEachHead) {
  const OwnQuery query(NCFG_TABLE_INTERFACES);
  ASSERT_NE(nullptr, cmf_query_table_head(query.get()));
  const uint32_t first = query.get()->found_key_number;
  ASSERT_NE(nullptr, cmf_query_get_next(query.get()));
  ASSERT_NE(nullptr, cmf_query_table_head(query.get()));
  EXPECT_EQ(first, query.get()->found_key_number);
}

TEST_F(Query, WalkIsNotDisturbedBySessionChangesDuringIt) {
  const std::vector<std::string> before = names(NCFG_TABLE_INTERFACES);
  const OwnQuery query(NCFG_TABLE_INTERFACES);
  std::vector<std::string> met;
  for (void *record = cmf_query_table_head(query.get()); record != nullptr; record = cmf_query_get_next(query.get())) {
    const auto *port = static_cast<const ncfg_interface *>(record);
    ncfg_interface changed = *port;
    changed.AzureEndpoint = 7;
    met.emplace_back(port->name);
    EXPECT_EQ(0, __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_INTERFACES, port, &changed, 0)) << met.back();
  }
  EXPECT_EQ(before, met);
  for (const std::string &name : before) {
    EXPECT_EQ(7u, interface(name.c_str()).AzureEndpoint) << name;
  }
}

TEST_F(Query, WalkShowsChangesMadeSinceItsHead) {
  ASSERT_EQ(0, append_account("second"));
  const OwnQuery query(NCFG_TABLE_ACCOUNTS);
  ASSERT_NE(nullptr, cmf_query_table_head(query.get()));
  ASSERT_EQ(0, commit_password("second", "changed"));
  const auto *second = static_cast<const ncfg_account *>(cmf_query_get_next(query.get()));
  while (second != nullptr && strcmp(second->name, "second") != 0) {
    second = static_cast<const ncfg_account *>(cmf_query_get_next(query.get()));
  }
  ASSERT_NE(nullptr, second);
  EXPECT_STREQ("changed", second->password);
}

TEST_F(Query, WalkLeavesOutWhatWasDeletedSinceItsHead) {
  ASSERT_EQ(0, append_account("second"));
  ASSERT_EQ(0, append_account("third"));
  const OwnQuery query(NCFG_TABLE_ACCOUNTS);
  ASSERT_NE(nullptr, cmf_query_table_head(query.get()));
  ASSERT_EQ(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "second"));
  std::vector<std::string> rest;
  while (void *record = cmf_query_get_next(query.get())) {
    rest.emplace_back(static_cast<const char *>(record));
  }
  EXPECT_EQ(0, std::count(rest.begin(), rest.end(), "second"));
  EXPECT_EQ(1, std::count(rest.begin(), rest.end(), "third"));
}

TEST_F(Query, CommitDuringAWalkDoesNotEndIt) {
  const size_t ports = names(NCFG_TABLE_INTERFACES).size();
  const OwnQuery query(NCFG_TABLE_INTERFACES);
  size_t met = 0;
  for (void *record = cmf_query_table_head(query.get()); record != nullptr; record = cmf_query_get_next(query.get())) {
    static_cast<ncfg_interface *>(record)->netmask = 9;
    EXPECT_EQ(0, cmf_query_commit(query.get()));
    ++met;
  }
  EXPECT_EQ(ports, met);
  EXPECT_EQ(9u, interface("port1").netmask);
}

TEST_F(Query, AppendedRecordIsFoundWithEveryByte) {
  ncfg_account record;
  memset(&record, 0xc3, sizeof record);
  memcpy(record.name, "guest", 6);
  const OwnQuery query(NCFG_TABLE_ACCOUNTS);
  ASSERT_EQ(0, cmf_query_table_append(query.get(), &record));
  const ncfg_account found = account("guest");
  EXPECT_EQ(0, memcmp(&record, &found, sizeof record));
}

TEST_F(Query, AppendedRecordsHaveKeyNumbersOfTheirOwnThatStay) {
  ASSERT_EQ(0, append_account("one"));
  ASSERT_EQ(0, append_account("two"));
  cmf_query *query = nCfg_query(NCFG_TABLE_ACCOUNTS);
  account("admin");
  const uint32_t admin = query->found_key_number;
  account("one");
  const uint32_t one = query->found_key_number;
  account("two");
  const uint32_t two = query->found_key_number;
  EXPECT_LT(admin, one);
  EXPECT_LT(one, two);
  ASSERT_EQ(0, write_config());
  account("one");
  EXPECT_EQ(one, query->found_key_number);
}

TEST_F(Query, AppendOfAKeyThatIsThereFails) {
  EXPECT_GT(0, append_account("admin"));
  ASSERT_EQ(0, append_account("guest"));
  EXPECT_GT(0, append_account("guest"));
  ASSERT_EQ(0, write_config());
  EXPECT_GT(0, append_account("guest"));
  EXPECT_EQ((std::vector<std::string>{"admin", "guest"}), names(NCFG_TABLE_ACCOUNTS));
}

TEST_F(Query, KeysOfAnyBytesAreKeptApart) {
  const char *keys[] = {"o'brien", "50%", "a\"b", "x;--", "J\xc3\xbcrgen", "\xff\xfe", "Guest", "guest", " lead"};
  for (const char *key : keys) {
    EXPECT_EQ(0, append_account(key)) << key;
  }
  ASSERT_EQ(0, write_config());
  for (const char *key : keys) {
    EXPECT_STREQ(key, account(key).name);
    EXPECT_EQ(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, key)) << key;
  }
  EXPECT_EQ((std::vector<std::string>{"admin"}), names(NCFG_TABLE_ACCOUNTS));
}

TEST_F(Query, KeyOfSixtyThreeCharactersIsWhole) {
  const std::string key(63, 'k');
  ASSERT_EQ(0, append_account(key.c_str()));
  EXPECT_EQ(key, account(key.c_str()).name);
  EXPECT_FALSE(has_account(key.substr(1).c_str()));
}

TEST_F(Query, ChildTableBelongsToItsParent) {
  ASSERT_EQ(0, append_account("one"));
  ASSERT_EQ(0, append_account("two"));
  for (const uint32_t widget : {11u, 12u, 11u}) {
    ASSERT_EQ(0, append_dashboard("one", widget));
  }
  ASSERT_EQ(0, append_dashboard("two", 5));
  EXPECT_EQ((std::vector<uint32_t>{11, 12, 11}), dashboard("one"));
  EXPECT_EQ((std::vector<uint32_t>{5}), dashboard("two"));
  ASSERT_EQ(0, write_config());
  EXPECT_EQ((std::vector<uint32_t>{11, 12, 11}), dashboard("one"));
  EXPECT_EQ((std::vector<uint32_t>{5}), dashboard("two"));
}

TEST_F(Query, ChildTableKeepsTheOrderOfManyAppends) {
  std::vector<uint32_t> expected;
  for (uint32_t widget = 100; widget > 40; --widget) {
    ASSERT_EQ(0, append_dashboard("admin", widget));
    expected.push_back(widget);
  }
  EXPECT_EQ(expected, dashboard("admin"));
  ASSERT_EQ(0, write_config());
  EXPECT_EQ(expected, dashboard("admin"));
}

TEST_F(Query, ChildTableOfAPendingParentOpens) {
  ASSERT_EQ(0, append_account("guest"));
  const OwnQuery child(child_of("guest", NCFG_TABLE_ACCOUNT_DASHBOARD));
  EXPECT_NE(nullptr, child.get());
}

TEST_F(Query, ChildTableOfADeletedParentTakesNothing) {
  ASSERT_EQ(0, append_account("guest"));
  const OwnQuery child(child_of("guest", NCFG_TABLE_ACCOUNT_DASHBOARD));
  const ncfg_dashboard_entry entry = {.widget = 1, .column = 1, .open = 1, .height = 300, .reserved = {}};
  ASSERT_EQ(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "guest"));
  EXPECT_GT(0, cmf_query_table_append(child.get(), &entry));
}

TEST_F(Query, ChildTableOpensOnlyUnderItsParentTable) {
  EXPECT_EQ(nullptr, child_of("nobody", NCFG_TABLE_ACCOUNT_DASHBOARD));
  EXPECT_EQ(nullptr, child_of("admin", NCFG_TABLE_WIDGETS));
  EXPECT_EQ(nullptr, child_of("admin", 355));
  EXPECT_EQ(nullptr,
            cmf_query_create_child_with_key(nCfg_query(NCFG_TABLE_INTERFACES), NCFG_TABLE_ACCOUNT_DASHBOARD, "port1"));
}

TEST_F(Query, GuiDashboardPagesAreAdded) {
  ASSERT_EQ(0, append_account("guest"));
  const ncfg_account guest = account("guest");
  const OwnQuery child(child_of("guest", NCFG_TABLE_GUI_DASHBOARD));
  ASSERT_NE(nullptr, child.get());
  EXPECT_EQ(nullptr, cmf_query_table_head(child.get()));
  EXPECT_EQ(0, add_default_gui_dashboard(child.get(), &guest, 0, 0, 1));
  EXPECT_NE(nullptr, cmf_query_table_head(child.get()));
  ASSERT_EQ(0, write_config());
  EXPECT_NE(nullptr, cmf_query_table_head(child.get()));
}

TEST_F(Query, GuiDashboardNeedsItsOwnTable) {
  const ncfg_account admin = account("admin");
  const OwnQuery other(child_of("admin", NCFG_TABLE_ACCOUNT_DASHBOARD));
  EXPECT_GT(0, add_default_gui_dashboard(other.get(), &admin, 0, 0, 1));
  EXPECT_GT(0, add_default_gui_dashboard(nCfg_query(NCFG_TABLE_ACCOUNTS), &admin, 0, 0, 1));
}

}  // namespace
}  // namespace conformance
