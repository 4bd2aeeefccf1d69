#pragma once
// The four entry points of a component module, and their bodies. A module's source is its table
// and a line for each of them:
//
//     namespace {
//     constexpr zlk::ComponentClass classes[] = {
//         {CLSID_Thing, zlk::createObject<zlk::Thing>, 2001},
//     };
//     constinit zlk::ComponentModule component(classes);
//     }  // namespace
//
//     HRESULT DllCanUnloadNow() noexcept { return component.canUnloadNow(); }
//     HRESULT DllGetClassObject(const GUID& clsid, const GUID& iid, void** object) noexcept {
//         return component.getClassObject(clsid, iid, object);
//     }
//     HRESULT DllRegisterServer() noexcept { return component.registerServer(); }
//     HRESULT DllUnregisterServer() noexcept { return component.unregisterServer(); }

#include <array>
#include <span>
#include <utility>

#include "platform/component_object.h"
#include "platform/modules.h"

#pragma GCC visibility push(default)

extern "C" {
/// S_OK if the module may be unloaded now, S_FALSE while objects or locks of it live.
HRESULT DllCanUnloadNow() noexcept;
/// The factory of a class of the module. CLASS_E_CLASSNOTAVAILABLE for any other, E_POINTER for a
/// null `object`; *object is null on failure.
HRESULT DllGetClassObject(const GUID& clsid, const GUID& iid, void** object) noexcept;
/// Runs each class's registry script, then registers the module's type library if it has one;
/// stops at the first failure and returns it.
HRESULT DllRegisterServer() noexcept;
/// Takes away what the scripts wrote, all of them, and the type library's entries; returns the
/// first failure.
HRESULT DllUnregisterServer() noexcept;
}

namespace zlk {

/// Whether a module's classes can be called by name: its type library, the TYPELIB resource or the
/// file beside it that has `.tlb` for its extension, is then registered with them.
enum class ModuleTypeLibrary { None, Registered };

/// Runs the REGISTRY resources of the module's classes. %MODULE% is the module's full path,
/// %APPID% the empty text.
HRESULT registerComponents(HMODULE module, std::span<const ComponentClass> classes,
                           ModuleTypeLibrary typeLibrary, bool install) noexcept;

}  // namespace zlk

#pragma GCC visibility pop

namespace zlk {

/// The factories of a module's classes, made before its first code runs.
template <std::size_t count>
class ComponentModule {
  public:
    constexpr explicit ComponentModule(
        const ComponentClass (&classes)[count],
        ModuleTypeLibrary typeLibrary = ModuleTypeLibrary::None) noexcept
        : ComponentModule(classes, typeLibrary, std::make_index_sequence<count>()) {}

    HRESULT canUnloadNow() const noexcept {
        return moduleLockCount.load(std::memory_order_acquire) == 0 ? S_OK : S_FALSE;
    }
    HRESULT getClassObject(const GUID& clsid, const GUID& iid, void** object) noexcept {
        if (!object) return E_POINTER;
        *object = nullptr;
        for (ClassFactory& factory : factories_)
            if (factory.clsid() == clsid) return factory.QueryInterface(iid, object);
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    HRESULT registerServer() const noexcept {
        return registerComponents(moduleFromAddress(this), classes_, typeLibrary_, true);
    }
    HRESULT unregisterServer() const noexcept {
        return registerComponents(moduleFromAddress(this), classes_, typeLibrary_, false);
    }

  private:
    template <std::size_t... index>
    constexpr ComponentModule(const ComponentClass (&classes)[count], ModuleTypeLibrary typeLibrary,
                              std::index_sequence<index...>) noexcept
        : classes_(classes),
          typeLibrary_(typeLibrary),
          factories_{ClassFactory(classes[index])...} {}

    std::span<const ComponentClass> classes_;
    ModuleTypeLibrary typeLibrary_;
    std::array<ClassFactory, count> factories_;
};

}  // namespace zlk

/// The table of a module's classes and its four entry points, which each module has to define for
/// itself. The arguments are those of a zlk::ComponentModule: a constexpr array of
/// zlk::ComponentClass, and zlk::ModuleTypeLibrary::Registered where there is such a library.
#define ZLK_COMPONENT_MODULE(...)                                                           \
    static constinit zlk::ComponentModule componentModule(__VA_ARGS__);                     \
    HRESULT DllCanUnloadNow() noexcept {                                                    \
        return componentModule.canUnloadNow();                                              \
    }                                                                                       \
    HRESULT DllGetClassObject(const GUID& clsid, const GUID& iid, void** object) noexcept { \
        return componentModule.getClassObject(clsid, iid, object);                          \
    }                                                                                       \
    HRESULT DllRegisterServer() noexcept {                                                  \
        return componentModule.registerServer();                                            \
    }                                                                                       \
    HRESULT DllUnregisterServer() noexcept {                                                \
        return componentModule.unregisterServer();                                          \
    }
