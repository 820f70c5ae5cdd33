// What a play looks at besides the agent's own look-ups: names, the rows of the database, the history of passwords.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/platform.h"
#include "platform/reference/reference.h"
#include "tests/scenario/run/tables.h"
#include "tests/support/files.h"
#include "tests/torture/history.h"
#include "tests/torture/integrity.h"
#include "tests/torture/listing.h"
#include "tests/torture/rows.h"

namespace torture {
namespace {

namespace files = std::filesystem;

TEST(Listing, EveryNameIsInItWithWhatItIs) {
  const support::TempDir folder;
  folder.write("etc/hostname", "x");
  folder.write("etc/.copy", "x");
  files::permissions(folder.file("etc/hostname"), files::perms(0640));
  files::permissions(folder.file("etc/.copy"), files::perms(0600));
  files::create_directories(folder.file("run"));
  files::create_symlink("/etc/zoneinfo/UTC", folder.file("etc/localtime"));
  files::create_symlink("etc", folder.file("other"));
  const scenario::Json names = names_below(folder.path());
  EXPECT_EQ(names["etc"]["hostname"], "file 0640");
  EXPECT_EQ(names["etc"][".copy"], "file 0600");
  EXPECT_EQ(names["etc"]["localtime"], "link to /etc/zoneinfo/UTC");
  EXPECT_EQ(names["other"], "link to etc");
  EXPECT_EQ(names["run"], scenario::Json::object());
  EXPECT_EQ(names.size(), 3U);
  EXPECT_EQ(names["etc"].size(), 3U);
}

class Database : public testing::Test {
 protected:
  Database() {
    reference_set_root(folder_.path().c_str());
    set_password("first");
  }
  ~Database() override { reference_set_root(nullptr); }

  // Of "admin", as the agent sets it.
  void set_password(const std::string &stored) {
    EXPECT_EQ(conf_init(), 0);
    cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
    auto *account = static_cast<ncfg_account *>(cmf_query_do_table_find(query, 0, "admin", 2));
    ASSERT_NE(account, nullptr);
    std::snprintf(account->password, sizeof account->password, "%s", stored.c_str());
    passwd_policy_save_info(account);
    EXPECT_EQ(cmf_query_commit(query), 0);
    cmf_query_free(query);
    EXPECT_EQ(cmf_write_config(cmf_get_cur_domain_id()), 0);
    conf_end();
  }
  std::string damage(const char *sql) {
    rows_of(folder_.path(), sql);
    return damage_of_database(folder_.path(), folder_.file("copy"));
  }

  support::TempDir folder_;
};

TEST_F(Database, OneThatIsWholeHasNoDamage) {
  EXPECT_EQ(damage("SELECT 1"), "");
}

TEST_F(Database, WhatDoesNotBelongTogetherIsDamage) {
  EXPECT_EQ(damage("INSERT INTO password_history (account, password, time) VALUES ('nobody', 'x', 1)"),
            "passwords of an account that is none: nobody\n");
  rows_of(folder_.path(), "DELETE FROM password_history WHERE account = 'nobody'");
  EXPECT_EQ(damage("INSERT INTO ssh_keys VALUES (77, 0, 'x')"), "keys of an account that is none: 77 0\n");
  rows_of(folder_.path(), "DELETE FROM ssh_keys");
  EXPECT_EQ(damage("UPDATE numbers SET last = 3 WHERE table_number = 440"),
            "a number that was never given out: 440 4\n");
  rows_of(folder_.path(), "UPDATE numbers SET last = 4 WHERE table_number = 440");
  EXPECT_EQ(damage("INSERT INTO records VALUES (354, 1, 77, 'x', x'00'); INSERT INTO numbers VALUES (354, 10)"),
            "records of an account that is none: 354 1\n");
  rows_of(folder_.path(), "DELETE FROM records WHERE table_number = 354");
  EXPECT_EQ(damage("DELETE FROM records WHERE table_number = 100"), "not one record of system settings: 0\n");
}

TEST_F(Database, WhatCannotBeReadIsDamage) {
  std::ofstream(folder_.file("data/etc/kelvane-config.db")) << "no database";
  files::remove(folder_.file("data/etc/kelvane-config.db-wal"));
  EXPECT_EQ(damage_of_database(folder_.path(), folder_.file("copy")), "it cannot be read: file is not a database\n");
}

// Reserved space is part of a record, and so is what stands behind a text's end.
TEST_F(Database, ARecordIsToldWithWhatIsInNoField) {
  const auto rest_of = [&](const char *table, size_t at) {
    return scenario::tables_in_words(folder_.path(), scenario::Json::object())[table]["records"][at]["rest"];
  };
  EXPECT_EQ(rest_of("340", 0), "194=30 196=50 1079=1 1100=255 2447=90 2459=7") << "what the factory's account has";
  EXPECT_EQ(rest_of("330", 0), "");
  rows_of(folder_.path(),
          "UPDATE records SET record = CAST(substr(record, 1, 1100) || x'0004' || substr(record, 1103) AS BLOB) WHERE "
          "table_number = 340");
  rows_of(folder_.path(),
          "UPDATE records SET record = CAST(substr(record, 1, 63) || x'07' AS BLOB) WHERE table_number = 330");
  EXPECT_EQ(rest_of("340", 0), "194=30 196=50 1079=1 1101=4 2447=90 2459=7");
  EXPECT_EQ(rest_of("330", 0), "63=7");
}

TEST_F(Database, TheNewestPasswordIsToldInWords) {
  const scenario::Json scenario = {{"fabric", {{"ovf", {{"userPassword", "Plum-Harbour-42!"}}}}}};
  const auto unknown = scenario::Json{{"admin", "no password: first"}};
  EXPECT_EQ(newest_passwords(folder_.path(), scenario), unknown);
  set_password(make_new_passwd("Plum-Harbour-42!", 0));
  EXPECT_EQ(newest_passwords(folder_.path(), scenario), (scenario::Json{{"admin", "that of Plum-Harbour-42!"}}));
  const scenario::Json another = {{"fabric", {{"ovf", {{"userPassword", "Cedar-Lantern-58?"}}}}}};
  EXPECT_EQ(newest_passwords(folder_.path(), another)["admin"], "one that the scenario does not know");
  rows_of(folder_.path(), "DELETE FROM password_history");
  EXPECT_EQ(newest_passwords(folder_.path(), scenario), scenario::Json::object());
}

}  // namespace
}  // namespace torture
