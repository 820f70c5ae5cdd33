#include "tools/fabric/handler_settings.h"

#include "tools/fabric/bytes.h"
#include "tools/fabric/container.h"
#include "tools/fabric/openssl_program.h"

namespace kelvane::fabric {

namespace {

// Whom the protected settings are for.
struct Recipient {
  X509 *certificate = nullptr;
  std::string thumbprint;
};

Recipient recipient_of(const SettingsSpec &settings, const Tenant &tenant, X509 *transport) {
  if (settings.certificate) {
    const Identity &identity = tenant.named(*settings.certificate);
    return {identity.certificate.get(), identity.thumbprint};
  }
  if (!settings.transport) return {};
  if (transport == nullptr) throw CryptoError("protected settings: the agent has not sent its certificate");
  return {transport, thumbprint_of(transport)};
}

std::string lower_case(std::string text) {
  for (char &c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

std::optional<std::string> told_thumbprint(const SettingsSpec &spec, const Tenant &tenant, const Recipient &recipient) {
  if (!spec.tell_thumbprint) return std::nullopt;
  if (spec.thumbprint) return spec.thumbprint;
  const std::string own = spec.thumbprint_of ? tenant.named(*spec.thumbprint_of).thumbprint : recipient.thumbprint;
  if (own.empty()) return std::nullopt;
  return spec.thumbprint_lower_case ? lower_case(own) : own;
}

// The protected settings as they are sent.
std::string sealed(const SettingsSpec &spec, const Recipient &recipient) {
  if (recipient.certificate == nullptr) return *spec.protected_settings;
  if (spec.sealed_by)
    return base64_encode(seal_by_program(*spec.sealed_by, *spec.protected_settings, recipient.certificate));
  return protect_settings(*spec.protected_settings, recipient.certificate);
}

}  // namespace

nlohmann::ordered_json json_or_text(const std::string &text) {
  auto value = nlohmann::ordered_json::parse(text, nullptr, false);
  return value.is_discarded() ? nlohmann::ordered_json(text) : value;
}

HandlerSettings make_handler_settings(const SettingsSpec &spec, const Tenant &tenant, X509 *transport) {
  const Recipient recipient = recipient_of(spec, tenant, transport);
  HandlerSettings out;
  out.thumbprint = told_thumbprint(spec, tenant, recipient);
  if (spec.protected_settings) out.protected_settings = sealed(spec, recipient);
  if (spec.public_settings) out.public_settings = json_or_text(*spec.public_settings);
  return out;
}

}  // namespace kelvane::fabric
