#include "plugins/plugin_manager.h"

#include "tests/support/recording_fixture.h"

namespace {

using PluginManager = RecordingTest;

TEST_F(PluginManager, StartsWithNothingToList) {
  recording::set_debug_level(7);
  EXPECT_EQ(kelvane::pluginManager_Init(), 0);
  kelvane::pluginManager_Dump();
  EXPECT_EQ(recording::trace(), Lines{});
}

}  // namespace
