// How texts are written on one line, in the trace and in reports. Never blocks.
#ifndef KELVANE_TOOLS_SANDBOX_TEXT_FORMS_H
#define KELVANE_TOOLS_SANDBOX_TEXT_FORMS_H

#include <string>

namespace sandbox {

// The text on one line: \n, \r, \t and \\ for those, \xNN for every other byte below 0x20 and 0x7f.
std::string escaped(const std::string &text);

// The text; "" for a null pointer.
std::string text_of(const char *text);

// The text on one line in double quotes, with \" for a quote; null for a null pointer.
std::string quoted(const char *text);

}  // namespace sandbox

#endif
