#pragma once

namespace zlk {

/// The home of what stays until the process ends: made with its owner, ended by nobody, so that
/// threads that outlive `main` never meet a destroyed object.
template <class T>
union NeverDestroyed {
    NeverDestroyed() : value() {}
    ~NeverDestroyed() {}
    T value;
};

}  // namespace zlk
