// What the tests of plugins share: a fresh registry with the built-in plugins as after start-up, files below a
// temporary root, a fixed clock, a certificate in the store, allocations that fail on demand, and a telemetry queue
// that only writes down what it is given, as AddExtensionEvent("name", operation, success, duration, "version",
// "message").
#ifndef KELVANE_TESTS_UNIT_PLUGINS_PLUGIN_WORLD_H
#define KELVANE_TESTS_UNIT_PLUGINS_PLUGIN_WORLD_H

#include <string>
#include <vector>

#include "core/base/json_owners.h"
#include "core/base/text.h"
#include "plugins/plugin.h"
#include "plugins/plugin_manager.h"
#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"
#include "tests/support/watched_memory.h"

namespace plugin_world {

// Calls of the agent and of the test itself that fail: the n-th from now on, counted from 1; 0: none.
inline int refuse_malloc = 0;
inline int refuse_calloc = 0;
inline int refuse_realloc = 0;
using watched_memory::wiped;
bool was_wiped(const std::string &part);
// What __hasSSHPubKeys says.
inline int has_ssh_pub_keys = 0;
// Sizes that realloc was asked for.
inline std::vector<size_t> realloc_sizes;
// Empties the registry, its array given back.
void fresh_registry();
// Takes the record out of its slot, which stays.
void empty_slot(int32_t index);

// A record of a test's own: the registry is made anew before the record goes, as it only refers to what it holds.
struct OwnPlugin : kelvane::Plugin {
  OwnPlugin() = default;
  ~OwnPlugin() { fresh_registry(); }
  OwnPlugin(const OwnPlugin &) = delete;
  OwnPlugin &operator=(const OwnPlugin &) = delete;
};

inline constexpr char kStatusFile[] = "/data/etc/.plugin_status";
inline constexpr char kCustomScript[] = "Microsoft.OSTCExtensions.CustomScriptForLinux";
inline constexpr char kLinuxAsm[] = "Microsoft.Azure.Extensions.LinuxAsm";
inline constexpr char kLinuxDiagnostic[] = "Microsoft.OSTCExtensions.LinuxDiagnostic";
inline constexpr char kVMAccess[] = "Microsoft.OSTCExtensions.VMAccessForLinux";

// What stands in for an unknown extension; its clean-up operation frees it.
kelvane::Plugin *make_unsupported();

// The extension status as one text; "null" for absent texts.
std::string shown(const kelvane::ExtStatus &status);

}  // namespace plugin_world

class PluginTest : public RecordingTest {
 protected:
  PluginTest();
  ~PluginTest() override;

  static int32_t launch(const char *name, uint32_t command, int32_t sequence_number = 0,
                        const kelvane::PluginSettings *settings = nullptr, const char *version = "1.2.3.4",
                        const char *extension_name = "instance") {
    return kelvane::pluginManager_LaunchCommand(name, version, command, extension_name, sequence_number, settings);
  }
  // Runs a command of the plugin alone, without the manager's lines, event and file.
  static void command(kelvane::Plugin *plugin, uint32_t command, int32_t sequence_number = 0,
                      const kelvane::PluginSettings *settings = nullptr, const char *version = "1.2.3.4",
                      const char *extension_name = "instance") {
    plugin->command(plugin, command, version, extension_name, sequence_number, settings);
  }
  static std::string status_of(kelvane::Plugin *plugin);
  static std::string handler_status_of(kelvane::Plugin *plugin);
  // The "config" object of the status file.
  static std::string saved(kelvane::Plugin *plugin);
  static void load(kelvane::Plugin *plugin, const char *text);

  FakeOs os_;
};

// Tests that run for several plugins: a row names one and says what it does in its own way.
template <typename Row>
class EachPluginTest : public PluginTest, public testing::WithParamInterface<Row> {
 protected:
  ~EachPluginTest() override {
    if (plugin_->cleanup != nullptr) {
      plugin_->cleanup(plugin_);
    }
  }
  static const Row &row() { return testing::WithParamInterface<Row>::GetParam(); }

  kelvane::Plugin *plugin_ = row().make();
};

#endif
