#include "plugins/plugin_registry.h"

#include "plugins/unsupported.h"
#include "tests/unit/plugins/plugin_world.h"

namespace {

using kelvane::Plugin;
using kelvane::plugin_registry_at;
using kelvane::plugin_registry_count;
using kelvane::pluginManager_Add;
using kelvane::pluginManager_Find;
using kelvane::pluginManager_FindVersion;

constexpr size_t kReference = sizeof(void *);

class PluginRegistry : public PluginTest {};

TEST_F(PluginRegistry, HoldsNothingAtFirst) {
  EXPECT_EQ(plugin_registry_count(), 0);
}

TEST_F(PluginRegistry, ANullRecordIsIgnored) {
  pluginManager_Add(nullptr);
  EXPECT_EQ(plugin_registry_count(), 0);
}

TEST_F(PluginRegistry, KeepsRecordsInTheOrderOfRegistration) {
  plugin_world::OwnPlugin first;
  first.name = "first";
  plugin_world::OwnPlugin second;
  second.name = "second";
  pluginManager_Add(&first);
  pluginManager_Add(&second);
  ASSERT_EQ(plugin_registry_count(), 2);
  EXPECT_EQ(plugin_registry_at(0), &first);
  EXPECT_EQ(plugin_registry_at(1), &second);
  EXPECT_EQ(pluginManager_Find("first"), &first);
  EXPECT_EQ(pluginManager_Find("second"), &second);
}

TEST_F(PluginRegistry, OfTwoWithOneNameTheFirstIsFound) {
  plugin_world::OwnPlugin first;
  first.name = "same";
  plugin_world::OwnPlugin second;
  second.name = "same";
  pluginManager_Add(&first);
  pluginManager_Add(&second);
  EXPECT_EQ(pluginManager_Find("same"), &first);
}

TEST_F(PluginRegistry, AnEmptySlotIsSkipped) {
  plugin_world::OwnPlugin first;
  first.name = "first";
  plugin_world::OwnPlugin second;
  second.name = "second";
  pluginManager_Add(&first);
  pluginManager_Add(&second);
  plugin_world::empty_slot(0);
  EXPECT_EQ(pluginManager_Find("second"), &second);
  EXPECT_NE(pluginManager_Find("first"), &first);
  EXPECT_EQ(plugin_registry_count(), 3);
}

TEST_F(PluginRegistry, NamesAreComparedByteForByte) {
  plugin_world::OwnPlugin plugin;
  plugin.name = "A.B.Name";
  pluginManager_Add(&plugin);
  for (const char *other : {"A.B.name", "A.B.Nam", "A.B.Name2", "Name", "", " A.B.Name"}) {
    EXPECT_NE(pluginManager_Find(other), &plugin) << other;
  }
  EXPECT_EQ(pluginManager_Find("A.B.Name"), &plugin);
}

TEST_F(PluginRegistry, AnUnknownNameIsRegisteredOnceAndStays) {
  Plugin *made = pluginManager_Find("Some.Maker.Thing");
  ASSERT_NE(made, nullptr);
  EXPECT_STREQ(made->name, "Some.Maker.Thing");
  EXPECT_STREQ(made->short_name, "Thing");
  EXPECT_EQ(plugin_registry_count(), 1);
  EXPECT_EQ(pluginManager_Find("Some.Maker.Thing"), made);
  EXPECT_EQ(plugin_registry_count(), 1);
}

TEST_F(PluginRegistry, ANullNameFindsAndMakesNothing) {
  EXPECT_EQ(pluginManager_Find(nullptr), nullptr);
  EXPECT_EQ(plugin_registry_count(), 0);
}

TEST_F(PluginRegistry, GrowsByTenOneAheadOfBeingFull) {
  std::vector<size_t> expected;
  for (int i = 1; i <= 30; i++) {
    pluginManager_Find(("name " + std::to_string(i)).c_str());
    if (i == 1) {
      expected.push_back(10 * kReference);
    } else if (i == 10) {
      expected.push_back(20 * kReference);
    } else if (i == 20) {
      expected.push_back(30 * kReference);
    } else if (i == 30) {
      expected.push_back(40 * kReference);
    }
    EXPECT_EQ(plugin_world::realloc_sizes, expected) << i;
  }
  for (int i = 1; i <= 30; i++) {
    EXPECT_STREQ(plugin_registry_at(i - 1)->name, ("name " + std::to_string(i)).c_str());
  }
}

TEST_F(PluginRegistry, WithoutMemoryABuiltInRecordIsSilentlyNotAdded) {
  recording::set_debug_level(7);
  plugin_world::OwnPlugin plugin;
  plugin.name = "name";
  plugin_world::refuse_realloc = 1;
  pluginManager_Add(&plugin);
  EXPECT_EQ(plugin_registry_count(), 0);
  EXPECT_EQ(recording::messages(), Lines{});
  pluginManager_Add(&plugin);
  EXPECT_EQ(plugin_registry_count(), 1);
}

TEST_F(PluginRegistry, ARecordThatFindsNoRoomIsReturnedButNotFoundAgain) {
  plugin_world::refuse_realloc = 1;
  Plugin *first = pluginManager_Find("A.Name");
  ASSERT_NE(first, nullptr);
  EXPECT_STREQ(first->name, "A.Name");
  EXPECT_EQ(plugin_registry_count(), 0);
  plugin_world::refuse_realloc = 1;
  Plugin *second = pluginManager_Find("A.Name");
  ASSERT_NE(second, nullptr);
  EXPECT_STREQ(second->name, "A.Name");
  EXPECT_EQ(plugin_registry_count(), 0);
  Plugin *third = pluginManager_Find("A.Name");
  EXPECT_NE(third, second);
  EXPECT_EQ(plugin_registry_count(), 1);
}

TEST_F(PluginRegistry, WhenGrowthFailsWhatIsRegisteredStays) {
  for (int i = 1; i <= 9; i++) {
    pluginManager_Find(("name " + std::to_string(i)).c_str());
  }
  plugin_world::refuse_realloc = 1;
  EXPECT_NE(pluginManager_Find("name 10"), nullptr);
  ASSERT_EQ(plugin_registry_count(), 9);
  EXPECT_STREQ(plugin_registry_at(8)->name, "name 9");
  EXPECT_NE(pluginManager_Find("name 10"), nullptr);
  EXPECT_EQ(plugin_registry_count(), 10);
}

// The record, the two names, the private data: the last alone may be missing.
TEST_F(PluginRegistry, WithoutMemoryForTheRecordALookUpFails) {
  plugin_world::refuse_calloc = 1;
  EXPECT_EQ(pluginManager_Find("A.Name"), nullptr);
  for (const int nth : {1, 2}) {
    plugin_world::refuse_malloc = nth;
    EXPECT_EQ(pluginManager_Find("A.Name"), nullptr) << nth;
  }
  EXPECT_EQ(plugin_registry_count(), 0);
}

TEST_F(PluginRegistry, AVersionIsFoundWhenItIsNotEmptyAndEqual) {
  plugin_world::OwnPlugin plugin;
  plugin.name = "name";
  pluginManager_Add(&plugin);
  EXPECT_EQ(pluginManager_FindVersion("name", "0.0.0.0"), &plugin);
  for (const char *other : {"0.0.0.1", "0.0.0", "0.0.0.00", ""}) {
    EXPECT_EQ(pluginManager_FindVersion("name", other), nullptr) << other;
  }
  EXPECT_EQ(pluginManager_FindVersion("name", nullptr), nullptr);
}

TEST_F(PluginRegistry, AnEmptyVersionIsNeverFound) {
  ASSERT_STREQ(pluginManager_Find("Unknown")->version, "");
  EXPECT_EQ(pluginManager_FindVersion("Unknown", ""), nullptr);
}

TEST_F(PluginRegistry, AskingForAVersionOfAnUnknownNameRegistersItToo) {
  EXPECT_EQ(pluginManager_FindVersion("Unknown", "1.0.0.0"), nullptr);
  EXPECT_EQ(plugin_registry_count(), 1);
}

TEST_F(PluginRegistry, CleanupCallsTheOperationOfThoseThatHaveOne) {
  static Lines cleaned;
  cleaned.clear();
  Plugin with;
  with.name = "with";
  with.cleanup = [](Plugin *plugin) { cleaned.emplace_back(plugin->name); };
  Plugin without;
  without.name = "without";
  Plugin other = with;
  other.name = "other";
  for (Plugin *plugin : {&with, &without, &other}) {
    pluginManager_Add(plugin);
  }
  plugin_world::fresh_registry();
  EXPECT_EQ(cleaned, (Lines{"with", "other"}));
}

}  // namespace
