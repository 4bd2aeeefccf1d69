#pragma once
// The node that a device has in the emulated usbfs from plugging in to unplugging. It answers the
// ioctls of its clients, and passes their transfers on to the device's function.

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "tools/emulated_usb/UrbQueues.h"
#include "usbscan/host/EventLoop.h"

namespace zlk::emulated {

struct UsbfsFeatures {
    /// The answer to USBDEVFS_GET_CAPABILITIES. With 0x1f a transfer is one request, with the 0x02
    /// of an old kernel it comes in pieces of 16 KiB that continue each other.
    std::uint32_t capabilities = 0x1f;
    std::size_t memory = 16 << 20;  ///< for the buffers of all requests
};

/// Transfers are made on the loop's thread, which calls `function`. The ioctls come on a thread of
/// umockdev and are answered there, under the mutex.
class UsbfsNode {
  public:
    /// `path` is that of the node, /dev/bus/usb/..., below the testbed's root.
    UsbfsNode(usbscan::EventLoop& loop, camsim::UsbFunction& function, UMockdevTestbed* testbed,
              const std::string& path, const UsbfsFeatures& features);
    ~UsbfsNode();
    UsbfsNode(const UsbfsNode&) = delete;
    UsbfsNode& operator=(const UsbfsNode&) = delete;

    /// Nobody can open the node any more. For clients that have it open, what is under way ends and
    /// can still be reaped; all other ioctls fail with ENODEV.
    void unplug();

  private:
    using Client = Urb::Client;
    static gboolean onIoctl(UMockdevIoctlBase*, Client client, gpointer self);
    static void onVanished(UMockdevIoctlBase*, Client client, gpointer self);
    void wake() const;
    void work();
    /// 0 or an errno.
    int answer(Client client);
    int submit(Client client);
    int reap(Client client);
    int claim(Client client);
    /// Drops the requests and the claim of a client that is gone.
    void forget(Client client);
    void showReadiness();

    usbscan::EventLoop& loop_;
    camsim::UsbFunction& function_;
    UMockdevTestbed* testbed_;
    const std::string path_, file_;
    const UsbfsFeatures features_;
    std::shared_ptr<UMockdevIoctlBase> ioctls_;
    int event_ = -1, fifo_ = -1;

    std::mutex mutex_;  ///< of all below
    UrbQueues queues_;
    std::deque<std::function<void()>> forDevice_;   ///< calls to make before further packets
    std::shared_ptr<UMockdevIoctlClient> claimer_;  // referenced, so that no other gets its address
    bool fifoIsFull_ = false, unplugged_ = false;
};

}  // namespace zlk::emulated
