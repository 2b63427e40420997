#include <windows.h>
#include <span>
#include <string>

#include "platform/Files.h"
#include "platform/Paths.h"
#include "platform/TextSettings.h"
#include "platform/win32/Handle.h"
#include "platform/win32/Wide.h"

namespace tovlark {

namespace {

/// The right to change settings files against every other writer of the user's session.
class SettingsLock {
public:
    SettingsLock() : mutex_(CreateMutexW(nullptr, FALSE, L"Local\\TovlarkSettings")) {
        constexpr DWORD kWaitMilliseconds = 5000;
        if (!mutex_) return;
        const DWORD outcome = WaitForSingleObject(mutex_.get(), kWaitMilliseconds);
        isHeld_ = outcome == WAIT_OBJECT_0 || outcome == WAIT_ABANDONED;
    }
    ~SettingsLock() {
        if (isHeld_) ReleaseMutex(mutex_.get());
    }
    SettingsLock(const SettingsLock&) = delete;

    bool isHeld() const { return isHeld_; }

private:
    Handle mutex_;
    bool isHeld_ = false;
};

class IniSettings final : public TextSettings {
public:
    explicit IniSettings(const Text& path) : path_(path.empty() ? Text() : FullPath(path)) {}

private:
    std::optional<Text> find(const Text& section, const Text& name) override {
        // No value can be this: a line never holds a control character of its own accord.
        constexpr const wchar_t* kMissing = L"\x01";
        constexpr std::size_t kLargest = kMaximumBytes;
        if (!isReadable()) return std::nullopt;
        for (std::size_t size = 512; size <= kLargest; size *= 2) {
            std::wstring buffer(size, L'\0');
            const DWORD count =
                GetPrivateProfileStringW(ToWide(section).c_str(), ToWide(name).c_str(), kMissing, buffer.data(),
                                         static_cast<DWORD>(size), ToWide(path_).c_str());
            if (count + 1 >= size) continue;
            buffer.resize(count);
            if (buffer == kMissing) return std::nullopt;
            return FromWide(buffer);
        }
        return std::nullopt;
    }

    bool keep(const Text& section, const Text& name, const Text& value) override {
        if (path_.empty() || CreateFolders(Text(FolderOf(path_))).failed()) return false;
        const SettingsLock lock;
        if (!lock.isHeld() || !prepareFile()) return false;
        const std::optional<Text> before = find(section, name);
        if (!write(section, name, value)) return false;
        if (find(section, name) == value) return true;
        // The file's code page lacks a character of the value: what stood there comes back.
        write(section, name, before);
        return false;
    }

    std::optional<SettingsFault> fault() override {
        std::string bytes;
        if (path_.empty() || isReadable()) return std::nullopt;
        return SettingsFault{path_, ReadWholeFile(path_, kMaximumBytes, bytes)};
    }

    bool write(const Text& section, const Text& name, const std::optional<Text>& value) const {
        const std::wstring words = ToWide(value.value_or(Text()));
        return WritePrivateProfileStringW(ToWide(section).c_str(), ToWide(name).c_str(),
                                          value ? words.c_str() : nullptr, ToWide(path_).c_str()) != 0;
    }

    /// True for a missing file and for one that is no binary garbage and not too large.
    bool isReadable() const {
        std::string bytes;
        const SystemError error = ReadWholeFile(path_, kMaximumBytes, bytes);
        if (error.failed()) return IsNotFound(error);
        return bytes.starts_with("\xFF\xFE") || bytes.find('\0') == bytes.npos;
    }

    /// A new file begins with the mark of UTF-16, so that it can keep every character.
    bool prepareFile() const {
        FileInfo info;
        const SystemError error = GetTargetInfo(path_, info);
        if (!error.failed()) return isReadable();
        if (!IsNotFound(error)) return false;
        constexpr char kMark[] = {'\xFF', '\xFE'};
        NewFile file;
        return !file.create(path_).failed() && !file.write(std::as_bytes(std::span(kMark))).failed() &&
               !file.commit().failed();
    }

    Text path_;
};

}  // namespace

std::unique_ptr<SettingsBacking> OpenIniSettings(const Text& path) { return std::make_unique<IniSettings>(path); }

}  // namespace tovlark
