#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "base/Text.h"
#include "platform/SystemError.h"

namespace tovlark {

/// A file that is read and written at any offset by one opener at a time. Holes take no room on the disk.
class LockedFile {
public:
    enum class Mode : std::uint8_t { Existing, New };

    LockedFile();
    ~LockedFile();
    LockedFile(LockedFile&&) noexcept;
    LockedFile& operator=(LockedFile&&) noexcept;

    /// Opens a regular file, or makes one that must not be there yet. `IsLockedElsewhere` tells of the error when
    /// somebody else has it open, in this process or another; the lock ends with the process that holds it.
    SystemError open(const Text& path, Mode mode);
    bool isOpen() const;
    /// What lies past the end of the file reads as zeros.
    SystemError readAt(std::uint64_t offset, std::span<std::byte> buffer) const;
    SystemError writeAt(std::uint64_t offset, std::span<const std::byte> bytes) const;
    /// Returns when everything written is on the disk.
    SystemError synchronize() const;
    SystemError setSize(std::uint64_t sizeBytes) const;

private:
    std::intptr_t handle_;
};

/// True when the error means that somebody else has the file open.
bool IsLockedElsewhere(SystemError error);

}  // namespace tovlark
