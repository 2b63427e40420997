#pragma once

namespace tovlark {

/// Outcome of a task or of one of its steps; the numbers are the process's exit statuses.
/// Details travel beside it: messages in the log, error codes in the record of whoever failed.
enum class [[nodiscard]] Status : int{Ok = 0, Failed = -1};

/// Exit statuses of all programs beside 0 (a POSIX system keeps the low byte: 255 and 254).
inline constexpr int kExitFailed = -1, kExitCancelled = -2;

}  // namespace tovlark
