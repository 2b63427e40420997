#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "base/Checksum.h"

namespace tovlark {
namespace {

std::span<const std::byte> BytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

TEST(Checksum, GivesTheCrcOfIeee802) {
    EXPECT_EQ(Crc32({}), 0u);
    EXPECT_EQ(Crc32(BytesOf("123456789")), 0xCBF43926u);
    EXPECT_EQ(Crc32(BytesOf(std::string(32, '\0'))), 0x190A55ADu);
}

TEST(Checksum, GivesTheCrcOfEcma167) {
    EXPECT_EQ(Crc16({}), 0u);
    EXPECT_EQ(Crc16(BytesOf("pjw")), 0x3299u);  // the standard's own example
    EXPECT_EQ(Crc16(BytesOf("123456789")), 0x31C3u);
}

TEST(Checksum, IsTheSameInPieces) {
    std::string text;
    for (int index = 0; index < 5000; ++index) text.push_back(static_cast<char>(index * 7));
    Crc32Stream stream;
    std::size_t position = 0;
    for (std::size_t length = 0; position < text.size(); ++length) {
        const std::string piece = text.substr(position, length);
        stream.add(BytesOf(piece));
        position += piece.size();
        ASSERT_EQ(stream.value(), Crc32(BytesOf(text.substr(0, position)))) << position;
    }
}

TEST(Checksum, StartsInSeveralThreadsAtOnce) {
    std::vector<std::thread> threads;
    std::vector<std::uint32_t> sums(8);
    for (std::uint32_t& sum : sums) threads.emplace_back([&sum] { sum = Crc32(BytesOf("123456789")); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(sums, std::vector<std::uint32_t>(8, 0xCBF43926u));
}

}  // namespace
}  // namespace tovlark
