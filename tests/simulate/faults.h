// Answers that are right seven times in ten, and faulty in one of many ways else. Made in memory; nothing blocks, only
// the clock moves.
#ifndef KELVANE_TESTS_SIMULATE_FAULTS_H
#define KELVANE_TESTS_SIMULATE_FAULTS_H

#include <string_view>

#include "tests/simulate/cloud.h"

namespace simulate {

// A document as it should be answered, and what may be answered in its place. All lent.
struct Answer {
  std::string_view body;
  std::string_view header;    // empty for none; comes with some of the broken bodies, too
  std::string_view old_body;  // of the document before this one; empty or the same for none
  std::string_view old_header;
  std::string_view error_body;  // well formed, and another document
};

// A request whose answer is a document.
Reply answer_document(const Request &request, const char *what, const Answer &answer);

// A request whose answer has no body that counts; it may have one all the same.
Reply answer_plain(const Request &request, const char *what, long code);

}  // namespace simulate

#endif
