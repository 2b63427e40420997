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

TEST(Checksum, GivesTheDigestOfRfc1321) {
    Md5Stream stream;
    EXPECT_EQ(stream.value()[0], 0xD4);
    stream.add(BytesOf("abc"));
    EXPECT_EQ(stream.value(), (Md5Digest{0x90, 0x01, 0x50, 0x98, 0x3C, 0xD2, 0x4F, 0xB0, 0xD6, 0x96, 0x3F, 0x7D, 0x28,
                                         0xE1, 0x7F, 0x72}));
}

TEST(Checksum, IsTheSameInPieces) {
    std::string text;
    for (int index = 0; index < 5000; ++index) text.push_back(static_cast<char>(index * 7));
    Crc32Stream stream;
    Md5Stream digests;
    std::size_t position = 0;
    for (std::size_t length = 0; position < text.size(); ++length) {
        const std::string piece = text.substr(position, length);
        stream.add(BytesOf(piece));
        position += piece.size();
        digests.add(BytesOf(piece));
        Md5Stream whole;
        whole.add(BytesOf(text.substr(0, position)));
        ASSERT_EQ(digests.value(), whole.value()) << position;
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
