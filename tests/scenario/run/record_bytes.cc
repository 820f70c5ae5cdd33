#include "tests/scenario/run/record_bytes.h"

#include <algorithm>
#include <stdexcept>

namespace scenario {
namespace {

constexpr const char *kDigits = "0123456789abcdef";

std::string from_digits(const std::string &digits) {
  if (digits.size() % 2 != 0 || digits.find_first_not_of(kDigits) != std::string::npos) {
    throw std::runtime_error("no bytes in hexadecimal digits: " + digits);
  }
  std::string out;
  for (size_t i = 0; i < digits.size(); i += 2) {
    out += static_cast<char>(std::stoul(digits.substr(i, 2), nullptr, 16));
  }
  return out;
}

// The stored form is another one each time: the record's own is expected when it belongs to the password.
std::string stored_password(const Json &field, const std::string &record, size_t offset) {
  const auto width = field.at("width").get<size_t>();
  const std::string stored = record.substr(offset, width).c_str();
  return password_fits(stored, field["password_of"].get<std::string>()) ? stored : "the stored form of the password";
}

std::string bytes_of(const Json &field, const std::string &record, size_t offset) {
  if (field.is_string()) {
    return from_digits(field.get<std::string>());
  }
  return field.contains("password_of") ? stored_password(field, record, offset) : field.at("text").get<std::string>();
}

std::string difference_at(size_t offset, const std::string &expected, const std::string &record) {
  return "byte " + std::to_string(offset) + ": expected " + as_digits(&expected[offset], 1) + ", got " +
         as_digits(&record[offset], 1);
}

}  // namespace

std::string as_digits(const void *bytes, size_t size) {
  const auto *at = static_cast<const unsigned char *>(bytes);
  std::string out;
  for (size_t i = 0; i < size; ++i) {
    out += kDigits[at[i] >> 4];
    out += kDigits[at[i] & 15];
  }
  return out;
}

std::string bytes_difference(const Json &expected, const std::string &digits) {
  const std::string record = from_digits(digits);
  std::string whole(expected.at("size").get<size_t>(), '\0');
  if (record.size() != whole.size()) {
    return "expected " + std::to_string(whole.size()) + " bytes, got " + std::to_string(record.size());
  }
  for (const auto &[key, field] : expected.at("at").items()) {
    const size_t offset = std::stoul(key);
    const std::string bytes = bytes_of(field, record, offset);
    if (offset > whole.size() || bytes.size() > whole.size() - offset) {
      throw std::runtime_error("beyond the record: " + key);
    }
    whole.replace(offset, bytes.size(), bytes);
  }
  const auto found = std::mismatch(whole.begin(), whole.end(), record.begin()).first;
  return found == whole.end() ? "" : difference_at(static_cast<size_t>(found - whole.begin()), whole, record);
}

}  // namespace scenario
