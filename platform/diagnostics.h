#pragma once
// Lines that explain what no result of a call can, such as why a store, a folder or a module was
// refused. The layers above register sinks, which decide where the lines go.

#include "platform/types.h"

#pragma GCC visibility push(default)

/// Receives one line; `category` is the subject ("Registry", "Modules", ...), and both texts are
/// borrowed for the call. It runs on the thread that caused the line, possibly while that thread
/// holds a lock of the platform, and may run on several threads at once. It must not call the
/// platform.
using DiagnosticSink = void (*)(const char* category, const WCHAR* line);

/// Registers and removes a sink, from any thread. A process has at most eight sinks. Adding a
/// ninth, null or a known sink does nothing, and so does removing an unknown one. Removing waits
/// until no thread runs the sink any more, so that a module may be unloaded right after it removed
/// its own.
void addDiagnosticSink(DiagnosticSink sink) noexcept;
void removeDiagnosticSink(DiagnosticSink sink) noexcept;

#pragma GCC visibility pop
