#include "provision/ovf_document.h"

#include "core/base/file.h"
#include "core/base/log.h"
#include "provision/custom_data.h"

namespace kelvane {

namespace {

constexpr char kMediaDocument[] = "/cdrom/ovf-env.xml";
constexpr char kKeptDocument[] = "/data/etc/.ovf-env.xml";

int open_document() {
  const int media = file_open_to_read(kMediaDocument);
  return media >= 0 ? media : file_open_to_read(kKeptDocument);
}

XmlOwner load_document(bool *no_memory) {
  DescriptorOwner file(open_document());
  if (!file.present()) {
    return XmlOwner();
  }
  LOG_ABOVE(6, "[kelvane]: %s:%d - parsing ovf-env.xml\n", "OvfEnvLoad", 215);
  XmlOwner document = xml_load_descriptor(file.get(), no_memory);
  file.close_now();
  // Also when it did not parse. From the kept document this changes nothing, as then it exists.
  if (!file_exists(kKeptDocument)) {
    ncfg_copyfile(kMediaDocument, kKeptDocument);
  }
  return document;
}

}  // namespace

XmlOwner OvfEnvLoad(bool *no_memory) {
  *no_memory = false;
  LOG_ABOVE(6, "[kelvane]: %s:%d - loading ovf-env.xml\n", "OvfEnvLoad", 208);
  XmlOwner document = load_document(no_memory);
  custom_data_keep();
  LOG_ABOVE(6, "[kelvane]: %s:%d - done - %s\n", "OvfEnvLoad", 236, document.present() ? "success" : "failed");
  return document;
}

void OvfEnvFree(XmlOwner *document) {
  mxml_node_t *top = document->get();
  for (mxml_node_t *node = top != nullptr ? xml_find(top, "UserPassword") : nullptr; node != nullptr;
       node = mxmlFindElement(node, top, "UserPassword", nullptr, nullptr, MXML_DESCEND)) {
    xml_wipe_below(node);
  }
  document->reset();
}

}  // namespace kelvane
