#pragma once
// Which of the two families of system this is.

namespace zlk {

/// A system of the NT family, of at least this major version. Read anew each time.
bool isNtFamily(unsigned leastMajorVersion = 0);

/// Vista or later: cameras are reached by device paths, and the rights on named objects differ.
inline bool isVistaOrLater() {
    return isNtFamily(6);
}

}  // namespace zlk
