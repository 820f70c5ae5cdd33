#include "tools/kelvanectl/plugins.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tools/kelvanectl/failure.h"

namespace kelvanectl {
namespace {

namespace files = std::filesystem;

constexpr uintmax_t kLargest = 4 * 1024 * 1024;

[[noreturn]] void refuse(const std::string &file, const char *why) {
  throw Failure("the plugin states cannot be read: " + file + " " + why);
}

std::string contents(const std::string &file) {
  std::error_code error;
  if (!files::is_regular_file(file, error)) {
    refuse(file, "is no file");
  }
  if (files::file_size(file, error) > kLargest) {
    refuse(file, "is too large");
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    refuse(file, "cannot be opened");
  }
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

const Json &member(const Json &object, const char *name) {
  static const Json kNone;
  return object.is_object() && object.contains(name) ? object[name] : kNone;
}

std::string text(const Json &object, const char *name) {
  const Json &value = member(object, name);
  return value.is_string() ? value.get<std::string>() : "";
}

int64_t number(const Json &object, const char *name) {
  const Json &value = member(object, name);
  return value.is_number_integer() ? value.get<int64_t>() : 0;
}

// A plugin that is not installed remembers nothing else.
Json plugin(const Json &entry) {
  const Json &config = member(entry, "config");
  const std::string state = text(entry, "handlerstate");
  const int64_t when = number(config, "cmdtime");
  Json shown = {{"name", text(entry, "name")},
                {"version", text(entry, "version")},
                {"state", state.empty() ? "not installed" : state},
                {"installed", number(config, "installed") != 0}};
  if (shown["installed"] == true) {
    shown["sequence_number"] = number(config, "seqno");
    shown["command_time"] = when != 0 ? time_text(when) : "none";
    shown["extension_name"] = text(config, "extname");
    shown["message"] = text(config, "message");
  }
  return shown;
}

}  // namespace

Json plugin_list(const std::string &file) {
  std::error_code error;
  if (files::symlink_status(file, error).type() == files::file_type::not_found) {
    return Json::array();
  }
  const Json document = Json::parse(contents(file), nullptr, false);
  if (!document.is_array() ||
      !std::all_of(document.begin(), document.end(), [](const Json &e) { return e.is_object(); })) {
    refuse(file, "is not what the agent writes");
  }
  Json list = Json::array();
  std::transform(document.begin(), document.end(), std::back_inserter(list), plugin);
  return list;
}

}  // namespace kelvanectl
