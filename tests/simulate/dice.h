// The dice of the simulation: every random choice of a run comes from here, so that a seed replays exactly. Plain data.
#ifndef KELVANE_TESTS_SIMULATE_DICE_H
#define KELVANE_TESTS_SIMULATE_DICE_H

#include <cstdint>

namespace simulate {

struct Dice {
  uint64_t state;

  uint64_t next() {
    state += 0x9E3779B97F4A7C15u;
    uint64_t mixed = state;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
    return mixed ^ (mixed >> 31);
  }

  // 0 to below, below excluded.
  uint32_t below(uint32_t limit) { return static_cast<uint32_t>((next() >> 32) * limit >> 32); }

  // Lowest to highest, both included.
  int64_t between(int64_t lowest, int64_t highest) {
    return lowest + static_cast<int64_t>(next() % static_cast<uint64_t>(highest - lowest + 1));
  }

  bool percent(uint32_t chance) { return below(100) < chance; }

  // A gap around a mean: a quarter of it to seven quarters.
  int64_t gap(int64_t mean) { return between(mean / 4 + 1, mean * 7 / 4 + 1); }
};

}  // namespace simulate

#endif
