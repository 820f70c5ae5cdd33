// What the agent writes and sends, read by another library than its own and compared with what it should say.
#ifndef KELVANE_TESTS_SIMULATE_STORED_H
#define KELVANE_TESTS_SIMULATE_STORED_H

#include <string>
#include <string_view>

namespace simulate {

// The plugins' status file: one element a plugin that is known, and in it what a restart needs.
void check_status_file(std::string_view bytes);

// The status document: the agent, the first three handlers that have a status, and each one's settings status.
void check_status_document(const std::string &document);

}  // namespace simulate

#endif
