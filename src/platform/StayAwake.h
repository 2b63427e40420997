#pragma once

namespace tovlark {

/// Asks the system not to go to sleep while this process works; to be repeated now and then. Without a word where the
/// system has no such thing.
void StayAwake();

}  // namespace tovlark
