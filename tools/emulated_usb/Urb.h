#pragma once
// A request that a client has handed to the emulated usbfs, with its memory.

#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>  // umockdev.h needs it
#include <umockdev.h>

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace zlk::emulated {

/// Takes over a reference to a GObject; null stays null.
template <class T>
std::shared_ptr<T> owned(T* object) {
    return {object, [](T* last) {
                if (last) g_object_unref(last);
            }};
}

using ClientMemory = std::shared_ptr<UMockdevIoctlData>;

/// `size` bytes to which the pointer at `offset` in `memory` leads; null if it leads nowhere.
inline ClientMemory resolve(UMockdevIoctlData* memory, std::size_t offset, std::size_t size) {
    return owned(umockdev_ioctl_data_resolve(memory, offset, size, nullptr));
}

class Urb {
  public:
    using Client = UMockdevIoctlClient*;

    /// `request` is the client's struct usbdevfs_urb. What is written into the struct reaches the
    /// client when the request is reaped.
    Urb(Client client, ClientMemory request) : client_(client), request_(std::move(request)) {
        if (const int length = fields().buffer_length; length > 0)
            buffer_ = resolve(request_.get(), offsetof(usbdevfs_urb, buffer),
                              static_cast<std::size_t>(length));
    }

    Client client() const { return client_; }
    UMockdevIoctlData* request() const { return request_.get(); }
    gulong address() const { return request_->client_addr; }
    usbdevfs_urb& fields() const { return *reinterpret_cast<usbdevfs_urb*>(request_->data); }
    bool is(unsigned flag) const { return fields().flags & flag; }
    bool towardsHost() const { return fields().endpoint & 0x80; }
    /// The bytes to transfer; also empty if the client's pointer to them was bad.
    std::span<std::byte> buffer() const {
        if (!buffer_) return {};
        return {reinterpret_cast<std::byte*>(buffer_->data),
                static_cast<std::size_t>(buffer_->data_len)};
    }
    /// The part of the buffer that isn't filled yet.
    std::span<std::byte> room() const {
        return buffer().subspan(static_cast<std::size_t>(fields().actual_length));
    }

  private:
    Client client_;
    ClientMemory request_, buffer_;
};

}  // namespace zlk::emulated
