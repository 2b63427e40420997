#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "base/Text.h"
#include "platform/SystemError.h"

namespace tovlark {

/// What the last system call failed with.
inline SystemError LastError() { return {static_cast<std::uint32_t>(errno)}; }

/// A path in the system's bytes. One with a NUL inside names nothing: it becomes "", which the system does not find.
inline std::string NativePath(TextView path) {
    return path.find(u'\0') == TextView::npos ? ToUtf8(path) : std::string();
}

/// Writes all of the bytes at an offset of an open file.
SystemError WriteAt(int file, std::uint64_t offset, std::span<const std::byte> bytes);

}  // namespace tovlark
