// What the fabric's journal says of the agent's requests, in words: its reports one by one, and how many requests of
// which kind there were. Reads the file as it is at the moment, whole lines only; a missing file is an empty one.
#ifndef KELVANE_TOOLS_DEMO_JOURNAL_H
#define KELVANE_TOOLS_DEMO_JOURNAL_H

#include <filesystem>
#include <string>
#include <vector>

namespace demo {

// One line for each request with which the agent reported something, in their order.
std::vector<std::string> reports(const std::filesystem::path &journal);

// One line: how many requests, by method and answer.
std::string totals(const std::filesystem::path &journal);

// The text of the role property that carries the SSH host key's fingerprint, or "".
std::string reported_fingerprint(const std::filesystem::path &journal);

}  // namespace demo

#endif
