// XML documents: the owner of a Mini-XML tree, loading through the gate, and the reading of element texts. Mini-XML
// never sees a byte from outside that the gate (core/base/xml_gate.h) has not passed; what the gate refuses counts as a
// document that does not parse. Does not block but for the file it reads. Logs one line for what is over a cap, nothing
// of the document, and nothing for what is not well-formed.
#ifndef KELVANE_CORE_BASE_XML_H
#define KELVANE_CORE_BASE_XML_H

#include <mxml.h>
#include <stdint.h>

#include "core/base/owned.h"
#include "core/base/text.h"

namespace kelvane {

using XmlOwner = Owned<mxml_node_t, mxmlDelete>;

// Loads a document of length bytes, behind which stands a zero byte (as a Buffer's does), with no parent and no type
// callback: element content becomes text nodes, one a word. Absent when the gate refuses it or it does not parse, and
// when memory ran out for any part of it, which *no_memory (may be null) tells apart.
XmlOwner xml_load(const char *bytes, uint64_t length, bool *no_memory = nullptr);

// The same for what an open descriptor yields to its end. The caller keeps the descriptor. *no_memory tells whether it
// is absent because memory ran out.
XmlOwner xml_load_descriptor(int descriptor, bool *no_memory);

// Overwrites what the nodes below one hold: words, CDATA sections, and the names of elements, as which Mini-XML keeps
// those. An absent node is fine.
void xml_wipe_below(mxml_node_t *top);

// Joins the texts of a run of text nodes: the node and its following siblings while they are text nodes. Each
// contributes a single space when it is preceded by white space in the document, then its text. Absent for an absent
// node, a total of no characters, or no memory.
Text GetNodeTextData(mxml_node_t *first);

// The first element of that name anywhere below top, depth first; null when there is none.
mxml_node_t *xml_find(mxml_node_t *top, const char *name);

// GetNodeTextData into *out, absent or not: 0, or -1 when it is absent for want of memory.
int32_t xml_take_run(mxml_node_t *first, Text *out);

// The text of the first element of that name below top: GetNodeTextData of its first child, when that is a text node.
// 0; without such a text *out stays as it is. -1 when there was no memory for it, *out stays, too.
int32_t xml_take_text(mxml_node_t *top, const char *name, Text *out);

// Whether a node is a text node.
bool xml_is_text(mxml_node_t *node);

}  // namespace kelvane

#endif
