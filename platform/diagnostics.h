#pragma once
// What the platform has to say without a failing call of its own: why a store, a folder or a
// module was refused, which file a lock stands for. The layers above decide where it goes.

#include "platform/types.h"

#pragma GCC visibility push(default)

/// Receives one line; `category` is the subject ("Registry", "Modules", ...). Called on the
/// thread that found out, possibly with a lock of the platform held: it must not call back.
using DiagnosticSink = void (*)(const char* category, const WCHAR* line);

/// Up to eight sinks in a process; adding one twice or removing an unknown one changes nothing.
/// A module removes its sink before it is unloaded.
void addDiagnosticSink(DiagnosticSink sink) noexcept;
void removeDiagnosticSink(DiagnosticSink sink) noexcept;

#pragma GCC visibility pop
