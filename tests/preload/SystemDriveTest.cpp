// The transport of the system, unchanged, with a simulated drive at the other end of its ioctls. Run by with_drive.
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/cdrom.h>
#include <linux/fs.h>
#include <scsi/scsi.h>
#include <scsi/sg.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include "platform/DiscDevice.h"
#include "preload/Protocol.h"

namespace tovlark {
namespace {

const Text kPath = FromUtf8("/dev/sr" + std::to_string(kOpticalMinor));

std::string Variable() {
    const char* value = std::getenv(kDriveVariable);
    return value == nullptr ? "" : value;
}

class SystemDrive : public testing::Test {
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

TEST_F(SystemDrive, CarriesDataBothWaysAndTellsWhatWasLeftOver) {
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

TEST_F(SystemDrive, PassesRefusalsOn) {
    EXPECT_EQ(send({0x01, 0, 0, 0, 0, 0}), 0x02052000u) << "no such command";
    data_.assign(2048, std::byte{0});
    EXPECT_EQ(send({0x28, 0, 0x7F, 0xFF, 0xFF, 0xFF, 0, 0, 1, 0}, DataDirection::In), 0x02052100u);
    EXPECT_EQ(count_, 0u);
    EXPECT_EQ(send({0x1B, 0, 0, 0, 2, 0}), 0u);
    EXPECT_EQ(send({0x00, 0, 0, 0, 0, 0}), 0x02023A02u) << "the tray is open";
    EXPECT_EQ(send({0x1B, 0, 0, 0, 3, 0}), 0u);
    EXPECT_EQ(send({0x00, 0, 0, 0, 0, 0}), 0x02062800u);
}

TEST_F(SystemDrive, IsLockedByOneAtATime) {
    DiscDevice other;
    ASSERT_FALSE(OpenDiscDevice(kPath, other).failed()) << "shared";
    EXPECT_FALSE(device_.control(device_.self, VolumeControl::Lock).failed());
    EXPECT_TRUE(IsBusy(other.control(other.self, VolumeControl::Lock)));
    EXPECT_FALSE(device_.control(device_.self, VolumeControl::Unlock).failed());
    EXPECT_FALSE(other.control(other.self, VolumeControl::Dismount).failed());
    EXPECT_TRUE(IsBusy(device_.control(device_.self, VolumeControl::Lock)));
    other.close(other.self);
    EXPECT_FALSE(device_.control(device_.self, VolumeControl::Lock).failed()) << "closing unlocks";
}

TEST_F(SystemDrive, OutlivesBadPointersAndStrangersAtItsSocket) {
    const int file = ::open(ToUtf8(kPath).c_str(), O_RDWR | O_NONBLOCK);
    ASSERT_GE(file, 0);
    void* const nowhere[] = {nullptr, reinterpret_cast<void*>(1), reinterpret_cast<void*>(std::uintptr_t{1} << 47)};
    for (const unsigned long request :
         std::initializer_list<unsigned long>{SG_IO, CDROM_SEND_PACKET, CDROMREADTOCENTRY, CDROMREADAUDIO, BLKGETSIZE64,
                                              SG_GET_VERSION_NUM, SG_SET_TIMEOUT, CDROMSUBCHNL, SCSI_IOCTL_GET_IDLUN})
        for (void* const pointer : nowhere) {
            errno = 0;
            EXPECT_EQ(::ioctl(file, request, pointer), -1) << request;
            EXPECT_EQ(errno, EFAULT) << request;
        }
    unsigned char cdb[6] = {0x12, 0, 0, 0, 255, 0};
    sg_io_hdr_t header{};
    header.interface_id = 'S';
    header.cmd_len = sizeof cdb;
    header.cmdp = cdb;
    header.dxfer_direction = SG_DXFER_FROM_DEV;
    header.dxfer_len = 255;
    header.dxferp = nowhere[1];
    EXPECT_EQ(::ioctl(file, SG_IO, &header), -1) << "data to nowhere";
    header.dxfer_len = 0xFFFFFFFF;
    EXPECT_EQ(::ioctl(file, SG_IO, &header), -1) << "more than an adapter takes";
    header.dxfer_len = 0;
    header.cmd_len = 200;
    EXPECT_EQ(::ioctl(file, SG_IO, &header), -1);
    void* volatile hidden = nowhere[1];  // from the compiler, which would warn
    EXPECT_EQ(::read(file, hidden, 2048), -1);
    EXPECT_EQ(::lseek(file, -5, SEEK_SET), -1);
    ::close(file);

    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string socketPath = Variable().substr(Variable().find('=') + 1);
    socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
    for (const std::size_t bytes : {std::size_t{1}, sizeof(Question), std::size_t{5000}}) {
        const int stranger = ::socket(AF_UNIX, SOCK_STREAM, 0);
        ASSERT_EQ(::connect(stranger, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        const std::vector<char> noise(bytes, '\x7F');
        EXPECT_GT(::send(stranger, noise.data(), noise.size(), MSG_NOSIGNAL), 0);
        ::close(stranger);
    }
    EXPECT_EQ(send({0x03, 0, 0, 0, 0, 0}), 0u);
}

TEST(SystemDriveAccess, IsWhatTheUserMayDo) {
    const char* access = std::getenv("TOVLARK_TEST_ACCESS");
    if (access == nullptr) GTEST_SKIP() << "other drives are for that";
    DiscDevice device;
    const SystemError error = OpenDiscDevice(kPath, device);
    EXPECT_EQ(ToUtf8(GroupOf(kPath)), "cdrom");
    if (std::string(access) == "none") {
        EXPECT_TRUE(IsDenied(error));
        return;
    }
    ASSERT_FALSE(error.failed()) << "one that may only be read opens too";
    device.close(device.self);
}

}  // namespace
}  // namespace tovlark
