#pragma once
// A way to repair a module's state in a forked child, which has its parent's memory, but neither
// the parent's other threads nor the parent's named objects.

#include <pthread.h>

/// From the construction on, `call` runs in each child that this process makes by fork(), on the
/// child's only thread and before fork() returns there. A child of a direct clone() doesn't run it.
/// The constructor is inline, so that the handler is registered for the module that makes the
/// object, and goes away when that module is unloaded.
struct InForkedChild {
    explicit InForkedChild(void (*call)()) noexcept { ::pthread_atfork(nullptr, nullptr, call); }
};
