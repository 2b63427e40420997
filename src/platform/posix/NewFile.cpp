#include <algorithm>
#include <atomic>
#include <climits>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/FileParts.h"
#include "platform/Files.h"
#include "platform/Paths.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/FolderState.h"
#include "platform/posix/Native.h"
#include "platform/posix/UnfinishedFiles.h"

namespace tovlark {

namespace {

// One temporary name. Fixed memory: a signal handler reads it.
struct UnfinishedFile {
    std::atomic<bool> isTaken, isThere;
    int folder;
    char name[NAME_MAX + 1];
};
UnfinishedFile unfinishedFiles[16];

// Null when all places are taken: then a hurried end leaves the file behind.
UnfinishedFile* NoteUnfinished(int folder, const std::string& name) {
    for (UnfinishedFile& place : unfinishedFiles) {
        if (place.isTaken.exchange(true)) continue;
        place.folder = folder;
        place.name[name.copy(place.name, NAME_MAX)] = '\0';
        place.isThere = true;
        return &place;
    }
    return nullptr;
}

void Forget(UnfinishedFile* place) {
    if (place == nullptr) return;
    place->isThere = false;
    place->isTaken = false;
}

}  // namespace

void RemoveUnfinishedFiles() {
    for (const UnfinishedFile& place : unfinishedFiles)
        if (place.isThere) ::unlinkat(place.folder, place.name, 0);
}

// The file has no name at all until `commit` where the file system can do that, so that nothing stays behind even when
// the process is killed. Everything goes through the open folder: its path may come to mean another one meanwhile.
struct NewFile::State {
    Descriptor folder, file;
    Text finalName;
    std::string temporaryName;  // "" while the file has no name
    UnfinishedFile* note = nullptr;
    std::uint64_t sizeBytes = 0, startedBytes = 0;  // of these, on their way to the disk

    // The disk works beside us instead of after us, so that `commit` has little to wait for. Only ever a hint.
    void grow(std::uint64_t addedBytes) {
        constexpr std::uint64_t kStartedAtOnce = 32 << 20;
        sizeBytes += addedBytes;
        if (sizeBytes - startedBytes < kStartedAtOnce) return;
        ::sync_file_range(file.get(), static_cast<off_t>(startedBytes), static_cast<off_t>(sizeBytes - startedBytes),
                          SYNC_FILE_RANGE_WRITE);
        startedBytes = sizeBytes;
    }

    ~State() {
        if (!temporaryName.empty()) ::unlinkat(folder.get(), temporaryName.c_str(), 0);
        Forget(note);
    }

    SystemError checkTarget() const;
    SystemError openFile(mode_t mode);
    SystemError keepPermissions() const;
    SystemError link(const std::string& name) const;
    SystemError publish();

    // Calls `make(name)` with temporary names until one is free.
    template <typename Make>
    SystemError takeTemporaryName(Make make) {
        for (std::uint32_t number = 0;; ++number) {
            const std::string name = ToUtf8(TemporaryName(finalName, static_cast<std::uint32_t>(::getpid()), number));
            const SystemError error = make(name);
            if (error.code == EEXIST) continue;
            if (error.failed()) return error;
            temporaryName = name;
            note = NoteUnfinished(folder.get(), name);
            return {};
        }
    }
};

namespace {

constexpr mode_t kNewFileMode = 0666;

std::string ProcessLink(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

// Errors that say "not with these two files", not "this failed".
bool MayCopyOtherwise(int error) {
    constexpr int kReasons[] = {EXDEV, EINVAL, EOPNOTSUPP, ENOSYS, EPERM, EBADF, ETXTBSY};
    return std::find(std::begin(kReasons), std::end(kReasons), error) != std::end(kReasons);
}

}  // namespace

// What stands under the final name may be replaced only if it is a file that this user could write to.
SystemError NewFile::State::checkTarget() const {
    const std::string name = NativePath(finalName);
    struct stat facts {};
    if (::fstatat(folder.get(), name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT && !name.empty() ? SystemError{} : LastError();
    if (S_ISDIR(facts.st_mode)) return kIsFolder;
    if (!S_ISREG(facts.st_mode)) return {EOPNOTSUPP};
    return ::faccessat(folder.get(), name.c_str(), W_OK, AT_EACCESS) == 0 ? SystemError{} : LastError();
}

SystemError NewFile::State::openFile(mode_t mode) {
    constexpr int kFlags = O_RDWR | O_CLOEXEC;
    file.reset(::openat(folder.get(), ".", O_TMPFILE | kFlags, mode));
    if (file && ::access(ProcessLink(file.get()).c_str(), F_OK) == 0) return {};
    file.reset();
    return takeTemporaryName([this, mode](const std::string& name) {
        file.reset(::openat(folder.get(), name.c_str(), O_CREAT | O_EXCL | kFlags, mode));
        return file ? SystemError{} : LastError();
    });
}

SystemError NewFile::State::keepPermissions() const {
    struct stat old {};
    if (::fstatat(folder.get(), ToUtf8(finalName).c_str(), &old, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? SystemError{} : LastError();
    // Only an administrator may give files away; for others the file becomes their own.
    [[maybe_unused]] const int ignored = ::fchown(file.get(), old.st_uid, old.st_gid);
    return ::fchmod(file.get(), old.st_mode & 0777) == 0 ? SystemError{} : LastError();
}

SystemError NewFile::State::link(const std::string& name) const {
    const std::string source = ProcessLink(file.get());
    const int result = ::linkat(AT_FDCWD, source.c_str(), folder.get(), name.c_str(), AT_SYMLINK_FOLLOW);
    return result == 0 ? SystemError{} : LastError();
}

SystemError NewFile::State::publish() {
    const std::string name = ToUtf8(finalName);
    if (temporaryName.empty()) {
        const SystemError error = link(name);
        if (error.code != EEXIST) return error;
        // A link cannot replace a name, a rename can.
        const SystemError unnamed = takeTemporaryName([this](const std::string& free) { return link(free); });
        if (unnamed.failed()) return unnamed;
    }
    if (::renameat(folder.get(), temporaryName.c_str(), folder.get(), name.c_str()) != 0) return LastError();
    temporaryName.clear();
    Forget(std::exchange(note, nullptr));
    return {};
}

NewFile::NewFile() = default;
NewFile::~NewFile() = default;
NewFile::NewFile(NewFile&&) noexcept = default;
NewFile& NewFile::operator=(NewFile&&) noexcept = default;

SystemError NewFile::create(const Text& path) {
    state_.reset();
    Text target = path;
    if (const SystemError error = FollowLinks(target); error.failed()) return error;
    const TextView name = FileName(target);
    if (target.ends_with(kPathSeparator) || name == u"." || name == u"..") return kIsFolder;
    auto state = std::make_unique<State>();
    state->finalName = name;
    const TextView folder = FolderOf(target);
    state->folder.reset(::open(folder.empty() ? "." : NativePath(folder).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!state->folder) return LastError();
    if (const SystemError error = state->checkTarget(); error.failed()) return error;
    if (const SystemError error = state->openFile(kNewFileMode); error.failed()) return error;
    state_ = std::move(state);
    return {};
}

SystemError NewFile::create(const OpenFolder& folder, TextView name, std::uint32_t mode) {
    state_.reset();
    auto state = std::make_unique<State>();
    state->finalName = name;
    state->folder.reset(::fcntl(folder.state_->folder.get(), F_DUPFD_CLOEXEC, 0));
    if (!state->folder) return LastError();
    if (const SystemError error = state->openFile(mode & 0777); error.failed()) return error;
    state_ = std::move(state);
    return {};
}

SystemError NewFile::write(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(state_->file.get(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return LastError();
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        state_->grow(static_cast<std::uint64_t>(count));
    }
    return {};
}

SystemError NewFile::rewrite(std::uint64_t offset, std::span<const std::byte> bytes) {
    return WriteAt(state_->file.get(), offset, bytes);
}

SystemError NewFile::append(const InputFile& source, std::uint64_t offset, std::uint64_t sizeBytes,
                            std::uint64_t& copiedCount) {
    constexpr std::uint64_t kMostAtOnce = 1 << 30;
    copiedCount = 0;
    while (copiedCount < sizeBytes) {
        off_t position = static_cast<off_t>(offset + copiedCount);
        const std::size_t wanted = static_cast<std::size_t>(std::min(sizeBytes - copiedCount, kMostAtOnce));
        const ssize_t count =
            ::copy_file_range(static_cast<int>(source.native()), &position, state_->file.get(), nullptr, wanted, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && !MayCopyOtherwise(errno)) return LastError();
        // 0 is the end, or a file whose size the kernel does not know beforehand.
        if (count <= 0) return CopyThroughMemory(source, offset, sizeBytes, *this, copiedCount);
        copiedCount += static_cast<std::uint64_t>(count);
        state_->grow(static_cast<std::uint64_t>(count));
    }
    return {};
}

SystemError NewFile::commit() {
    if (const SystemError error = state_->keepPermissions(); error.failed()) return error;
    if (::fsync(state_->file.get()) != 0) return LastError();
    if (const SystemError error = state_->publish(); error.failed()) return error;
    // The file is in place; that its name is on disk too is best effort, for a folder may forbid to be read.
    if (const Descriptor folder(::openat(state_->folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)); folder)
        ::fsync(folder.get());
    state_.reset();
    return {};
}

SystemError NewFile::put(std::optional<UnixSeconds> modified) {
    if (modified) {
        const timespec times[2] = {{0, UTIME_OMIT}, {*modified, 0}};
        if (::futimens(state_->file.get(), times) != 0) return LastError();
    }
    const SystemError error = state_->publish();
    if (!error.failed()) state_.reset();
    return error;
}

FileIdentity NewFile::identity() const {
    struct stat facts {};
    if (!state_ || ::fstat(state_->file.get(), &facts) != 0) return {};
    return {facts.st_dev, facts.st_ino};
}

}  // namespace tovlark
