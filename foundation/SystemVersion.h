#pragma once
// Which of the two families of system this is.

namespace zlk {

/// Vista or later: cameras are reached by device paths, and the rights on named objects differ.
/// Read anew each time.
bool isVistaOrLater();

}  // namespace zlk
