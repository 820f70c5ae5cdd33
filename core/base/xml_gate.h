// The one gate in front of Mini-XML: decides, without allocating, whether a document may be handed to the library. The
// library reads past its buffer on malformed UTF-8, leaks on some malformed documents, and is quadratic in the
// attributes of one element; what passes here is strict UTF-8 without NUL or forbidden control characters, well-formed
// XML 1.0 without a document type, within the caps of xml_caps.h, and free of the few well-formed things that the
// library cannot read. Called by core/base/xml.cc only. Two passes, linear in the input's length; some 2 KB of stack;
// never fails otherwise than by its verdict.
//
// Well-formed, and refused all the same because Mini-XML 3.3 does not read it (each has a test):
//   - white space in front of the root element of a document without XML declaration;
//   - a comment or processing instruction beside the root element, unless the document begins with a declaration or an
//     instruction;
//   - the empty comment;
//   - a character reference with more than 10 digits;
//   - U+FEFF anywhere but in text and attribute values, and two of them in a row: the library drops them, the second by
//     recursion.
// Passed although not quite well-formed, because it harms nobody: "]]>" in text, namespace prefixes without
// declaration, any encoding name in the XML declaration (the bytes are UTF-8 whatever it says).
#ifndef KELVANE_CORE_BASE_XML_GATE_H
#define KELVANE_CORE_BASE_XML_GATE_H

#include <stdint.h>

#include "core/base/xml_caps.h"

namespace kelvane {

enum class XmlGateVerdict : uint8_t {
  kPassed,
  kEmpty,
  kTooLong,
  kNotUtf8,  // malformed, NUL, or a character that XML forbids
  kNotWellFormed,
  kTooManyNodes,  // elements, comments, instructions, CDATA sections, words of text
  kTooManyElements,
  kTooManyReferences,
  kTooManyAttributes,  // of one element, or of the document
  kTooDeep,
};

// The first reason against the document: length, then characters (of the whole document), then structure and caps in
// the order in which they are met. A UTF-8 byte order mark may stand in front. bytes may be null when length is 0.
XmlGateVerdict xml_gate_check(const char *bytes, uint64_t length);

}  // namespace kelvane

#endif
