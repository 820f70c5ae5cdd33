// The lives of the agent, and the program that plays them.
#ifndef KELVANE_TESTS_SIMULATE_LIFE_H
#define KELVANE_TESTS_SIMULATE_LIFE_H

#include <cstdint>

namespace simulate {

// The agent's own main.
int agent_main();

// The simulation's.
int simulate_main(int argc, char **argv);

// Plays a seed for so many simulated seconds, life after life; false when it failed, with why in the world.
bool play(uint64_t seed, int64_t seconds);

}  // namespace simulate

#endif
