#include "tools/zlkcamsim/RecordedDevice.h"

#include <algorithm>

namespace zlk::camsim {
namespace {

using usbscan::UsbEvent;

constexpr std::uint8_t deviceType = 1, configurationType = 2, stringType = 3, interfaceType = 4,
                       endpointType = 5;
constexpr std::size_t deviceSize = 18, interfaceSize = 9, endpointSize = 7;
/// The most requests under way, and the most devices, that are remembered. A bus has no more
/// devices.
constexpr std::size_t mostAsked = 128;

std::uint8_t byteAt(ByteView bytes, std::size_t at) {
    return std::to_integer<std::uint8_t>(bytes[at]);
}

}  // namespace

void RecordedDevice::control(const UsbEvent& event) {
    const Address address{event.bus, event.device};
    // The request says which descriptor is meant, and its completion has the bytes; the two are
    // joined here by the number of the transfer.
    if (event.kind == UsbEvent::Kind::Submission) {
        constexpr std::uint8_t standardIn = 0x80, getDescriptor = 6;
        if (!event.setup || byteAt(*event.setup, 0) != standardIn ||
            byteAt(*event.setup, 1) != getDescriptor)
            return;
        if (asked_.size() >= mostAsked) asked_.clear();
        asked_[{address, event.transfer}] = {byteAt(*event.setup, 3), byteAt(*event.setup, 2)};
        return;
    }
    const auto asked = asked_.extract({address, event.transfer});
    // A descriptor that was recorded only in part is of no use.
    if (asked.empty() || event.status != 0 || event.data.size() != event.length) return;
    keep(address, asked.mapped().first, asked.mapped().second, event.data);
}

void RecordedDevice::keep(const Address& address, std::uint8_t type, std::uint8_t index,
                          ByteView bytes) {
    // A host may first ask for the beginning of a descriptor, to learn its length, so the longest
    // version counts.
    const auto keepLonger = [bytes](Bytes& kept) {
        if (bytes.size() > kept.size()) kept.assign(bytes.begin(), bytes.end());
    };
    // Once the device is known, the others on the bus don't matter.
    if (address_ && address_ != address) return;
    if (descriptors_.size() >= mostAsked && !descriptors_.contains(address)) return;
    Descriptors& of = descriptors_[address];
    if (type == deviceType && bytes.size() == deviceSize) keepLonger(of.device);
    if (type == stringType) keepLonger(of.strings[index]);
    if (type == configurationType) keepLonger(of.configuration);
    // The first device whose descriptors show a still-image interface counts.
    if (!address_ && !of.device.empty() && findInterface(of.configuration)) address_ = address;
}

/// Whether the configuration has a still-image interface with both bulk pipes. If so, the endpoints
/// and the packet size are noted.
bool RecordedDevice::findInterface(ByteView configuration) {
    bool isInside = false;
    bulkIn_ = bulkOut_ = interrupt_ = 0;
    for (ByteView rest = configuration; rest.size() >= 2;) {
        const std::size_t length = byteAt(rest, 0), type = byteAt(rest, 1);
        if (length < 2 || length > rest.size()) break;
        if (type == interfaceType && length >= interfaceSize) {
            if (isInside) break;
            // Class, subclass and protocol of still image devices.
            isInside = byteAt(rest, 5) == 6 && byteAt(rest, 6) == 1 && byteAt(rest, 7) == 1;
        } else if (type == endpointType && length >= endpointSize && isInside) {
            constexpr std::uint8_t bulk = 2, interrupt = 3;
            const std::uint8_t address = byteAt(rest, 2), kind = byteAt(rest, 3) & 3;
            if (kind == interrupt) interrupt_ = address;
            if (kind == bulk) (address & 0x80 ? bulkIn_ : bulkOut_) = address;
            // The packet size is in the lower eleven bits. The bits above them have a meaning for
            // other kinds of pipes only.
            if (kind == bulk) packetSize_ = loadNumber(rest.subspan(4), 2) & 0x7FF;
        }
        rest = rest.subspan(length);
    }
    return bulkIn_ && bulkOut_ && packetSize_;
}

bool RecordedDevice::isFrom(const UsbEvent& event) const {
    return address_ == Address{event.bus, event.device};
}

void RecordedDevice::moveInto(Recording& recording) {
    Descriptors& own = descriptors_.at(*address_);
    recording.deviceDescriptor = std::move(own.device);
    recording.configuration = std::move(own.configuration);
    recording.strings = std::move(own.strings);
    recording.packetSize = packetSize_;
}

}  // namespace zlk::camsim
