#pragma once
// Finds type libraries, in a module or in a file of their own, and reads them.

#include <memory>
#include <string>

#include "platform/automation/TypeLibrary.h"
#include "platform/types.h"

namespace zlk::platform {

/// A library and the path by which LoadTypeLib finds it.
struct FoundTypeLibrary {
    std::shared_ptr<const TypeLibrary> library;
    std::u16string path;
};

/// The body of LoadTypeLib. Throws std::bad_alloc.
HRESULT loadTypeLibrary(const std::u16string& path, FoundTypeLibrary& found);

/// Reads the library of a loaded module: its TYPELIB resource with the number 1 or, if there is
/// none, the file with the module's path and the extension `.tlb`. Fails as LoadTypeLib does, or
/// with the HRESULT of a path that can't be found out. Throws std::bad_alloc.
HRESULT loadOwnTypeLibrary(HMODULE module, FoundTypeLibrary& found);

}  // namespace zlk::platform
