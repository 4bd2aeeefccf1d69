#pragma once
#include <memory>

#include "platform/named_objects.h"

namespace zlk {

struct UnmapSection {
    void operator()(void* view) const noexcept { UnmapViewOfFile(view); }
};
using SectionView = std::unique_ptr<void, UnmapSection>;

}  // namespace zlk
