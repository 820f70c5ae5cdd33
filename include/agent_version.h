// The agent's names and version texts, as the platform knows them.
#ifndef KELVANE_INCLUDE_AGENT_VERSION_H
#define KELVANE_INCLUDE_AGENT_VERSION_H

namespace kelvane {

inline constexpr const char kAgentName[] = "TorvikGuest";
inline constexpr const char kAgentVersion[] = "2.2.26";

}  // namespace kelvane

#endif
