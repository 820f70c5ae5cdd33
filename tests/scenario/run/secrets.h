// The search for secrets: everything that a run put out - trace, log, standard output and error, every file below the
// root folder, the fabric's journal - and everything that kelvanectl then shows must hold none of them, neither as they
// are nor in base64 nor in hexadecimal digits. Blocks for as long as the reading takes.
#ifndef KELVANE_TESTS_SCENARIO_RUN_SECRETS_H
#define KELVANE_TESTS_SCENARIO_RUN_SECRETS_H

#include <string>

#include "tests/scenario/run/checks.h"

namespace scenario {

// value: {"texts": [...], "private_keys": true, "allowed": {PATH: [...]}}. The texts must stand nowhere but in the
// allowed files, and of those in each that lists them. private_keys: none of the fabric's private keys stands anywhere.
std::string check_secrets(const Json &value, const RunResult &run);

}  // namespace scenario

#endif
