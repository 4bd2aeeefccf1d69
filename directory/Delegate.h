#pragma once
// Lets another class answer in place of one of ours.

#include <string>

#include "platform/component.h"

namespace zlk {

/// An object of the class with this ProgID, which the settings name. Empty if the ProgID is empty
/// or the object can't be created. Also empty if the ProgID is that of `asking`, the class that
/// asks, since that class would create itself endlessly.
template <class Interface>
ComPtr<Interface> createDelegate(const std::u16string& progId, const GUID& asking) {
    ComPtr<Interface> delegate;
    GUID clsid;
    if (!progId.empty() && SUCCEEDED(CLSIDFromProgID(progId.c_str(), &clsid)) && !(clsid == asking))
        delegate.create(clsid);
    return delegate;
}

}  // namespace zlk
