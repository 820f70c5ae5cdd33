
#include "tools/fabric/bytes.h"
#include "tools/fabric/judge.h"
#include "tools/fabric/judge_xml.h"

namespace kelvane::fabric {

namespace {

// What one element must be. `fixed` is its exact text; `free` says that it holds any text. An element with neither
// holds exactly its children, in their order; an optional child may be absent.
struct Shape {
  std::string name;
  std::vector<Header> attributes = {};  // exact, in order; the value "*" fits any
  std::vector<Shape> children = {};
  const std::string *fixed = nullptr;
  bool free = false;
  bool optional = false;
};

void judge_text(const pugi::xml_node &node, const Shape &shape, const std::string &path, Judgement &judgement) {
  pugi::xml_node child = node.first_child();
  bool only_text = !child || (child.type() == pugi::node_pcdata && !child.next_sibling());
  if (!only_text)
    judgement.add(path, "text alone", tag_name(child.type() == pugi::node_pcdata ? child.next_sibling() : child));
  else if (shape.fixed != nullptr && *shape.fixed != node.child_value())
    judgement.add(path, in_quotes(*shape.fixed), in_quotes(node.child_value()));
}

void judge_element(const pugi::xml_node &node, const Shape &shape, const std::string &parent, Judgement &judgement) {
  const std::string path = parent + "/" + shape.name;
  judge_attributes(node, shape.attributes, path, judgement);
  if (shape.fixed != nullptr || shape.free) {
    judge_text(node, shape, path, judgement);
    return;
  }
  pugi::xml_node child = node.first_child();
  for (const Shape &wanted : shape.children) {
    if (wanted.name == child.name() && child.type() == pugi::node_element) {
      judge_element(child, wanted, path, judgement);
      child = child.next_sibling();
    } else if (!wanted.optional) {
      judgement.add(path, "<" + wanted.name + "> here", tag_name(child));
      return;
    }
  }
  if (child) judgement.add(path, "nothing more", tag_name(child));
}

bool load_exact(const std::string &body, const Shape &shape, pugi::xml_document &document, Judgement &judgement) {
  const std::string declaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
  if (!load_xml(body, document, judgement)) return false;
  if (body.compare(0, declaration.size(), declaration) != 0)
    judgement.add("body", "to begin with " + declaration, in_quotes(body.substr(0, declaration.size())));
  pugi::xml_node root = document.document_element();
  if (shape.name != root.name()) {
    judgement.add("body", "<" + shape.name + ">", tag_name(root));
    return false;
  }
  judge_element(root, shape, "", judgement);
  return true;
}

// What the agent was told; a text that fits nothing when it was told nothing.
const std::string *told(const Known &known, const std::string &element) {
  static const std::string nothing = "(a goal state was never delivered with this)";
  auto found = known.find(element);
  return found == known.end() ? &nothing : &found->second;
}

}  // namespace

HealthReport judge_health(const std::string &body, const Known &known, Judgement &judgement) {
  const Shape details{.name = "Details",
                      .children = {{.name = "SubStatus", .free = true}, {.name = "Description", .free = true}},
                      .optional = true};
  const Shape role{.name = "Role",
                   .children = {{.name = "InstanceId", .fixed = told(known, "InstanceId")},
                                {.name = "Health", .children = {{.name = "State", .free = true}, details}}}};
  const Shape shape{.name = "Health",
                    .attributes = {{"xmlns:xsi", "http://www.w3.org/2001/XMLSchema-instance"},
                                   {"xmlns:xsd", "http://www.w3.org/2001/XMLSchema"}},
                    .children = {{.name = "GoalStateIncarnation", .fixed = told(known, "Incarnation")},
                                 {.name = "Container",
                                  .children = {{.name = "ContainerId", .fixed = told(known, "ContainerId")},
                                               {.name = "RoleInstanceList", .children = {role}}}}}};
  pugi::xml_document document;
  if (!load_exact(body, shape, document, judgement)) return {};
  pugi::xml_node health = document.select_node("/Health/Container/RoleInstanceList/Role/Health").node();
  HealthReport report{health.child_value("State"), health.child("Details").child_value("SubStatus"),
                      health.child("Details").child_value("Description")};
  if (report.state != "NotReady" && report.state != "Ready")
    judgement.add("/Health/Container/RoleInstanceList/Role/Health/State", "\"NotReady\" or \"Ready\"",
                  in_quotes(report.state));
  return report;
}

std::string judge_role_properties(const std::string &body, const Known &known, Judgement &judgement) {
  const Shape property{.name = "Property", .attributes = {{"name", "CertificateThumbprint"}, {"value", "*"}}};
  const Shape instance{
      .name = "RoleInstance",
      .children = {{.name = "Id", .fixed = told(known, "InstanceId")}, {.name = "Properties", .children = {property}}}};
  const Shape shape{.name = "RoleProperties",
                    .children = {{.name = "Container",
                                  .children = {{.name = "ContainerId", .fixed = told(known, "ContainerId")},
                                               {.name = "RoleInstances", .children = {instance}}}}}};
  pugi::xml_document document;
  if (!load_exact(body, shape, document, judgement)) return {};
  return document.select_node("//Property").node().attribute("value").value();
}

}  // namespace kelvane::fabric
