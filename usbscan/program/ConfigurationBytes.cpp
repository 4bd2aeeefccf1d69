#include "usbscan/program/ConfigurationBytes.h"

#include <span>

namespace zlk::usbscan {
namespace {

constexpr int audioEndpointSize = 9;  // bytes; only audio endpoints have two fields more

/// Collects little-endian numbers and bytes.
class Writer {
  public:
    Writer& number(unsigned value, unsigned width) {
        for (unsigned i = 0; i < width; ++i) bytes_.push_back(std::byte(value >> (8 * i)));
        return *this;
    }
    void extra(const unsigned char* bytes, int length) {
        for (const unsigned char byte : std::span(bytes, static_cast<std::size_t>(length)))
            bytes_.push_back(std::byte(byte));
    }
    std::vector<std::byte> take() { return std::move(bytes_); }

  private:
    std::vector<std::byte> bytes_;
};

void writeEndpoint(Writer& to, const libusb_endpoint_descriptor& endpoint) {
    to.number(endpoint.bLength, 1).number(endpoint.bDescriptorType, 1);
    to.number(endpoint.bEndpointAddress, 1).number(endpoint.bmAttributes, 1);
    to.number(endpoint.wMaxPacketSize, 2).number(endpoint.bInterval, 1);
    if (endpoint.bLength >= audioEndpointSize)
        to.number(endpoint.bRefresh, 1).number(endpoint.bSynchAddress, 1);
    to.extra(endpoint.extra, endpoint.extra_length);
}

void writeInterface(Writer& to, const libusb_interface_descriptor& interface) {
    for (const unsigned field :
         {interface.bLength, interface.bDescriptorType, interface.bInterfaceNumber,
          interface.bAlternateSetting, interface.bNumEndpoints, interface.bInterfaceClass,
          interface.bInterfaceSubClass, interface.bInterfaceProtocol, interface.iInterface})
        to.number(field, 1);
    to.extra(interface.extra, interface.extra_length);
    for (const auto& endpoint : std::span(interface.endpoint, interface.bNumEndpoints))
        writeEndpoint(to, endpoint);
}

}  // namespace

std::vector<std::byte> configurationBytes(const libusb_config_descriptor& configuration) {
    Writer to;
    to.number(configuration.bLength, 1).number(configuration.bDescriptorType, 1);
    to.number(configuration.wTotalLength, 2);
    for (const unsigned field :
         {configuration.bNumInterfaces, configuration.bConfigurationValue,
          configuration.iConfiguration, configuration.bmAttributes, configuration.MaxPower})
        to.number(field, 1);
    to.extra(configuration.extra, configuration.extra_length);
    for (const auto& interface : std::span(configuration.interface, configuration.bNumInterfaces))
        for (const auto& setting :
             std::span(interface.altsetting, static_cast<std::size_t>(interface.num_altsetting)))
            writeInterface(to, setting);
    return to.take();
}

}  // namespace zlk::usbscan
