// What the fuzz targets share: taking an input, and the properties that many of them assert. An input that breaks one
// ends the program, as libFuzzer wants it.
#ifndef KELVANE_TESTS_FUZZ_PROPERTIES_H
#define KELVANE_TESTS_FUZZ_PROPERTIES_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace fuzz {

// Ends the program with this text unless the property holds.
void require(bool holds, const char *property);

std::string bytes_of(const uint8_t *data, size_t size);
// The bytes up to the first zero byte: what a text can hold.
std::string text_of(const uint8_t *data, size_t size);

bool is_utf8(const std::string &bytes);
// Absent, or UTF-8.
void require_text(const char *text);
// Terminated within the field, and UTF-8.
template <size_t Size>
void require_field(const char (&field)[Size]) {
  require(std::memchr(field, '\0', Size) != nullptr, "a field is terminated");
  require_text(field);
}
// Strict JSON, in UTF-8: what the agent wrote.
bool is_json(const char *text);
// The same but that numbers may have any form, as json-c gives back what it read ("02e4"): what came from outside.
bool is_loose_json(const char *text);
// 40 upper-case hexadecimal characters.
bool is_thumbprint(const std::string &text);

// Each word of a text that came from an XML document stands in the document. Documents with references, declarations or
// byte order marks are left out: there the library changes what it reads.
void require_from(const std::string &document, const char *text);

}  // namespace fuzz

#endif
