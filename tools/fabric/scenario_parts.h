// The readers of a scenario's parts, one file each. Called by scenario.cc and by each other; they throw ScenarioError.
#ifndef KELVANE_TOOLS_FABRIC_SCENARIO_PARTS_H
#define KELVANE_TOOLS_FABRIC_SCENARIO_PARTS_H

#include "tools/fabric/json_fields.h"

namespace kelvane::fabric {

// Fills endpoint, media, tenant, goal states and faults from the `fabric` object.
void read_fabric_part(const Json &value, Scenario &scenario);

// Fills the expectations from the fabric's keys of the `expect` object; the keys of others are left alone.
void read_expect_part(const Json &value, Scenario &scenario);

// One fault; `path` names it in errors, `number` names it when it has no name.
FaultSpec read_fault(const Json &value, const std::string &path, size_t number);

// The same members stand in the `fabric` object and in a goal state: the list of extensions, the status blob (absent:
// `fallback`; false: none), and what moves on to the next goal state.
std::vector<ExtensionSpec> read_extensions(JsonFields &fields);
std::optional<StatusBlobSpec> read_status_blob(JsonFields &parent, const std::optional<StatusBlobSpec> &fallback);
AdvanceSpec read_advance_on(JsonFields &parent);

// The metadata service of the `fabric` object or of a goal state; what it lacks is as in `fallback` (false: there is no
// such service). Its certificates are wrapped as `container` says.
std::optional<MetadataSpec> read_metadata(JsonFields &parent, const std::optional<MetadataSpec> &fallback,
                                          const ContainerSpec &container);

// How certificates and keys are packed; what is absent is as in `base`.
ContainerSpec read_container(const Json &value, const std::string &path, const ContainerSpec &base);

// The storage service.
StorageSpec read_storage(const Json &value, const std::string &path, const Scenario &scenario);

// The host of blobs that name none: the first storage host, or else that of the first status blob.
std::string storage_host(const StorageSpec &storage, const std::vector<GoalStateSpec> &goal_states);

// The name of a blob is "container/blob".
void check_blob_name(const std::string &name, const std::string &path);

// The expectations on status documents, documents that the metadata service was sent, blobs (on `host` unless they say
// otherwise) and events: `status`, `metadata`, `blobs`, `events`.
void read_upload_expectations(JsonFields &fields, const std::string &host, ExpectSpec &expect);

// The name of one element of a list in errors.
std::string numbered(const std::string &path, size_t number);

// What a scenario that says nothing gets: one certificate, one goal state.
void fill_defaults(Scenario &scenario);

}  // namespace kelvane::fabric

#endif
