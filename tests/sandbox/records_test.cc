#include "tools/sandbox/records.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/records.h"

namespace sandbox {
namespace {

TEST(Records, FieldsAreSetByName) {
  ncfg_interface port = {};
  record_set(*record_table(440), &port,
             {{"name", "port1"}, {"AzureEndpoint", "168.63.129.16"}, {"addressing_mode", 1}});
  EXPECT_STREQ(port.name, "port1");
  EXPECT_EQ(port.AzureEndpoint, 276905896u);
  EXPECT_EQ(port.addressing_mode, 1u);
  EXPECT_EQ(port.address, 0u);
}

TEST(Records, EveryFieldIsShown) {
  ncfg_system_settings settings = {};
  record_set(*record_table(100), &settings, {{"host_name", "gate"}, {"time_zone_index", -3}});
  EXPECT_EQ(record_fields(*record_table(100), &settings).dump(),
            R"({"host_name":"gate","time_zone":"","time_zone_index":-3,"daylight_saving":0})");
}

TEST(Records, WhatIsInNoFieldIsShownToo) {
  ncfg_account account = {};
  record_set(*record_table(340), &account,
             {{"name", "operator"}, {"password", "hash-of-it"}, {"access_profile", 2}, {"field_2460", 257}});
  EXPECT_EQ(record_rest(*record_table(340), &account), "");
  account.reserved_194[885] = 200;
  account.reserved_1100[0] = 1;
  account.name[9] = 'x';
  EXPECT_EQ(record_rest(*record_table(340), &account), "9=120 1079=200 1100=1");
  ncfg_dashboard_entry entry = {};
  entry.reserved[43] = 7;
  EXPECT_EQ(record_rest(*record_table(354), &entry), "59=7");
}

TEST(Records, ATextThatFillsItsFieldHasNothingBehindItsEnd) {
  ncfg_widget widget = {};
  std::memset(widget.name, 'w', sizeof widget.name);
  EXPECT_EQ(record_rest(*record_table(330), &widget), "");
}

TEST(Records, SmallFieldsLeaveTheirNeighboursAlone) {
  ncfg_account account = {};
  account.hidden = 5;
  account.reserved_2450[0] = 7;
  record_set(*record_table(340), &account, {{"reserved_2449", 1}});
  EXPECT_EQ(account.hidden, 5);
  EXPECT_EQ(account.reserved_2449, 1);
  EXPECT_EQ(account.reserved_2450[0], 7);
}

TEST(Records, UnknownNamesAndWrongValuesAreRefused) {
  ncfg_widget widget = {};
  EXPECT_THROW(record_set(*record_table(330), &widget, {{"nam", "x"}}), std::runtime_error);
  EXPECT_THROW(record_set(*record_table(330), &widget, {{"name", std::string(64, 'x')}}), std::runtime_error);
  EXPECT_THROW(parse_address("1.2.3"), std::runtime_error);
  EXPECT_EQ(record_table(341), nullptr);
}

TEST(Records, ASummaryNeverHoldsThePassword) {
  ncfg_account account = {};
  record_set(*record_table(340), &account, {{"name", "operator"}, {"password", "hash-of-it"}, {"access_profile", 2}});
  EXPECT_EQ(record_summary(340, &account), "\"operator\" profile 2");
}

TEST(Records, ADashboardEntryIsSummedUpByItsFourFields) {
  const ncfg_dashboard_entry entry = {.widget = 11, .column = 2, .open = 1, .height = 300, .reserved = {}};
  EXPECT_EQ(record_summary(354, &entry), "widget 11 column 2 open 1 height 300");
}

}  // namespace
}  // namespace sandbox
