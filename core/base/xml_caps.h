// What an XML document from outside may hold at the most. Each cap is far above what the platform sends and far below
// what makes Mini-XML slow or fat (a document of 1 MB that is nothing but empty elements becomes 33 MB of nodes).
#ifndef KELVANE_CORE_BASE_XML_CAPS_H
#define KELVANE_CORE_BASE_XML_CAPS_H

#include <stdint.h>

namespace kelvane {

// Bytes of a document. The largest that the platform sends are extensions configurations of some hundred kilobytes,
// whose runtime settings may hold a script.
inline constexpr uint64_t kXmlMaxBytes = uint64_t{8} * 1024 * 1024;

// Elements of a document. 400 plugins with their settings are about 2,000.
inline constexpr uint64_t kXmlMaxElements = 50000;

// Attributes of one element: the library's look-up makes them quadratic. A plugin element has fewer than 20.
inline constexpr uint32_t kXmlMaxAttributes = 256;

// Depth of nesting. The deepest document of the platform has about 12 levels.
inline constexpr uint32_t kXmlMaxDepth = 256;

}  // namespace kelvane

#endif
