#include "tests/unit/provision/wiped.h"

std::vector<std::string> &wiped() {
  static std::vector<std::string> contents;
  return contents;
}

std::function<void(mxml_node_t *)> &on_xml_delete() {
  static std::function<void(mxml_node_t *)> hook;
  return hook;
}

extern "C" {

void __real_explicit_bzero(void *memory, size_t size);
void __real_mxmlDelete(mxml_node_t *node);

void __wrap_explicit_bzero(void *memory, size_t size) {
  wiped().emplace_back(static_cast<const char *>(memory), size);
  __real_explicit_bzero(memory, size);
}

void __wrap_mxmlDelete(mxml_node_t *node) {
  if (on_xml_delete()) {
    on_xml_delete()(node);
  }
  __real_mxmlDelete(node);
}

}  // extern "C"
