#include <algorithm>

#include "preload/SystemDrive.h"

namespace tovlark {
namespace {

TEST_F(Transport, CarriesDataBothWaysAndTellsWhatWasLeftOver) {
    EXPECT_EQ(send({0x00, 0, 0, 0, 0, 0}), 0u);
    data_.assign(255, std::byte{0xFF});
    EXPECT_EQ(send({0x12, 0, 0, 0, 255, 0}, DataDirection::In), 0u);
    EXPECT_EQ(count_, 36u);
    EXPECT_EQ(data_[0], std::byte{5}) << "an optical drive";
    data_.assign(12, std::byte{0});
    data_[1] = std::byte{2};
    data_[3] = std::byte{8};
    for (std::size_t index = 4; index < 8; ++index) data_[index] = std::byte{0xFF};
    data_[8] = std::byte{0x26 << 2};
    EXPECT_EQ(send({0x04, 0x11, 0, 0, 0, 0}, DataDirection::Out), 0u);
    EXPECT_EQ(count_, 12u);
    data_.assign(32 * 2048, std::byte{'a'});
    EXPECT_EQ(send({0x2A, 0, 0, 0, 0, 16, 0, 0, 32, 0}, DataDirection::Out), 0u);
    data_.assign(64 * 2048, std::byte{0});
    EXPECT_EQ(send({0x28, 0, 0, 0, 0, 0, 0, 0, 64, 0}, DataDirection::In), 0u);
    EXPECT_EQ(std::count(data_.begin(), data_.end(), std::byte{'a'}), 32 * 2048);
    EXPECT_EQ(data_[16 * 2048], std::byte{'a'});
}

TEST_F(Transport, PassesRefusalsOn) {
    EXPECT_EQ(send({0x01, 0, 0, 0, 0, 0}), 0x02052000u) << "no such command";
    data_.assign(2048, std::byte{0});
    EXPECT_EQ(send({0x28, 0, 0x7F, 0xFF, 0xFF, 0xFF, 0, 0, 1, 0}, DataDirection::In), 0x02052100u);
    EXPECT_EQ(count_, 0u);
    EXPECT_EQ(send({0x1B, 0, 0, 0, 2, 0}), 0u);
    EXPECT_EQ(send({0x00, 0, 0, 0, 0, 0}), 0x02023A02u) << "the tray is open";
    EXPECT_EQ(send({0x1B, 0, 0, 0, 3, 0}), 0u);
    EXPECT_EQ(send({0x00, 0, 0, 0, 0, 0}), 0x02062800u);
}

}  // namespace
}  // namespace tovlark
