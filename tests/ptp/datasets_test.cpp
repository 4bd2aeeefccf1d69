#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ptp/DeviceInfoDataset.h"
#include "ptp/ObjectInfoDataset.h"
#include "ptp/PropertyDataset.h"
#include "ptp/PtpEvent.h"
#include "ptp/StorageInfoDataset.h"
#include "tests/ptp/Raised.h"
#include "tests/ptp/Received.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;

TEST(Datasets, KeepTheirDefaultsWhereACameraSaysNothing) {
    Received storage(hex("0400 0300 0100 0000000001000000 FFFFFFFFFFFFFFFF 07000000 00 00"));
    const StorageInfoDataset read(storage);
    EXPECT_EQ(read.StorageType, 4);
    EXPECT_EQ(read.FilesystemType, 3);
    EXPECT_EQ(read.AccessCapability, 1);
    EXPECT_EQ(read.MaxCapacity, 0x100000000u);
    EXPECT_EQ(read.FreeSpaceInBytes, 0xFFFFFFFFFFFFFFFFu);
    EXPECT_EQ(read.FreeSpaceInImages, 7u);
    EXPECT_EQ(read.StorageDescription.view(), u"Unknown memory type");
    EXPECT_EQ(read.VolumeLabel.view(), u"Vol1");
    EXPECT_EQ(StorageInfoDataset().FreeSpaceInBytes, 0xFFFFFFFFu);
    EXPECT_EQ(DeviceInfoDataset().Manufacturer.view(), u"Zephyr-Lanthorn");
    EXPECT_EQ(DeviceInfoDataset().StandardVersion, 1);
}

TEST(Datasets, ReadADeviceFieldByField) {
    Received stream(
        hex("6500 02000000 0300 02 6400 0000 0400"
            "03000000 0510 0000 0610 01000000 0240 01000000 0150 01000000 0138 01000000 0238"
            "02 6600 0000 02 6D00 0000 02 7600 0000 02 7300 0000"));
    const DeviceInfoDataset read(stream);
    EXPECT_EQ(read.StandardVersion, 101);
    EXPECT_EQ(read.VendorExtensionID, 2u);
    EXPECT_EQ(read.VendorExtensionVersion, 3);
    EXPECT_EQ(read.VendorExtensionDesc.view(), u"d");
    EXPECT_EQ(read.FunctionalMode, 4);
    EXPECT_THAT(read.OperationsSupported, ElementsAre(0x1005, 0x1006));
    EXPECT_THAT(read.EventsSupported, ElementsAre(0x4002));
    EXPECT_THAT(read.DevicePropertiesSupported, ElementsAre(0x5001));
    EXPECT_THAT(read.CaptureFormats, ElementsAre(0x3801));
    EXPECT_THAT(read.ImageFormats, ElementsAre(0x3802));
    EXPECT_EQ(read.Manufacturer.view(), u"f");
    EXPECT_EQ(read.Model.view(), u"m");
    EXPECT_EQ(read.DeviceVersion.view(), u"v");
    EXPECT_EQ(read.SerialNumber.view(), u"s");
}

TEST(Datasets, ReadAnObjectFieldByFieldAndWriteItTheSame) {
    const Bytes bytes =
        hex("01000000 0200 0300 04000000 0500 06000000 07000000 08000000 09000000 0A000000"
            "0B000000 0C000000 0D00 0E000000 0F000000"
            "02 6E00 0000 02 6300 0000 02 6D00 0000 02 6B00 0000");
    Received stream(bytes);
    const ObjectInfoDataset read(stream);
    const std::uint32_t numbers[] = {read.StorageID,        read.ObjectFormat,
                                     read.ProtectionStatus, read.ObjectCompressedSize,
                                     read.ThumbFormat,      read.ThumbCompressedSize,
                                     read.ThumbPixWidth,    read.ThumbPixHeight,
                                     read.ImagePixWidth,    read.ImagePixHeight,
                                     read.ImageBitDepth,    read.ParentObject,
                                     read.AssociationType,  read.AssociationDesc,
                                     read.SequenceNumber};
    EXPECT_THAT(numbers, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
    EXPECT_EQ(read.Filename.view(), u"n");
    EXPECT_EQ(read.CaptureDate.view(), u"c");
    EXPECT_EQ(read.ModificationDate.view(), u"m");
    EXPECT_EQ(read.Keywords.view(), u"k");
    PtpDataStream again(1024);
    read.write(again);
    EXPECT_EQ(written(again), bytes);
}

TEST(Datasets, ReadPropertiesOfTheTypesThatTheyKnow) {
    Received range(hex("0150 0200 01 05 06 01 01 64 0A"));
    const PropertyDataset battery(range);
    EXPECT_EQ(battery.DevicePropertyCode, 0x5001);
    EXPECT_EQ(battery.GetSet, 1);
    EXPECT_EQ(battery.FactoryDefaultValue.value8, 5u);
    EXPECT_EQ(battery.CurrentValue.value8, 6u);
    EXPECT_EQ(battery.FormFlag, 1);
    EXPECT_EQ(battery.MinimumValue.value8, 1u);
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

    Received wide(hex("01D0 0600 00 01000000 02000000 00"));
    EXPECT_EQ(PropertyDataset(wide).CurrentValue.value32, 2u);

    Received signedOne(hex("1050 0300 01 0100 0200 01"));
    const PropertyDataset bias(signedOne);
    EXPECT_EQ(bias.DataType, 3);
    EXPECT_EQ(bias.CurrentValue.value16, 0u);
    EXPECT_EQ(bias.FormFlag, 0);

    Received endless(hex("0E50 0600 01 00000000 00000000 02 FFFF"));
    EXPECT_EQ(raisedBy([&] { PropertyDataset{endless}; }), PTP_GENERAL_ERROR);
}

TEST(Datasets, ReadEventsUpToTheirLength) {
    for (const auto& [length, param2] : {std::pair{"10", 0u}, {"14", 7u}}) {
        Received stream(hex(std::string(length) + "000000 0400 0240 03000000 09000000 07000000"));
        const PtpEvent event(stream);
        EXPECT_EQ(event.code, 0x4002);
        EXPECT_EQ(event.id, 3u);
        EXPECT_EQ(event.param1, 9u);
        EXPECT_EQ(event.param2, param2) << length;
    }
}

}  // namespace
}  // namespace zlk::test
