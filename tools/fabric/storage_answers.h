// What the storage service answers: the head of a blob, and its errors in the form that such services have. Pure,
// nothing blocks. An error that is the agent's own fault is noted in the judgement as well.
#ifndef KELVANE_TOOLS_FABRIC_STORAGE_ANSWERS_H
#define KELVANE_TOOLS_FABRIC_STORAGE_ANSWERS_H

#include "tools/fabric/judge.h"
#include "tools/fabric/storage.h"

namespace kelvane::fabric {

// The answer for a code of the service ("BlobNotFound"); one that is not in the table is answered with 500. `details`
// are further elements of the document.
Answer storage_error(const std::string &code, const std::vector<Header> &details = {});

// The same for a request that is not as it must be, which the judgement then says in words.
struct Complaint {
  std::string code;
  std::string what;
  std::string expected;
  std::string came;
};
Answer storage_complaint(const Complaint &complaint, Judgement &judgement);

// A header that is missing, or whose value is wrong.
Answer missing_header(const std::string &name, const std::string &expected, Judgement &judgement);
Answer wrong_header(const std::string &name, const std::string &expected, const std::string &came,
                    Judgement &judgement);

// A success, with the headers that every answer has; those of the blob too when there is one.
Answer storage_answer(int status, const Blob *blob = nullptr);

}  // namespace kelvane::fabric

#endif
