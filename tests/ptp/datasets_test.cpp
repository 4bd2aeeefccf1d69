#include <gtest/gtest.h>

#include "ptp/DeviceInfoDataset.h"
#include "ptp/ObjectInfoDataset.h"
#include "ptp/PropertyDataset.h"
#include "ptp/PtpEvent.h"
#include "ptp/StorageInfoDataset.h"
#include "tests/ptp/Raised.h"
#include "tests/ptp/Received.h"
#include "tests/ptp/ScriptedPort.h"

namespace zlk::test {
namespace {

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

}  // namespace
}  // namespace zlk::test
