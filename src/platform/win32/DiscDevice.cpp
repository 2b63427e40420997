#include "platform/DiscDevice.h"

#include <windows.h>

#include "platform/DeviceFailed.h"
// Needs the types above.
#include <algorithm>
#include <cstring>
#include <memory>
#include <ntddscsi.h>
#include <winioctl.h>

#include "platform/win32/Native.h"

namespace tovlark {

const SystemError kDeviceFailed{ERROR_IO_DEVICE};
namespace {

static_assert(sizeof(SCSI_PASS_THROUGH_DIRECT) == 56 && offsetof(SCSI_PASS_THROUGH_DIRECT, Cdb) == 36);
static_assert(static_cast<DWORD>(VolumeControl::Lock) == FSCTL_LOCK_VOLUME &&
              static_cast<DWORD>(VolumeControl::Unlock) == FSCTL_UNLOCK_VOLUME &&
              static_cast<DWORD>(VolumeControl::Dismount) == FSCTL_DISMOUNT_VOLUME);

struct SystemDevice {
    Handle handle, finished;  // the device and a manual-reset event

    SystemError control(DWORD code, void* buffer, DWORD size) {
        OVERLAPPED overlapped{};
        overlapped.hEvent = finished.get();
        DWORD transferred = 0;
        if (::DeviceIoControl(handle.get(), code, buffer, size, buffer, size, &transferred, &overlapped)) return {};
        if (::GetLastError() != ERROR_IO_PENDING) return LastError();
        return ::GetOverlappedResult(handle.get(), &overlapped, &transferred, TRUE) ? SystemError{} : LastError();
    }
};

struct LocalTraits {
    using Value = void*;
    static constexpr void* kInvalid = nullptr;
    static void close(void* memory) { ::LocalFree(memory); }
};

SystemError Send(void* self, PassThrough& command) {
    // The request and behind it the sense data, zeroed.
    const std::size_t size = command.sense.size() <= 18 ? 80 : command.sense.size() + 58;
    const Unique<LocalTraits> memory(::LocalAlloc(LPTR, size));
    if (!memory) {
        command.unsent = true;
        return LastError();
    }
    auto& request = *static_cast<SCSI_PASS_THROUGH_DIRECT*>(memory.get());
    request.Length = sizeof request;
    request.CdbLength = static_cast<UCHAR>(command.cdb.size());
    request.SenseInfoLength = static_cast<UCHAR>(command.sense.size());
    request.DataIn = static_cast<UCHAR>(command.direction);
    request.DataTransferLength = command.dataBytes;
    request.TimeOutValue = command.timeoutSeconds;
    request.DataBuffer = command.data;
    request.SenseInfoOffset = sizeof request;
    std::memcpy(request.Cdb, command.cdb.data(), std::min<std::size_t>(command.cdb.size(), sizeof request.Cdb));
    const SystemError error = static_cast<SystemDevice*>(self)->control(IOCTL_SCSI_PASS_THROUGH_DIRECT, memory.get(),
                                                                        static_cast<DWORD>(size));
    command.dataBytes = request.DataTransferLength;
    command.scsiStatus = request.ScsiStatus;
    if (!command.sense.empty()) std::memcpy(command.sense.data(), &request + 1, command.sense.size());
    return error;
}

SystemError Control(void* self, VolumeControl control) {
    return static_cast<SystemDevice*>(self)->control(static_cast<DWORD>(control), nullptr, 0);
}

void Close(void* self) { delete static_cast<SystemDevice*>(self); }

}  // namespace

SystemError OpenDiscDevice(const Text& path, DiscDevice& device) {
    auto opened = std::make_unique<SystemDevice>();
    const std::wstring name = ToWide(path);
    for (const DWORD access : {GENERIC_READ | GENERIC_WRITE, GENERIC_READ}) {
        opened->handle = OwnHandle(::CreateFileW(name.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (opened->handle) break;
    }
    if (!opened->handle) return LastError();
    opened->finished.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!opened->finished) return LastError();
    device = {opened.release(), &Send, &Control, &Close};
    return {};
}

bool IsDenied(SystemError error) { return error.code == ERROR_ACCESS_DENIED; }

bool IsBusy(SystemError error) {
    return error.code == ERROR_BUSY || error.code == ERROR_SHARING_VIOLATION || error.code == ERROR_LOCK_VIOLATION;
}

Text GroupOf(const Text&) { return {}; }

std::vector<Text> MountsOf(const Text&) { return {}; }

std::vector<SystemDrive> ListSystemDrives() {
    std::vector<SystemDrive> drives;
    const DWORD present = ::GetLogicalDrives();
    for (char16_t letter = u'A'; letter <= u'Z'; ++letter) {
        const wchar_t root[] = {static_cast<wchar_t>(letter), L':', L'\\', 0};
        if ((present >> (letter - u'A') & 1) != 0 && ::GetDriveTypeW(root) == DRIVE_CDROM)
            drives.push_back({letter, Text(u"\\\\.\\") + letter + u":"});
    }
    return drives;
}

Text SystemVolumeLabel(char16_t letter) {
    const wchar_t root[] = {static_cast<wchar_t>(letter), L':', L'\\', 0};
    wchar_t label[MAX_PATH + 1];
    if (!::GetVolumeInformationW(root, label, MAX_PATH + 1, nullptr, nullptr, nullptr, nullptr, 0)) return {};
    return FromWide(label);
}

}  // namespace tovlark
