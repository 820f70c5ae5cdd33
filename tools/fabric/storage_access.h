// Who may ask the storage service: the signed address, and the headers that every request carries. Called by the
// storage service before it serves; pure, nothing blocks. The signature itself is not computed: a blob that the goal
// states name must be asked for under exactly the query they told.
#ifndef KELVANE_TOOLS_FABRIC_STORAGE_ACCESS_H
#define KELVANE_TOOLS_FABRIC_STORAGE_ACCESS_H

#include <optional>

#include "tools/fabric/storage_answers.h"

namespace kelvane::fabric {

// x-ms-date (UTC, "2026-01-31T12:00:00Z") and x-ms-version. Returns the refusal, or none.
std::optional<Answer> refuse_headers(const Request &request, Judgement &judgement);

// The query: sv, se, sp and sig are there, the permission covers the method, the address has not run out at the time
// of x-ms-date (the agent's clock need not be the machine's), the query is one that was told. Returns the refusal, or
// none.
std::optional<Answer> refuse_signature(const Storage &storage, const std::string &key, const Request &request,
                                       const Target &target, Judgement &judgement);

// Whether the text is a time as above. Later times compare greater.
bool is_timestamp(const std::string &text);

}  // namespace kelvane::fabric

#endif
