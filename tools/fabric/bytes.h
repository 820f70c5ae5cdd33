// Small work on texts and bytes that several parts of the fabric need: base64, XML escaping, patterns. Called from
// everywhere in the fabric; pure functions, nothing blocks, only memory can fail. Nothing here knows the cloud.
#ifndef KELVANE_TOOLS_FABRIC_BYTES_H
#define KELVANE_TOOLS_FABRIC_BYTES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelvane::fabric {

// Standard base64 with padding, on one line.
std::string base64_encode(std::string_view bytes);

// The bytes of a base64 text; none when it holds anything else than whole base64 quads (white space included).
std::optional<std::string> base64_decode(std::string_view text);

// `text` cut into lines of `length` characters joined by line feeds, each with `indent` in front. 0 means one line.
std::string in_lines(std::string_view text, size_t length, std::string_view indent);

// `text` with the five special characters of XML as entities.
std::string xml_escape(std::string_view text);

// ` name="value"`, the value escaped.
std::string xml_attribute(const std::string &name, std::string_view value);

// What every document of the wire server begins with.
inline constexpr char kXmlDeclaration[] = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

// Upper-case hexadecimal digits, two for a byte.
std::string hex_upper(std::string_view bytes);

// `text` with "%41" and the like decoded; what is no such triple stays as it is.
std::string percent_decode(std::string_view text);

// The digits of `text` as a number; none when it is empty, longer than 18 digits or holds anything else.
std::optional<int64_t> decimal_number(std::string_view text);

// Whether `text` fits `pattern`, in which "*" stands for any run of characters and nothing else is special.
bool glob_match(std::string_view pattern, std::string_view text);

// Whether `text` is well-formed UTF-8.
bool is_utf8(std::string_view text);

// `text` in double quotes, for people to read: cut to 200 characters, control characters as "?".
std::string in_quotes(std::string_view text);

}  // namespace kelvane::fabric

#endif
