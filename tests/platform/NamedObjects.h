#pragma once
// Mutexes and sections in short calls, for tests of them and of what is built on them.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/named_objects.h"

namespace zlk::test {

inline UniqueHandle makeMutex(const std::u16string& name, bool owned = false) {
    return UniqueHandle(CreateMutexW(nullptr, owned, name.c_str()));
}

inline UniqueHandle makeSection(const std::u16string& name, DWORD size = 1024) {
    return UniqueHandle(
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name.c_str()));
}

struct Unmap {
    void operator()(void* view) const { EXPECT_TRUE(UnmapViewOfFile(view)); }
};
template <class Content>
using View = std::unique_ptr<Content, Unmap>;

/// The whole of a section; null where it can't be mapped.
template <class Content = char>
View<Content> viewOf(const UniqueHandle& section) {
    return View<Content>(
        static_cast<Content*>(MapViewOfFile(section.get(), FILE_MAP_WRITE, 0, 0, 0)));
}

}  // namespace zlk::test
