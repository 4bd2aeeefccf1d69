#pragma once
// An object of the process that is never destroyed: other people's static destructors and exit
// handlers still call in after ours would have run.

#include <new>

namespace zlk::platform {

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

}  // namespace zlk::platform
