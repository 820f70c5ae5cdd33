#include "tools/fabric/ovf.h"

#include <algorithm>

#include "tools/fabric/bytes.h"

namespace kelvane::fabric {

namespace {

// Writes elements and leaves out what the scenario leaves out.
class OvfWriter {
 public:
  explicit OvfWriter(const OvfSpec &ovf) : ovf_(ovf) {}

  void open(const std::string &name) { line("<" + name + ">"); }
  void close(const std::string &name) { line("</" + name + ">"); }
  void leaf(const std::string &name, const std::optional<std::string> &text) {
    if (text && !omitted(name)) line("<" + name + ">" + xml_escape(*text) + "</" + name + ">");
  }
  bool omitted(const std::string &name) const {
    return std::find(ovf_.omit.begin(), ovf_.omit.end(), name) != ovf_.omit.end();
  }
  void line(const std::string &text) { out_ += text + "\n"; }
  const std::string &text() const { return out_; }

 private:
  const OvfSpec &ovf_;
  std::string out_ = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
};

std::optional<std::string> thumbprint(const PublicKeySpec &key, const Tenant &tenant) {
  return key.fingerprint_of ? tenant.named(*key.fingerprint_of).thumbprint : key.fingerprint;
}

std::optional<std::string> value(const PublicKeySpec &key, const Tenant &tenant) {
  return key.value_of ? ssh_rsa_line(tenant.named(*key.value_of)) : key.value;
}

void write_keys(OvfWriter &out, const OvfSpec &ovf, const Tenant &tenant) {
  if (ovf.public_keys.empty() || out.omitted("SSH") || out.omitted("PublicKeys")) return;
  out.open("SSH");
  out.open("PublicKeys");
  for (const PublicKeySpec &key : ovf.public_keys) {
    out.open("PublicKey");
    out.leaf("Fingerprint", thumbprint(key, tenant));
    out.leaf("Path", key.path);
    out.leaf("Value", value(key, tenant));
    out.close("PublicKey");
  }
  out.close("PublicKeys");
  out.close("SSH");
}

}  // namespace

std::string ovf_document(const OvfSpec &ovf, const Tenant &tenant) {
  if (ovf.text) return *ovf.text;
  OvfWriter out(ovf);
  const std::string spaces =
      " xmlns:ovf=\"http://schemas.dmtf.org/ovf/environment/1\" xmlns:fs=\"urn:fabric:section\""
      " xmlns=\"urn:fabric:provisioning\"";
  const std::string section = ovf.namespaces ? "fs:ProvisioningSection" : "ProvisioningSection";
  out.line(ovf.namespaces ? "<ovf:Environment" + spaces + ">" : "<Environment>");
  out.open(section);
  out.leaf("Version", "1.0");
  out.open("LinuxProvisioningConfigurationSet");
  out.leaf("HostName", ovf.host_name);
  out.leaf("UserName", ovf.user_name);
  out.leaf("UserPassword", ovf.user_password);
  write_keys(out, ovf, tenant);
  if (ovf.custom_data) out.leaf("CustomData", base64_encode(*ovf.custom_data));
  out.close("LinuxProvisioningConfigurationSet");
  out.close(section);
  out.line(ovf.namespaces ? "</ovf:Environment>" : "</Environment>");
  return out.text();
}

}  // namespace kelvane::fabric
