// The status blob's way to the storage service: which type the service named, and that the document was put as that
// type wants it, whole, and not otherwise.
#ifndef KELVANE_TESTS_SIMULATE_UPLOAD_H
#define KELVANE_TESTS_SIMULATE_UPLOAD_H

#include <string>

#include "tests/simulate/cloud.h"

namespace simulate {

enum class BlobType { kNone, kBlock, kPage, kForeign };

// An attempt to ask for the type is over: what its header named, and whether it was answered.
void upload_type_told(BlobType type, bool answered);

// A PUT to the storage service is answered.
void upload_put(const Request &request, const Reply &reply);

// The type that the agent goes by in this pass.
BlobType upload_type();

// The document that was put, whole or in pages; empty for none.
const std::string &upload_document();

// A pass is over: breaks off unless the question and the puts are as they should be. Forgets nothing.
void upload_check();
void upload_forget();

}  // namespace simulate

#endif
