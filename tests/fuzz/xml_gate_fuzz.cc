// Whatever the gate passes, the library parses into a tree, without a report of the sanitizers.
#include <mxml.h>

#include <cstdlib>
#include <string>

#include "core/base/xml.h"
#include "core/base/xml_gate.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  if (kelvane::xml_gate_check(text.c_str(), text.size()) != kelvane::XmlGateVerdict::kPassed) {
    return 0;
  }
  mxmlSetErrorCallback([](const char *) { std::abort(); });
  mxml_node_t *tree = mxmlLoadString(nullptr, text.c_str(), MXML_NO_CALLBACK);
  if (tree == nullptr) {
    std::abort();
  }
  for (mxml_node_t *node = tree; node != nullptr; node = mxmlWalkNext(node, tree, MXML_DESCEND)) {
    kelvane::GetNodeTextData(mxmlGetFirstChild(node));
  }
  mxmlDelete(tree);
  return 0;
}
