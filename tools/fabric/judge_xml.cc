#include "tools/fabric/judge_xml.h"

#include <cctype>

#include "tools/fabric/bytes.h"

namespace kelvane::fabric {

namespace {

// The parser lets a bare ampersand pass; a strict server does not.
bool has_bare_ampersand(const std::string &body) {
  for (size_t at = body.find('&'); at != std::string::npos; at = body.find('&', at + 1)) {
    size_t end = at + 1;
    while (end < body.size() && (std::isalnum(static_cast<unsigned char>(body[end])) != 0 || body[end] == '#')) end++;
    if (end == at + 1 || end >= body.size() || body[end] != ';') return true;
  }
  return false;
}

}  // namespace

std::string tag_name(const pugi::xml_node &node) {
  if (node.type() == pugi::node_element) return std::string("<") + node.name() + ">";
  return node ? "text " + in_quotes(node.value()) : "nothing";
}

void judge_attributes(const pugi::xml_node &node, const std::vector<Header> &attributes, const std::string &path,
                      Judgement &judgement) {
  std::string expected, came;
  for (const Header &attribute : attributes) expected += " " + attribute.name + "=\"" + attribute.value + "\"";
  size_t number = 0;
  for (const pugi::xml_attribute &attribute : node.attributes()) {
    bool any = number < attributes.size() && attributes[number].value == "*";
    came += std::string(" ") + attribute.name() + "=\"" + (any ? "*" : attribute.value()) + "\"";
    number++;
  }
  if (expected != came) judgement.add("attributes of " + path, in_quotes(expected), in_quotes(came));
}

bool load_xml(const std::string &body, pugi::xml_document &document, Judgement &judgement) {
  const std::string expected = "a well-formed XML document in UTF-8";
  pugi::xml_parse_result result =
      document.load_buffer(body.data(), body.size(), pugi::parse_default | pugi::parse_ws_pcdata, pugi::encoding_utf8);
  if (!is_utf8(body))
    judgement.add("body", expected, "bytes that are not UTF-8");
  else if (!result)
    judgement.add("body", expected, std::string(result.description()) + " at byte " + std::to_string(result.offset));
  else if (has_bare_ampersand(body) && body.find("<![CDATA[") == std::string::npos)
    judgement.add("body", expected, "a bare ampersand");
  else
    return true;
  return false;
}

}  // namespace kelvane::fabric
