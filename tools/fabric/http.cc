#include "tools/fabric/http.h"

#include <strings.h>

#include <algorithm>
#include <array>

namespace kelvane::fabric {

const std::string *find_header(const std::vector<Header> &headers, std::string_view name) {
  auto same = [&](const Header &header) {
    return header.name.size() == name.size() && strncasecmp(header.name.data(), name.data(), name.size()) == 0;
  };
  auto found = std::find_if(headers.begin(), headers.end(), same);
  return found == headers.end() ? nullptr : &found->value;
}

Target split_target(const Request &request) {
  Target target;
  std::string_view rest = request.target;
  std::string_view authority;
  constexpr std::string_view kScheme = "http://";
  if (rest.substr(0, kScheme.size()) == kScheme) {
    rest.remove_prefix(kScheme.size());
    authority = rest.substr(0, rest.find_first_of("/?"));
    rest.remove_prefix(authority.size());
  } else if (const std::string *host = find_header(request.headers, "Host")) {
    authority = *host;
  }
  target.host = authority.substr(0, authority.find(':'));
  size_t mark = rest.find('?');
  target.path = mark == 0 || rest.empty() ? "/" : rest.substr(0, mark);
  if (mark != std::string_view::npos) target.query = rest.substr(mark + 1);
  return target;
}

std::optional<std::string> query_value(const Target &target, std::string_view key) {
  std::string_view rest = target.query;
  while (!rest.empty()) {
    std::string_view part = rest.substr(0, rest.find('&'));
    rest.remove_prefix(std::min(rest.size(), part.size() + 1));
    size_t equals = part.find('=');
    if (part.substr(0, equals) != key) continue;
    return std::string(equals == std::string_view::npos ? "" : part.substr(equals + 1));
  }
  return std::nullopt;
}

Answer text_answer(int status, std::string body) {
  return {.status = status, .headers = {{"Content-Type", "text/plain; charset=utf-8"}}, .body = std::move(body)};
}

Answer xml_answer(std::string body) {
  return {.status = 200, .headers = {{"Content-Type", "text/xml; charset=utf-8"}}, .body = std::move(body)};
}

Answer json_answer(std::string body) {
  return {.status = 200, .headers = {{"Content-Type", "application/json; charset=utf-8"}}, .body = std::move(body)};
}

Answer taken_answer(std::function<void()> take) {
  Answer answer;
  answer.delivered = std::move(take);
  return answer;
}

std::string_view reason_of(int status) {
  struct Row {
    int status;
    std::string_view reason;
  };
  constexpr std::array kRows{Row{200, "OK"},
                             Row{201, "Created"},
                             Row{202, "Accepted"},
                             Row{204, "No Content"},
                             Row{206, "Partial Content"},
                             Row{400, "Bad Request"},
                             Row{403, "Forbidden"},
                             Row{404, "Not Found"},
                             Row{405, "Method Not Allowed"},
                             Row{409, "Conflict"},
                             Row{410, "Gone"},
                             Row{411, "Length Required"},
                             Row{413, "Payload Too Large"},
                             Row{416, "Range Not Satisfiable"},
                             Row{429, "Too Many Requests"},
                             Row{500, "Internal Server Error"},
                             Row{502, "Bad Gateway"},
                             Row{503, "Service Unavailable"}};
  for (const Row &row : kRows)
    if (row.status == status) return row.reason;
  return "Unknown";
}

}  // namespace kelvane::fabric
