// A bare initiator: the least that copies a camera's files, to compare the whole system with. It
// has one transfer at a time, always asks for whole packets, and gives up on any error other than a
// session that is open already.
// usage: zlk-bench-initiator VID:PID list | VID:PID copy FOLDER | VID:PID copy-in-our-words FOLDER
//
// The last form copies with the dialogue of our components, which describe a file once more before
// they copy it, and read a large one in pieces. The difference in time between this form and the
// plain copy is the price of that dialogue.

#include <fcntl.h>
#include <libusb-1.0/libusb.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr std::size_t headerSize = 12, largestRead = 1 << 20;
constexpr unsigned timeout = 20'000;  // milliseconds
constexpr std::uint16_t folderFormat = 0x3001, ok = 0x2001, alreadyOpen = 0x201E;

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "zlk-bench-initiator: %s\n", what.c_str());
    std::exit(1);
}

/// Reads a little-endian number from a dataset; ends the program if the dataset is too short.
template <class Number>
Number number(const std::vector<std::uint8_t>& bytes, std::size_t at) {
    Number value;
    if (at + sizeof value > bytes.size()) fail("a dataset is too short");
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

struct Object {
    std::uint32_t handle = 0, size = 0;
    bool folder = false;
    std::string name;
};

class Initiator {
  public:
    explicit Initiator(const char* ids) {
        unsigned vendor = 0, product = 0;
        if (std::sscanf(ids, "%x:%x", &vendor, &product) != 2) fail("no USB ids");
        check(libusb_init(nullptr), "libusb_init");
        device_ = libusb_open_device_with_vid_pid(nullptr, static_cast<std::uint16_t>(vendor),
                                                  static_cast<std::uint16_t>(product));
        // libusb takes the first device with these ids.
        if (!device_) fail("no such device, or it can't be opened");
        findPipes();
        check(libusb_claim_interface(device_, interface_), "claiming");
        transaction(0x1002, {1});  // OpenSession
    }
    ~Initiator() {
        transaction(0x1003, {});  // CloseSession
        libusb_release_interface(device_, interface_);
        libusb_close(device_);
        libusb_exit(nullptr);
    }
    Initiator(const Initiator&) = delete;
    Initiator& operator=(const Initiator&) = delete;

    /// Lists all files. A responder may list only a folder's own children, so the children of each
    /// folder are asked for, too.
    std::vector<Object> files() {
        std::vector<Object> found;
        std::set<std::uint32_t> seen;
        const auto storages = dataset(0x1004, {});
        for (std::uint32_t i = 0; i < number<std::uint32_t>(storages, 0); ++i)
            addFiles(number<std::uint32_t>(storages, 4 + 4 * i), 0, found, seen);
        return found;
    }

    void copy(const Object& object, const std::string& folder, bool inOurWords) {
        const std::string path = folder + '/' + object.name;
        const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (file < 0) fail("can't make " + path);
        const Sink sink = [&](const std::uint8_t* bytes, std::size_t count) {
            while (count > 0) {
                const ssize_t written = ::write(file, bytes, count);
                if (written < 0) fail("can't write " + path);
                bytes += written;
                count -= static_cast<std::size_t>(written);
            }
        };
        // Our components ask for the description again, to know the file's size.
        if (inOurWords) describe(object.handle);
        if (inOurWords && object.size > largestWhole)
            copyPieces(object, sink);
        else
            transaction(0x1009, {object.handle}, headerSize + std::size_t{object.size}, sink);
        ::close(file);
    }

  private:
    // The limits of our components: larger files are read in pieces of this size.
    static constexpr std::uint32_t largestWhole = 20 << 20, pieceSize = 256 << 10;
    using Sink = std::function<void(const std::uint8_t*, std::size_t)>;

    /// Before they read a file in pieces, our components describe it once more, and they read its
    /// first piece twice.
    void copyPieces(const Object& object, const Sink& sink) {
        describe(object.handle);
        const auto ask = [&](std::uint32_t from, const Sink& to) {
            transaction(0x101B, {object.handle, from, pieceSize}, headerSize + pieceSize, to);
        };
        ask(0, [](const std::uint8_t*, std::size_t) {});
        for (std::uint32_t from = 0; from < object.size; from += pieceSize) ask(from, sink);
    }

    static void check(int status, const char* what) {
        if (status < 0) fail(std::string(what) + ": " + libusb_error_name(status));
    }

    void findPipes() {
        libusb_config_descriptor* configuration = nullptr;
        check(libusb_get_active_config_descriptor(libusb_get_device(device_), &configuration),
              "descriptors");
        // Cameras in the benchmark have a single interface.
        const libusb_interface_descriptor& still = configuration->interface[0].altsetting[0];
        interface_ = still.bInterfaceNumber;
        for (int i = 0; i < still.bNumEndpoints; ++i) {
            const libusb_endpoint_descriptor& pipe = still.endpoint[i];
            if ((pipe.bmAttributes & 3) != LIBUSB_TRANSFER_TYPE_BULK) continue;
            (pipe.bEndpointAddress & LIBUSB_ENDPOINT_IN ? in_ : out_) = pipe.bEndpointAddress;
            packet_ = pipe.wMaxPacketSize;
        }
        libusb_free_config_descriptor(configuration);
        if (in_ == 0 || out_ == 0) fail("no bulk pipes");
    }

    /// Reads one transfer into `buffer_`: at most `wanted` bytes rounded up to whole packets, and
    /// at most `largestRead`. A full packet from the device would overflow a smaller room.
    std::size_t read(std::size_t wanted) {
        const std::size_t size = std::min(largestRead, (wanted + packet_ - 1) / packet_ * packet_);
        int count = 0;
        check(libusb_bulk_transfer(device_, in_, buffer_.data(), static_cast<int>(size), &count,
                                   timeout),
              "reading");
        return static_cast<std::size_t>(count);
    }

    /// Sends a command, passes its data phase, if it has one, to `sink`, and reads the response.
    /// `length` is that of the data container, if it is known beforehand: the larger a transfer is,
    /// the less time its bytes take.
    void transaction(std::uint16_t code, std::initializer_list<std::uint32_t> parameters,
                     std::size_t length = headerSize, const Sink& sink = {}) {
        // The header of a command: length, type 1 and code, and the transaction's id.
        std::vector<std::uint32_t> command{
            static_cast<std::uint32_t>(headerSize + 4 * parameters.size()),
            0x0001u | static_cast<std::uint32_t>(code) << 16, nextId_++};
        command.insert(command.end(), parameters);
        int written = 0;
        check(libusb_bulk_transfer(device_, out_, reinterpret_cast<std::uint8_t*>(command.data()),
                                   static_cast<int>(command.front()), &written, timeout),
              "writing");
        std::size_t count = read(length);
        // Type 2 is a data container. Its header says how much will come.
        if (type() == 2) {
            std::size_t left = number<std::uint32_t>(buffer_, 0);
            for (std::size_t skip = headerSize;; skip = 0) {
                if (count < skip || count > left) fail("a data phase of another length");
                sink(buffer_.data() + skip, count - skip);
                left -= count;
                if (left == 0) break;
                count = read(left);
            }
            count = read(headerSize);
        }
        // A data phase that fills its last packet ends with a zero-length packet, which is read
        // here.
        while (count == 0) count = read(headerSize);
        const auto answer = number<std::uint16_t>(buffer_, 6);
        if (type() != 3 || (answer != ok && answer != alreadyOpen)) fail("an operation is refused");
    }
    std::uint16_t type() const { return number<std::uint16_t>(buffer_, 4); }

    std::vector<std::uint8_t> dataset(std::uint16_t code,
                                      std::initializer_list<std::uint32_t> parameters) {
        std::vector<std::uint8_t> data;
        transaction(code, parameters, headerSize, [&](const std::uint8_t* bytes, std::size_t n) {
            data.insert(data.end(), bytes, bytes + n);
        });
        return data;
    }

    Object describe(std::uint32_t handle) {
        const auto info = dataset(0x1008, {handle});
        Object object{handle, number<std::uint32_t>(info, 8),
                      number<std::uint16_t>(info, 4) == folderFormat, ""};
        // The name is a string with its length in front; non-ASCII characters don't matter here.
        for (std::size_t i = 0; i < number<std::uint8_t>(info, 52); ++i) {
            const auto unit = number<std::uint16_t>(info, 53 + 2 * i);
            if (unit != 0)
                object.name += unit < 0x80 && unit != '/' ? static_cast<char>(unit) : '_';
        }
        return object;
    }

    void addFiles(std::uint32_t storage, std::uint32_t parent, std::vector<Object>& found,
                  std::set<std::uint32_t>& seen) {
        const auto handles = dataset(0x1007, {storage, 0, parent});
        for (std::uint32_t i = 0; i < number<std::uint32_t>(handles, 0); ++i) {
            const auto handle = number<std::uint32_t>(handles, 4 + 4 * i);
            // A camera may list a handle twice, or a folder in itself.
            if (!seen.insert(handle).second) continue;
            const Object object = describe(handle);
            if (object.folder)
                addFiles(storage, handle, found, seen);
            else
                found.push_back(object);
        }
    }

    // Handle and pipes of the device, and the size of its bulk packets in bytes.
    libusb_device_handle* device_ = nullptr;
    int interface_ = 0;
    std::uint8_t in_ = 0, out_ = 0;
    std::size_t packet_ = 512;
    std::uint32_t nextId_ = 0;
    std::vector<std::uint8_t> buffer_ = std::vector<std::uint8_t>(largestRead);
};

}  // namespace

int main(int count, char** words) {
    const std::string work = count > 2 ? words[2] : "";
    const bool inOurWords = work == "copy-in-our-words";
    if (!(count == 3 && work == "list") && !(count == 4 && (work == "copy" || inOurWords)))
        fail("usage: VID:PID list | VID:PID copy FOLDER | VID:PID copy-in-our-words FOLDER");
    Initiator camera(words[1]);
    for (const Object& file : camera.files()) {
        if (work == "list")
            std::printf("%u %u %s\n", file.handle, file.size, file.name.c_str());
        else
            camera.copy(file, words[3], inOurWords);
    }
}
