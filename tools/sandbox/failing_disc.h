// The appliance's disc, which a fault can make fail from a moment on: full, so that nothing more is written to it, or
// dead, so that every call on it ends in EIO. What is no part of it (the drive, what lies in memory, devices) stays as
// it is. Never blocks.
#ifndef KELVANE_TOOLS_SANDBOX_FAILING_DISC_H
#define KELVANE_TOOLS_SANDBOX_FAILING_DISC_H

#include <string>

namespace sandbox {

class FailingDisc {
 public:
  void fill() { state_ = State::kFull; }
  void die() { state_ = State::kDead; }

  // The errno with which a call of this class (sites.h) fails on this subject; 0 for none.
  int error_of(const std::string &call_class, const std::string &call, const std::string &subject) const;

 private:
  enum class State { kSound, kFull, kDead };
  State state_ = State::kSound;
};

}  // namespace sandbox

#endif
