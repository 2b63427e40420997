#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/IniText.h"
#include "platform/Files.h"
#include "platform/Paths.h"
#include "platform/TextSettings.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/Native.h"

namespace tovlark {

namespace {

constexpr TextView kFileName = u"tovlark.ini";

/// Holds the right to change a file against every other writer, or nothing when someone kept it for 5 seconds.
/// The lock's file stays: removing it would let two writers hold locks on different files of one name.
Descriptor LockFor(const Text& path, SystemError& error) {
    constexpr int kAttempts = 1000;
    constexpr timespec kPause{0, 5'000'000};
    Descriptor lock(
        open(ToUtf8(path + u".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0666));
    error = lock ? SystemError{} : LastError();
    if (!lock) return lock;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (flock(lock.get(), LOCK_EX | LOCK_NB) == 0) return lock;
        if (errno != EWOULDBLOCK && errno != EINTR) break;
        nanosleep(&kPause, nullptr);
    }
    error = LastError();
    lock.reset();
    return lock;
}

/// The administrator may write to any file; one without a single permission to write is still meant to stay.
bool IsReadOnly(const std::string& path) {
    constexpr mode_t kAnyWrite = S_IWUSR | S_IWGRP | S_IWOTH;
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return errno != ENOENT;
    return (status.st_mode & kAnyWrite) == 0 || access(path.c_str(), W_OK) != 0;
}

class IniSettings final : public TextSettings {
public:
    explicit IniSettings(Text path) : path_(std::move(path)) {}

private:
    std::optional<Text> find(const Text& section, const Text& name) override {
        std::string bytes;
        if (!load(bytes)) return std::nullopt;
        const auto value = FindIniValue(bytes, ToUtf8(section), ToUtf8(name));
        return value ? std::optional(FromUtf8(*value)) : std::nullopt;
    }

    bool keep(const Text& section, const Text& name, const Text& value) override {
        writeError_ = {};
        if (path_.empty()) return false;
        if (const SystemError error = CreateFolders(Text(FolderOf(path_))); error.failed()) return failWrite(error);
        SystemError lockError;
        const Descriptor lock = LockFor(path_, lockError);
        std::string bytes;
        if (!lock) return failWrite(lockError);
        if (IsReadOnly(ToUtf8(path_))) return failWrite({EACCES});
        if (!load(bytes)) return false;
        const auto changed = WithIniValue(bytes, ToUtf8(section), ToUtf8(name), ToUtf8(value));
        if (!changed || changed->size() > kMaximumBytes) return false;
        if (*changed == bytes) return true;
        NewFile file;
        SystemError error = file.create(path_);
        if (!error.failed()) error = file.write(std::as_bytes(std::span(*changed)));
        if (!error.failed()) error = file.commit();
        return error.failed() ? failWrite(error) : true;
    }

    bool failWrite(SystemError error) {
        writeError_ = error;
        return false;
    }

    std::optional<SettingsFault> fault() override {
        if (writeError_.failed()) return SettingsFault{path_, writeError_};
        std::string bytes;
        if (path_.empty() || load(bytes)) return std::nullopt;
        const SystemError error = ReadWholeFile(path_, kMaximumBytes, bytes);
        return SettingsFault{path_, error};
    }

    /// False when there is a file that cannot be read or is no text in UTF-8; a missing one is empty.
    bool load(std::string& bytes) const {
        if (path_.empty()) return false;
        const SystemError error = ReadWholeFile(path_, kMaximumBytes, bytes);
        if (IsNotFound(error)) bytes.clear();
        if (error.failed() && !IsNotFound(error)) return false;
        return bytes.find('\0') == bytes.npos && !bytes.starts_with("\xFF\xFE") && !bytes.starts_with("\xFE\xFF");
    }

    Text path_;
    SystemError writeError_;  // of the last write
};

}  // namespace

std::unique_ptr<SettingsBacking> OpenIniSettings(const Text& path) { return std::make_unique<IniSettings>(path); }

std::unique_ptr<SettingsBacking> OpenSettings() {
    std::unique_ptr<SettingsBacking> portable = OpenIniSettings(JoinPath(ProgramFolder(), kFileName));
    std::uint32_t version = 0;
    if (portable->readNumber({}, u"PortableVersion", version) && version == 1) return portable;
    const Text folder = ConfigurationFolder();
    return OpenIniSettings(folder.empty() ? Text() : JoinPath(folder, kFileName));
}

}  // namespace tovlark
