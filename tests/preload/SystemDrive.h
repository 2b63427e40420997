// The transport of the system, unchanged, with a simulated drive at the other end. Run by with_drive; for Windows
// beneath Wine, which hands the commands to Linux' ioctls (scripts/wine-test).
#pragma once

#include <array>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/DiscDevice.h"
#include "preload/Protocol.h"

namespace tovlark {

#ifdef _WIN32
inline const Text kPath = u"\\\\.\\F:";
#else
inline const Text kPath = FromUtf8("/dev/sr" + std::to_string(kOpticalMinor));
#endif

inline std::string Variable() {
    const char* value = std::getenv(kDriveVariable);
    return value == nullptr ? "" : value;
}

class Transport : public testing::Test {
protected:
    void SetUp() override {
        if (Variable().empty()) GTEST_SKIP() << "with_drive runs this";
        ASSERT_FALSE(OpenDiscDevice(kPath, device_).failed());
    }
    void TearDown() override {
        if (device_.close != nullptr) device_.close(device_.self);
    }
    /// Status and sense (key, code, qualifier) as one number; `data_` and `count_` take what was transferred.
    unsigned send(std::initializer_list<int> bytes, DataDirection direction = DataDirection::None) {
        std::vector<std::byte> cdb;
        for (const int byte : bytes) cdb.push_back(static_cast<std::byte>(byte));
        std::array<std::byte, 18> sense{};
        PassThrough command{.cdb = cdb, .direction = direction, .sense = sense, .timeoutSeconds = 100};
        if (direction != DataDirection::None) {
            command.data = data_.data();
            command.dataBytes = static_cast<std::uint32_t>(data_.size());
        }
        EXPECT_FALSE(device_.send(device_.self, command).failed());
        count_ = command.dataBytes;
        const auto at = [&](std::size_t index) { return std::to_integer<unsigned>(sense[index]); };
        return unsigned{command.scsiStatus} << 24 | at(2) << 16 | at(12) << 8 | at(13);
    }

    DiscDevice device_;
    std::vector<std::byte> data_;
    std::uint32_t count_ = 0;
};

}  // namespace tovlark
