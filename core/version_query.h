// The version query: the only command line form that the agent knows. Answered by main before anything else is touched.
// Never blocks; cannot fail otherwise than by a closed standard output, which nobody looks at.
#ifndef KELVANE_CORE_VERSION_QUERY_H
#define KELVANE_CORE_VERSION_QUERY_H

namespace kelvane {

// Whether the first argument is "-version", all of it. Further arguments do not matter.
bool version_asked(int argc, char *const *argv);

// Prints the three version lines to standard output.
void version_print();

}  // namespace kelvane

#endif
