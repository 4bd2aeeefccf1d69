#pragma once

namespace zlk::usbscan {

/// Takes from this process, once it has its device, what a host never does: starting programs,
/// tracing, mounting, loading code into the kernel, growing beyond 64 MiB, leaving a core. Holds
/// for all its threads and can't be undone. What the system doesn't let us give up, we keep. Does
/// nothing in a build with sanitizers, which do some of these things themselves.
void confine();

}  // namespace zlk::usbscan
