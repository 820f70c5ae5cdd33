// In place of what the agent says that a derivation costs, in the fuzzers of containers and not in their replays: more
// than 100 iterations count as too dear, so that a fuzzer does not spend its time in them.
#include "credentials/pbe_cost.h"

uint64_t real_cost(const X509_ALGOR *) __asm__("__real__ZN7kelvane8pbe_costEPK13X509_algor_st");
uint64_t cheap_cost(const X509_ALGOR *) __asm__("__wrap__ZN7kelvane8pbe_costEPK13X509_algor_st");
uint64_t cheap_cost(const X509_ALGOR *algorithm) {
  const uint64_t cost = real_cost(algorithm);
  return cost > 100 ? kelvane::kPbeCostAbsurd : cost;
}
