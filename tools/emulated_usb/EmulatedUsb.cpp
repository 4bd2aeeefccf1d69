#include "tools/emulated_usb/EmulatedUsb.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "platform/text.h"

namespace zlk::emulated {
namespace {

namespace fs = std::filesystem;

std::string text(const char* format, int number) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, format, number);
    return buffer;
}

int wordAt(const std::vector<std::byte>& bytes, std::size_t at) {
    return static_cast<int>(bytes.at(at)) | static_cast<int>(bytes.at(at + 1)) << 8;
}

/// The text of a string descriptor, whose head has two bytes.
std::string textOf(const std::vector<std::byte>& descriptor) {
    std::u16string units;
    for (std::size_t at = 2; at + 1 < descriptor.size(); at += 2)
        units += static_cast<char16_t>(wordAt(descriptor, at));
    return utf8Text(units);
}

/// The speed, in megabits per second, that belongs to this size of bulk packets.
std::string speedOf(std::uint16_t packetSize) {
    return packetSize < 512 ? "12" : packetSize == 512 ? "480" : "5000";
}

}  // namespace

EmulatedUsb::EmulatedUsb(usbscan::EventLoop& loop, camsim::UsbFunction& function,
                         const UsbfsFeatures& features)
    : loop_(loop),
      function_(function),
      features_(features),
      testbed_(owned(umockdev_testbed_new())) {
    hub_ = add("usb1", "", {"busnum", "1", "devnum", "1", "speed", "480"},
               {"DEVTYPE", "usb_device", "BUSNUM", "001", "DEVNUM", "001"});
    plug();
}

EmulatedUsb::~EmulatedUsb() = default;

std::string EmulatedUsb::root() const {
    gchar* root = umockdev_testbed_get_root_dir(testbed_.get());
    std::string result = root;
    g_free(root);
    return result;
}

std::string EmulatedUsb::node() const {
    return "/dev/bus/usb/001/" + text("%03d", deviceNumber_);
}

/// Attributes and properties are names and values in turn.
std::string EmulatedUsb::add(const char* name, const std::string& parent,
                             const std::vector<std::string>& attributes,
                             const std::vector<std::string>& properties) {
    const auto pointers = [](const std::vector<std::string>& texts) {
        std::vector<char*> result;
        result.reserve(texts.size() + 1);
        for (const std::string& each : texts) result.push_back(const_cast<char*>(each.c_str()));
        result.push_back(nullptr);
        return result;
    };
    gchar* path = umockdev_testbed_add_devicev(
        testbed_.get(), "usb", name, parent.empty() ? nullptr : parent.c_str(),
        pointers(attributes).data(), pointers(properties).data());
    std::string result = path;
    g_free(path);
    return result;
}

std::vector<std::string> EmulatedUsb::deviceAttributes() const {
    const auto descriptor = function_.deviceDescriptor();
    std::vector<std::string> attributes{
        "busnum",
        "1",
        "devnum",
        text("%d", deviceNumber_),
        "speed",
        speedOf(function_.bulkPacketSize()),
        "bConfigurationValue",
        "1",
        "idVendor",
        text("%04x", wordAt(descriptor, 8)),
        "idProduct",
        text("%04x", wordAt(descriptor, 10)),
    };
    const std::pair<const char*, std::size_t> strings[] = {
        {"manufacturer", 14}, {"product", 15}, {"serial", 16}};
    for (const auto& [name, at] : strings)
        if (const auto index = static_cast<std::uint8_t>(descriptor.at(at)); index)
            attributes.insert(attributes.end(), {name, textOf(function_.stringDescriptor(index))});
    return attributes;
}

std::string EmulatedUsb::productText() const {
    const auto descriptor = function_.deviceDescriptor();
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%x/%x/%x", wordAt(descriptor, 8), wordAt(descriptor, 10),
                  wordAt(descriptor, 12));
    return buffer;
}

void EmulatedUsb::addDevice() {
    device_ = add("1-1", hub_, deviceAttributes(),
                  {"DEVTYPE", "usb_device", "DEVNAME", node(), "BUSNUM", "001", "DEVNUM",
                   text("%03d", deviceNumber_), "PRODUCT", productText(), "MAJOR", "189", "MINOR",
                   text("%d", deviceNumber_ - 1)});
    auto descriptors = function_.deviceDescriptor();
    const auto configuration = function_.configurationDescriptor();
    descriptors.insert(descriptors.end(), configuration.begin(), configuration.end());
    umockdev_testbed_set_attribute_binary(testbed_.get(), device_.c_str(), "descriptors",
                                          reinterpret_cast<guint8*>(descriptors.data()),
                                          static_cast<int>(descriptors.size()));
    interface_ = add("1-1:1.0", device_,
                     {"bInterfaceNumber", "00", "bInterfaceClass", "06", "bInterfaceSubClass", "01",
                      "bInterfaceProtocol", "01"},
                     {"DEVTYPE", "usb_interface", "INTERFACE", "6/1/1"});
}

/// Changes the emulated kernel's count of device events, by which the list of attached devices
/// notices that it is out of date.
void EmulatedUsb::countEvent() const {
    const fs::path count = fs::path(root()) / "sys/kernel/uevent_seqnum";
    fs::create_directories(count.parent_path());
    const fs::path fresh = count.string() + ".new";
    // The count is a time, so that it differs from the counts of all buses that a test had before.
    std::ofstream(fresh) << std::chrono::steady_clock::now().time_since_epoch().count() << '\n';
    fs::rename(fresh, count);
}

void EmulatedUsb::plug() {
    if (isPlugged()) return;
    ++deviceNumber_;
    function_.busReset();
    addDevice();
    // The preload library reads a node's major and minor number here.
    const fs::path numbers = fs::path(root()) / "dev/.node";
    fs::create_directories(numbers);
    const fs::path number = numbers / ("bus_usb_001_" + text("%03d", deviceNumber_));
    fs::remove(number);
    fs::create_symlink(text("189:%d", deviceNumber_ - 1), number);
    nodes_.push_back(
        std::make_unique<UsbfsNode>(loop_, function_, testbed_.get(), node(), features_));
    countEvent();
    umockdev_testbed_uevent(testbed_.get(), device_.c_str(), "add");
}

void EmulatedUsb::unplug() {
    if (!isPlugged()) return;
    nodes_.back()->unplug();
    umockdev_testbed_uevent(testbed_.get(), device_.c_str(), "remove");
    for (std::string* path : {&interface_, &device_}) {
        umockdev_testbed_remove_device(testbed_.get(), path->c_str());
        path->clear();
    }
    countEvent();
}

}  // namespace zlk::emulated
