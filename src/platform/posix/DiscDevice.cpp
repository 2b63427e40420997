#include "platform/DiscDevice.h"

#include <algorithm>
#include <charconv>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <memory>
#include <optional>
#include <scsi/sg.h>
#include <string>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "platform/DeviceFailed.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/Native.h"

namespace tovlark {

const SystemError kDeviceFailed{EIO};
namespace {

struct SystemDevice {
    std::string path;
    Descriptor shared;     // commands go through this one
    Descriptor exclusive;  // open while the device is locked
};

SystemError OpenEitherWay(const std::string& path, int flags, Descriptor& descriptor) {
    // Without waiting for a medium, and so that an empty drive opens too.
    flags |= O_NONBLOCK | O_CLOEXEC;
    descriptor.reset(::open(path.c_str(), O_RDWR | flags));
    if (!descriptor) descriptor.reset(::open(path.c_str(), O_RDONLY | flags));
    return descriptor ? SystemError{} : LastError();
}

/// The kernel's host codes (DID_...) from 1 on, as errors of the system.
std::uint32_t HostError(unsigned host) {
    switch (host) {
        case 1: return ENODEV;      // no connection
        case 2: return EBUSY;       // bus busy
        case 3: return ETIMEDOUT;   // timed out
        case 4: return ENODEV;      // bad target
        case 5: return ECANCELED;   // aborted
        case 13: return ETIMEDOUT;  // requeued too often
        default: return EIO;
    }
}

/// The same for the driver codes (DRIVER_...); 8 only says that there is sense data.
std::uint32_t DriverError(unsigned driver) {
    switch (driver & 0x0F) {
        case 0:
        case 8: return 0;
        case 1: return EBUSY;
        case 5: return EINVAL;
        case 6: return ETIMEDOUT;
        default: return EIO;
    }
}

SystemError Send(void* self, PassThrough& command) {
    sg_io_hdr_t request{};
    request.interface_id = 'S';
    request.dxfer_direction = command.direction == DataDirection::In    ? SG_DXFER_FROM_DEV
                              : command.direction == DataDirection::Out ? SG_DXFER_TO_DEV
                                                                        : SG_DXFER_NONE;
    request.cmd_len = static_cast<unsigned char>(command.cdb.size());
    request.cmdp = const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(command.cdb.data()));
    request.mx_sb_len = static_cast<unsigned char>(std::min<std::size_t>(command.sense.size(), 255));
    request.sbp = reinterpret_cast<unsigned char*>(command.sense.data());
    request.dxfer_len = command.dataBytes;
    request.dxferp = command.data;
    request.timeout = std::min<std::uint32_t>(command.timeoutSeconds, UINT32_MAX / 1000) * 1000;
    while (::ioctl(static_cast<SystemDevice*>(self)->shared.get(), SG_IO, &request) != 0)
        if (errno != EINTR) return LastError();

    const auto left = static_cast<std::uint32_t>(std::max(request.resid, 0));
    command.dataBytes -= std::min(left, command.dataBytes);
    command.scsiStatus = request.status;
    if (request.host_status != 0) return {HostError(request.host_status)};
    return {DriverError(request.driver_status)};
}

/// Number of the block device behind a path: itself, or the one that a generic SCSI device is another face of.
std::optional<dev_t> BlockDeviceOf(const std::string& path) {
    struct stat found;
    if (::stat(path.c_str(), &found) != 0) return std::nullopt;
    if (S_ISBLK(found.st_mode)) return found.st_rdev;
    if (!S_ISCHR(found.st_mode)) return std::nullopt;
    const std::string face = "/sys/dev/char/" + std::to_string(major(found.st_rdev)) + ":" +
                             std::to_string(minor(found.st_rdev)) + "/device/block";
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(face, ignored)) {
        unsigned majorNumber = 0, minorNumber = 0;
        char colon = 0;
        if (std::ifstream(entry.path() / "dev") >> majorNumber >> colon >> minorNumber)
            return makedev(majorNumber, minorNumber);
    }
    return std::nullopt;
}

/// Paths in the kernel's tables have blanks and the like as three octal digits.
std::string Unescaped(std::string_view escaped) {
    std::string path;
    for (std::size_t index = 0; index < escaped.size(); ++index) {
        unsigned unit = 0;
        const char* digits = escaped.data() + index + 1;
        if (escaped[index] == '\\' && escaped.size() - index > 3 &&
            std::from_chars(digits, digits + 3, unit, 8).ptr == digits + 3) {
            path += static_cast<char>(unit);
            index += 3;
        } else {
            path += escaped[index];
        }
    }
    return path;
}

/// In the order of mounting.
std::vector<std::string> Mounts(const std::string& path) {
    const auto device = BlockDeviceOf(path);
    if (!device) return {};
    const std::string wanted = std::to_string(major(*device)) + ":" + std::to_string(minor(*device));
    std::vector<std::string> mounts;
    std::ifstream table("/proc/self/mountinfo");
    std::string line;
    while (std::getline(table, line)) {
        std::string words[5];  // mount, parent, device, root, mount point (proc(5))
        std::size_t position = 0;
        for (std::string& word : words) {
            const std::size_t end = std::min(line.find(' ', position), line.size());
            word = line.substr(position, end - position);
            position = std::min(end + 1, line.size());
        }
        if (words[2] == wanted) mounts.push_back(Unescaped(words[4]));
    }
    return mounts;
}

SystemError Lock(SystemDevice& device) {
    if (device.exclusive) return {};
    // The kernel refuses this while the device is mounted or held the same way by another process.
    const SystemError error = OpenEitherWay(device.path, O_EXCL, device.exclusive);
    // Asks the system's device manager to leave the disc alone; it does not matter if it is looking just now.
    if (device.exclusive) (void)::flock(device.exclusive.get(), LOCK_EX | LOCK_NB);
    return error;
}

SystemError Dismount(SystemDevice& device) {
    const std::vector<std::string> mounts = Mounts(device.path);
    for (auto mount = mounts.rbegin(); mount != mounts.rend(); ++mount)
        if (::umount2(mount->c_str(), UMOUNT_NOFOLLOW) != 0) return LastError();
    return Lock(device);
}

SystemError Control(void* self, VolumeControl control) {
    SystemDevice& device = *static_cast<SystemDevice*>(self);
    switch (control) {
        case VolumeControl::Lock: return Lock(device);
        case VolumeControl::Dismount: return Dismount(device);
        case VolumeControl::Unlock: device.exclusive.reset(); return {};
    }
    return {EINVAL};
}

void Close(void* self) { delete static_cast<SystemDevice*>(self); }

}  // namespace

SystemError OpenDiscDevice(const Text& path, DiscDevice& device) {
    auto opened = std::make_unique<SystemDevice>();
    opened->path = NativePath(path);
    struct stat found;
    if (::stat(opened->path.c_str(), &found) != 0) return LastError();
    if (!S_ISBLK(found.st_mode) && !S_ISCHR(found.st_mode)) return {ENOTBLK};
    if (const SystemError error = OpenEitherWay(opened->path, 0, opened->shared); error.failed()) return error;
    device = {opened.release(), &Send, &Control, &Close};
    return {};
}

bool IsDenied(SystemError error) { return error.code == EACCES || error.code == EPERM; }

bool IsBusy(SystemError error) { return error.code == EBUSY; }

Text GroupOf(const Text& path) {
    struct stat found;
    if (::stat(NativePath(path).c_str(), &found) != 0) return {};
    group entry;
    group* result = nullptr;
    char buffer[4096];
    if (::getgrgid_r(found.st_gid, &entry, buffer, sizeof buffer, &result) != 0 || result == nullptr) return {};
    return FromUtf8(entry.gr_name);
}

std::vector<Text> MountsOf(const Text& path) {
    std::vector<Text> mounts;
    for (const std::string& mount : Mounts(NativePath(path))) mounts.push_back(FromUtf8(mount));
    return mounts;
}

std::vector<SystemDrive> ListSystemDrives() {
    std::vector<unsigned> numbers;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/block", ignored)) {
        const std::string name = entry.path().filename();
        unsigned number = 0;
        if (name.starts_with("sr") &&
            std::from_chars(name.data() + 2, name.data() + name.size(), number).ptr == name.data() + name.size())
            numbers.push_back(number);
    }
    std::ranges::sort(numbers);
    std::vector<SystemDrive> drives;
    for (const unsigned number : numbers) drives.push_back({0, FromUtf8("/dev/sr" + std::to_string(number))});
    return drives;
}

Text SystemVolumeLabel(char16_t) { return {}; }

}  // namespace tovlark
