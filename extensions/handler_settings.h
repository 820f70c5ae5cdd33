// The settings documents of extensions: parsing, decrypting of the protected settings, and picking of the two settings
// objects. Called by the plugins and the configuration dump, on the main thread; never blocks. Every failure to decode
// or decrypt ends in an absent result without a log line; the plaintext reaches the log only above level 6. Plaintext
// is wiped when its owner ends.
#ifndef KELVANE_EXTENSIONS_HANDLER_SETTINGS_H
#define KELVANE_EXTENSIONS_HANDLER_SETTINGS_H

#include <stddef.h>
#include <stdint.h>

#include "core/base/json_owners.h"

namespace kelvane {

// Bytes of the base64 text of protected settings; those that are longer are not decrypted. The platform's are a few
// kilobytes. The library decrypts a megabyte in 50 ms.
inline constexpr size_t kProtectedMaxText = size_t{256} * 1024;

// Parses a runtime-settings document and, where the certificate store knows the thumbprint, replaces the text of its
// protected settings by the decrypted value. Absent when the text is null, no JSON, or no object.
JsonSecretOwner HandlerUtilParseConfig(const char *text);

// Decrypts one protected-settings text (base64 of a PKCS#7 message) with the certificate of that thumbprint, and, when
// there is no thumbprint or that gives nothing, with the transport certificate. Absent when nothing comes of it.
JsonSecretOwner HandlerUtilParseProtectedSettings(const char *protected_settings, const char *thumbprint);

// Finds the settings objects of a parsed document: *protected_object only once it has been decrypted to an object. Both
// outputs may be null and are untouched when there is nothing to hand out; what they receive belongs to the document.
// 0; -1 no document; -2 no object; -3 no "runtimeSettings" array; -4 an empty one; -5 its first element is no object;
// -6 no "handlerSettings" object.
int32_t HandlerUtilGetSettings(json_object *document, json_object **protected_object, json_object **public_object);

}  // namespace kelvane

#endif
