// Reads one JSON object member by member and insists that every member was asked for: the strict reading of scenario
// files. Used by the scenario readers and the control requests only. Nothing blocks; a wrong type, a wrong value or an
// unknown key throws ScenarioError with the path of the member.
#ifndef KELVANE_TOOLS_FABRIC_JSON_FIELDS_H
#define KELVANE_TOOLS_FABRIC_JSON_FIELDS_H

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/fabric/scenario.h"

namespace kelvane::fabric {

using Json = nlohmann::ordered_json;

class JsonFields {
 public:
  // `value` must be an object and outlive this; `path` names it in errors.
  JsonFields(const Json &value, std::string path);

  const std::string &path() const { return path_; }
  // The member, or none when it is absent.
  const Json *find(const std::string &key);
  std::optional<std::string> optional_text(const std::string &key);
  std::string text(const std::string &key, std::string fallback);
  std::string required_text(const std::string &key);
  std::string choice(const std::string &key, const std::string &fallback, std::initializer_list<const char *> allowed);
  int64_t number(const std::string &key, int64_t fallback, int64_t low, int64_t high);
  std::optional<int64_t> optional_number(const std::string &key, int64_t low, int64_t high);
  bool flag(const std::string &key, bool fallback);
  std::vector<std::string> texts(const std::string &key);
  // The array's elements; empty when the member is absent.
  std::vector<const Json *> list(const std::string &key);
  std::string path_of(const std::string &key) const;
  // Throws when the object has a member nobody asked for.
  void finish() const;

 private:
  const Json &value_;
  std::string path_;
  std::set<std::string> known_;
};

// What kind of value it is, in the words of the errors.
std::string kind_of(const Json &value);

// The text of a value that must be one.
std::string text_of(const Json &value, const std::string &path);

}  // namespace kelvane::fabric

#endif
