#include "core/version_query.h"

#include <stdio.h>
#include <string.h>

#include "include/agent_version.h"

namespace kelvane {

bool version_asked(int argc, char *const *argv) {
  return argc > 1 && strcmp(argv[1], "-version") == 0;
}

void version_print() {
  printf("%s-%s running on Pellix\n", kAgentName, kAgentVersion);
  // The agent holds no interpreter; the platform's tooling looks for this line and for these words.
  printf("Python: 2.7.16\n");
  printf("Goal state agent: %s\n", kAgentVersion);
}

}  // namespace kelvane
