// The status documents that the agent uploaded, as the fabric tells them. Asking blocks for a moment; a fabric that
// does not answer throws std::runtime_error.
#ifndef KELVANE_TOOLS_DEMO_STATUS_H
#define KELVANE_TOOLS_DEMO_STATUS_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/demo/step.h"

namespace demo {

struct StatusDocument {
  std::string blob;
  std::string type;
  std::string incarnation;  // of the goal state that the agent knew
  int64_t size = 0;
  int64_t writes = 0;
  std::string text;
};

std::vector<StatusDocument> status_documents(uint16_t port);

// Why the document is not the one that the step expects; empty when it is.
std::string mismatch(const Step &step, const StatusDocument &document);

// The document in a few lines: the blob, the agent, each extension.
std::string in_words(const StatusDocument &document);

}  // namespace demo

#endif
