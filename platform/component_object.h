#pragma once
// What a module needs to implement component classes: templates for reference counts,
// QueryInterface, aggregation and class factories. The module's entry points are in
// component_module.h.
//
// A class T derives from its interfaces, implements all their methods except the three of IUnknown,
// and lists the interfaces that QueryInterface finds:
//
//     class Thing : public IThing, public IOther {
//       public:
//         using Interfaces = InterfaceList<IThing, IOther>;
//         ...
//       protected:
//         ~Thing();
//     };
//
// The destructor is protected or virtual. T has no IUnknown of its own while its constructor and
// its destructor run, so neither may hand a reference to the object out. Reference counts aren't
// atomic, because an object is used only on the thread that made it. The module's count of living
// objects is atomic.

#include <atomic>
#include <new>
#include <type_traits>
#include <utility>

#include "platform/component.h"

namespace zlk {

/// The number of living objects and locks of the module that this header is compiled into: with
/// hidden visibility, each module has a count of its own.
inline std::atomic<LONG> moduleLockCount{0};

/// A base of objects. While one lives, DllCanUnloadNow says that its module may not be unloaded.
/// The count goes down with memory order release, so that a thread that reads 0 and unloads the
/// module sees everything that the destructor of the derived object did.
struct ModuleLock {
    ModuleLock() noexcept { moduleLockCount.fetch_add(1, std::memory_order_relaxed); }
    ~ModuleLock() { moduleLockCount.fetch_sub(1, std::memory_order_release); }
    ModuleLock(const ModuleLock&) = delete;
    ModuleLock& operator=(const ModuleLock&) = delete;
};

/// The interfaces of a class, IUnknown left out. The pointer to the first one is the object's
/// identity; each other one is a base of the first or of T.
template <class First, class... Others>
struct InterfaceList {
    /// The IUnknown that QueryInterface gives, whichever of the object's interfaces was asked.
    template <class T>
    static IUnknown* identity(T* object) noexcept {
        return static_cast<First*>(object);
    }

    /// The interface `iid` of `object`, without a new reference; null if it isn't in the list.
    template <class T>
    static void* find(T* object, const GUID& iid) noexcept {
        void* found = nullptr;
        (void)(match<First>(object, iid, found) || ... || match<Others>(object, iid, found));
        return found;
    }

  private:
    template <class Interface, class T>
    static bool match(T* object, const GUID& iid, void*& found) noexcept {
        if (!(iid == iidOf<Interface>)) return false;
        // A base of the first interface is reached through it, because several interfaces of T may
        // share that base, and a direct cast would then be ambiguous.
        if constexpr (std::is_base_of_v<Interface, First>) {
            found = static_cast<Interface*>(static_cast<First*>(object));
        } else {
            found = static_cast<Interface*>(object);
        }
        return true;
    }
};

/// An object of class T that is not part of another one. The lock is the first base, so that the
/// module stays loaded until T's destructor has finished.
template <class T>
class PlainObject final : private ModuleLock, public T {
  public:
    HRESULT QueryInterface(const GUID& iid, void** object) noexcept override {
        if (!object) return E_POINTER;
        using List = typename T::Interfaces;
        T* const self = this;
        *object = iid == iidOf<IUnknown> ? List::identity(self) : List::find(self, iid);
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG AddRef() noexcept override { return ++count_; }
    ULONG Release() noexcept override {
        const ULONG left = --count_;
        if (left == 0) delete this;
        return left;
    }

  private:
    ULONG count_ = 1;
};

/// An object of class T that is part of an outer one. The interfaces of the part forward reference
/// counts and QueryInterface to the outer object, so that both look like one object. The outer
/// object reaches and ends the part by the separate IUnknown that this class implements.
template <class T>
class AggregatedObject final : private ModuleLock, public IUnknown {
  public:
    explicit AggregatedObject(IUnknown* outer) : part_(outer) {}

    HRESULT QueryInterface(const GUID& iid, void** object) noexcept override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (iid == iidOf<IUnknown>) {
            *object = static_cast<IUnknown*>(this);
            AddRef();
            return S_OK;
        }
        *object = T::Interfaces::find(static_cast<T*>(&part_), iid);
        if (!*object) return E_NOINTERFACE;
        part_.AddRef();  // counts on the outer object, whose reference the caller gets
        return S_OK;
    }
    ULONG AddRef() noexcept override { return ++count_; }
    ULONG Release() noexcept override {
        const ULONG left = --count_;
        if (left == 0) delete this;
        return left;
    }

  private:
    /// T with the three methods of IUnknown forwarded to the outer object.
    class Part final : public T {
      public:
        explicit Part(IUnknown* outer) : outer_(outer) {}
        HRESULT QueryInterface(const GUID& iid, void** object) noexcept override {
            return outer_->QueryInterface(iid, object);
        }
        ULONG AddRef() noexcept override { return outer_->AddRef(); }
        ULONG Release() noexcept override { return outer_->Release(); }

      private:
        IUnknown* outer_;  // borrowed: the outer object outlives its part
    };

    ULONG count_ = 1;  // references that the outer object holds
    Part part_;
};

/// Runs the body of a component method, which returns an HRESULT, and keeps exceptions inside the
/// module: std::bad_alloc becomes E_OUTOFMEMORY, any other exception E_FAIL.
template <class Body>
HRESULT guarded(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

/// Makes an object of T, or with `outer` one that is part of `outer`. Throws what T's constructor
/// throws, and std::bad_alloc.
template <class T>
HRESULT makeObject(IUnknown* outer, const GUID& iid, void** object) {
    if (outer) {
        *object = static_cast<IUnknown*>(new AggregatedObject<T>(outer));
        return S_OK;
    }
    // QueryInterface adds the caller's reference; Release drops the one that the constructor set,
    // and ends the object if it lacks the interface `iid`.
    auto* made = new PlainObject<T>;
    const HRESULT result = made->QueryInterface(iid, object);
    made->Release();
    return result;
}

/// Makes an object of T as IClassFactory::CreateInstance does. ComponentClass takes this function.
template <class T>
HRESULT createObject(IUnknown* outer, const GUID& iid, void** object) noexcept {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer && !(iid == iidOf<IUnknown>)) return CLASS_E_NOAGGREGATION;
    return guarded([&] { return makeObject<T>(outer, iid, object); });
}

/// One class of a module's table.
struct ComponentClass {
    const GUID& clsid;
    HRESULT (*create)(IUnknown* outer, const GUID& iid, void** object) noexcept;
    WORD registryScript;  ///< number of the REGISTRY resource that registers the class
};

/// The factory of one class. It is static data of the module, so its references aren't counted and
/// don't keep the module loaded; LockServer does.
class ClassFactory final : public IClassFactory {
  public:
    constexpr explicit ClassFactory(const ComponentClass& component) noexcept
        : component_(component) {}

    HRESULT QueryInterface(const GUID& iid, void** object) noexcept override {
        if (!object) return E_POINTER;
        const bool known = iid == iidOf<IUnknown> || iid == iidOf<IClassFactory>;
        *object = known ? static_cast<IClassFactory*>(this) : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() noexcept override { return 2; }
    ULONG Release() noexcept override { return 1; }
    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** object) noexcept override {
        return component_.create(outer, iid, object);
    }
    HRESULT LockServer(BOOL lock) noexcept override {
        moduleLockCount.fetch_add(lock ? 1 : -1, std::memory_order_relaxed);
        return S_OK;
    }

    const GUID& clsid() const noexcept { return component_.clsid; }

  private:
    const ComponentClass& component_;
};

}  // namespace zlk
