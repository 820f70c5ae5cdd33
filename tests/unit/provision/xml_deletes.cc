#include "tests/unit/provision/xml_deletes.h"

std::function<void(mxml_node_t *)> &on_xml_delete() {
  static std::function<void(mxml_node_t *)> hook;
  return hook;
}

extern "C" {

void __real_mxmlDelete(mxml_node_t *node);

void __wrap_mxmlDelete(mxml_node_t *node) {
  if (on_xml_delete()) {
    on_xml_delete()(node);
  }
  __real_mxmlDelete(node);
}

}  // extern "C"
