#include "tests/unit/extensions/plugin_manager_substitute.h"

#include "core/base/text.h"
#include "plugins/plugin_manager.h"
#include "tests/support/recording_platform.h"
#include "tests/support/recording_state.h"

namespace plugin_manager {

State &state() {
  static State the_state;
  return the_state;
}

void reset() {
  state() = State();
}

}  // namespace plugin_manager

namespace {

using plugin_manager::state;

constexpr const char *kCommands[] = {"unknown", "install", "uninstall", "update", "enable", "disable"};

void question(const char *name, const char *extension, const char *version) {
  if (state().note_questions) {
    recording::note(std::string(name) + "(" + recording::quoted(extension) + ", " + recording::quoted(version) + ")");
  }
}

}  // namespace

namespace kelvane {

int32_t pluginManager_LaunchCommand(const char *name, const char *version, uint32_t command, const char *extension_name,
                                    int32_t sequence_number, const PluginSettings *settings) {
  std::string text = std::string(kCommands[command]) + " " + recording::quoted(name) + " " + version + " " +
                     recording::quoted(extension_name) + " seq " + std::to_string(sequence_number);
  if (settings != nullptr) {
    text += " {" + std::string(text_or(settings->runtime_settings, "null")) + ", " +
            text_or(settings->public_settings, "null") + ", " + text_or(settings->protected_settings, "null") + ", " +
            text_or(settings->thumbprint, "null") + "}";
  }
  recording::note(text);
  return state().command_result;
}

int32_t pluginManager_FindCurrentVersion(const char *name, char *version, size_t version_size) {
  question("FindCurrentVersion", name, version);
  const auto found = state().installed.find(name);
  if (found != state().installed.end()) {
    text_copy_field(version, version_size, found->second.c_str());
  }
  return state().find_result;
}

int32_t pluginManager_CheckNewerVersion(const char *name, const char *version) {
  question("CheckNewerVersion", name, version);
  return state().newer;
}

const char *pluginManager_GetState(const char *name, const char *version) {
  question("GetState", name, version);
  const auto found = state().states.find({name, version});
  return found != state().states.end() ? found->second.c_str() : nullptr;
}

int32_t pluginManager_GetStatus(const char *name, const char *version, ExtStatus *status) {
  question("GetStatus", name, version);
  status->sequence_number++;  // from zero, each time
  status->operation = "Enable";
  return state().status_result;
}

int32_t pluginManager_GetHandlerStatus(const char *name, const char *version, ExtHandlerStatus *status) {
  question("GetHandlerStatus", name, version);
  text_copy_field(status->name, name);
  text_copy_field(status->version, version);
  text_copy_field(status->extension_name, "slot");
  status->code++;  // from zero, each time
  return state().failing_handler == name ? -1 : state().handler_status_result;
}

}  // namespace kelvane
