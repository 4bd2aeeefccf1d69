#include "usbscan/recording/Recorder.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "usbscan/recording/ContainerText.h"
#include "usbscan/recording/Pcapng.h"

namespace zlk::usbscan {
namespace {

using Pipe = UsbEvent::Pipe;
using Kind = UsbEvent::Kind;

constexpr std::uint8_t toHost = 0x80, toInterface = 0x21, toEndpoint = 0x02;
constexpr std::uint8_t getDescriptor = 6, clearFeature = 1;
constexpr std::uint8_t deviceType = 1, configurationType = 2, stringType = 3;
constexpr std::uint16_t english = 0x0409;
constexpr std::uint32_t interruptSize = 64;

/// Microseconds since 1970.
std::int64_t now() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

/// The status with which the kernel completes a transfer that ends like this.
std::int32_t errnoOf(UsbStatus status) {
    switch (status) {
        case UsbStatus::Done:
            return 0;
        case UsbStatus::Stalled:
            return -EPIPE;
        case UsbStatus::Cancelled:
            return -ENOENT;
        case UsbStatus::TimedOut:
            return -ETIMEDOUT;
        case UsbStatus::Gone:
            return -ENODEV;
        case UsbStatus::Failed:
            break;
    }
    return -EPROTO;
}

/// The setup packet of a control request, little-endian.
std::array<std::byte, 8> setupOf(const UsbRequest& request, std::size_t length) {
    std::array<std::byte, 8> setup{std::byte{request.requestType}, std::byte{request.request}};
    std::size_t at = 2;
    for (const std::size_t field :
         {std::size_t{request.value}, std::size_t{request.index}, length}) {
        setup[at++] = static_cast<std::byte>(field);
        setup[at++] = static_cast<std::byte>(field >> 8);
    }
    return setup;
}

/// A string descriptor made from UTF-8. A long text is cut off. A character outside of the Basic
/// Multilingual Plane, or a byte that can't begin a character, becomes `?`.
std::vector<std::byte> stringDescriptor(const std::string& text) {
    constexpr std::size_t mostUnits = 126;
    std::vector<std::byte> bytes{std::byte{0}, std::byte{stringType}};
    for (std::size_t at = 0; at < text.size() && bytes.size() < 2 * mostUnits;) {
        const auto first = static_cast<unsigned char>(text[at++]);
        const unsigned more = first < 0xC0 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
        unsigned unit = more == 0 ? first : first & (0x3Fu >> more);
        for (unsigned i = 0; i < more && at < text.size(); ++i)
            unit = unit << 6 | (static_cast<unsigned char>(text[at++]) & 0x3F);
        if (more > 2 || (more == 0 && first >= 0x80)) unit = '?';
        bytes.push_back(static_cast<std::byte>(unit));
        bytes.push_back(static_cast<std::byte>(unit >> 8));
    }
    bytes.front() = static_cast<std::byte>(bytes.size());
    return bytes;
}

}  // namespace

Recorder::Recorder(Descriptor file, const RecordingOptions& options, const UsbFacts& facts,
                   const DeviceTexts& texts)
    : options_(options), facts_(facts), file_(std::move(file)), filter_(options) {
    file_.append(pcapngHead(usbEventLinkType));
    describe(texts);
}

/// Records the descriptors as answers to requests, which is where readers look for them.
void Recorder::describe(const DeviceTexts& texts) {
    descriptor(deviceType << 8, 0, facts_.deviceDescriptor);
    if (!facts_.configuration.empty()) descriptor(configurationType << 8, 0, facts_.configuration);
    constexpr std::array languages{std::byte{4}, std::byte{stringType}, std::byte{english & 0xFF},
                                   std::byte{english >> 8}};
    descriptor(stringType << 8, 0, languages);
    const std::string serial =
        options_.anonymous ? std::string(texts.serial.size(), 'x') : texts.serial;
    // The indexes of the three texts are the device descriptor's bytes from the 15th on.
    constexpr std::size_t firstIndex = 14;
    std::size_t at = firstIndex;
    for (const std::string* text : {&texts.manufacturer, &texts.product, &serial}) {
        const auto index = std::to_integer<std::uint16_t>(facts_.deviceDescriptor[at++]);
        if (index != 0 && !text->empty())
            descriptor(static_cast<std::uint16_t>(stringType << 8 | index), english,
                       stringDescriptor(*text));
    }
}

void Recorder::descriptor(std::uint16_t value, std::uint16_t language,
                          std::span<const std::byte> bytes) {
    const UsbRequest request{.requestType = toHost,
                             .request = getDescriptor,
                             .value = value,
                             .index = language,
                             .out = {},
                             .inLength = static_cast<std::uint16_t>(bytes.size())};
    ended(controlBegins(request), UsbStatus::Done, bytes);
}

UsbEvent Recorder::begin(Pipe pipe, std::uint8_t endpoint, std::uint32_t length) {
    UsbEvent event;
    event.pipe = pipe;
    event.endpoint = endpoint;
    event.transfer = ++lastTransfer_;
    event.status = -EINPROGRESS;
    event.length = length;
    return event;
}

void Recorder::add(UsbEvent event, std::span<const std::byte> bytes, const std::string& comment) {
    event.time = now();
    event.data = bytes;
    std::string packet;
    appendEvent(packet, event);
    // For a transfer to the device, the submission has the bytes; for a transfer from the device,
    // the completion has them. The other packet of the transfer has none.
    const bool carries = (event.kind == Kind::Submission) != event.isToHost();
    const auto whole =
        static_cast<std::uint32_t>(packet.size() - bytes.size()) + (carries ? event.length : 0);
    file_.append(pcapngPacket(event.time, packet, whole, comment));
}

Recorder::Transfer Recorder::writeBegins(std::span<const std::byte> bytes, bool endsTransfer) {
    Transfer transfer;
    for (const auto& part : filter_.split(RecordingFilter::Direction::ToDevice, bytes, endsTransfer,
                                          file_.isBehind())) {
        transfer.submissions.push_back(
            begin(Pipe::Bulk, facts_.bulkOut.address, static_cast<std::uint32_t>(part.length)));
        add(transfer.submissions.back(), part.kept,
            part.beginsContainer ? containerText(part.kept) : std::string());
    }
    return transfer;
}

Recorder::Transfer Recorder::controlBegins(const UsbRequest& request) {
    // Class requests to the device cancel a transaction or reset the device, so containers may end
    // in their middle.
    if (request.requestType == toInterface) filter_.breakOff();
    const bool isIn = request.requestType & toHost;
    const std::size_t length = isIn ? request.inLength : request.out.size();
    UsbEvent event = begin(Pipe::Control, isIn ? toHost : 0, static_cast<std::uint32_t>(length));
    event.setup = setupOf(request, length);
    add(event, request.out, isIn ? std::string() : classRequestText(*event.setup, request.out));
    return {{event}};
}

Recorder::Transfer Recorder::interruptBegins() {
    const UsbEvent event = begin(Pipe::Interrupt, facts_.interruptIn.address, interruptSize);
    add(event, {}, {});
    return {{event}};
}

void Recorder::ended(const Transfer& transfer, UsbStatus status, std::span<const std::byte> bytes) {
    for (UsbEvent event : transfer.submissions) {
        std::string comment;
        if (event.pipe == Pipe::Interrupt && !bytes.empty()) comment = containerText(bytes);
        if (event.pipe == Pipe::Control && event.isToHost())
            comment = classRequestText(*event.setup, bytes);
        event.kind = Kind::Completion;
        event.setup.reset();
        event.status = errnoOf(status);
        // How much of a failed write was sent isn't known, so no bytes are recorded as sent.
        if (event.isToHost())
            event.length = static_cast<std::uint32_t>(bytes.size());
        else if (status != UsbStatus::Done)
            event.length = 0;
        add(event, bytes, comment);
    }
}

void Recorder::arrived(const UsbPiece& piece) {
    const auto parts = filter_.split(RecordingFilter::Direction::ToHost, piece.bytes,
                                     piece.endsTransfer, file_.isBehind());
    for (const RecordingFilter::Part& part : parts)
        addRead(part, piece.endsTransfer && &part == &parts.back());
}

/// Records a read together with its submission. How many bytes the host asked for isn't known here,
/// so the submission gets a size that fits: more bytes than came if the transfer has ended with
/// them, and exactly as many if it goes on.
void Recorder::addRead(const RecordingFilter::Part& part, bool endsTransfer) {
    const std::uint32_t packet = facts_.bulkIn.maximumPacketSize;
    const auto length = static_cast<std::uint32_t>(part.length);
    UsbEvent event = begin(Pipe::Bulk, facts_.bulkIn.address,
                           endsTransfer ? (length / packet + 1) * packet : length);
    add(event, {}, {});
    event.kind = Kind::Completion;
    event.status = 0;
    event.length = length;
    add(event, part.kept, part.beginsContainer ? containerText(part.kept) : std::string());
}

/// A failed read is recorded as a transfer of its own, of one packet.
void Recorder::readingStopped(UsbStatus why) {
    const UsbEvent event =
        begin(Pipe::Bulk, facts_.bulkIn.address, facts_.bulkIn.maximumPacketSize);
    add(event, {}, {});
    ended({{event}}, why);
}

/// Clearing a halt is a standard request, which the kernel sends by itself.
void Recorder::haltCleared(std::uint8_t endpoint, bool done) {
    const UsbRequest request{
        .requestType = toEndpoint, .request = clearFeature, .value = 0, .index = endpoint};
    ended(controlBegins(request), done ? UsbStatus::Done : UsbStatus::Failed);
}

}  // namespace zlk::usbscan
