#pragma once
// A forked child has the memory of its parent, but neither its threads nor its named objects.

#include <pthread.h>

/// Has `call` made in each child that this process forks, from then on. Inline, so that it ends
/// with the module that it stands in.
struct InForkedChild {
    explicit InForkedChild(void (*call)()) noexcept { ::pthread_atfork(nullptr, nullptr, call); }
};
