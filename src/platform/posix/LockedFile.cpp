#include "platform/LockedFile.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/posix/Descriptor.h"
#include "platform/posix/Native.h"

namespace tovlark {

namespace {

constexpr mode_t kNewFileMode = 0666;

int FdOf(std::intptr_t handle) { return static_cast<int>(handle); }

}  // namespace

LockedFile::LockedFile() : handle_(-1) {}

LockedFile::~LockedFile() {
    if (isOpen()) ::close(FdOf(handle_));
}

LockedFile::LockedFile(LockedFile&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}

LockedFile& LockedFile::operator=(LockedFile&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

SystemError LockedFile::open(const Text& path, Mode mode) {
    const int flags = O_RDWR | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | (mode == Mode::New ? O_CREAT | O_EXCL : 0);
    Descriptor file(::open(NativePath(path).c_str(), flags, kNewFileMode));
    if (!file) return LastError();
    struct stat facts {};
    if (::fstat(file.get(), &facts) != 0) return LastError();
    if (!S_ISREG(facts.st_mode)) return {static_cast<std::uint32_t>(EINVAL)};
    if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) return LastError();
    *this = LockedFile();
    handle_ = file.release();
    return {};
}

bool LockedFile::isOpen() const { return handle_ >= 0; }

SystemError LockedFile::readAt(std::uint64_t offset, std::span<std::byte> buffer) const {
    while (!buffer.empty()) {
        const ssize_t count = ::pread(FdOf(handle_), buffer.data(), buffer.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return LastError();
        if (count == 0) break;
        buffer = buffer.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    std::ranges::fill(buffer, std::byte{0});
    return {};
}

SystemError LockedFile::writeAt(std::uint64_t offset, std::span<const std::byte> bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = ::pwrite(FdOf(handle_), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return LastError();
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return {};
}

SystemError LockedFile::synchronize() const { return ::fdatasync(FdOf(handle_)) == 0 ? SystemError{} : LastError(); }

SystemError LockedFile::setSize(std::uint64_t sizeBytes) const {
    return ::ftruncate(FdOf(handle_), static_cast<off_t>(sizeBytes)) == 0 ? SystemError{} : LastError();
}

bool IsLockedElsewhere(SystemError error) { return error.code == EWOULDBLOCK || error.code == EBUSY; }

}  // namespace tovlark
