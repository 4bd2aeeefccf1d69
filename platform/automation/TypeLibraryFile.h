#pragma once
// Where type libraries lie: in a module, or in a file of their own.

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

/// Results as of LoadTypeLib.
HRESULT loadTypeLibrary(const std::u16string& path, FoundTypeLibrary& found);

/// The library of a loaded module: its TYPELIB resource, or without one the file beside it that
/// has `.tlb` for the module's extension.
HRESULT loadOwnTypeLibrary(HMODULE module, FoundTypeLibrary& found);

}  // namespace zlk::platform
