#include "platform/Files.h"

#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <utility>

#include "platform/FileParts.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/FolderState.h"
#include "platform/posix/Native.h"

namespace tovlark {

namespace {

FileKind KindOf(std::uint32_t mode) {
    if (S_ISREG(mode)) return FileKind::Regular;
    if (S_ISDIR(mode)) return FileKind::Folder;
    return S_ISLNK(mode) ? FileKind::SymbolicLink : FileKind::Other;
}

SystemError Examine(int folder, const char* name, int flags, FileInfo& info) {
    struct statx facts {};
    if (::statx(folder, name, flags, STATX_BASIC_STATS | STATX_BTIME, &facts) != 0) return LastError();
    info = {.kind = KindOf(facts.stx_mode),
            .sizeBytes = facts.stx_size,
            .modified = facts.stx_mtime.tv_sec,
            .created = facts.stx_mask & STATX_BTIME ? facts.stx_btime.tv_sec : facts.stx_mtime.tv_sec,
            .mode = facts.stx_mode,
            .owner = facts.stx_uid,
            .group = facts.stx_gid,
            .links = facts.stx_nlink,
            .identity = {makedev(facts.stx_dev_major, facts.stx_dev_minor), facts.stx_ino}};
    return {};
}

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

// Opening a FIFO never waits, and a terminal never becomes ours.
constexpr int kReadFlags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

constexpr mode_t kPermissions = 0777;

int FdOf(std::intptr_t handle) { return static_cast<int>(handle); }

}  // namespace

SystemError GetFileInfo(const Text& path, FileInfo& info) {
    return Examine(AT_FDCWD, NativePath(path).c_str(), AT_SYMLINK_NOFOLLOW, info);
}

SystemError GetTargetInfo(const Text& path, FileInfo& info) {
    return Examine(AT_FDCWD, NativePath(path).c_str(), 0, info);
}

SystemError ListFolder(const Text& path, const std::function<bool(const FolderEntry&)>& visit) {
    Descriptor opened(::open(NativePath(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened) return LastError();
    const std::unique_ptr<DIR, CloseFolder> folder(::fdopendir(opened.get()));
    if (!folder) return LastError();
    const int descriptor = opened.release();
    while (true) {
        errno = 0;
        const dirent* record = ::readdir(folder.get());
        if (record == nullptr) return LastError();
        const std::string_view bytes = record->d_name;
        if (bytes == "." || bytes == "..") continue;
        const Text name = FromUtf8(bytes);
        FolderEntry entry{.name = name, .info = {}, .error = {}};
        entry.error = Examine(descriptor, record->d_name, AT_SYMLINK_NOFOLLOW, entry.info);
        if (!visit(entry)) return {};
    }
}

SystemError ReadSymbolicLink(const Text& path, Text& target) {
    const std::string native = NativePath(path);
    std::string bytes(256, '\0');
    while (true) {
        const ssize_t length = ::readlink(native.c_str(), bytes.data(), bytes.size());
        if (length < 0) return LastError();
        if (static_cast<std::size_t>(length) < bytes.size()) {
            target = FromUtf8(std::string_view(bytes).substr(0, static_cast<std::size_t>(length)));
            return {};
        }
        bytes.resize(2 * bytes.size());
    }
}

bool IsNotFound(SystemError error) { return error.code == ENOENT || error.code == ENOTDIR; }

SystemError AppendToFile(const Text& path, std::span<const std::byte> bytes) {
    // Without O_NONBLOCK a FIFO would wait for a reader.
    const Descriptor file(
        ::open(NativePath(path).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666));
    if (!file) return LastError();
    while (!bytes.empty()) {
        const ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return LastError();
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return {};
}

SystemError WriteAt(int file, std::uint64_t offset, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return LastError();
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return {};
}

SystemError OverwriteInFile(const Text& path, std::uint64_t offset, std::span<const std::byte> bytes) {
    const Descriptor file(::open(NativePath(path).c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file) return LastError();
    if (const SystemError error = WriteAt(file.get(), offset, bytes); error.failed()) return error;
    return ::fsync(file.get()) == 0 ? SystemError{} : LastError();
}

SystemError RemoveFile(const Text& path) {
    return ::unlink(NativePath(path).c_str()) == 0 ? SystemError{} : LastError();
}

SystemError CreateFolder(const Text& path) {
    if (::mkdir(NativePath(path).c_str(), 0777) == 0) return {};
    const SystemError error = LastError();
    FileInfo info;
    const bool isThere = !GetTargetInfo(path, info).failed() && info.kind == FileKind::Folder;
    return isThere ? SystemError{} : error;
}

SystemError SetCurrentFolder(const Text& path) {
    return ::chdir(NativePath(path).c_str()) == 0 ? SystemError{} : LastError();
}

OpenFolder::OpenFolder() = default;
OpenFolder::~OpenFolder() = default;
OpenFolder::OpenFolder(OpenFolder&&) noexcept = default;
OpenFolder& OpenFolder::operator=(OpenFolder&&) noexcept = default;

SystemError OpenFolder::open(const Text& path) {
    state_.reset();
    Descriptor folder(::open(NativePath(path).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder) return LastError();
    state_ = std::make_unique<State>(State{std::move(folder)});
    return {};
}

SystemError OpenFolder::open(const OpenFolder& above, TextView name) {
    // Not straight into `state_`: it may be a folder that opens its own subfolder.
    Descriptor folder(
        ::openat(above.state_->folder.get(), NativePath(name).c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder) return LastError();
    state_ = std::make_unique<State>(State{std::move(folder)});
    return {};
}

SystemError OpenFolder::examine(TextView name, FileInfo& info) const {
    return Examine(state_->folder.get(), NativePath(name).c_str(), AT_SYMLINK_NOFOLLOW, info);
}

SystemError OpenFolder::createFolder(TextView name, std::uint32_t mode) const {
    const mode_t usable = (mode & kPermissions) | S_IRWXU;
    return ::mkdirat(state_->folder.get(), NativePath(name).c_str(), usable) == 0 ? SystemError{} : LastError();
}

SystemError OpenFolder::finishFolder(TextView name, std::uint32_t mode, std::optional<UnixSeconds> modified) const {
    const Descriptor folder(
        ::openat(state_->folder.get(), NativePath(name).c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat facts {};
    if (!folder || ::fstat(folder.get(), &facts) != 0) return LastError();
    if (modified) {
        const timespec times[2] = {{0, UTIME_OMIT}, {*modified, 0}};
        if (::futimens(folder.get(), times) != 0) return LastError();
    }
    const mode_t lent = S_IRWXU & ~mode;
    if ((facts.st_mode & lent) == 0) return {};
    return ::fchmod(folder.get(), facts.st_mode & 07777 & ~lent) == 0 ? SystemError{} : LastError();
}

SystemError OpenFolder::createLink(TextView name, TextView target, std::optional<UnixSeconds> modified) const {
    const int folder = state_->folder.get();
    const std::string finalName = NativePath(name), text = NativePath(target);
    std::string made = finalName;
    bool isMade = ::symlinkat(text.c_str(), folder, made.c_str()) == 0;
    for (std::uint32_t number = 0; !isMade && errno == EEXIST; ++number) {
        made = ToUtf8(TemporaryName(name, static_cast<std::uint32_t>(::getpid()), number));
        isMade = ::symlinkat(text.c_str(), folder, made.c_str()) == 0;
    }
    if (!isMade) return LastError();
    if (modified) {
        const timespec times[2] = {{0, UTIME_OMIT}, {*modified, 0}};
        [[maybe_unused]] const int ignored = ::utimensat(folder, made.c_str(), times, AT_SYMLINK_NOFOLLOW);
    }
    if (made == finalName || ::renameat(folder, made.c_str(), folder, finalName.c_str()) == 0) return {};
    const SystemError error = LastError();
    ::unlinkat(folder, made.c_str(), 0);
    return error;
}

InputFile::InputFile() : handle_(-1) {}

InputFile::~InputFile() {
    if (isOpen()) ::close(FdOf(handle_));
}

InputFile::InputFile(InputFile&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}

InputFile& InputFile::operator=(InputFile&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

SystemError InputFile::open(const Text& path) {
    Descriptor file(::open(NativePath(path).c_str(), kReadFlags));
    if (!file) return LastError();
    FileInfo info;
    if (const SystemError error = Examine(file.get(), "", AT_EMPTY_PATH, info); error.failed()) return error;
    if (info.kind == FileKind::Folder) return kIsFolder;
    // FIFOs, terminals and the like have no offsets.
    if (::lseek(file.get(), 0, SEEK_CUR) < 0) return LastError();
    *this = InputFile();
    handle_ = file.release();
    return {};
}

SystemError InputFile::open(const OpenFolder& folder, TextView name) {
    Descriptor file(::openat(folder.state_->folder.get(), NativePath(name).c_str(), kReadFlags));
    if (!file) return LastError();
    *this = InputFile();
    handle_ = file.release();
    return {};
}

bool InputFile::isOpen() const { return handle_ >= 0; }

SystemError InputFile::readAt(std::uint64_t offset, std::span<std::byte> buffer, std::size_t enoughCount,
                              std::size_t& readCount) const {
    readCount = 0;
    while (readCount < enoughCount) {
        const std::span<std::byte> rest = buffer.subspan(readCount);
        const ssize_t count = ::pread(FdOf(handle_), rest.data(), rest.size(), static_cast<off_t>(offset + readCount));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return LastError();
        if (count == 0) break;
        readCount += static_cast<std::size_t>(count);
    }
    return {};
}

SystemError InputFile::examine(FileInfo& info) const { return Examine(FdOf(handle_), "", AT_EMPTY_PATH, info); }

std::intptr_t InputFile::native() const { return handle_; }

}  // namespace tovlark
