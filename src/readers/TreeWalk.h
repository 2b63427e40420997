#pragma once

#include <cstdint>
#include <functional>

#include "readers/Volume.h"

namespace tovlark {

/// A folder that a walk has come to.
struct WalkedFolder {
    Text path;  // from the root: "/" or "/a/b"
    VolumeEntry entry;
    std::uint64_t tag = 0;  // the visitor's own
};

/// What a walk calls; whatever returns false ends it. `enter`, `leave` and `fault` may be empty.
struct TreeVisitor {
    std::function<bool(const WalkedFolder& folder)> enter;  // before its items
    /// An item of a folder. `tag` is kept for the folder that the item may be; one whose `isEntered` is set to false
    /// is not walked.
    std::function<bool(const WalkedFolder& folder, const VolumeEntry& entry, std::uint64_t& tag, bool& isEntered)> item;
    std::function<bool(const WalkedFolder& folder)> leave;  // after its items, before those of its subfolders
    /// Something could not be read; the walk goes on with the rest. Without it a fault is passed over.
    std::function<bool(const VolumeFault& fault)> fault;
};

/// Visits everything below a folder: all items of a folder, then each of its subfolders in turn. Whatever the image
/// says, it ends: no two folders that share any of their bytes are entered, so that it never reads more than the image
/// holds, and the counts of folders waiting and of items have a limit. False when a visitor ended it.
bool WalkTree(Volume& volume, const WalkedFolder& start, const TreeVisitor& visitor);

}  // namespace tovlark
