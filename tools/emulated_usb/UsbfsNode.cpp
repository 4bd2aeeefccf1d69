#include "tools/emulated_usb/UsbfsNode.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#ifdef __SANITIZE_THREAD__
/// The thread sanitizer calls this. The text names the libraries in which it mustn't report races,
/// because they aren't built with it.
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_suppressions() {
    return "race:libumockdev.so\nrace:libglib-2.0.so\n";
}
#endif

namespace zlk::emulated {
namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::string rootOf(UMockdevTestbed* testbed) {
    gchar* root = umockdev_testbed_get_root_dir(testbed);
    std::string text = root;
    g_free(root);
    return text;
}

/// Makes a pipe of one page, which isn't ready for writing while it holds a byte.
int makeFifo(const std::string& path) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    if (::mkfifo(path.c_str(), 0600) != 0) fail("mkfifo");
    const int fifo = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fifo < 0 || ::fcntl(fifo, F_SETPIPE_SZ, 4096) < 0) fail("fifo");
    return fifo;
}

template <class T>
T read(UMockdevIoctlData* argument) {
    T value{};
    if (const auto memory = resolve(argument, 0, sizeof value))
        std::memcpy(&value, memory->data, sizeof value);
    return value;
}

}  // namespace

UsbfsNode::UsbfsNode(usbscan::EventLoop& loop, camsim::UsbFunction& function,
                     UMockdevTestbed* testbed, const std::string& path,
                     const UsbfsFeatures& features)
    : loop_(loop),
      function_(function),
      testbed_(testbed),
      path_(path),
      file_(rootOf(testbed) + path),
      features_(features),
      ioctls_(owned(umockdev_ioctl_base_new())),
      event_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
      fifo_(makeFifo(file_)),
      queues_(function, features.memory) {
    showReadiness();
    function_.setWake([this] { wake(); });
    loop_.watch(event_, POLLIN, [this](short) { work(); });
    g_signal_connect(ioctls_.get(), "handle-ioctl", G_CALLBACK(onIoctl), this);
    g_signal_connect(ioctls_.get(), "client-vanished", G_CALLBACK(onVanished), this);
    if (!umockdev_testbed_attach_ioctl(testbed_, path_.c_str(), ioctls_.get(), nullptr))
        fail("attach_ioctl");
}

UsbfsNode::~UsbfsNode() {
    umockdev_testbed_detach_ioctl(testbed_, path_.c_str(), nullptr);
    g_signal_handlers_disconnect_by_data(ioctls_.get(), this);
    function_.setWake([] {});
    loop_.forget(event_);
    ::close(event_);
    ::close(fifo_);
}

void UsbfsNode::unplug() {
    const std::lock_guard lock(mutex_);
    unplugged_ = true;
    queues_.end(-ESHUTDOWN);
    showReadiness();
    ::unlink(file_.c_str());
}

void UsbfsNode::wake() const {
    eventfd_write(event_, 1);
}

void UsbfsNode::work() {
    eventfd_t ignored;
    eventfd_read(event_, &ignored);
    const std::lock_guard lock(mutex_);
    for (; !forDevice_.empty(); forDevice_.pop_front()) forDevice_.front()();
    if (!unplugged_) queues_.run();
    showReadiness();
}

/// Clients poll the node for writing: ready means that there is something to reap.
void UsbfsNode::showReadiness() {
    const bool full = queues_.nothingToReap();
    if (full == fifoIsFull_) return;
    fifoIsFull_ = full;
    char byte = 0;
    if ((full ? ::write(fifo_, &byte, 1) : ::read(fifo_, &byte, 1)) != 1) fail("fifo");
}

gboolean UsbfsNode::onIoctl(UMockdevIoctlBase*, Client client, gpointer self) {
    auto& node = *static_cast<UsbfsNode*>(self);
    const std::lock_guard lock(node.mutex_);
    const int error = node.answer(client);
    // The mutex is still held, since completing the call looks through the client's memory, which
    // the loop's thread may be about to fill.
    umockdev_ioctl_client_complete(client, error ? -1 : 0, error);
    return TRUE;
}

void UsbfsNode::onVanished(UMockdevIoctlBase*, Client client, gpointer self) {
    auto& node = *static_cast<UsbfsNode*>(self);
    const std::lock_guard lock(node.mutex_);
    node.forget(client);
}

int UsbfsNode::answer(Client client) {
    UMockdevIoctlData* argument = umockdev_ioctl_client_get_arg(client);
    const auto request = umockdev_ioctl_client_get_request(client);
    if (request == USBDEVFS_REAPURB || request == USBDEVFS_REAPURBNDELAY) return reap(client);
    if (unplugged_) return ENODEV;
    switch (request) {
        case USBDEVFS_GET_CAPABILITIES:
            std::memcpy(resolve(argument, 0, 4)->data, &features_.capabilities, 4);
            return 0;
        case USBDEVFS_CLAIMINTERFACE:
            return claim(client);
        case USBDEVFS_RELEASEINTERFACE:
            if (claimer_.get() != client) return EINVAL;
            claimer_ = nullptr;
            queues_.end(-ENOENT, client);
            showReadiness();
            return 0;
        case USBDEVFS_SUBMITURB:
            return submit(client);
        case USBDEVFS_DISCARDURB: {
            const bool found = queues_.discard(client, *reinterpret_cast<gulong*>(argument->data));
            showReadiness();
            return found ? 0 : EINVAL;
        }
        case USBDEVFS_CLEAR_HALT:
            forDevice_.emplace_back([this, endpoint = read<unsigned>(argument)] {
                function_.clearHalt(static_cast<std::uint8_t>(endpoint));
            });
            wake();
            return 0;
        case USBDEVFS_RESET:
            queues_.end(-ENOENT);
            forDevice_.emplace_back([this] { function_.busReset(); });
            wake();
            return 0;
        case USBDEVFS_SETCONFIGURATION:
            return claimer_ ? EBUSY : 0;
        case USBDEVFS_SETINTERFACE:
        case USBDEVFS_RESETEP:
            return 0;
        case USBDEVFS_GETDRIVER:
        case USBDEVFS_IOCTL:  // asks for kernel drivers to be detached: there is none
            return ENODATA;
        default:
            return ENOTTY;
    }
}

int UsbfsNode::claim(Client client) {
    if (claimer_.get() == client) return 0;
    // umockdev doesn't always tell of a client that was killed.
    if (claimer_ && !umockdev_ioctl_client_get_connected(claimer_.get())) forget(claimer_.get());
    if (claimer_) return EBUSY;
    claimer_ = owned(static_cast<Client>(g_object_ref(client)));
    return 0;
}

void UsbfsNode::forget(Client client) {
    queues_.forget(client);
    if (claimer_.get() == client) claimer_ = nullptr;
    showReadiness();
}

int UsbfsNode::submit(Client client) {
    auto memory = resolve(umockdev_ioctl_client_get_arg(client), 0, sizeof(usbdevfs_urb));
    if (!memory) return EFAULT;
    auto urb = std::make_unique<Urb>(client, std::move(memory));
    // The kernel, too, claims the interface for a client that uses a pipe without a claim.
    if (urb->fields().type != USBDEVFS_URB_TYPE_CONTROL)
        if (const int error = claim(client); error) return error;
    const int error = queues_.submit(std::move(urb));
    wake();
    return error;
}

int UsbfsNode::reap(Client client) {
    const auto urb = queues_.reap(client);
    showReadiness();
    if (!urb) return unplugged_ ? ENODEV : EAGAIN;
    const auto slot = resolve(umockdev_ioctl_client_get_arg(client), 0, sizeof(void*));
    return slot && umockdev_ioctl_data_set_ptr(slot.get(), 0, urb->request()) ? 0 : EFAULT;
}

}  // namespace zlk::emulated
