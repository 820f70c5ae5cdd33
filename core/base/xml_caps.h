// What an XML document from outside may hold at the most. Each cap is far above what the platform sends and far below
// what makes Mini-XML slow or fat: within them gate, parse and GetNodeTextData of the worst document take less than
// 50 ms and 37 MB. Measured in a release build with Mini-XML 3.3.1, in ms of CPU time: 40 for as many attributes and
// words as allowed with entities behind them, 36 for entities alone, 23 for as many elements as allowed, 21 for words,
// 17 for attributes, 14 for one long word or name, 10 for an extensions configuration of 1 MB.
#ifndef KELVANE_CORE_BASE_XML_CAPS_H
#define KELVANE_CORE_BASE_XML_CAPS_H

#include <stdint.h>

namespace kelvane {

// Bytes of a document. The largest that the platform sends are extensions configurations of some hundred kilobytes,
// whose runtime settings may hold a script: 1 MB of settings and 400 plugins.
inline constexpr uint64_t kXmlMaxBytes = uint64_t{2} * 1024 * 1024;

// Nodes of a document: elements, comments, instructions, CDATA sections, and white-space-separated words of text. Each
// costs 130 bytes and more. 400 plugins with their settings are about 2,000 elements, 1 MB of script some 150,000
// words.
inline constexpr uint64_t kXmlMaxNodes = 262144;

// Attributes of one element: the library's look-up makes them quadratic. A plugin element has fewer than 20.
inline constexpr uint32_t kXmlMaxAttributes = 32;

// Attributes of a document. 400 plugins have about 6,000.
inline constexpr uint64_t kXmlMaxDocumentAttributes = 32768;

// Depth of nesting. The deepest document of the platform has about 12 levels.
inline constexpr uint32_t kXmlMaxDepth = 256;

}  // namespace kelvane

#endif
