#include "core/base/xml.h"

#include <stdlib.h>
#include <string.h>

#include "core/base/buffer.h"
#include "core/base/file.h"
#include "core/base/log.h"
#include "core/base/xml_gate.h"

namespace kelvane {

namespace {

struct Cap {
  XmlGateVerdict verdict;
  const char *name;
};

constexpr Cap kCaps[] = {
    {.verdict = XmlGateVerdict::kTooLong, .name = "bytes"},
    {.verdict = XmlGateVerdict::kTooManyNodes, .name = "words and other nodes"},
    {.verdict = XmlGateVerdict::kTooManyElements, .name = "elements"},
    {.verdict = XmlGateVerdict::kTooManyReferences, .name = "references"},
    {.verdict = XmlGateVerdict::kTooManyAttributes, .name = "attributes"},
    {.verdict = XmlGateVerdict::kTooDeep, .name = "levels"},
};

// Whoever waits for the document learns nowhere else why it is as good as none.
void tell_refusal(XmlGateVerdict verdict) {
  for (const Cap &cap : kCaps) {
    if (verdict == cap.verdict) {
      LOG_ABOVE(0, "[kelvane]: an XML document is over a cap and is not read: %s\n", cap.name);
    }
  }
}

bool gsLibraryFailed = false;

// Instead of a line on standard error.
void note_failure(const char *) {
  gsLibraryFailed = true;
}

// What the node itself holds on the heap: a word, or an element's name, as which CDATA sections and comments are kept.
const char *node_text(mxml_node_t *node) {
  return xml_is_text(node) ? mxmlGetText(node, nullptr) : mxmlGetElement(node);
}

// A word or a name that the library had no memory for is a node without it.
bool has_all_texts(mxml_node_t *tree) {
  mxml_node_t *node = tree;
  while (node != nullptr && node_text(node) != nullptr) {
    node = mxmlWalkNext(node, tree, MXML_DESCEND);
  }
  return node == nullptr;
}

// The library reads all that the gate passes, unless memory runs out: then it says so, or gives no tree (and has freed
// what there was of it as it was), or says nothing and gives one in which a word or a name is missing.
XmlOwner load(const char *bytes, uint64_t length, bool *no_memory) {
  *no_memory = false;
  const XmlGateVerdict verdict = xml_gate_check(bytes, length);
  if (verdict != XmlGateVerdict::kPassed) {
    tell_refusal(verdict);
    return XmlOwner();
  }
  gsLibraryFailed = false;
  mxmlSetErrorCallback(note_failure);
  XmlOwner loaded(mxmlLoadString(nullptr, bytes, MXML_NO_CALLBACK));
  *no_memory = gsLibraryFailed || !loaded.present() || !has_all_texts(loaded.get());
  if (!*no_memory) {
    return loaded;
  }
  xml_wipe_below(loaded.get());  // some documents hold passwords
  return XmlOwner();
}

}  // namespace

XmlOwner xml_load(const char *bytes, uint64_t length, bool *no_memory) {
  bool ignored = false;
  return load(bytes, length, no_memory != nullptr ? no_memory : &ignored);
}

XmlOwner xml_load_descriptor(int descriptor, bool *no_memory) {
  BufferOwner document;
  const int32_t result = file_read_all(descriptor, kXmlMaxBytes, document.get());
  *no_memory = result == kFileNoMemory;
  if (result == kFileTooLong) {
    tell_refusal(XmlGateVerdict::kTooLong);
  }
  if (result != 0 || document.empty()) {
    return XmlOwner();
  }
  XmlOwner loaded = load(document.data(), document.length(), no_memory);
  wipe_memory(document.get()->data, document.length());  // some documents hold passwords
  return loaded;
}

void xml_wipe_below(mxml_node_t *top) {
  mxml_node_t *node = top;
  while ((node = mxmlWalkNext(node, top, MXML_DESCEND)) != nullptr) {
    const char *text = node_text(node);
    if (text != nullptr) {
      wipe_memory(const_cast<char *>(text), strlen(text));
    }
  }
}

bool xml_is_text(mxml_node_t *node) {
  return node != nullptr && mxmlGetType(node) == MXML_TEXT;
}

namespace {

size_t text_length(mxml_node_t *first) {
  size_t total = 0;
  for (mxml_node_t *node = first; xml_is_text(node); node = mxmlGetNextSibling(node)) {
    int whitespace = 0;
    const char *word = mxmlGetText(node, &whitespace);
    total += (whitespace != 0 ? 1 : 0) + strlen(text_or(word, ""));
  }
  return total;
}

// Null when there is no such element, or nothing in it.
mxml_node_t *first_child_of(mxml_node_t *top, const char *name) {
  mxml_node_t *element = xml_find(top, name);
  return element != nullptr ? mxmlGetFirstChild(element) : nullptr;
}

}  // namespace

Text GetNodeTextData(mxml_node_t *first) {
  const size_t total = text_length(first);
  char *joined = total != 0 ? static_cast<char *>(malloc(total + 1)) : nullptr;
  if (joined == nullptr) {
    return Text();
  }
  char *end = joined;
  for (mxml_node_t *node = first; xml_is_text(node); node = mxmlGetNextSibling(node)) {
    int whitespace = 0;
    const char *word = mxmlGetText(node, &whitespace);
    if (whitespace != 0) {
      *end++ = ' ';
    }
    end = stpcpy(end, text_or(word, ""));
  }
  *end = '\0';
  return Text::adopt(joined);
}

mxml_node_t *xml_find(mxml_node_t *top, const char *name) {
  return mxmlFindElement(top, top, name, nullptr, nullptr, MXML_DESCEND);
}

int32_t xml_take_run(mxml_node_t *first, Text *out) {
  *out = GetNodeTextData(first);
  return !out->present() && text_length(first) != 0 ? -1 : 0;
}

int32_t xml_take_text(mxml_node_t *top, const char *name, Text *out) {
  Text text;
  const int32_t result = xml_take_run(first_child_of(top, name), &text);
  if (text.present()) {
    *out = static_cast<Text &&>(text);
  }
  return result;
}

}  // namespace kelvane
