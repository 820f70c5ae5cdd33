// A look at an open file that fails. A program that links kelvane-refused-stat has its fstat replaced, for its own
// objects alone. Nothing blocks.
#ifndef KELVANE_TESTS_SUPPORT_REFUSED_STAT_H
#define KELVANE_TESTS_SUPPORT_REFUSED_STAT_H

namespace refused_stat {

// Every fstat fails with EIO for as long as it lives.
class Refusal {
 public:
  Refusal();
  ~Refusal();
  Refusal(const Refusal &) = delete;
  Refusal &operator=(const Refusal &) = delete;
};

}  // namespace refused_stat

#endif
