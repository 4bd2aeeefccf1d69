#pragma once
// The component modules of the build, for tests that work with real siblings, and what tests of
// any module do with it.

#include <filesystem>
#include <utility>

#include "platform/component.h"
#include "platform/modules.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {

/// Registers every module of `folder` that registers classes, on this process's machine. Fails
/// the test where one doesn't load or doesn't register. Returns how many there were.
int registerModules(const fs::path& folder = moduleFolder());

/// A module that a test holds loaded, and its entry points.
class LoadedModule {
  public:
    /// Fails the test where the module doesn't load.
    explicit LoadedModule(const std::filesystem::path& path);
    ~LoadedModule() { release(); }
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;

    HMODULE get() const { return handle_; }
    void release() { FreeLibrary(std::exchange(handle_, nullptr)); }
    /// What the entry point of this name answers; E_UNEXPECTED where there is none.
    template <class... Arguments>
    HRESULT call(const char* name, Arguments... arguments) const {
        const auto entry =
            reinterpret_cast<HRESULT (*)(Arguments...)>(GetProcAddress(handle_, name));
        return entry ? entry(arguments...) : E_UNEXPECTED;
    }

  private:
    HMODULE handle_;
};

/// Whether anybody but this function holds a component module.
bool isLoaded(const std::filesystem::path& path);

/// An object by another one of its interfaces; empty where it hasn't got that one.
template <class Interface>
ComPtr<Interface> as(IUnknown* object) {
    ComPtr<Interface> pointer;
    object->QueryInterface(iidOf<Interface>, reinterpret_cast<void**>(pointer.out()));
    return pointer;
}

}  // namespace zlk::test
