// One owner for every kind of library object. An Owned holds at most one object and releases it when it goes; it moves
// and never copies. The aliases for each library stand in core/base/<library>_owners.h, and nowhere else. Never blocks.
#ifndef KELVANE_CORE_BASE_OWNED_H
#define KELVANE_CORE_BASE_OWNED_H

namespace kelvane {

template <typename T, auto Release>
class Owned {
 public:
  Owned() = default;
  explicit Owned(T *object) : object_(object) {}
  ~Owned() { reset(); }
  Owned(Owned &&other) noexcept : object_(other.release()) {}
  Owned &operator=(Owned &&other) noexcept {
    if (this != &other) {
      reset(other.release());
    }
    return *this;
  }
  Owned(const Owned &) = delete;
  Owned &operator=(const Owned &) = delete;

  // The object, still owned here; null when there is none.
  T *get() const { return object_; }
  bool present() const { return object_ != nullptr; }

  // Gives the object away: the caller owns it now.
  T *release() {
    T *object = object_;
    object_ = nullptr;
    return object;
  }

  // Releases what is held and takes the new object, which may be none.
  void reset(T *object = nullptr) {
    if (object_ != nullptr && object_ != object) {
      Release(object_);
    }
    object_ = object;
  }

 private:
  T *object_ = nullptr;
};

}  // namespace kelvane

#endif
