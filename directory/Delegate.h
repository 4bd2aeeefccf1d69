#pragma once
#include <string>

#include "platform/component.h"

namespace zlk {

/// Another implementation of an interface, which the settings name by its ProgID and which then
/// answers in place of ours. Empty where none is named or it can't be created, and where the
/// ProgID leads back to the class that asks: that would create itself without end.
template <class Interface>
ComPtr<Interface> createDelegate(const std::u16string& progId, const GUID& asking) {
    ComPtr<Interface> delegate;
    GUID clsid;
    if (!progId.empty() && SUCCEEDED(CLSIDFromProgID(progId.c_str(), &clsid)) && !(clsid == asking))
        delegate.create(clsid);
    return delegate;
}

}  // namespace zlk
