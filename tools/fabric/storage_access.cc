#include "tools/fabric/storage_access.h"

#include <algorithm>

#include "tools/fabric/bytes.h"

namespace kelvane::fabric {

namespace {

constexpr char kVersion[] = "2014-02-14";
constexpr char kTimeExpected[] = "a UTC time like \"2026-01-31T12:00:00Z\"";

// The query without what the agent adds for pages.
std::string told_query(const Target &target) {
  const std::string added = "comp=page";
  std::string query = target.query;
  if (query == added) return "";
  if (query.size() > added.size() &&
      query.compare(query.size() - added.size() - 1, std::string::npos, "&" + added) == 0)
    query.resize(query.size() - added.size() - 1);
  return query;
}

std::optional<Answer> refused(std::string what, std::string expected, std::string came, Judgement &judgement) {
  return storage_complaint({"AuthenticationFailed", std::move(what), std::move(expected), std::move(came)}, judgement);
}

std::optional<Answer> refuse_missing_parts(const Target &target, Judgement &judgement) {
  for (const char *part : {"sv", "se", "sp", "sig"})
    if (query_value(target, part).value_or("").empty())
      return refused("query", std::string("a signed address with \"") + part + "\"", in_quotes(target.query),
                     judgement);
  return std::nullopt;
}

// Expiry times may be a day alone, or lack their seconds.
std::string full_time(const std::string &text) {
  if (text.size() == 10) return text + "T00:00:00Z";
  return text.size() == 17 ? text.substr(0, 16) + ":00Z" : text;
}

std::optional<Answer> refuse_expiry(const Request &request, const Target &target, Judgement &judgement) {
  const std::string expiry = full_time(percent_decode(*query_value(target, "se")));
  if (!is_timestamp(expiry)) return refused("query se", kTimeExpected, in_quotes(expiry), judgement);
  const std::string *date = find_header(request.headers, "x-ms-date");
  if (date == nullptr || *date < expiry) return std::nullopt;
  return refused("query se", "an address that has not run out at " + *date, in_quotes(expiry), judgement);
}

std::optional<Answer> refuse_permission(const Request &request, const Target &target, Judgement &judgement) {
  const std::string permissions = *query_value(target, "sp");
  const std::string needed = request.method == "PUT" ? "w" : "r";
  if (permissions.find(needed) != std::string::npos) return std::nullopt;
  return storage_complaint(
      {"AuthorizationPermissionMismatch", "query sp", "the permission \"" + needed + "\"", in_quotes(permissions)},
      judgement);
}

std::optional<Answer> refuse_other_query(const std::vector<std::string> &told, const Target &target,
                                         Judgement &judgement) {
  const std::string query = told_query(target);
  if (told.empty() || std::find(told.begin(), told.end(), query) != told.end()) return std::nullopt;
  return refused("query", in_quotes(told.back()), in_quotes(query), judgement);
}

}  // namespace

bool is_timestamp(const std::string &text) {
  const std::string shape = "0000-00-00T00:00:00Z";
  if (text.size() != shape.size()) return false;
  for (size_t at = 0; at < shape.size(); at++) {
    bool digit = text[at] >= '0' && text[at] <= '9';
    if (shape[at] == '0' ? !digit : text[at] != shape[at]) return false;
  }
  auto number = [&](size_t at) { return std::stoi(text.substr(at, 2)); };
  return number(5) >= 1 && number(5) <= 12 && number(8) >= 1 && number(8) <= 31 && number(11) <= 23 &&
         number(14) <= 59 && number(17) <= 60;
}

std::optional<Answer> refuse_headers(const Request &request, Judgement &judgement) {
  const std::string *version = find_header(request.headers, "x-ms-version");
  const std::string *date = find_header(request.headers, "x-ms-date");
  if (date == nullptr) return missing_header("x-ms-date", kTimeExpected, judgement);
  if (!is_timestamp(*date)) return wrong_header("x-ms-date", kTimeExpected, *date, judgement);
  if (version == nullptr) return missing_header("x-ms-version", in_quotes(kVersion), judgement);
  if (*version != kVersion) return wrong_header("x-ms-version", in_quotes(kVersion), *version, judgement);
  return std::nullopt;
}

std::optional<Answer> refuse_signature(const Storage &storage, const std::string &key, const Request &request,
                                       const Target &target, Judgement &judgement) {
  std::optional<Answer> refusal = refuse_missing_parts(target, judgement);
  if (!refusal) refusal = refuse_expiry(request, target, judgement);
  if (!refusal) refusal = refuse_permission(request, target, judgement);
  return refusal ? refusal : refuse_other_query(storage.announced_queries(key), target, judgement);
}

}  // namespace kelvane::fabric
