// What real cameras sent, through the whole engine: each container is the next thing on the wire of
// an operation under its own transaction id, and what the caller gets is compared with what an
// independent reader decoded. The recordings lie beside the repository and are no part of it.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "platform/text.h"
#include "ptp/ZlPTPdrv.h"
#include "tests/ptp/Raised.h"
#include "tests/ptp/Received.h"
#include "tests/ptp/ScriptedPort.h"
#include "tests/support/Json.h"

namespace zlk::test {
namespace {

/// The fields of a dataset by their names, spelled as the recordings spell them.
using Fields = std::map<std::string, std::string>;

template <class Number>
std::string list(const std::vector<Number>& values) {
    std::string text;
    for (const auto value : values) text += std::to_string(value) + ' ';
    return text;
}
std::string narrow(const wString& text) {
    return utf8Text(text.view());
}

Fields fieldsOf(const DeviceInfoDataset& d) {
    return {{"StandardVersion", std::to_string(d.StandardVersion)},
            {"VendorExtensionID", std::to_string(d.VendorExtensionID)},
            {"VendorExtensionVersion", std::to_string(d.VendorExtensionVersion)},
            {"VendorExtensionDesc", narrow(d.VendorExtensionDesc)},
            {"FunctionalMode", std::to_string(d.FunctionalMode)},
            {"OperationsSupported", list(d.OperationsSupported)},
            {"EventsSupported", list(d.EventsSupported)},
            {"DevicePropertiesSupported", list(d.DevicePropertiesSupported)},
            {"CaptureFormats", list(d.CaptureFormats)},
            {"ImageFormats", list(d.ImageFormats)},
            {"Manufacturer", narrow(d.Manufacturer)},
            {"Model", narrow(d.Model)},
            {"DeviceVersion", narrow(d.DeviceVersion)},
            {"SerialNumber", narrow(d.SerialNumber)}};
}

Fields fieldsOf(const StorageInfoDataset& d) {
    return {{"StorageType", std::to_string(d.StorageType)},
            {"FilesystemType", std::to_string(d.FilesystemType)},
            {"AccessCapability", std::to_string(d.AccessCapability)},
            {"MaxCapacity", std::to_string(d.MaxCapacity)},
            {"FreeSpaceInBytes", std::to_string(d.FreeSpaceInBytes)},
            {"FreeSpaceInImages", std::to_string(d.FreeSpaceInImages)},
            {"StorageDescription", narrow(d.StorageDescription)},
            {"VolumeLabel", narrow(d.VolumeLabel)}};
}

Fields fieldsOf(const ObjectInfoDataset& d) {
    return {{"StorageID", std::to_string(d.StorageID)},
            {"ObjectFormat", std::to_string(d.ObjectFormat)},
            {"ProtectionStatus", std::to_string(d.ProtectionStatus)},
            {"ObjectCompressedSize", std::to_string(d.ObjectCompressedSize)},
            {"ThumbFormat", std::to_string(d.ThumbFormat)},
            {"ThumbCompressedSize", std::to_string(d.ThumbCompressedSize)},
            {"ThumbPixWidth", std::to_string(d.ThumbPixWidth)},
            {"ThumbPixHeight", std::to_string(d.ThumbPixHeight)},
            {"ImagePixWidth", std::to_string(d.ImagePixWidth)},
            {"ImagePixHeight", std::to_string(d.ImagePixHeight)},
            {"ImageBitDepth", std::to_string(d.ImageBitDepth)},
            {"ParentObject", std::to_string(d.ParentObject)},
            {"AssociationType", std::to_string(d.AssociationType)},
            {"AssociationDesc", std::to_string(d.AssociationDesc)},
            {"SequenceNumber", std::to_string(d.SequenceNumber)},
            {"Filename", narrow(d.Filename)},
            {"CaptureDate", narrow(d.CaptureDate)},
            {"ModificationDate", narrow(d.ModificationDate)},
            {"Keywords", narrow(d.Keywords)}};
}

Fields fieldsOf(const PropertyDataset& d) {
    const auto value = [&](const PropertyValue& v) {
        return d.DataType == dataType::string ? narrow(v.text) : std::to_string(v.value32);
    };
    Fields fields{{"DevicePropertyCode", std::to_string(d.DevicePropertyCode)},
                  {"DataType", std::to_string(d.DataType)},
                  {"GetSet", std::to_string(d.GetSet)},
                  {"FactoryDefaultValue", value(d.FactoryDefaultValue)},
                  {"CurrentValue", value(d.CurrentValue)},
                  {"FormFlag", std::to_string(d.FormFlag)},
                  {"MinimumValue", value(d.MinimumValue)},
                  {"MaximumValue", value(d.MaximumValue)},
                  {"StepSize", value(d.StepSize)}};
    for (const PropertyValue& each : d.EnumValues) fields["SupportedValues"] += value(each) + ' ';
    return fields;
}

/// An operation by its code: what a caller who names these parameters gets.
Fields perform(ZlPTPdrv& engine, int code, const std::vector<std::uint32_t>& params,
               Bytes& picture) {
    const auto size = static_cast<std::uint32_t>(picture.size());
    switch (code) {
        case 0x1001:
            return fieldsOf(engine.getDeviceInfo());
        case 0x1002:
            engine.openSession();
            return {};
        case 0x1003:
            engine.closeSession();
            return {};
        case 0x1004:
            return {{"StorageIDs", list(engine.getStorageIDs())}};
        case 0x1005:
            return fieldsOf(engine.getStorageInfo(params[0]));
        case 0x1007:
            return {{"Handles", list(engine.getObjectHandles(params[0], params[1], params[2]))}};
        case 0x1008:
            return fieldsOf(engine.getObjectInfo(params[0]));
        case 0x1009:
            engine.getObject(params[0], picture.data(), size, nullptr);
            return {};
        case 0x100A:
            engine.getThumb(params[0], picture.data(), size);
            return {};
        case 0x1014:
            return fieldsOf(engine.getDevicePropDesc(params[0]));
        default:
            // The engine has no such operation; this one gives the parameters of any response.
            std::uint32_t first = 0, second = 0;
            engine.ZLconnectedCameraId(&first, &second);
            return {{"param1", std::to_string(first)}, {"param2", std::to_string(second)}};
    }
}

/// What an empty text leaves in place.
const Fields& defaultsOf(int code) {
    static const std::map<int, Fields> defaults{{0x1001, fieldsOf(DeviceInfoDataset())},
                                                {0x1005, fieldsOf(StorageInfoDataset())}};
    static const Fields none;
    const auto found = defaults.find(code);
    return found == defaults.end() ? none : found->second;
}

/// A container of the recordings.
struct Recording {
    std::string name;
    bool fromCamera;
    Bytes bytes;
    const Json& expected;

    int number(const char* member) const { return std::stoi(expected[member].text, nullptr, 16); }
    std::uint32_t id() const {
        return static_cast<std::uint32_t>(std::stoul(expected["transaction_id"].text));
    }
    int type() const { return number("type"); }
    int code() const { return number("code"); }
    /// Three at least, those that it hasn't with the value `rest`.
    std::vector<std::uint32_t> params(std::uint32_t rest) const {
        std::vector<std::uint32_t> numbers;
        for (const Json& item : expected["params"].items)
            numbers.push_back(static_cast<std::uint32_t>(std::stoul(item.text)));
        numbers.resize(std::max<std::size_t>(numbers.size(), 3), rest);
        return numbers;
    }
};

class RealCameras : public testing::Test {
  protected:
    void SetUp() override {
        const auto folder =
            std::filesystem::path(ZLK_SOURCE_DIR).parent_path() / "shared" / "real-cameras";
        std::ifstream rows(folder / "containers.tsv"), file(folder / "expected.json");
        if (!rows || !file) GTEST_SKIP() << "The recordings don't lie beside the repository.";
        expected = Json::parse({std::istreambuf_iterator<char>(file), {}});
        std::string line;
        for (std::getline(rows, line); std::getline(rows, line);) {
            std::vector<std::string> columns;
            std::istringstream cells(line);
            for (std::string cell; std::getline(cells, cell, '\t');) columns.push_back(cell);
            ASSERT_EQ(columns.size(), 8u);
            const Json& decoded = expected[columns[0]];
            if (decoded["kind"].text == "usb-descriptors") continue;  // which is no container
            recordings.push_back({columns[0], columns[3] == "in", hex(columns[7]), decoded});
        }
    }

    /// Runs an operation while its command gets the recording's id, and `transfers` is what the
    /// camera says. Afterwards the port is free, and the counter one on.
    std::uint32_t raisedBehind(const Recording& one, std::initializer_list<Bytes> transfers,
                               int operation) {
        port.nextId = one.id();
        port.fromHost.clear();
        port.toHost.clear();
        for (const Bytes& transfer : transfers) {
            port.toHost.push_back(transfer);
            if (transfer.size() % port.maxPacketSize == 0) port.toHost.emplace_back();
        }
        const std::uint32_t error = raisedBy([&] {
            result = perform(engine, operation, one.params(one.fromCamera ? 1 : 0), picture);
        });
        EXPECT_EQ(port.held, 0);
        EXPECT_EQ(port.nextId, one.id() + 1);
        Received command(port.fromHost.at(0));
        EXPECT_EQ(ContainerBlock(command).id, one.id());
        return error;
    }
    void expectFields(const Recording& one);
    void dataArrive(const Recording& one);
    void responseArrives(const Recording& one);
    void eventArrives(const Recording& one);
    void commandGoesOut(const Recording& one);

    static bool isOfTheEngine(int code) { return code < 0x9000; }
    static Bytes ok(std::uint32_t id) { return container(3, ptpOk, id); }

    Json expected;
    std::vector<Recording> recordings;
    ScriptedPort port;
    ZlPTPdrv engine{wString(u"\\\\.\\Usbscan0")};
    Fields result;
    Bytes picture;
};

void RealCameras::expectFields(const Recording& one) {
    const Json& fields = one.expected["fields"];
    EXPECT_EQ(fields.names.empty(), one.expected["dataset"].text.empty());
    for (const std::string& name : fields.names) {
        if (name == "TrailingBytes") continue;  // of the other reader
        const Json& wanted = fields[name];
        std::string text = wanted.text;
        // A list of the stack has no zeros; the values that a property may have are no such list.
        for (const Json& item : wanted.items)
            if (item.text != "0" || name == "SupportedValues") text += item.text + ' ';
        const auto kept = defaultsOf(one.code()).find(name);
        if (text.empty() && kept != defaultsOf(one.code()).end()) text = kept->second;
        ASSERT_TRUE(result.contains(name)) << name;
        EXPECT_EQ(result.at(name), text) << name;
    }
}

void RealCameras::dataArrive(const Recording& one) {
    const Bytes payload(one.bytes.begin() + 12, one.bytes.end());
    picture.assign(payload.size(), 0);
    if (!isOfTheEngine(one.code())) {
        // Data of another operation than the one that asked.
        EXPECT_EQ(raisedBehind(one, {one.bytes, ok(one.id())}, 0x1004),
                  static_cast<std::uint32_t>(one.code()));
        return;
    }
    EXPECT_EQ(raisedBehind(one, {one.bytes, ok(one.id())}, one.code()), 0u);
    EXPECT_TRUE(port.toHost.empty());
    EXPECT_EQ(engine.receivedData(), payload.size());
    if (one.code() == 0x1009 || one.code() == 0x100A) {
        EXPECT_EQ(picture, payload);
    }
    expectFields(one);
}

void RealCameras::responseArrives(const Recording& one) {
    const std::uint32_t error = one.code() == ptpOk ? 0 : static_cast<std::uint32_t>(one.code());
    EXPECT_EQ(raisedBehind(one, {one.bytes}, 0x9700), error);
    EXPECT_TRUE(port.toHost.empty());
    if (!error) {
        EXPECT_EQ(result["param1"], std::to_string(one.params(0)[0]));
        EXPECT_EQ(result["param2"], std::to_string(one.params(0)[1]));
    }
    // And to the operation that it answered, if the engine has that; data were left out then.
    if (one.expected["answers"].text.empty()) return;
    const int operation = one.number("answers");
    if (operation != 0x1002) {
        EXPECT_EQ(raisedBehind(one, {one.bytes}, operation), error);
        return;
    }
    port.nextId = 5;
    port.toHost.assign({one.bytes});
    EXPECT_EQ(raisedBy([&] { engine.openSession(); }), error);
    EXPECT_EQ(port.nextId, error ? 5u : 1u);
}

void RealCameras::eventArrives(const Recording& one) {
    port.events.push_back(one.bytes);
    const PtpEvent event = engine.getEvent();
    EXPECT_EQ(event.length, one.bytes.size());
    EXPECT_EQ(event.code, one.code());
    EXPECT_EQ(event.id, one.id());
    EXPECT_EQ(event.param1, one.params(0)[0]);
    EXPECT_EQ(event.param2, one.params(0)[1]);
}

/// The same command of ours, but for zeros at its end.
void RealCameras::commandGoesOut(const Recording& one) {
    raisedBehind(one, {ok(one.id())}, one.code());
    Bytes wanted = one.bytes;
    while (wanted.size() > 12 &&
           std::all_of(wanted.end() - 4, wanted.end(), [](std::uint8_t byte) { return byte == 0; }))
        wanted.resize(wanted.size() - 4);
    wanted[0] = static_cast<std::uint8_t>(wanted.size());
    EXPECT_EQ(port.fromHost.at(0), wanted);
}

TEST_F(RealCameras, AreUnderstoodToTheLastContainer) {
    int headsOnly = 0;
    for (const Recording& one : recordings) {
        SCOPED_TRACE(one.name);
        Received stream(one.bytes);
        const ContainerBlock head(stream);
        EXPECT_EQ(head.length, one.bytes.size());
        EXPECT_EQ(head.length, std::stoul(one.expected["length"].text));
        EXPECT_EQ(head.type, one.type());
        EXPECT_EQ(head.code, one.code());
        EXPECT_EQ(head.id, one.id());
        if (one.fromCamera && head.is(ContainerType::Data)) {
            dataArrive(one);
        } else if (head.is(ContainerType::Response)) {
            responseArrives(one);
        } else if (head.is(ContainerType::Event)) {
            eventArrives(one);
        } else if (one.fromCamera) {  // a command, in the place of a response
            EXPECT_EQ(raisedBehind(one, {one.bytes}, 0x9700), 0u);
        } else if (isOfTheEngine(one.code())) {
            commandGoesOut(one);
        } else {
            ++headsOnly;  // commands and data of operations that the engine hasn't
        }
    }
    EXPECT_EQ(recordings.size(), 234u);
    EXPECT_EQ(headsOnly, 38);
}

}  // namespace
}  // namespace zlk::test
