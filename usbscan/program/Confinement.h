#pragma once
// Reduces what this process may do, for the case that a hostile device takes it over.

namespace zlk::usbscan {

/// Gives up what a host never does once it has opened its device, such as starting programs,
/// tracing other processes, mounting, loading code into the kernel, growing beyond 64 MiB of data,
/// or leaving a core dump. This holds for all threads. Where the system doesn't support one of
/// these measures, the process goes on without it. Does nothing in a build with sanitizers, which
/// need some of these rights.
void confine();

}  // namespace zlk::usbscan
