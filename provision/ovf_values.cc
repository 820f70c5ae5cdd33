#include "provision/ovf_values.h"

#include "core/base/xml.h"
#include "credentials/ssh_pub_key.h"

namespace kelvane {

namespace {

constexpr int32_t kSelected = 1;

int32_t gsPublicKeys = 0;

// A fingerprint alone names a certificate that came with the goal state; its key is in the store already.
int32_t take_public_key(mxml_node_t *element) {
  Text fingerprint;
  Text value;
  if (xml_take_text(element, "Fingerprint", &fingerprint) != 0 || xml_take_text(element, "Value", &value) != 0) {
    return -1;
  }
  if (value.present()) {
    gsPublicKeys++;
    return SSHPubKeyAdd(value.get(), fingerprint.get(), kSelected);
  }
  if (fingerprint.present()) {
    gsPublicKeys++;
    SSHPubKeyFlag(fingerprint.get());
  }
  return 0;
}

// The "Path" of a key is not read: keys are always installed for the account that is being created.
int32_t take_public_keys(mxml_node_t *document) {
  mxml_node_t *keys = xml_find(document, "PublicKeys");
  for (mxml_node_t *key = keys != nullptr ? xml_find(keys, "PublicKey") : nullptr; key != nullptr;
       key = mxmlFindElement(key, keys, "PublicKey", nullptr, nullptr, MXML_DESCEND)) {
    if (take_public_key(key) != 0) {
      return -1;
    }
  }
  return 0;
}

}  // namespace

int32_t ProvisionAgent_ParseOvfEnv(mxml_node_t *document, Text *host_name, Text *user_name, Text *password) {
  if (xml_take_text(document, "HostName", host_name) != 0 || xml_take_text(document, "UserName", user_name) != 0 ||
      xml_take_text(document, "UserPassword", password) != 0) {
    return -1;
  }
  return take_public_keys(document);
}

int32_t __hasSSHPubKeys() {
  return gsPublicKeys != 0 ? 1 : 0;
}

}  // namespace kelvane
