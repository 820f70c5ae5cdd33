// The strictness of the metadata service: what its requests carry and lack, and the documents that it is sent, member
// by member. Called by the metadata service; pure, nothing blocks, nothing throws. It never decides on the answer.
#ifndef KELVANE_TOOLS_FABRIC_JUDGE_METADATA_H
#define KELVANE_TOOLS_FABRIC_JUDGE_METADATA_H

#include <string>

#include "tools/fabric/judge.h"

namespace kelvane::fabric {

inline constexpr char kMetadataCertificateHeader[] = "x-ms-vmagent-public-x509-cert";

// The version that the address asks for.
void judge_metadata_query(const Target &target, Judgement &judgement);

// No header of the platform's but, when `certificate` says so, the one with the agent's certificate; a GET has no type
// and no body, a PUT has JSON of a told length.
void judge_metadata_headers(const Request &request, bool certificate, Judgement &judgement);

// The documents: JSON, exactly the members they must have, in their order.
void judge_provisioning_status(const std::string &body, Judgement &judgement);
void judge_vm_status(const std::string &body, Judgement &judgement);
void judge_extension_status(const std::string &body, Judgement &judgement);
void judge_metadata_events(const std::string &body, Judgement &judgement);

}  // namespace kelvane::fabric

#endif
