#include "core/base/xml_gate.h"

#include <stddef.h>
#include <string.h>

#include "core/base/utf8.h"

namespace kelvane {
namespace {

struct Name {
  const char *text;
  size_t length;
};

// One walk through a document. Every step returns false when it has decided against it.
struct Walk {
  const char *at;
  const char *end;
  XmlGateVerdict verdict;
  uint64_t nodes;
  uint64_t elements;
  uint64_t references;
  uint64_t attributes;
  uint32_t depth;
  bool root_seen;
  bool begins_with_instruction;
  Name open[kXmlMaxDepth];
  Name names[kXmlMaxAttributes];  // of the attributes of the element that is being read
};

bool refuse(Walk *walk, XmlGateVerdict verdict) {
  walk->verdict = verdict;
  return false;
}

bool malformed(Walk *walk) {
  return refuse(walk, XmlGateVerdict::kNotWellFormed);
}

// Refuses the document when what is required of it does not hold. Whether it does.
bool require(Walk *walk, bool holds, XmlGateVerdict otherwise = XmlGateVerdict::kNotWellFormed) {
  if (!holds) {
    walk->verdict = otherwise;
  }
  return holds;
}

bool is_ascii(char c) {
  return static_cast<uint8_t>(c) < 0x80;
}

bool is_space(char c) {
  return c == ' ' || c == '\n' || c == '\t' || c == '\r';
}

bool same(const Name &one, const Name &other) {
  return one.length == other.length && memcmp(one.text, other.text, one.length) == 0;
}

bool starts_with(const Walk *walk, const char *text) {
  const size_t length = strlen(text);
  return static_cast<size_t>(walk->end - walk->at) >= length && memcmp(walk->at, text, length) == 0;
}

bool take(Walk *walk, const char *text) {
  if (!starts_with(walk, text)) {
    return false;
  }
  walk->at += strlen(text);
  return true;
}

bool skip_space(Walk *walk) {
  const char *from = walk->at;
  while (walk->at < walk->end && is_space(*walk->at)) {
    walk->at++;
  }
  return walk->at != from;
}

bool count_node(Walk *walk) {
  return require(walk, ++walk->nodes <= kXmlMaxNodes, XmlGateVerdict::kTooManyNodes);
}

bool count_element(Walk *walk) {
  return count_node(walk) && require(walk, ++walk->elements <= kXmlMaxElements, XmlGateVerdict::kTooManyElements);
}

// ---- characters ----

constexpr uint32_t kByteOrderMark = 0xFEFF;

bool is_xml_character(uint32_t c) {
  return c >= 0x20 ? c != 0xFFFE && c != 0xFFFF : c == '\t' || c == '\n' || c == '\r';
}

bool characters_are_right(const char *at, const char *end) {
  while (at < end) {
    if (is_ascii(*at) && *at >= 0x20) {
      at++;
      continue;
    }
    uint32_t c = 0;
    const size_t length = utf8_decode(at, end, &c);
    if (length == 0 || !is_xml_character(c)) {
      return false;
    }
    at += length;
  }
  return true;
}

struct Range {
  uint32_t first;
  uint32_t last;
};

// The characters above ASCII that may begin a name, but for U+FEFF, which the library drops.
constexpr Range kNameStart[] = {{0xC0, 0xD6},      {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},
                                {0x37F, 0x1FFF},   {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
                                {0x3001, 0xD7FF},  {0xF900, 0xFDCF}, {0xFDF0, 0xFEFE}, {0xFF00, 0xFFFD},
                                {0x10000, 0xEFFFF}};
constexpr Range kNameMore[] = {{0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template <size_t Count>
bool in_ranges(const Range (&ranges)[Count], uint32_t c) {
  for (const Range &range : ranges) {
    if (c >= range.first && c <= range.last) {
      return true;
    }
  }
  return false;
}

bool is_letter(uint32_t c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool is_digit(uint32_t c) {
  return c >= '0' && c <= '9';
}

bool begins_name(uint32_t c) {
  return c < 0x80 ? is_letter(c) || c == '_' || c == ':' : in_ranges(kNameStart, c);
}

bool continues_name(uint32_t c) {
  return begins_name(c) || (c < 0x80 ? is_digit(c) || c == '-' || c == '.' : in_ranges(kNameMore, c));
}

bool take_name(Walk *walk, Name *name) {
  const char *from = walk->at;
  while (walk->at < walk->end) {
    uint32_t c = 0;
    const size_t length = utf8_decode(walk->at, walk->end, &c);
    if (walk->at == from ? !begins_name(c) : !continues_name(c)) {
      break;
    }
    walk->at += length;
  }
  *name = {from, static_cast<size_t>(walk->at - from)};
  return require(walk, name->length != 0);
}

// ---- references and character data ----

int32_t digit_value(char c, uint32_t base) {
  if (is_digit(static_cast<uint8_t>(c))) {
    return c - '0';
  }
  const char lower = static_cast<char>(c | 0x20);
  return base == 16 && lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Behind "&#". The library keeps 63 characters of a reference and no more.
bool take_character_reference(Walk *walk) {
  const uint32_t base = take(walk, "x") ? 16 : 10;
  uint64_t value = 0;
  uint32_t digits = 0;
  for (; walk->at < walk->end && digit_value(*walk->at, base) >= 0 && digits < 11; walk->at++, digits++) {
    value = value * base + static_cast<uint32_t>(digit_value(*walk->at, base));
  }
  const bool scalar = value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
  const bool right = digits >= 1 && digits <= 10 && scalar && is_xml_character(static_cast<uint32_t>(value));
  return require(walk, right && take(walk, ";"));
}

bool take_reference(Walk *walk) {
  if (++walk->references > kXmlMaxReferences) {
    return refuse(walk, XmlGateVerdict::kTooManyReferences);
  }
  if (take(walk, "&#")) {
    return take_character_reference(walk);
  }
  static const char *const kEntities[] = {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;"};
  for (const char *entity : kEntities) {
    if (take(walk, entity)) {
      return true;
    }
  }
  return malformed(walk);
}

// One character of text or of an attribute value. Ordinary characters are most of a document.
bool take_character(Walk *walk) {
  if (*walk->at == '&') {
    return take_reference(walk);
  }
  if (is_ascii(*walk->at)) {
    walk->at++;
    return true;
  }
  uint32_t c = 0;
  walk->at += utf8_decode(walk->at, walk->end, &c);
  return require(walk, c != kByteOrderMark || !starts_with(walk, "\xEF\xBB\xBF"));
}

// Whether "]]>" ends here, which text may not hold.
bool ends_section(const char *from, const char *at) {
  return *at == '>' && at - from >= 2 && at[-1] == ']' && at[-2] == ']';
}

// Up to the next markup. Every word becomes a node, and so does white space in front of the markup.
bool walk_text(Walk *walk) {
  const char *from = walk->at;
  bool in_word = false;
  bool after_space = false;
  while (walk->at < walk->end && *walk->at != '<') {
    after_space = is_space(*walk->at);
    if (after_space) {
      walk->at++;
      in_word = false;
      continue;
    }
    if (ends_section(from, walk->at)) {
      return malformed(walk);
    }
    if ((!in_word && !count_node(walk)) || !take_character(walk)) {
      return false;
    }
    in_word = true;
  }
  return !after_space || count_node(walk);
}

// ---- comments, CDATA sections, instructions ----

// Moves behind the next occurrence of the text. In these parts the library's dropping of U+FEFF could make an ending
// that is none, so they hold no such character.
bool skip_behind(Walk *walk, const char *text) {
  const size_t left = static_cast<size_t>(walk->end - walk->at);
  const void *found = memmem(walk->at, left, text, strlen(text));
  if (found == nullptr) {
    return malformed(walk);
  }
  const char *from = walk->at;
  walk->at = static_cast<const char *>(found) + strlen(text);
  return require(walk, memmem(from, static_cast<size_t>(walk->at - from), "\xEF\xBB\xBF", 3) == nullptr);
}

// Beside the root element the library takes nothing, unless a declaration or instruction stands first: that one becomes
// the parent of everything else.
bool may_stand_here(Walk *walk) {
  return require(walk, walk->depth != 0 || walk->begins_with_instruction);
}

// Behind "<!--".
bool walk_comment(Walk *walk) {
  const char *from = walk->at;
  if (!may_stand_here(walk) || !count_node(walk) || !skip_behind(walk, "--")) {
    return false;
  }
  // The library takes the empty comment for the beginning of a longer one.
  const bool empty = walk->at == from + 2;
  return require(walk, !empty && take(walk, ">"));
}

// Behind "<![CDATA[".
bool walk_cdata(Walk *walk) {
  return require(walk, walk->depth != 0) && count_node(walk) && skip_behind(walk, "]]>");
}

// Behind "<?".
bool walk_instruction(Walk *walk) {
  Name target;
  if (!may_stand_here(walk) || !count_node(walk) || !take_name(walk, &target)) {
    return false;
  }
  if (target.length == 3 && strncasecmp(target.text, "xml", 3) == 0) {
    return malformed(walk);
  }
  return starts_with(walk, "?>") || skip_space(walk) ? skip_behind(walk, "?>") : malformed(walk);
}

// ---- the XML declaration ----

bool is_version_character(char c) {
  return is_digit(static_cast<uint8_t>(c)) || c == '.';
}

bool is_encoding_character(char c) {
  const uint8_t byte = static_cast<uint8_t>(c);
  return is_letter(byte) || is_digit(byte) || c == '.' || c == '_' || c == '-';
}

bool is_yes_no_character(char c) {
  return is_letter(static_cast<uint8_t>(c));
}

struct Pseudo {
  const char *name;
  bool (*fits)(char c);
  bool required;
};
constexpr Pseudo kDeclaration[] = {{.name = "version", .fits = is_version_character, .required = true},
                                   {.name = "encoding", .fits = is_encoding_character, .required = false},
                                   {.name = "standalone", .fits = is_yes_no_character, .required = false}};

bool take_equals(Walk *walk) {
  skip_space(walk);
  const bool right = take(walk, "=");
  skip_space(walk);
  return right;
}

bool take_declared(Walk *walk, const Pseudo &row) {
  const char *from = walk->at;
  if (!skip_space(walk) || !take(walk, row.name)) {
    walk->at = from;
    return !row.required;
  }
  if (!take_equals(walk) || walk->at == walk->end || (*walk->at != '"' && *walk->at != '\'')) {
    return false;
  }
  const char quote = *walk->at++;
  const char *value = walk->at;
  while (walk->at < walk->end && row.fits(*walk->at)) {
    walk->at++;
  }
  return walk->at != value && walk->at < walk->end && *walk->at++ == quote;
}

// Behind "<?xml".
bool walk_declaration(Walk *walk) {
  for (const Pseudo &row : kDeclaration) {
    if (!take_declared(walk, row)) {
      return malformed(walk);
    }
  }
  skip_space(walk);
  return require(walk, take(walk, "?>")) && count_node(walk);
}

// ---- elements ----

bool take_value(Walk *walk) {
  if (walk->at == walk->end || (*walk->at != '"' && *walk->at != '\'')) {
    return malformed(walk);
  }
  const char quote = *walk->at++;
  while (walk->at < walk->end && *walk->at != quote) {
    if (*walk->at == '<') {
      return malformed(walk);
    }
    if (!take_character(walk)) {
      return false;
    }
  }
  return require(walk, walk->at++ < walk->end);
}

bool take_attribute(Walk *walk, uint32_t count) {
  if (count == kXmlMaxAttributes || ++walk->attributes > kXmlMaxDocumentAttributes) {
    return refuse(walk, XmlGateVerdict::kTooManyAttributes);
  }
  Name *name = &walk->names[count];
  if (!take_name(walk, name)) {
    return false;
  }
  for (uint32_t i = 0; i < count; i++) {
    if (same(walk->names[i], *name)) {
      return malformed(walk);
    }
  }
  return take_equals(walk) ? take_value(walk) : malformed(walk);
}

bool push(Walk *walk, const Name &name) {
  if (walk->depth == kXmlMaxDepth) {
    return refuse(walk, XmlGateVerdict::kTooDeep);
  }
  walk->open[walk->depth++] = name;
  return true;
}

// Behind "<".
bool walk_start_tag(Walk *walk) {
  Name name;
  if (walk->depth == 0 && walk->root_seen) {
    return malformed(walk);
  }
  walk->root_seen = true;
  if (!take_name(walk, &name) || !count_element(walk)) {
    return false;
  }
  for (uint32_t count = 0;; count++) {
    const bool apart = skip_space(walk);
    if (take(walk, "/>")) {
      return true;
    }
    if (take(walk, ">")) {
      return push(walk, name);
    }
    if (!apart) {
      return malformed(walk);
    }
    if (!take_attribute(walk, count)) {
      return false;
    }
  }
}

// Behind "</".
bool walk_end_tag(Walk *walk) {
  Name name;
  if (!take_name(walk, &name)) {
    return false;
  }
  skip_space(walk);
  if (walk->depth == 0 || !same(walk->open[walk->depth - 1], name) || !take(walk, ">")) {
    return malformed(walk);
  }
  walk->depth--;
  return true;
}

// ---- the document ----

struct Markup {
  const char *opening;
  bool (*walk)(Walk *walk);
};
// In this order. What else begins with "<!" (a document type) is no name, and refused as such.
constexpr Markup kMarkup[] = {{.opening = "<!--", .walk = walk_comment},
                              {.opening = "<![CDATA[", .walk = walk_cdata},
                              {.opening = "<?", .walk = walk_instruction},
                              {.opening = "</", .walk = walk_end_tag},
                              {.opening = "<", .walk = walk_start_tag}};

// At a "<", which the last row takes.
bool walk_markup(Walk *walk) {
  const Markup *row = kMarkup;
  while (!take(walk, row->opening)) {
    row++;
  }
  return row->walk(walk);
}

bool walk_beginning(Walk *walk) {
  take(walk, "\xEF\xBB\xBF");
  walk->begins_with_instruction = starts_with(walk, "<?");
  if (starts_with(walk, "<?xml") && walk->end - walk->at > 5 && is_space(walk->at[5])) {
    walk->at += 5;
    return walk_declaration(walk);
  }
  // The library wants "<" as the first character.
  return require(walk, starts_with(walk, "<"));
}

bool walk_document(Walk *walk) {
  if (!walk_beginning(walk)) {
    return false;
  }
  while (walk->at < walk->end) {
    const bool read = *walk->at == '<'   ? walk_markup(walk)
                      : walk->depth != 0 ? walk_text(walk)
                                         : require(walk, skip_space(walk));
    if (!read) {
      return false;
    }
  }
  return require(walk, walk->root_seen && walk->depth == 0);
}

}  // namespace

XmlGateVerdict xml_gate_check(const char *bytes, uint64_t length) {
  if (length == 0) {
    return XmlGateVerdict::kEmpty;
  }
  if (length > kXmlMaxBytes) {
    return XmlGateVerdict::kTooLong;
  }
  const char *end = bytes + length;
  if (!characters_are_right(bytes, end)) {
    return XmlGateVerdict::kNotUtf8;
  }
  Walk walk;
  walk.at = bytes;
  walk.end = end;
  walk.verdict = XmlGateVerdict::kPassed;
  walk.nodes = 0;
  walk.elements = 0;
  walk.references = 0;
  walk.attributes = 0;
  walk.depth = 0;
  walk.root_seen = false;
  walk.begins_with_instruction = false;
  walk_document(&walk);
  return walk.verdict;
}

}  // namespace kelvane
