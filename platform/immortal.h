#pragma once
// An object that stays until the process ends, and is destroyed by nobody: threads that outlive
// `main`, and other people's static destructors and exit handlers, still call in after ours would
// have run.

#include <new>

namespace zlk {

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
