#include "tools/fabric/json_fields.h"

#include <algorithm>

namespace kelvane::fabric {

std::string kind_of(const Json &value) {
  if (value.is_string()) return "a text";
  if (value.is_number()) return "a number";
  if (value.is_boolean()) return "true or false";
  if (value.is_array()) return "a list";
  if (value.is_object()) return "an object";
  return "null";
}

namespace {

[[noreturn]] void wrong(const std::string &path, const std::string &expected, const Json &found) {
  throw ScenarioError(path + ": expected " + expected + ", found " + kind_of(found));
}

int64_t number_of(const Json &value, const std::string &path, int64_t low, int64_t high) {
  if (!value.is_number_integer()) wrong(path, "a whole number", value);
  auto number = value.get<int64_t>();
  if (number < low || number > high)
    throw ScenarioError(path + ": " + std::to_string(number) + " is not between " + std::to_string(low) + " and " +
                        std::to_string(high));
  return number;
}

}  // namespace

std::string text_of(const Json &value, const std::string &path) {
  if (!value.is_string()) wrong(path, "a text", value);
  return value.get<std::string>();
}

JsonFields::JsonFields(const Json &value, std::string path) : value_(value), path_(std::move(path)) {
  if (!value.is_object()) wrong(path_.empty() ? "the document" : path_, "an object", value);
}

std::string JsonFields::path_of(const std::string &key) const {
  return path_.empty() ? key : path_ + "." + key;
}

const Json *JsonFields::find(const std::string &key) {
  known_.insert(key);
  auto found = value_.find(key);
  return found == value_.end() ? nullptr : &*found;
}

std::optional<std::string> JsonFields::optional_text(const std::string &key) {
  const Json *found = find(key);
  if (found == nullptr) return std::nullopt;
  return text_of(*found, path_of(key));
}

std::string JsonFields::text(const std::string &key, std::string fallback) {
  return optional_text(key).value_or(std::move(fallback));
}

std::string JsonFields::required_text(const std::string &key) {
  auto found = optional_text(key);
  if (!found) throw ScenarioError(path_of(key) + ": missing");
  return *found;
}

std::string JsonFields::choice(const std::string &key, const std::string &fallback,
                               std::initializer_list<const char *> allowed) {
  std::string chosen = text(key, fallback);
  if (std::find(allowed.begin(), allowed.end(), chosen) != allowed.end()) return chosen;
  std::string all;
  for (const char *one : allowed) all += (all.empty() ? "" : ", ") + std::string(one);
  throw ScenarioError(path_of(key) + ": \"" + chosen + "\" is none of: " + all);
}

int64_t JsonFields::number(const std::string &key, int64_t fallback, int64_t low, int64_t high) {
  return optional_number(key, low, high).value_or(fallback);
}

std::optional<int64_t> JsonFields::optional_number(const std::string &key, int64_t low, int64_t high) {
  const Json *found = find(key);
  if (found == nullptr) return std::nullopt;
  return number_of(*found, path_of(key), low, high);
}

bool JsonFields::flag(const std::string &key, bool fallback) {
  const Json *found = find(key);
  if (found == nullptr) return fallback;
  if (!found->is_boolean()) wrong(path_of(key), "true or false", *found);
  return found->get<bool>();
}

std::vector<const Json *> JsonFields::list(const std::string &key) {
  const Json *found = find(key);
  std::vector<const Json *> out;
  if (found == nullptr) return out;
  if (!found->is_array()) wrong(path_of(key), "a list", *found);
  for (const Json &element : *found) out.push_back(&element);
  return out;
}

std::vector<std::string> JsonFields::texts(const std::string &key) {
  std::vector<std::string> out;
  for (const Json *element : list(key)) {
    out.push_back(text_of(*element, path_of(key) + "[" + std::to_string(out.size()) + "]"));
  }
  return out;
}

void JsonFields::finish() const {
  for (const auto &member : value_.items()) {
    if (known_.count(member.key()) != 0) continue;
    std::string all;
    for (const std::string &key : known_) all += (all.empty() ? "" : ", ") + key;
    throw ScenarioError((path_.empty() ? "" : path_ + ": ") + "unknown key \"" + member.key() +
                        "\"; known are: " + all);
  }
}

}  // namespace kelvane::fabric
