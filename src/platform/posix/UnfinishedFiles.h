#pragma once

namespace tovlark {

/// Removes the temporary names of all files that are being written, for an end without destructors. Safe in a signal
/// handler.
void RemoveUnfinishedFiles();

}  // namespace tovlark
