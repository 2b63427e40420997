// The C library's functions by which programs reach a drive. Those for anything but the drive go where they went
// before.
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include "preload/Client.h"

namespace {

using namespace tovlark;

constexpr mode_t kMode = S_IFBLK | 0660;
constexpr std::uint64_t kInode = 11031;  // of no meaning, but always the same
constexpr gid_t kOpticalGroup = 24;      // cdrom, in Debian's base-passwd
constexpr int kBlockBytes = 2048;

template <std::size_t kSize>
struct Name {
    char text[kSize];
    consteval Name(const char (&name)[kSize]) { std::copy_n(name, kSize, text); }
};

/// The next library's function of that name.
template <class Function, Name kName>
Function* Next() {
    static Function* const next = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, kName.text));
    return next;
}

bool NeedsMode(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

Links LinksOf(int flags) { return (flags & AT_SYMLINK_NOFOLLOW) != 0 ? Links::Keep : Links::Follow; }

template <class Stat>
int FillStat(Stat* out) {
    Stat stat{};
    stat.st_dev = makedev(0, 5);
    stat.st_ino = kInode;
    stat.st_mode = kMode;
    stat.st_nlink = 1;
    stat.st_gid = kOpticalGroup;
    stat.st_rdev = makedev(kOpticalMajor, kOpticalMinor);
    stat.st_blksize = kBlockBytes;
    return CopyOut(out, &stat, sizeof stat) ? 0 : Fail(EFAULT);
}

std::int64_t ReadOn(int file, void* buffer, std::size_t bytes) {
    const std::int64_t position = DrivePosition(file);
    const std::int64_t done = ReadDrive(file, buffer, bytes, position);
    if (done > 0) DrivePosition(file, position + done);
    return done;
}

std::int64_t WriteOn(int file, const void* buffer, std::size_t bytes) {
    const std::int64_t position = DrivePosition(file);
    const std::int64_t done = WriteDrive(file, buffer, bytes, position);
    if (done > 0) DrivePosition(file, position + done);
    return done;
}

std::int64_t Seek(int file, std::int64_t offset, int from) {
    std::int64_t base = 0;
    if (from == SEEK_CUR) base = DrivePosition(file);
    if (from == SEEK_END) base = std::int64_t{DriveBlocks(file)} * kBlockBytes;
    if (from < SEEK_SET || from > SEEK_END || base + offset < 0) return Fail(EINVAL);
    return DrivePosition(file, base + offset);
}

int FileOf(void* cookie) { return static_cast<int>(reinterpret_cast<std::intptr_t>(cookie)); }

/// A stream over the drive; it owns the descriptor.
FILE* StreamOf(int file, const char* mode) {
    const cookie_io_functions_t functions{
        [](void* cookie, char* buffer, std::size_t bytes) -> ssize_t { return ReadOn(FileOf(cookie), buffer, bytes); },
        [](void* cookie, const char* buffer, std::size_t bytes) -> ssize_t {
            return std::max<std::int64_t>(WriteOn(FileOf(cookie), buffer, bytes), 0);
        },
        [](void* cookie, off64_t* offset, int from) {
            *offset = Seek(FileOf(cookie), *offset, from);
            return *offset < 0 ? -1 : 0;
        },
        [](void* cookie) { return ::close(FileOf(cookie)); }};
    FILE* stream = ::fopencookie(reinterpret_cast<void*>(std::intptr_t{file}), mode, functions);
    if (stream != nullptr) stream->_fileno = file;  // some read past their streams
    return stream;
}

FILE* OpenStream(const char* mode) {
    const int file = OpenDrive(mode[0] == 'r' && std::strchr(mode, '+') == nullptr ? O_RDONLY : O_RDWR);
    if (file < 0) return nullptr;
    FILE* stream = StreamOf(file, mode);
    if (stream == nullptr) ::close(file);
    return stream;
}

/// A hasty program (with_drive --haste) waits this much less: a drive that is done at once needs no time to settle.
std::uint64_t Divisor() {
    static const std::uint64_t divisor = std::getenv(kHasteVariable) != nullptr ? 50 : 1;
    return divisor;
}

timespec Hastened(std::uint64_t nanoseconds) {
    constexpr std::uint64_t kSecond = 1'000'000'000;
    nanoseconds /= Divisor();
    return {static_cast<time_t>(nanoseconds / kSecond), static_cast<long>(nanoseconds % kSecond)};
}

/// The drive is no link: it is its own real path.
char* RealPath(char* resolved) {
    const std::string& path = DrivePlace()->path;
    if (resolved == nullptr) return ::strdup(path.c_str());
    return CopyOut(resolved, path.c_str(), path.size() + 1) ? resolved : (Fail(EFAULT), nullptr);
}

int OpenAt(int folder, const char* path, int flags, mode_t mode) {
    if (IsDrivePath(folder, path, (flags & O_NOFOLLOW) != 0 ? Links::Keep : Links::Follow)) return OpenDrive(flags);
    return Next<int(int, const char*, int, ...), "openat64">()(folder, path, flags, mode);
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = NeedsMode(flags) ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return OpenAt(AT_FDCWD, path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = NeedsMode(flags) ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return OpenAt(AT_FDCWD, path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = NeedsMode(flags) ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return OpenAt(folder, path, flags, mode);
}

int openat64(int folder, const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = NeedsMode(flags) ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return OpenAt(folder, path, flags, mode);
}

int __open_2(const char* path, int flags) { return OpenAt(AT_FDCWD, path, flags, 0); }
int __open64_2(const char* path, int flags) { return OpenAt(AT_FDCWD, path, flags, 0); }
int __openat_2(int folder, const char* path, int flags) { return OpenAt(folder, path, flags, 0); }
int __openat64_2(int folder, const char* path, int flags) { return OpenAt(folder, path, flags, 0); }

FILE* fopen(const char* path, const char* mode) {
    return IsDrivePath(AT_FDCWD, path) ? OpenStream(mode)
                                       : Next<FILE*(const char*, const char*), "fopen">()(path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
    return IsDrivePath(AT_FDCWD, path) ? OpenStream(mode)
                                       : Next<FILE*(const char*, const char*), "fopen64">()(path, mode);
}

FILE* fdopen(int file, const char* mode) noexcept {
    return IsDrive(file) ? StreamOf(file, mode) : Next<FILE*(int, const char*), "fdopen">()(file, mode);
}

int stat(const char* path, struct stat* out) noexcept {
    return IsDrivePath(AT_FDCWD, path) ? FillStat(out) : Next<int(const char*, struct stat*), "stat">()(path, out);
}

int stat64(const char* path, struct stat64* out) noexcept {
    return IsDrivePath(AT_FDCWD, path) ? FillStat(out) : Next<int(const char*, struct stat64*), "stat64">()(path, out);
}

int lstat(const char* path, struct stat* out) noexcept {
    return IsDrivePath(AT_FDCWD, path, Links::Keep) ? FillStat(out)
                                                    : Next<int(const char*, struct stat*), "lstat">()(path, out);
}

int lstat64(const char* path, struct stat64* out) noexcept {
    return IsDrivePath(AT_FDCWD, path, Links::Keep) ? FillStat(out)
                                                    : Next<int(const char*, struct stat64*), "lstat64">()(path, out);
}

int fstat(int file, struct stat* out) noexcept {
    return IsDrive(file) ? FillStat(out) : Next<int(int, struct stat*), "fstat">()(file, out);
}

int fstat64(int file, struct stat64* out) noexcept {
    return IsDrive(file) ? FillStat(out) : Next<int(int, struct stat64*), "fstat64">()(file, out);
}

int fstatat(int folder, const char* path, struct stat* out, int flags) noexcept {
    return IsDrivePath(folder, path, LinksOf(flags))
               ? FillStat(out)
               : Next<int(int, const char*, struct stat*, int), "fstatat">()(folder, path, out, flags);
}

int fstatat64(int folder, const char* path, struct stat64* out, int flags) noexcept {
    return IsDrivePath(folder, path, LinksOf(flags))
               ? FillStat(out)
               : Next<int(int, const char*, struct stat64*, int), "fstatat64">()(folder, path, out, flags);
}

int __xstat(int version, const char* path, struct stat* out) {
    return IsDrivePath(AT_FDCWD, path) ? FillStat(out)
                                       : Next<int(int, const char*, struct stat*), "__xstat">()(version, path, out);
}

int __xstat64(int version, const char* path, struct stat64* out) {
    return IsDrivePath(AT_FDCWD, path) ? FillStat(out)
                                       : Next<int(int, const char*, struct stat64*), "__xstat64">()(version, path, out);
}

int __lxstat(int version, const char* path, struct stat* out) {
    return IsDrivePath(AT_FDCWD, path, Links::Keep)
               ? FillStat(out)
               : Next<int(int, const char*, struct stat*), "__lxstat">()(version, path, out);
}

int __lxstat64(int version, const char* path, struct stat64* out) {
    return IsDrivePath(AT_FDCWD, path, Links::Keep)
               ? FillStat(out)
               : Next<int(int, const char*, struct stat64*), "__lxstat64">()(version, path, out);
}

int __fxstat(int version, int file, struct stat* out) {
    return IsDrive(file) ? FillStat(out) : Next<int(int, int, struct stat*), "__fxstat">()(version, file, out);
}

int __fxstat64(int version, int file, struct stat64* out) {
    return IsDrive(file) ? FillStat(out) : Next<int(int, int, struct stat64*), "__fxstat64">()(version, file, out);
}

int statx(int folder, const char* path, int flags, unsigned mask, struct statx* out) noexcept {
    if (!IsDrivePath(folder, path, LinksOf(flags)))
        return Next<int(int, const char*, int, unsigned, struct statx*), "statx">()(folder, path, flags, mask, out);
    struct statx found {};
    found.stx_mask = STATX_BASIC_STATS;
    found.stx_blksize = kBlockBytes;
    found.stx_nlink = 1;
    found.stx_gid = kOpticalGroup;
    found.stx_mode = kMode;
    found.stx_ino = kInode;
    found.stx_dev_minor = 5;
    found.stx_rdev_major = kOpticalMajor;
    found.stx_rdev_minor = kOpticalMinor;
    return CopyOut(out, &found, sizeof found) ? 0 : Fail(EFAULT);
}

int access(const char* path, int mode) noexcept {
    return IsDrivePath(AT_FDCWD, path) ? AccessDrive(mode) : Next<int(const char*, int), "access">()(path, mode);
}

int euidaccess(const char* path, int mode) noexcept {
    return IsDrivePath(AT_FDCWD, path) ? AccessDrive(mode) : Next<int(const char*, int), "euidaccess">()(path, mode);
}

int eaccess(const char* path, int mode) noexcept { return ::euidaccess(path, mode); }

int faccessat(int folder, const char* path, int mode, int flags) noexcept {
    return IsDrivePath(folder, path) ? AccessDrive(mode)
                                     : Next<int(int, const char*, int, int), "faccessat">()(folder, path, mode, flags);
}

char* realpath(const char* path, char* resolved) noexcept {
    return IsDrivePath(AT_FDCWD, path) ? RealPath(resolved)
                                       : Next<char*(const char*, char*), "realpath">()(path, resolved);
}

char* __realpath_chk(const char* path, char* resolved, std::size_t room) {
    return IsDrivePath(AT_FDCWD, path)
               ? RealPath(resolved)
               : Next<char*(const char*, char*, std::size_t), "__realpath_chk">()(path, resolved, room);
}

char* canonicalize_file_name(const char* path) noexcept { return ::realpath(path, nullptr); }

ssize_t readlink(const char* path, char* buffer, std::size_t room) noexcept {
    return IsDrivePath(AT_FDCWD, path, Links::Keep)
               ? Fail(EINVAL)
               : Next<ssize_t(const char*, char*, std::size_t), "readlink">()(path, buffer, room);
}

ssize_t __readlink_chk(const char* path, char* buffer, std::size_t room, std::size_t) {
    return ::readlink(path, buffer, room);
}

int ioctl(int file, unsigned long request, ...) noexcept {
    va_list rest;
    va_start(rest, request);
    void* argument = va_arg(rest, void*);
    va_end(rest);
    return IsDrive(file) ? ControlDrive(file, request, argument)
                         : Next<int(int, unsigned long, ...), "ioctl">()(file, request, argument);
}

ssize_t read(int file, void* buffer, std::size_t bytes) {
    return IsDrive(file) ? ReadOn(file, buffer, bytes)
                         : Next<ssize_t(int, void*, std::size_t), "read">()(file, buffer, bytes);
}

ssize_t __read_chk(int file, void* buffer, std::size_t bytes, std::size_t) { return ::read(file, buffer, bytes); }

ssize_t readv(int file, const iovec* parts, int count) {
    if (!IsDrive(file)) return Next<ssize_t(int, const iovec*, int), "readv">()(file, parts, count);
    iovec part{};
    if (count < 1 || !CopyIn(&part, parts, sizeof part)) return Fail(count < 1 ? EINVAL : EFAULT);
    return ReadOn(file, part.iov_base, part.iov_len);
}

ssize_t pread(int file, void* buffer, std::size_t bytes, off_t offset) {
    return IsDrive(file) ? ReadDrive(file, buffer, bytes, offset)
                         : Next<ssize_t(int, void*, std::size_t, off_t), "pread">()(file, buffer, bytes, offset);
}

ssize_t pread64(int file, void* buffer, std::size_t bytes, off64_t offset) {
    return ::pread(file, buffer, bytes, offset);
}

ssize_t __pread_chk(int file, void* buffer, std::size_t bytes, off_t offset, std::size_t) {
    return ::pread(file, buffer, bytes, offset);
}

ssize_t __pread64_chk(int file, void* buffer, std::size_t bytes, off64_t offset, std::size_t) {
    return ::pread(file, buffer, bytes, offset);
}

ssize_t write(int file, const void* buffer, std::size_t bytes) {
    return IsDrive(file) ? WriteOn(file, buffer, bytes)
                         : Next<ssize_t(int, const void*, std::size_t), "write">()(file, buffer, bytes);
}

ssize_t pwrite(int file, const void* buffer, std::size_t bytes, off_t offset) {
    return IsDrive(file) ? WriteDrive(file, buffer, bytes, offset)
                         : Next<ssize_t(int, const void*, std::size_t, off_t), "pwrite">()(file, buffer, bytes, offset);
}

ssize_t pwrite64(int file, const void* buffer, std::size_t bytes, off64_t offset) {
    return ::pwrite(file, buffer, bytes, offset);
}

off_t lseek(int file, off_t offset, int from) noexcept {
    return IsDrive(file) ? Seek(file, offset, from) : Next<off_t(int, off_t, int), "lseek">()(file, offset, from);
}

off64_t lseek64(int file, off64_t offset, int from) noexcept { return ::lseek(file, offset, from); }

int nanosleep(const timespec* wanted, timespec* left) {
    timespec time{};
    if (Divisor() > 1 && CopyIn(&time, wanted, sizeof time) && time.tv_sec >= 0 && time.tv_sec < 3600)
        time = Hastened(static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 +
                        static_cast<std::uint64_t>(time.tv_nsec));
    return Next<int(const timespec*, timespec*), "nanosleep">()(Divisor() > 1 ? &time : wanted, left);
}

int usleep(useconds_t microseconds) {
    const timespec time = Hastened(std::uint64_t{microseconds} * 1000);
    return Next<int(const timespec*, timespec*), "nanosleep">()(&time, nullptr);
}

unsigned sleep(unsigned seconds) {
    timespec left = Hastened(std::uint64_t{seconds} * 1'000'000'000);
    return Next<int(const timespec*, timespec*), "nanosleep">()(&left, &left) == 0 ? 0
                                                                                   : static_cast<unsigned>(left.tv_sec);
}

int fsync(int file) { return IsDrive(file) ? 0 : Next<int(int), "fsync">()(file); }
int fdatasync(int file) { return IsDrive(file) ? 0 : Next<int(int), "fdatasync">()(file); }

}  // extern "C"
