#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "platform/text.h"
#include "ptp/ContainerBlock.h"
#include "ptp/DeviceInfoDataset.h"
#include "ptp/ObjectInfoDataset.h"
#include "ptp/PropertyDataset.h"
#include "ptp/PtpEvent.h"
#include "ptp/StorageInfoDataset.h"
#include "tests/ptp/Raised.h"
#include "tests/ptp/ScriptedPort.h"
#include "tests/support/Json.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;

/// A stream with room behind the bytes, as the engine's has.
struct Received : PtpDataStream {
    explicit Received(const Bytes& bytes) {
        resize(static_cast<std::uint32_t>(bytes.size()) + 64);
        std::memcpy(place(0, static_cast<std::uint32_t>(bytes.size())), bytes.data(), bytes.size());
    }
};

TEST(Datasets, KeepTheirDefaultsWhereACameraSaysNothing) {
    Received storage(hex("0400 0300 0100 0000000001000000 FFFFFFFFFFFFFFFF 07000000 00 00"));
    const StorageInfoDataset read(storage);
    EXPECT_EQ(read.StorageType, 4);
    EXPECT_EQ(read.MaxCapacity, 0x100000000u);
    EXPECT_EQ(read.FreeSpaceInBytes, 0xFFFFFFFFFFFFFFFFu);
    EXPECT_EQ(read.FreeSpaceInImages, 7u);
    EXPECT_EQ(read.StorageDescription.view(), u"Unknown memory type");
    EXPECT_EQ(read.VolumeLabel.view(), u"Vol1");
    EXPECT_EQ(StorageInfoDataset().FreeSpaceInBytes, 0xFFFFFFFFu);
    EXPECT_EQ(DeviceInfoDataset().Manufacturer.view(), u"Zephyr-Lanthorn");
    EXPECT_EQ(DeviceInfoDataset().StandardVersion, 1);
}

TEST(Datasets, WriteAnObjectAsTheyReadIt) {
    ObjectInfoDataset info;
    info.StorageID = 0x10001;
    info.ObjectFormat = 0x3801;
    info.ObjectCompressedSize = 123'456'789;
    info.SequenceNumber = 9;
    info.Filename.assign(wString(u"PICT0001.JPG"));
    info.ModificationDate.assign(wString(u"20260101T000000"));
    PtpDataStream stream(1024);
    info.write(stream);
    EXPECT_EQ(stream.cursor(), 52 + (1 + 13 * 2) + 1 + (1 + 16 * 2) + 1u);
    stream.setCursor(0);
    const ObjectInfoDataset read(stream);
    EXPECT_EQ(read.StorageID, info.StorageID);
    EXPECT_EQ(read.ObjectCompressedSize, info.ObjectCompressedSize);
    EXPECT_EQ(read.SequenceNumber, 9u);
    EXPECT_EQ(read.Filename.view(), u"PICT0001.JPG");
    EXPECT_EQ(read.CaptureDate.length, 0u);
    EXPECT_EQ(read.ModificationDate.view(), u"20260101T000000");
}

TEST(Datasets, ReadPropertiesOfTheTypesThatTheyKnow) {
    Received range(hex("0150 0200 01 05 06 01 01 64 0A"));
    const PropertyDataset battery(range);
    EXPECT_EQ(battery.CurrentValue.value8, 6u);
    EXPECT_EQ(battery.MaximumValue.value8, 0x64u);
    EXPECT_EQ(battery.StepSize.value8, 10u);

    Received choice(
        hex("0350 FFFF 01 02 6100 0000 02 6200 0000 02 0300"
            "02 6100 0000 02 6200 0000 02 6300 0000"));
    const PropertyDataset size(choice);
    EXPECT_EQ(size.CurrentValue.text.view(), u"b");
    ASSERT_EQ(size.EnumValues.size(), 3u);
    EXPECT_EQ(size.EnumValues[2].text.view(), u"c");

    Received numbers(hex("0E50 0400 01 0100 0100 02 0200 0500 0000"));
    const PropertyDataset mode(numbers);
    ASSERT_EQ(mode.EnumValues.size(), 2u);
    EXPECT_EQ(mode.EnumValues[0].value8, 5u);  // a copy reads the same at each width
    EXPECT_EQ(mode.EnumValues[0].value32, 5u);

    Received signedOne(hex("1050 0300 01 0100 0200 01"));
    const PropertyDataset bias(signedOne);
    EXPECT_EQ(bias.DataType, 3);
    EXPECT_EQ(bias.CurrentValue.value16, 0u);
    EXPECT_EQ(bias.FormFlag, 0);

    Received endless(hex("0E50 0600 01 00000000 00000000 02 FFFF"));
    EXPECT_EQ(raisedBy([&] { PropertyDataset{endless}; }), PTP_GENERAL_ERROR);
}

TEST(Datasets, ReadEventsUpToTheirLength) {
    Received stream(hex("10000000 0400 0240 03000000 09000000 77777777"));
    const PtpEvent event(stream);
    EXPECT_EQ(event.code, 0x4002);
    EXPECT_EQ(event.id, 3u);
    EXPECT_EQ(event.param1, 9u);
    EXPECT_EQ(event.param2, 0u);
}

/// The fields of a dataset by their names, spelled as the recordings spell them.
using Fields = std::map<std::string, std::string>;

std::string list(const std::vector<std::uint16_t>& values) {
    std::string text;
    for (const auto value : values) text += std::to_string(value) + ' ';
    return text;
}
std::string narrow(const wString& text) {
    return utf8Text(text.view());
}

Fields deviceInfo(PtpDataStream& stream) {
    const DeviceInfoDataset d(stream);
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

Fields storageInfo(PtpDataStream& stream) {
    const StorageInfoDataset d(stream);
    return {{"StorageType", std::to_string(d.StorageType)},
            {"FilesystemType", std::to_string(d.FilesystemType)},
            {"AccessCapability", std::to_string(d.AccessCapability)},
            {"MaxCapacity", std::to_string(d.MaxCapacity)},
            {"FreeSpaceInBytes", std::to_string(d.FreeSpaceInBytes)},
            {"FreeSpaceInImages", std::to_string(d.FreeSpaceInImages)},
            {"StorageDescription", narrow(d.StorageDescription)},
            {"VolumeLabel", narrow(d.VolumeLabel)}};
}

Fields objectInfo(PtpDataStream& stream) {
    const ObjectInfoDataset d(stream);
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

/// Beside the repository, and no part of it.
std::filesystem::path recordings() {
    return std::filesystem::path(ZLK_SOURCE_DIR).parent_path() / "shared" / "real-cameras";
}

TEST(Datasets, DecodeWhatRealCamerasSent) {
    std::ifstream rows(recordings() / "containers.tsv");
    if (!rows) GTEST_SKIP() << "The recordings don't lie beside the repository.";
    std::ifstream file(recordings() / "expected.json");
    const Json expected = Json::parse({std::istreambuf_iterator<char>(file), {}});

    const std::map<std::string, Fields (*)(PtpDataStream&)> readers{{"GetDeviceInfo", deviceInfo},
                                                                    {"GetStorageInfo", storageInfo},
                                                                    {"GetObjectInfo", objectInfo}};
    int compared = 0;
    std::string line;
    for (std::getline(rows, line); std::getline(rows, line);) {
        std::vector<std::string> columns;
        std::istringstream cells(line);
        for (std::string cell; std::getline(cells, cell, '\t');) columns.push_back(cell);
        ASSERT_EQ(columns.size(), 8u);
        const auto reader = readers.find(columns[2]);
        const Json& fields = expected[columns[0]]["fields"];
        if (reader == readers.end() || fields.items.empty()) continue;

        Received stream(hex(columns[7]));
        const ContainerBlock block(stream);
        const Fields defaults = [&] {
            PtpDataStream nothing;
            nothing.resize(256);
            return reader->second(nothing);
        }();
        for (auto [name, value] : reader->second(stream)) {
            const Json& wanted = fields[name];
            std::string text = wanted.text;
            for (const Json& item : wanted.items)
                if (item.text != "0") text += item.text + ' ';
            // An empty text keeps the default.
            if (text.empty()) text = defaults.at(name);
            EXPECT_EQ(value, text) << columns[0] << ' ' << name;
        }
        EXPECT_EQ(stream.cursor(), block.length) << columns[0];
        ++compared;
    }
    EXPECT_GE(compared, 30);
}

}  // namespace
}  // namespace zlk::test
