// The one gate in front of Mini-XML: decides, without allocating, whether a document may be handed to the library. The
// library reads past its buffer on malformed UTF-8, leaks on some malformed documents, and is quadratic in the
// attributes of one element; what passes here is strict UTF-8 without NUL, well formed, and within the caps below.
// Called by core/base/xml.cc only. Linear in the input's length; never fails otherwise than by its verdict.
#ifndef KELVANE_CORE_BASE_XML_GATE_H
#define KELVANE_CORE_BASE_XML_GATE_H

#include <stdint.h>

#include "core/base/xml_caps.h"

namespace kelvane {

enum class XmlGateVerdict : uint8_t {
  kPassed,
  kEmpty,
  kTooLong,
  kNotUtf8,
  kNotWellFormed,
  kTooManyElements,
  kTooManyAttributes,
  kTooDeep,
};

// The first reason against the document, in the order in which it is met.
XmlGateVerdict xml_gate_check(const char *bytes, uint64_t length);

}  // namespace kelvane

#endif
