// Writes what a scenario leaves on disk: the provisioning media and the tenant's certificates. Called once at start;
// blocks on the files. Files and folders that cannot be written throw std::runtime_error. The media holds the password
// and is readable by its owner alone; private keys are written only when they are asked for.
#ifndef KELVANE_TOOLS_FABRIC_ARTIFACTS_H
#define KELVANE_TOOLS_FABRIC_ARTIFACTS_H

#include <string>

#include "tools/fabric/world.h"

namespace kelvane::fabric {

// `directory`/media/ovf-env.xml, `directory`/media/CustomData.bin (when there is custom data) and
// `directory`/tenant/NAME.pem; with `keys` also `directory`/tenant/NAME.key.pem.
void write_artifacts(const World &world, const std::string &directory, bool keys);

// Replaces a file as a whole, readable by its owner alone.
void write_private_file(const std::string &path, const std::string &contents);

}  // namespace kelvane::fabric

#endif
