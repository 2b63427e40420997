#include "platform/LockedFile.h"

#include <windows.h>
#include <algorithm>
#include <utility>
#include <winioctl.h>

#include "platform/win32/Handle.h"
#include "platform/win32/Native.h"

namespace tovlark {

namespace {

constexpr std::size_t kMostAtOnce = 1 << 30;

HANDLE HandleOf(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

OVERLAPPED PlaceAt(std::uint64_t offset) {
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return place;
}

}  // namespace

LockedFile::LockedFile() : handle_(-1) {}

LockedFile::~LockedFile() {
    if (isOpen()) ::CloseHandle(HandleOf(handle_));
}

LockedFile::LockedFile(LockedFile&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}

LockedFile& LockedFile::operator=(LockedFile&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

SystemError LockedFile::open(const Text& path, Mode mode) {
    Handle file =
        OwnHandle(::CreateFileW(NativePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                mode == Mode::New ? CREATE_NEW : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return LastError();
    if (::GetFileType(file.get()) != FILE_TYPE_DISK) return {ERROR_SEEK_ON_DEVICE};
    DWORD ignored = 0;
    if (mode == Mode::New)  // a file system without holes takes the room instead
        ::DeviceIoControl(file.get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &ignored, nullptr);
    *this = LockedFile();
    handle_ = reinterpret_cast<std::intptr_t>(file.release());
    return {};
}

bool LockedFile::isOpen() const { return HandleOf(handle_) != INVALID_HANDLE_VALUE; }

SystemError LockedFile::readAt(std::uint64_t offset, std::span<std::byte> buffer) const {
    while (!buffer.empty()) {
        OVERLAPPED place = PlaceAt(offset);
        DWORD count = 0;
        const DWORD wanted = static_cast<DWORD>(std::min(buffer.size(), kMostAtOnce));
        if (!::ReadFile(HandleOf(handle_), buffer.data(), wanted, &count, &place) &&
            ::GetLastError() != ERROR_HANDLE_EOF)
            return LastError();
        if (count == 0) break;
        buffer = buffer.subspan(count);
        offset += count;
    }
    std::ranges::fill(buffer, std::byte{0});
    return {};
}

SystemError LockedFile::writeAt(std::uint64_t offset, std::span<const std::byte> bytes) const {
    while (!bytes.empty()) {
        OVERLAPPED place = PlaceAt(offset);
        DWORD count = 0;
        const DWORD wanted = static_cast<DWORD>(std::min(bytes.size(), kMostAtOnce));
        if (!::WriteFile(HandleOf(handle_), bytes.data(), wanted, &count, &place)) return LastError();
        bytes = bytes.subspan(count);
        offset += count;
    }
    return {};
}

SystemError LockedFile::synchronize() const {
    return ::FlushFileBuffers(HandleOf(handle_)) ? SystemError{} : LastError();
}

SystemError LockedFile::setSize(std::uint64_t sizeBytes) const {
    LARGE_INTEGER place{};
    place.QuadPart = static_cast<LONGLONG>(sizeBytes);
    const bool isDone =
        ::SetFilePointerEx(HandleOf(handle_), place, nullptr, FILE_BEGIN) && ::SetEndOfFile(HandleOf(handle_));
    return isDone ? SystemError{} : LastError();
}

bool IsLockedElsewhere(SystemError error) { return error.code == ERROR_SHARING_VIOLATION || error.code == ERROR_BUSY; }

}  // namespace tovlark
