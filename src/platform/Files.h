#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "base/Clock.h"
#include "base/Text.h"
#include "platform/SystemError.h"

namespace tovlark {

enum class FileKind : std::uint8_t { Regular, Folder, SymbolicLink, Other };

/// Tells one file from another on the same machine, whatever names lead to it.
struct FileIdentity {
    std::uint64_t device = 0, file = 0;

    bool operator==(const FileIdentity&) const = default;
};

/// What the system knows of a file. Systems without POSIX attributes report 0644 (files) or 0755 (folders)
/// with the kind's bits, one link, owner and group 0.
struct FileInfo {
    FileKind kind = FileKind::Other;
    std::uint64_t sizeBytes = 0;
    UnixSeconds modified = 0;
    UnixSeconds created = 0;  // equals `modified` where the system does not record it
    std::uint32_t mode = 0;   // POSIX mode with the file-type bits
    std::uint32_t owner = 0, group = 0, links = 1;
    FileIdentity identity;
};

/// Examines a path; a symbolic link (or other reparse point that redirects) is reported, not followed.
SystemError GetFileInfo(const Text& path, FileInfo& info);
/// The same with links followed.
SystemError GetTargetInfo(const Text& path, FileInfo& info);

/// Calls `visit` for every entry but "." and "..", with its name and what `GetFileInfo` would tell (an entry that
/// cannot be examined has its error set). Order is the system's. `visit` returns false to stop.
struct FolderEntry {
    TextView name;
    FileInfo info;
    SystemError error;
};
SystemError ListFolder(const Text& path, const std::function<bool(const FolderEntry&)>& visit);

/// The target text of a symbolic link.
SystemError ReadSymbolicLink(const Text& path, Text& target);

/// True when the error means that nothing has that name.
bool IsNotFound(SystemError error);

/// A folder held open, so that its files are reached without finding it again. Safe to use from several threads at
/// once.
class OpenFolder {
public:
    OpenFolder();
    ~OpenFolder();
    OpenFolder(OpenFolder&&) noexcept;
    OpenFolder& operator=(OpenFolder&&) noexcept;

    /// A folder that may be searched but not listed opens too.
    SystemError open(const Text& path);
    /// Opens a folder of a folder. A symbolic link of that name is an error, never followed.
    SystemError open(const OpenFolder& above, TextView name);

    // What is done to one item of the folder; links are never followed.
    SystemError examine(TextView name, FileInfo& info) const;
    /// Makes a folder with these permission bits less those that new folders do not get here; until `finishFolder` its
    /// owner may do everything in it.
    SystemError createFolder(TextView name, std::uint32_t mode) const;
    SystemError finishFolder(TextView name, std::uint32_t mode, std::optional<UnixSeconds> modified) const;
    /// Makes a symbolic link, which replaces a file or link of that name. `target` is "/" separated.
    SystemError createLink(TextView name, TextView target, std::optional<UnixSeconds> modified) const;

private:
    friend class InputFile;
    friend class NewFile;
    struct State;
    std::unique_ptr<State> state_;
};

/// A file open for reading at any offset. Safe to read from several threads at once.
class InputFile {
public:
    InputFile();
    ~InputFile();
    InputFile(InputFile&&) noexcept;
    InputFile& operator=(InputFile&&) noexcept;

    /// Opens a regular file (or whatever can be read at an offset), links followed. Opening a FIFO never waits.
    SystemError open(const Text& path);
    /// Opens a file of a folder in as few system calls as it takes: what cannot be read may open, only reading tells.
    SystemError open(const OpenFolder& folder, TextView name);
    bool isOpen() const;
    /// Reads until `buffer` is full or the file ends; `readCount` tells how much came.
    SystemError readAt(std::uint64_t offset, std::span<std::byte> buffer, std::size_t& readCount) const {
        return readAt(offset, buffer, buffer.size(), readCount);
    }
    /// The same, but content with `enoughCount` bytes once no more come at once: with room for one byte more than the
    /// file is thought to have, one system call reads it and tells that it grew.
    SystemError readAt(std::uint64_t offset, std::span<std::byte> buffer, std::size_t enoughCount,
                       std::size_t& readCount) const;
    SystemError examine(FileInfo& info) const;
    /// The system's handle widened to an integer, for the other files of this folder only.
    std::intptr_t native() const;

private:
    std::intptr_t handle_;
};

/// A file that comes into being whole or not at all: written under a temporary name beside the final one,
/// renamed by `commit`. Destroying it without `commit` removes what was written.
class NewFile {
public:
    NewFile();
    ~NewFile();
    NewFile(NewFile&&) noexcept;
    NewFile& operator=(NewFile&&) noexcept;

    /// Fails when the folder cannot be written to or the final name is a folder. An existing file under the
    /// final name stays until `commit`; when that name is a symbolic link, the link's target is replaced.
    SystemError create(const Text& path);
    /// The same in an open folder for a file that `put` finishes: `mode` gives its permission bits, of which it gets
    /// those that new files get here. A symbolic link under the final name is replaced itself.
    SystemError create(const OpenFolder& folder, TextView name, std::uint32_t mode);
    SystemError write(std::span<const std::byte> bytes);
    /// Replaces bytes that were written already; what is written afterwards still goes to the end.
    SystemError rewrite(std::uint64_t offset, std::span<const std::byte> bytes);
    /// Copies a range of an open file to the end of this one, by the kernel where it can. `copiedCount` tells how
    /// far it came; it is short without an error when the source ends early.
    SystemError append(const InputFile& source, std::uint64_t offset, std::uint64_t sizeBytes,
                       std::uint64_t& copiedCount);
    /// Flushes to the disk, gives the file the permissions a new file gets (an existing file's are kept) and
    /// puts it under its final name.
    SystemError commit();
    /// Dates the file and puts it under its final name without waiting for the disk: for one of many, which are made
    /// anew when the machine fails.
    SystemError put(std::optional<UnixSeconds> modified);
    /// Identity of the file being written, so that a walk can leave it out. Zero before `create`.
    FileIdentity identity() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

/// Reads a whole small file; fails with the system's "file too large" error beyond `limitBytes`.
SystemError ReadWholeFile(const Text& path, std::uint64_t limitBytes, std::string& bytes);

/// Adds the bytes to the end of a file, which is made when it is missing. A FIFO that nobody reads is an error.
SystemError AppendToFile(const Text& path, std::span<const std::byte> bytes);

/// Replaces bytes of an existing file at an offset, and waits until the disk has them.
SystemError OverwriteInFile(const Text& path, std::uint64_t offset, std::span<const std::byte> bytes);

SystemError RemoveFile(const Text& path);
/// Creates a folder and the missing ones above it.
SystemError CreateFolders(const Text& path);
SystemError SetCurrentFolder(const Text& path);

}  // namespace tovlark
