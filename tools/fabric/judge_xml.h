// What the judges of XML documents share: loading one strictly, and naming what was found in it. Pure, nothing blocks.
#ifndef KELVANE_TOOLS_FABRIC_JUDGE_XML_H
#define KELVANE_TOOLS_FABRIC_JUDGE_XML_H

#include <pugixml.hpp>
#include <string>

#include "tools/fabric/judge.h"

namespace kelvane::fabric {

// Loads the body when it is a well-formed document in UTF-8, white space included; says why in the judgement when it
// is not.
bool load_xml(const std::string &body, pugi::xml_document &document, Judgement &judgement);

// "<name>" of an element, the text of a text, "nothing" of none.
std::string tag_name(const pugi::xml_node &node);

// The attributes are exactly these, in this order; the value "*" fits any. `path` names the element.
void judge_attributes(const pugi::xml_node &node, const std::vector<Header> &expected, const std::string &path,
                      Judgement &judgement);

}  // namespace kelvane::fabric

#endif
