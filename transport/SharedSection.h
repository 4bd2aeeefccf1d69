#pragma once
#include <memory>

#include "platform/named_objects.h"
#include "ptp/PTPCommErrors.h"

namespace zlk {

/// A named section, opened and mapped whole.
class SharedSection {
  public:
    /// False if there is none, PTP_GENERAL_ERROR if it can't be mapped. An open one stays.
    bool open(const char* name) {
        return view_ || map(OpenFileMappingA(FILE_MAP_ALL_ACCESS, 0, name));
    }
    /// Opens it or makes it, of zeros; whether it was made here.
    bool make(const char* name, DWORD size) {
        const HANDLE made =
            CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name);
        const bool isNew = GetLastError() == ERROR_SUCCESS;
        if (!map(made)) throw PTP_GENERAL_ERROR;
        return isNew;
    }
    void close() noexcept {
        view_.reset();
        mapping_.reset();
    }
    /// Leaves it open to the end of the process.
    void keep() noexcept {
        (void)view_.release();
        (void)mapping_.release();
    }
    void* view() const noexcept { return view_.get(); }
    /// Bytes that were there when it was mapped: a peer's section may be shorter than ours.
    std::size_t size() const noexcept { return size_; }

  private:
    struct Unmap {
        void operator()(void* view) const noexcept { UnmapViewOfFile(view); }
    };

    bool map(HANDLE mapping) {
        mapping_ = UniqueHandle(mapping);
        if (!mapping_) return false;
        view_.reset(MapViewOfFile(mapping_.get(), FILE_MAP_WRITE, 0, 0, 0));
        if (!view_) throw PTP_GENERAL_ERROR;
        size_ = viewSize(view_.get());
        return true;
    }

    UniqueHandle mapping_;
    std::unique_ptr<void, Unmap> view_;
    std::size_t size_ = 0;
};

}  // namespace zlk
