#pragma once
// The four entry points that every component module exports, and their bodies. Any thread may call
// them. A module defines them by a table of its classes and ZLK_COMPONENT_MODULE(classes). The
// macro does what the lines after the table do here:
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
/// S_OK if the module may be unloaded now, S_FALSE while objects or locks of it live. Takes no
/// lock, since it is called while the table of loaded classes is locked.
HRESULT DllCanUnloadNow() noexcept;
/// Gives the factory of one of the module's classes. CLASS_E_CLASSNOTAVAILABLE for any other class,
/// E_NOINTERFACE for an interface that no factory has, E_POINTER for a null `object`; *object is
/// null on failure. Any thread may call it.
HRESULT DllGetClassObject(const GUID& clsid, const GUID& iid, void** object) noexcept;
/// Runs each class's registry script and then, with ModuleTypeLibrary::Registered, registers the
/// module's type library; stops at the first failure and returns it.
HRESULT DllRegisterServer() noexcept;
/// Takes the registration back (registrar.h tells which keys stay). It goes on after a failure, and
/// returns the first failure.
HRESULT DllUnregisterServer() noexcept;
}

namespace zlk {

/// Whether a module's type library (its TYPELIB resource, or the file beside it with the extension
/// `.tlb`) is registered together with its classes.
enum class ModuleTypeLibrary { None, Registered };

/// Runs the REGISTRY resources of the module's classes, to register them or, with `install` false,
/// to take the registration back. With ModuleTypeLibrary::Registered the type library is registered
/// or unregistered, too. In the scripts %MODULE% is the module's full path and %APPID% the empty
/// text.
HRESULT registerComponents(HMODULE module, std::span<const ComponentClass> classes,
                           ModuleTypeLibrary typeLibrary, bool install) noexcept;

}  // namespace zlk

#pragma GCC visibility pop

namespace zlk {

/// Holds the factories of a module's classes. It is constant-initialized, so that the entry points
/// work before any constructor of the module has run.
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

/// Defines a module's zlk::ComponentModule and the four entry points, which each module must define
/// for itself so that they are exported from it. The arguments are those of the ComponentModule: a
/// constexpr array of zlk::ComponentClass and, if the module's type library is to be registered,
/// zlk::ModuleTypeLibrary::Registered.
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
