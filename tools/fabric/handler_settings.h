// The settings of an extension as the platform tells them: the public ones open, the protected ones encrypted, and
// whose key opens them. Used by the documents that carry them. Nothing blocks; CryptoError when they cannot be made.
#ifndef KELVANE_TOOLS_FABRIC_HANDLER_SETTINGS_H
#define KELVANE_TOOLS_FABRIC_HANDLER_SETTINGS_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "tools/fabric/tenant.h"

namespace kelvane::fabric {

struct HandlerSettings {
  std::optional<std::string> thumbprint;
  std::optional<std::string> protected_settings;
  std::optional<nlohmann::ordered_json> public_settings;  // a text when they are no JSON
};

// `transport` is the certificate that the agent sent last, or none.
HandlerSettings make_handler_settings(const SettingsSpec &spec, const Tenant &tenant, X509 *transport);

// The JSON of the text, or the text itself when it is no JSON.
nlohmann::ordered_json json_or_text(const std::string &text);

}  // namespace kelvane::fabric

#endif
