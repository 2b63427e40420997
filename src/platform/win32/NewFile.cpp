#include <algorithm>
#include <string>

#include "platform/FileParts.h"
#include "platform/Files.h"
#include "platform/Paths.h"
#include "platform/win32/FolderState.h"
#include "platform/win32/Native.h"
#include "platform/win32/Times.h"

namespace tovlark {

// The file is marked for deletion while it is written, so that the system removes it when its handle closes, however
// this process ends. `commit` takes the mark off.
struct NewFile::State {
    Handle file;
    std::wstring finalPath, temporaryPath;

    ~State() {
        file.reset();
        // For file systems that know no such mark.
        if (!temporaryPath.empty()) ::DeleteFileW(temporaryPath.c_str());
    }

    SystemError checkTarget() const;
    SystemError openFile(const Text& folder, TextView finalName);
    SystemError publish(DWORD flags);
    void markForDeletion(bool isMarked) const {
        FILE_DISPOSITION_INFO mark{};
        mark.DeleteFile = isMarked;
        ::SetFileInformationByHandle(file.get(), FileDispositionInfo, &mark, sizeof(mark));
    }
};

// What stands under the final name may be replaced only if it is a file that this user could write to.
SystemError NewFile::State::checkTarget() const {
    const DWORD attributes = ::GetFileAttributesW(finalPath.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return IsNotFound(LastError()) ? SystemError{} : LastError();
    if (attributes & FILE_ATTRIBUTE_DIRECTORY) return kIsFolder;
    return attributes & FILE_ATTRIBUTE_READONLY ? SystemError{ERROR_ACCESS_DENIED} : SystemError{};
}

SystemError NewFile::State::openFile(const Text& folder, TextView finalName) {
    for (std::uint32_t number = 0;; ++number) {
        const std::wstring path =
            NativePath(JoinPath(folder, TemporaryName(finalName, ::GetCurrentProcessId(), number)));
        file = OwnHandle(::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE,
                                       FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                                       nullptr));
        if (file) {
            temporaryPath = path;
            markForDeletion(true);
            return {};
        }
        if (::GetLastError() != ERROR_FILE_EXISTS) return LastError();
    }
}

SystemError NewFile::State::publish(DWORD flags) {
    markForDeletion(false);
    if (!::MoveFileExW(temporaryPath.c_str(), finalPath.c_str(), MOVEFILE_REPLACE_EXISTING | flags)) {
        const SystemError error = LastError();
        markForDeletion(true);
        return error;
    }
    temporaryPath.clear();
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
    if (!target.empty() && IsPathSeparator(target.back())) return kIsFolder;
    target = FullPath(target);
    if (path.empty() || FileName(target).empty()) return kIsFolder;
    auto state = std::make_unique<State>();
    state->finalPath = NativePath(target);
    if (const SystemError error = state->checkTarget(); error.failed()) return error;
    if (const SystemError error = state->openFile(Text(FolderOf(target)), FileName(target)); error.failed())
        return error;
    state_ = std::move(state);
    return {};
}

SystemError NewFile::create(const OpenFolder& folder, TextView name, std::uint32_t) {
    state_.reset();
    auto state = std::make_unique<State>();
    state->finalPath = NativePath(JoinPath(folder.state_->path, name));
    if (const SystemError error = state->openFile(folder.state_->path, name); error.failed()) return error;
    state_ = std::move(state);
    return {};
}

SystemError NewFile::write(std::span<const std::byte> bytes) {
    constexpr std::size_t kMostAtOnce = 1 << 30;
    while (!bytes.empty()) {
        DWORD count = 0;
        const DWORD wanted = static_cast<DWORD>(std::min(bytes.size(), kMostAtOnce));
        if (!::WriteFile(state_->file.get(), bytes.data(), wanted, &count, nullptr)) return LastError();
        bytes = bytes.subspan(count);
    }
    return {};
}

SystemError NewFile::rewrite(std::uint64_t offset, std::span<const std::byte> bytes) {
    const LARGE_INTEGER start{};
    LARGE_INTEGER end{};
    if (!::SetFilePointerEx(state_->file.get(), start, &end, FILE_CURRENT)) return LastError();
    const SystemError error = WriteAt(state_->file.get(), offset, bytes);
    // A write at an offset moves the file's own position too.
    return ::SetFilePointerEx(state_->file.get(), end, nullptr, FILE_BEGIN) || error.failed() ? error : LastError();
}

SystemError NewFile::append(const InputFile& source, std::uint64_t offset, std::uint64_t sizeBytes,
                            std::uint64_t& copiedCount) {
    copiedCount = 0;
    return CopyThroughMemory(source, offset, sizeBytes, *this, copiedCount);
}

SystemError NewFile::commit() {
    if (!::FlushFileBuffers(state_->file.get())) return LastError();
    const SystemError error = state_->publish(MOVEFILE_WRITE_THROUGH);
    if (!error.failed()) state_.reset();
    return error;
}

SystemError NewFile::put(std::optional<UnixSeconds> modified) {
    if (modified) {
        const FILETIME time = ToFileTime(*modified);
        if (!::SetFileTime(state_->file.get(), nullptr, nullptr, &time)) return LastError();
    }
    const SystemError error = state_->publish(0);
    if (!error.failed()) state_.reset();
    return error;
}

FileIdentity NewFile::identity() const {
    BY_HANDLE_FILE_INFORMATION facts;
    if (!state_ || !::GetFileInformationByHandle(state_->file.get(), &facts)) return {};
    return {facts.dwVolumeSerialNumber, std::uint64_t{facts.nFileIndexHigh} << 32 | facts.nFileIndexLow};
}

}  // namespace tovlark
