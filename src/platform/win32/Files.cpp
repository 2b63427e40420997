#include "platform/Files.h"

#include <windows.h>
#include <algorithm>
#include <utility>
#include <vector>
#include <winioctl.h>

#include "base/Stored.h"
#include "platform/FileParts.h"
#include "platform/Paths.h"
#include "platform/win32/FolderState.h"
#include "platform/win32/Native.h"
#include "platform/win32/Times.h"

namespace tovlark {

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE HandleOf(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

FileKind KindOf(DWORD attributes, DWORD reparseTag) {
    // Of the reparse points only those that lead elsewhere count as links (symbolic links and junctions); the rest are
    // files whose content is kept in an unusual way.
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) && IsReparseTagNameSurrogate(reparseTag))
        return FileKind::SymbolicLink;
    return attributes & FILE_ATTRIBUTE_DIRECTORY ? FileKind::Folder : FileKind::Regular;
}

std::uint32_t ModeOf(FileKind kind) {
    switch (kind) {
        case FileKind::Folder: return 0040755;
        case FileKind::SymbolicLink: return 0120777;
        default: return 0100644;
    }
}

FileInfo MakeInfo(FileKind kind, std::uint64_t sizeBytes, std::int64_t modified, std::int64_t created) {
    FileInfo info;
    info.kind = kind;
    info.sizeBytes = kind == FileKind::Regular ? sizeBytes : 0;
    info.modified = FromTicks(modified);
    info.created = created != 0 ? FromTicks(created) : info.modified;
    info.mode = ModeOf(kind);
    return info;
}

SystemError Examine(HANDLE handle, FileInfo& info) {
    if (::GetFileType(handle) != FILE_TYPE_DISK) {
        info = {};
        return {};
    }
    BY_HANDLE_FILE_INFORMATION facts;
    if (!::GetFileInformationByHandle(handle, &facts)) return LastError();
    FILE_ATTRIBUTE_TAG_INFO tag{};
    if ((facts.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) &&
        !::GetFileInformationByHandleEx(handle, FileAttributeTagInfo, &tag, sizeof(tag)))
        return LastError();
    info = MakeInfo(KindOf(facts.dwFileAttributes, tag.ReparseTag),
                    std::uint64_t{facts.nFileSizeHigh} << 32 | facts.nFileSizeLow, TicksOf(facts.ftLastWriteTime),
                    TicksOf(facts.ftCreationTime));
    info.identity = {facts.dwVolumeSerialNumber, std::uint64_t{facts.nFileIndexHigh} << 32 | facts.nFileIndexLow};
    return {};
}

SystemError OpenAnything(const Text& path, DWORD access, DWORD flags, Handle& handle) {
    handle = OwnHandle(::CreateFileW(NativePath(path).c_str(), access, kShareAll, nullptr, OPEN_EXISTING,
                                     FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr));
    return handle ? SystemError{} : LastError();
}

SystemError ExaminePath(const Text& path, DWORD flags, FileInfo& info) {
    Handle handle;
    if (const SystemError error = OpenAnything(path, FILE_READ_ATTRIBUTES, flags, handle); error.failed()) return error;
    return Examine(handle.get(), info);
}

FileInfo InfoOf(const FILE_ID_BOTH_DIR_INFO& record, std::uint64_t device) {
    // The system keeps the tag of a reparse point in the field for extended attributes.
    FileInfo info =
        MakeInfo(KindOf(record.FileAttributes, record.EaSize), static_cast<std::uint64_t>(record.EndOfFile.QuadPart),
                 record.LastWriteTime.QuadPart, record.CreationTime.QuadPart);
    info.identity = {device, static_cast<std::uint64_t>(record.FileId.QuadPart)};
    return info;
}

// Visits the records of one reply; false when the visitor wants to stop.
bool VisitRecords(const std::vector<std::uint64_t>& reply, std::uint64_t device,
                  const std::function<bool(const FolderEntry&)>& visit) {
    const char* position = reinterpret_cast<const char*>(reply.data());
    while (true) {
        const auto& record = *reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(position);
        const Text name = FromWide(std::wstring_view(record.FileName, record.FileNameLength / sizeof(wchar_t)));
        const FolderEntry entry{.name = name, .info = InfoOf(record, device), .error = {}};
        if (name != u"." && name != u".." && !visit(entry)) return false;
        if (record.NextEntryOffset == 0) return true;
        position += record.NextEntryOffset;
    }
}

// Head of the reply to FSCTL_GET_REPARSE_POINT; a symbolic link's has four more bytes before the names.
struct ReparseHead {
    Little32 tag;
    Little16 dataLength, reserved, substituteOffset, substituteLength, printOffset, printLength;
};
static_assert(sizeof(ReparseHead) == 16);

}  // namespace

SystemError GetFileInfo(const Text& path, FileInfo& info) {
    return ExaminePath(path, FILE_FLAG_OPEN_REPARSE_POINT, info);
}

SystemError GetTargetInfo(const Text& path, FileInfo& info) { return ExaminePath(path, 0, info); }

SystemError ListFolder(const Text& path, const std::function<bool(const FolderEntry&)>& visit) {
    Handle folder;
    FileInfo info;
    if (const SystemError error = OpenAnything(path, FILE_LIST_DIRECTORY, 0, folder); error.failed()) return error;
    if (const SystemError error = Examine(folder.get(), info); error.failed()) return error;
    if (info.kind == FileKind::Regular || info.kind == FileKind::Other) return {ERROR_DIRECTORY};
    std::vector<std::uint64_t> reply(8192);  // the records want this alignment
    const DWORD sizeBytes = static_cast<DWORD>(reply.size() * sizeof(reply[0]));
    while (::GetFileInformationByHandleEx(folder.get(), FileIdBothDirectoryInfo, reply.data(), sizeBytes))
        if (!VisitRecords(reply, info.identity.device, visit)) return {};
    const SystemError error = LastError();
    return error.code == ERROR_NO_MORE_FILES || error.code == ERROR_FILE_NOT_FOUND ? SystemError{} : error;
}

SystemError ReadSymbolicLink(const Text& path, Text& target) {
    Handle link;
    if (const SystemError error = OpenAnything(path, FILE_READ_ATTRIBUTES, FILE_FLAG_OPEN_REPARSE_POINT, link);
        error.failed())
        return error;
    std::vector<char> reply(MAXIMUM_REPARSE_DATA_BUFFER_SIZE);
    DWORD count = 0;
    if (!::DeviceIoControl(link.get(), FSCTL_GET_REPARSE_POINT, nullptr, 0, reply.data(),
                           static_cast<DWORD>(reply.size()), &count, nullptr))
        return LastError();
    if (count < sizeof(ReparseHead)) return {ERROR_INVALID_REPARSE_DATA};
    const auto& head = *reinterpret_cast<const ReparseHead*>(reply.data());
    const std::size_t names = sizeof(ReparseHead) + (head.tag == IO_REPARSE_TAG_SYMLINK ? 4 : 0);
    const bool hasPrintName = head.printLength != 0;
    const std::size_t start = names + (hasPrintName ? head.printOffset : head.substituteOffset);
    const std::size_t length = hasPrintName ? head.printLength : head.substituteLength;
    if (!IsReparseTagNameSurrogate(head.tag) || start + length > count) return {ERROR_INVALID_REPARSE_DATA};
    target.assign(length / sizeof(char16_t), u'\0');
    std::copy_n(reply.data() + start, target.size() * sizeof(char16_t), reinterpret_cast<char*>(target.data()));
    if (target.starts_with(u"\\??\\")) target.erase(0, 4);
    return {};
}

bool IsNotFound(SystemError error) {
    constexpr DWORD kReasons[] = {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_INVALID_NAME,
                                  ERROR_INVALID_DRIVE,  ERROR_BAD_NETPATH,    ERROR_BAD_NET_NAME};
    return std::ranges::find(kReasons, error.code) != std::end(kReasons);
}

SystemError AppendToFile(const Text& path, std::span<const std::byte> bytes) {
    const Handle file = OwnHandle(::CreateFileW(NativePath(path).c_str(), FILE_APPEND_DATA, kShareAll, nullptr,
                                                OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return LastError();
    while (!bytes.empty()) {
        constexpr std::size_t kMostAtOnce = 1 << 30;
        DWORD count = 0;
        const DWORD wanted = static_cast<DWORD>(std::min(bytes.size(), kMostAtOnce));
        if (!::WriteFile(file.get(), bytes.data(), wanted, &count, nullptr)) return LastError();
        bytes = bytes.subspan(count);
    }
    return {};
}

SystemError WriteAt(HANDLE file, std::uint64_t offset, std::span<const std::byte> bytes) {
    constexpr std::size_t kMostAtOnce = 1 << 30;
    while (!bytes.empty()) {
        OVERLAPPED place{};
        place.Offset = static_cast<DWORD>(offset);
        place.OffsetHigh = static_cast<DWORD>(offset >> 32);
        DWORD count = 0;
        const DWORD wanted = static_cast<DWORD>(std::min(bytes.size(), kMostAtOnce));
        if (!::WriteFile(file, bytes.data(), wanted, &count, &place)) return LastError();
        bytes = bytes.subspan(count);
        offset += count;
    }
    return {};
}

SystemError OverwriteInFile(const Text& path, std::uint64_t offset, std::span<const std::byte> bytes) {
    const Handle file = OwnHandle(::CreateFileW(NativePath(path).c_str(), GENERIC_WRITE, kShareAll, nullptr,
                                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return LastError();
    if (const SystemError error = WriteAt(file.get(), offset, bytes); error.failed()) return error;
    return ::FlushFileBuffers(file.get()) ? SystemError{} : LastError();
}

SystemError RemoveFile(const Text& path) {
    return ::DeleteFileW(NativePath(path).c_str()) ? SystemError{} : LastError();
}

SystemError CreateFolder(const Text& path) {
    if (::CreateDirectoryW(NativePath(path).c_str(), nullptr)) return {};
    const SystemError error = LastError();
    FileInfo info;
    const bool isThere = !GetTargetInfo(path, info).failed() && info.kind == FileKind::Folder;
    return isThere ? SystemError{} : error;
}

SystemError SetCurrentFolder(const Text& path) {
    return ::SetCurrentDirectoryW(ToWide(path).c_str()) ? SystemError{} : LastError();
}

OpenFolder::OpenFolder() = default;
OpenFolder::~OpenFolder() = default;
OpenFolder::OpenFolder(OpenFolder&&) noexcept = default;
OpenFolder& OpenFolder::operator=(OpenFolder&&) noexcept = default;

SystemError OpenFolder::open(const Text& path) {
    state_ = std::make_unique<State>(State{path});
    return {};
}

SystemError OpenFolder::open(const OpenFolder& above, TextView name) {
    FileInfo info;
    const Text path = JoinPath(above.state_->path, name);
    if (const SystemError error = GetFileInfo(path, info); error.failed()) return error;
    if (info.kind != FileKind::Folder) return {ERROR_DIRECTORY};
    state_ = std::make_unique<State>(State{path});
    return {};
}

SystemError OpenFolder::examine(TextView name, FileInfo& info) const {
    return GetFileInfo(JoinPath(state_->path, name), info);
}

SystemError OpenFolder::createFolder(TextView name, std::uint32_t) const {
    return ::CreateDirectoryW(NativePath(JoinPath(state_->path, name)).c_str(), nullptr) ? SystemError{} : LastError();
}

SystemError OpenFolder::finishFolder(TextView name, std::uint32_t, std::optional<UnixSeconds> modified) const {
    Handle folder;
    if (!modified) return {};
    if (const SystemError error =
            OpenAnything(JoinPath(state_->path, name), FILE_WRITE_ATTRIBUTES, FILE_FLAG_OPEN_REPARSE_POINT, folder);
        error.failed())
        return error;
    const FILETIME time = ToFileTime(*modified);
    return ::SetFileTime(folder.get(), nullptr, nullptr, &time) ? SystemError{} : LastError();
}

SystemError OpenFolder::createLink(TextView name, TextView target, std::optional<UnixSeconds> modified) const {
    const Text path = JoinPath(state_->path, name);
    Text local(target);
    std::ranges::replace(local, u'/', u'\\');
    FileInfo info;
    const Text leadsTo = IsAbsolutePath(local) ? local : JoinPath(state_->path, local);
    const bool isFolder = !GetTargetInfo(leadsTo, info).failed() && info.kind == FileKind::Folder;
    const DWORD flags =
        SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE | (isFolder ? SYMBOLIC_LINK_FLAG_DIRECTORY : DWORD{0});
    if (!GetFileInfo(path, info).failed() && !::DeleteFileW(NativePath(path).c_str()) &&
        !::RemoveDirectoryW(NativePath(path).c_str()))
        return LastError();
    if (!::CreateSymbolicLinkW(NativePath(path).c_str(), ToWide(local).c_str(), flags)) return LastError();
    [[maybe_unused]] const SystemError ignored = finishFolder(name, 0, modified);
    return {};
}

InputFile::InputFile() : handle_(-1) {}

InputFile::~InputFile() {
    if (isOpen()) ::CloseHandle(HandleOf(handle_));
}

InputFile::InputFile(InputFile&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}

InputFile& InputFile::operator=(InputFile&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

SystemError InputFile::open(const Text& path) {
    // With backup semantics a folder opens too, and is refused below with a clearer error than "access denied".
    Handle file;
    FileInfo info;
    if (const SystemError error = OpenAnything(path, GENERIC_READ, 0, file); error.failed()) return error;
    if (::GetFileType(file.get()) != FILE_TYPE_DISK) return {ERROR_SEEK_ON_DEVICE};
    if (const SystemError error = Examine(file.get(), info); error.failed()) return error;
    if (info.kind != FileKind::Regular) return kIsFolder;
    *this = InputFile();
    handle_ = reinterpret_cast<std::intptr_t>(file.release());
    return {};
}

SystemError InputFile::open(const OpenFolder& folder, TextView name) {
    Handle file;
    if (const SystemError error = OpenAnything(JoinPath(folder.state_->path, name), GENERIC_READ, 0, file);
        error.failed())
        return error;
    *this = InputFile();
    handle_ = reinterpret_cast<std::intptr_t>(file.release());
    return {};
}

bool InputFile::isOpen() const { return HandleOf(handle_) != INVALID_HANDLE_VALUE; }

SystemError InputFile::readAt(std::uint64_t offset, std::span<std::byte> buffer, std::size_t enoughCount,
                              std::size_t& readCount) const {
    constexpr std::size_t kMostAtOnce = 1 << 30;
    readCount = 0;
    while (readCount < enoughCount) {
        const std::span<std::byte> rest = buffer.subspan(readCount);
        const std::uint64_t position = offset + readCount;
        OVERLAPPED place{};
        place.Offset = static_cast<DWORD>(position);
        place.OffsetHigh = static_cast<DWORD>(position >> 32);
        DWORD count = 0;
        const DWORD wanted = static_cast<DWORD>(std::min(rest.size(), kMostAtOnce));
        if (!::ReadFile(HandleOf(handle_), rest.data(), wanted, &count, &place)) {
            const SystemError error = LastError();
            return error.code == ERROR_HANDLE_EOF ? SystemError{} : error;
        }
        if (count == 0) break;
        readCount += count;
    }
    return {};
}

SystemError InputFile::examine(FileInfo& info) const { return Examine(HandleOf(handle_), info); }

std::intptr_t InputFile::native() const { return handle_; }

}  // namespace tovlark
