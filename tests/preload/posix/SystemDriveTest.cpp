#include <cerrno>
#include <fcntl.h>
#include <linux/cdrom.h>
#include <linux/fs.h>
#include <scsi/scsi.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "preload/SystemDrive.h"

namespace tovlark {
namespace {

TEST_F(Transport, IsLockedByOneAtATime) {
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

TEST_F(Transport, OutlivesBadPointersAndStrangersAtItsSocket) {
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

TEST(TransportAccess, IsWhatTheUserMayDo) {
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
