#pragma once

#include <windows.h>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/SystemError.h"
#include "platform/win32/Handle.h"
#include "platform/win32/Wide.h"

namespace tovlark {

/// What the last system call failed with.
inline SystemError LastError() { return {::GetLastError()}; }

/// A path as the system's calls take it: in its verbatim form when it would be too long otherwise. One with a NUL
/// inside names nothing: it becomes "", which the system does not find.
std::wstring NativePath(TextView path);

/// Writes all of the bytes at an offset of an open file, whose own position moves behind them.
SystemError WriteAt(HANDLE file, std::uint64_t offset, std::span<const std::byte> bytes);

}  // namespace tovlark
