// What an XML document from outside may hold at the most. Each cap is far above what the platform sends and far below
// what makes Mini-XML, or one of the agent's readers, slow or fat: within them no reading of a document takes 50 ms of
// CPU time or 37 MB. tests/bench/readings_bench.cc measures it for the dearest documents of each reader.
//
// How far above: a machine has a dozen extensions, seldom more than that. With fifty of them and their settings an
// extensions configuration has about 250 elements and 750 attributes. The deepest document, the provisioning one, has 7
// levels.
#ifndef KELVANE_CORE_BASE_XML_CAPS_H
#define KELVANE_CORE_BASE_XML_CAPS_H

#include <stdint.h>

namespace kelvane {

// Bytes of a document. The largest that the platform sends are extensions configurations of some hundred kilobytes,
// whose runtime settings may hold a script.
inline constexpr uint64_t kXmlMaxBytes = uint64_t{2} * 1024 * 1024;

// Nodes of a document: elements, comments, instructions, CDATA sections, and white-space-separated words of text. Each
// costs 130 bytes and more. Half a megabyte of settings that are a script has some 60,000 words.
inline constexpr uint64_t kXmlMaxNodes = 65536;

// References in a document: each "&quot;" and the like costs a tenth of a microsecond. Fifty extensions with thirty
// settings each have 6,000.
inline constexpr uint64_t kXmlMaxReferences = 65536;

// Elements of a document, which are what readers do something for: thirty times what fifty extensions take.
inline constexpr uint64_t kXmlMaxElements = 8192;

// Attributes of one element: the library's look-up makes them quadratic. A plugin element has fewer than 20.
inline constexpr uint32_t kXmlMaxAttributes = 32;

// Attributes of a document: five times what fifty extensions take. They bound how many plugins there can be and how
// many entries of settings, each of which is looked for among all plugins.
inline constexpr uint64_t kXmlMaxDocumentAttributes = 4096;

// Depth of nesting: keys of the provisioning document that are nested look through each other.
inline constexpr uint32_t kXmlMaxDepth = 16;

}  // namespace kelvane

#endif
