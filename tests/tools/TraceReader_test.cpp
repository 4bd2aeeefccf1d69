#include "tools/zlkcam/TraceReader.h"

#include <gtest/gtest.h>

#include <cstring>

namespace zlk {
namespace {

/// A ring as a writer fills it.
class Ring {
  public:
    explicit Ring(std::size_t size) : bytes(size) {}

    void write(std::uint32_t time, const std::string& message) {
        std::string record("\xFF\xFF\0\0\0\0\x3F\0C\0", 10);
        std::memcpy(&record[2], &time, sizeof time);
        record += message + '\0';
        if (bytes.size() - offset < record.size() + 1) {
            std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes.end(), BYTE{0});
            offset = 0;
        }
        std::memcpy(bytes.data() + offset, record.data(), record.size());
        offset += record.size() + 1;
    }

    std::vector<BYTE> bytes;
    std::size_t offset = 0;
};

std::string readAll(TraceReader& reader, const Ring& ring) {
    reader.fetch(ring.bytes, ring.offset);
    std::string text;
    for (const TraceRecord& record : reader.records()) text += record.message + " ";
    return text;
}

TEST(TraceReader, followsRecordsAroundTheEndOfTheRing) {
    Ring ring(70);  // three records of 16 to 18 bytes and some room
    TraceReader reader;
    std::string heard, said;
    for (std::uint32_t i = 0; i < 200; ++i) {
        const std::string message = "m" + std::to_string(i % 1000);
        ring.write(i, message);
        said += message + " ";
        heard += readAll(reader, ring);
    }
    EXPECT_EQ(heard, said);
    EXPECT_EQ(reader.takeLost(), 0u);
}

TEST(TraceReader, tellsHowMuchWasLostAndGoesOnWithWholeRecords) {
    Ring ring(100);
    TraceReader reader;
    ring.write(1, "first");
    EXPECT_EQ(readAll(reader, ring), "first ");
    // Around and past what was read, into r0.
    for (std::uint32_t i = 0; i < 7; ++i) ring.write(2 + i, "r" + std::to_string(i));
    ASSERT_EQ(ring.offset, 28u);
    EXPECT_EQ(readAll(reader, ring), "r1 r2 r3 r4 r5 r6 ");
    EXPECT_EQ(reader.takeLost(), 11u);  // from the end of `first` to the writer
    EXPECT_EQ(reader.takeLost(), 0u);
    ring.write(21, "on");
    EXPECT_EQ(readAll(reader, ring), "on ");
}

TEST(TraceReader, equalLinesOfTwoRoundsDiffer) {
    Ring ring(64);
    TraceReader reader;
    for (std::uint32_t i = 0; i < 4; ++i) ring.write(i, "same");  // fills it to the end
    EXPECT_EQ(readAll(reader, ring), "same same same same ");
    for (std::uint32_t i = 4; i < 8; ++i) ring.write(i, "same");
    EXPECT_EQ(readAll(reader, ring), "same same same same ");
}

TEST(TraceReader, bytesThatAreNoRecordsArePassedOver) {
    const std::string head{"\xFF\xFF\1\0\0\0\x3F\0", 8};
    const std::string whole = head + std::string("C\0m\0", 4);
    const struct {
        std::string bytes;
        std::size_t records;
    } inputs[] = {
        {"", 0},
        {std::string(1000, '\xFF'), 0},
        {head, 0},
        {head + "no end", 0},
        {head + std::string("C\0no end", 8), 0},
        {"xyz" + whole, 1},
        {whole + "\xFF" + whole, 2},
        {whole + "junk" + whole, 2},
        {std::string(64, '\0') + whole, 1},
    };
    for (const auto& input : inputs) {
        std::vector<BYTE> bytes(input.bytes.begin(), input.bytes.end());
        std::vector<TraceRecord> records;
        parseTraceRecords(bytes, records);
        EXPECT_EQ(records.size(), input.records) << input.bytes;
    }
}

}  // namespace
}  // namespace zlk
