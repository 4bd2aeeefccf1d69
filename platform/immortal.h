#pragma once
// A static object that stays valid until the process ends and is never destroyed. Threads that
// outlive `main`, and exit handlers and static destructors of other libraries, may call the
// platform when a destructor of ours would already have run.

#include <new>

namespace zlk {

/// Holds a default-constructed T in storage of its own and never runs its destructor.
template <class T>
class Immortal {
  public:
    Immortal() { ::new (static_cast<void*>(bytes_)) T(); }
    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;

    T& operator*() noexcept { return *std::launder(reinterpret_cast<T*>(bytes_)); }
    T* operator->() noexcept { return &**this; }

  private:
    alignas(T) unsigned char bytes_[sizeof(T)];
};

}  // namespace zlk
