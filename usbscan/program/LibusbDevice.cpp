#include "usbscan/program/LibusbDevice.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

#include "usbscan/program/ConfigurationBytes.h"

namespace zlk::usbscan {
namespace {

/// Bytes in one transfer; a larger write goes in several.
constexpr std::size_t writeAtOnce = 128 * 1024;

unsigned char* mutableBytes(const std::byte* bytes) {
    return reinterpret_cast<unsigned char*>(const_cast<std::byte*>(bytes));
}

/// The device at this address, with a reference of its own. Throws LibusbError.
std::unique_ptr<libusb_device, decltype(&libusb_unref_device)> find(libusb_context* context,
                                                                    UsbAddress address) {
    libusb_device** list = nullptr;
    const auto count = libusb_get_device_list(context, &list);
    checked("list of devices", static_cast<int>(count));
    const auto found = std::find_if(list, list + count, [&](libusb_device* device) {
        return libusb_get_bus_number(device) == address.bus &&
               libusb_get_device_address(device) == address.device;
    });
    // The reference keeps the device when the list is freed.
    libusb_device* device = found == list + count ? nullptr : libusb_ref_device(*found);
    libusb_free_device_list(list, 1);
    checked("device", device ? 0 : LIBUSB_ERROR_NO_DEVICE);
    return {device, &libusb_unref_device};
}

/// As the device sent it: libusb has its numbers in the machine's byte order.
std::array<std::byte, 18> deviceDescriptor(libusb_device* device) {
    libusb_device_descriptor descriptor{};
    libusb_get_device_descriptor(device, &descriptor);
    for (auto field : {&libusb_device_descriptor::bcdUSB, &libusb_device_descriptor::idVendor,
                       &libusb_device_descriptor::idProduct, &libusb_device_descriptor::bcdDevice})
        descriptor.*field = libusb_cpu_to_le16(descriptor.*field);
    std::array<std::byte, 18> bytes{};
    static_assert(sizeof descriptor == sizeof bytes);
    std::memcpy(bytes.data(), &descriptor, sizeof bytes);
    return bytes;
}

/// If this is a still-image interface with both bulk pipes, fills in its numbers and returns true.
bool readInterface(const libusb_interface_descriptor& interface, UsbFacts& facts) {
    if (interface.bInterfaceClass != LIBUSB_CLASS_IMAGE || interface.bInterfaceSubClass != 1 ||
        interface.bInterfaceProtocol != 1)
        return false;
    UsbEndpoint in, out, interrupt;
    for (const auto& found : std::span(interface.endpoint, interface.bNumEndpoints)) {
        const bool towardsHost = found.bEndpointAddress & LIBUSB_ENDPOINT_IN;
        const auto type = found.bmAttributes & LIBUSB_TRANSFER_TYPE_MASK;
        // The upper bits of wMaxPacketSize aren't part of the size.
        const UsbEndpoint endpoint{found.bEndpointAddress,
                                   static_cast<std::uint16_t>(found.wMaxPacketSize & 0x7FF),
                                   found.bInterval};
        if (endpoint.maximumPacketSize == 0) continue;
        if (type == LIBUSB_TRANSFER_TYPE_BULK)
            (towardsHost ? in : out) = endpoint;
        else if (type == LIBUSB_TRANSFER_TYPE_INTERRUPT && towardsHost)
            interrupt = endpoint;
    }
    if (!in.address || !out.address) return false;
    facts.interfaceNumber = interface.bInterfaceNumber;
    facts.bulkIn = in;
    facts.bulkOut = out;
    facts.interruptIn = interrupt;
    return true;
}

}  // namespace

std::optional<UsbAddress> UsbAddress::ofNode(std::string_view path) {
    constexpr std::string_view folder = "/dev/bus/usb/";
    if (!path.starts_with(folder) || path.size() != folder.size() + 7) return std::nullopt;
    const auto number = [&](std::size_t at) -> int {
        int value = 0;
        const char* first = path.data() + folder.size() + at;
        const auto [end, error] = std::from_chars(first, first + 3, value);
        return error == std::errc() && end == first + 3 && value > 0 && value < 256 ? value : 0;
    };
    const int bus = number(0), device = number(4);
    if (!bus || !device || path[folder.size() + 3] != '/') return std::nullopt;
    return UsbAddress{static_cast<std::uint8_t>(bus), static_cast<std::uint8_t>(device)};
}

LibusbDevice::LibusbDevice(EventLoop& loop, UsbAddress address, std::function<void()> unplugged)
    : context_(loop),
      unplugged_(std::move(unplugged)),
      write_(context_),
      control_(context_),
      interrupt_(context_) {
    open(address);
    readFacts();
    checked("claim", libusb_claim_interface(handle_.get(), facts_.interfaceNumber));
    reader_ = std::make_unique<BulkReader>(context_, handle_.get(), facts_.bulkIn);
    watchForUnplugging();
}

LibusbDevice::~LibusbDevice() {
    // No transfer may be in flight when the members that it uses are destroyed.
    takeBackAll();
    libusb_release_interface(handle_.get(), facts_.interfaceNumber);
}

void LibusbDevice::open(UsbAddress address) {
    const auto device = find(context_.get(), address);
    libusb_device_handle* handle = nullptr;
    checked("open", libusb_open(device.get(), &handle));
    handle_.reset(handle);
}

void LibusbDevice::readFacts() {
    libusb_device* device = libusb_get_device(handle_.get());
    facts_.deviceDescriptor = deviceDescriptor(device);
    libusb_config_descriptor* raw = nullptr;
    checked("configuration", libusb_get_active_config_descriptor(device, &raw));
    const std::unique_ptr<libusb_config_descriptor, decltype(&libusb_free_config_descriptor)>
        configuration(raw, &libusb_free_config_descriptor);
    facts_.configuration = configurationBytes(*raw);
    // Only an interface's first setting counts, since no other is ever selected.
    for (const auto& interface : std::span(raw->interface, raw->bNumInterfaces))
        if (interface.num_altsetting > 0 && readInterface(interface.altsetting[0], facts_)) return;
    throw LibusbError("still-image interface", LIBUSB_ERROR_NOT_FOUND);
}

void LibusbDevice::watchForUnplugging() {
    const auto left = [](libusb_context*, libusb_device* device, libusb_hotplug_event, void* data) {
        auto& self = *static_cast<LibusbDevice*>(data);
        if (device == libusb_get_device(self.handle_.get()))
            self.context_.post([&self] { self.unplugged_(); });
        return 0;
    };
    // A failure here does no harm: the next transfer will then show that the device is gone.
    libusb_hotplug_register_callback(context_.get(), LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT, 0,
                                     LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY,
                                     LIBUSB_HOTPLUG_MATCH_ANY, left, this, nullptr);
}

void LibusbDevice::submit(LibusbTransfer& transfer, LibusbTransfer::Ended ended) {
    if (const int error = transfer.submit(ended); error) {
        transfer->actual_length = 0;
        // Callers expect every result from the loop, and never from inside of their call.
        context_.post([ended = std::move(ended), error] { ended(statusOfError(error)); });
    }
}

void LibusbDevice::write(std::span<const std::byte> bytes, bool zeroPacket, Done done) {
    // If the last packet isn't full, it ends the transfer by itself.
    const bool lastIsFull = !bytes.empty() && bytes.size() % facts_.bulkOut.maximumPacketSize == 0;
    writing_ = {bytes, zeroPacket && lastIsFull, false, std::move(done)};
    writeNext();
}

// The zero-length packet is a transfer of its own, since old kernels can't append one.
void LibusbDevice::writeNext() {
    // Only the last transfer may end with a short packet, so all others have whole packets.
    const std::size_t most = writeAtOnce - writeAtOnce % facts_.bulkOut.maximumPacketSize;
    const auto bytes = writing_.rest.first(std::min(writing_.rest.size(), most));
    libusb_fill_bulk_transfer(&*write_, handle_.get(), facts_.bulkOut.address,
                              mutableBytes(bytes.data()), static_cast<int>(bytes.size()), nullptr,
                              nullptr, 0);
    submit(write_, [this, size = bytes.size()](UsbStatus status) {
        const bool allWent = static_cast<std::size_t>(write_->actual_length) == size;
        if (status == UsbStatus::Done && !allWent) status = UsbStatus::Failed;
        // If all bytes went, the transfer was complete before it could be cancelled. For a
        // zero-length packet this can't be known, as its actual length is 0 in any case.
        if (status == UsbStatus::Cancelled && allWent && size > 0) status = UsbStatus::Done;
        writing_.rest = writing_.rest.subspan(size);
        const bool more = !writing_.rest.empty() || std::exchange(writing_.zeroPacket, false);
        if (status != UsbStatus::Done || !more)
            std::exchange(writing_.done, nullptr)(status);
        else if (writing_.cancelled)
            std::exchange(writing_.done, nullptr)(UsbStatus::Cancelled);
        else
            writeNext();
    });
}

void LibusbDevice::cancelWrite() {
    writing_.cancelled = true;
    write_.cancel();
}

void LibusbDevice::control(const UsbRequest& request, DoneWithBytes done) {
    const bool towardsHost = request.requestType & LIBUSB_ENDPOINT_IN;
    const std::size_t length = towardsHost ? request.inLength : request.out.size();
    controlBytes_.resize(LIBUSB_CONTROL_SETUP_SIZE + length);
    auto* const setup = mutableBytes(controlBytes_.data());
    libusb_fill_control_setup(setup, request.requestType, request.request, request.value,
                              request.index, static_cast<std::uint16_t>(length));
    if (!towardsHost && length)
        std::memcpy(setup + LIBUSB_CONTROL_SETUP_SIZE, request.out.data(), length);
    libusb_fill_control_transfer(&*control_, handle_.get(), setup, nullptr, nullptr,
                                 static_cast<unsigned>(request.patience.count()));
    submit(control_, [this, towardsHost, done = std::move(done)](UsbStatus status) {
        const auto came = towardsHost ? static_cast<std::size_t>(control_->actual_length) : 0;
        // `done` may start the next request, which uses `controlBytes_` again.
        const auto bytes = std::exchange(controlBytes_, {});
        done(status, std::span(bytes).subspan(LIBUSB_CONTROL_SETUP_SIZE, came));
    });
}

void LibusbDevice::waitForInterrupt(DoneWithBytes done) {
    libusb_fill_interrupt_transfer(&*interrupt_, handle_.get(), facts_.interruptIn.address,
                                   mutableBytes(interruptBytes_.data()),
                                   static_cast<int>(interruptBytes_.size()), nullptr, nullptr, 0);
    submit(interrupt_, [this, done = std::move(done)](UsbStatus status) {
        done(status,
             std::span(interruptBytes_).first(static_cast<std::size_t>(interrupt_->actual_length)));
    });
}

bool LibusbDevice::clearHalt(std::uint8_t endpoint) {
    takeBack(endpoint);
    return libusb_clear_halt(handle_.get(), endpoint) == 0;
}

// Transfers in flight during a reset would end as if the device had sent nothing.
bool LibusbDevice::reset() {
    takeBackAll();
    return libusb_reset_device(handle_.get()) == 0;
}

void LibusbDevice::takeBack(std::uint8_t endpoint) {
    if (endpoint == facts_.bulkIn.address) {
        reader_->stop();
        return;
    }
    LibusbTransfer& transfer = endpoint == facts_.bulkOut.address ? write_
                               : endpoint == 0                    ? control_
                                                                  : interrupt_;
    if (&transfer == &write_) writing_.cancelled = true;
    transfer.cancel();
    context_.workUntil([&] { return !transfer.inFlight(); }, patienceWithCancelling);
}

void LibusbDevice::takeBackAll() {
    constexpr std::uint8_t controlPipe = 0;
    for (const std::uint8_t endpoint :
         {facts_.bulkIn.address, facts_.bulkOut.address, controlPipe, facts_.interruptIn.address})
        takeBack(endpoint);
}

}  // namespace zlk::usbscan
