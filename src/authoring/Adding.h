#pragma once

#include "app/session/Task.h"
#include "authoring/Compilation.h"

namespace tovlark {

/// Folder of the image at `path` ("/" separated, starts with "/"), made with those above it where missing.
/// Null with a message when a file stands in the way.
CompilationNode* MakeFolders(Task& task, ImageBuildContext& context, TextView path);

/// Adds a local file, or a folder with everything below it, under `folder`.
///
/// A folder onto a folder of that name merges; a file onto a file asks the overwrite prompt. "." and ".." take
/// the real folder's name; a file-system root, and a path that ends in a separator and ".", add only their contents.
/// Symbolic links are skipped or kept (`keepSymbolicLinks`), sockets, devices and FIFOs are left out and named once.
/// What is refused, skipped or unreadable is reported, sets the error flag, and the walk goes on.
/// `NotFound` (nothing added) is for the caller to report.
enum class AddResult : std::uint8_t { Done, NotFound };
AddResult AddFromDisk(Task& task, ImageBuildContext& context, const Text& localPath, CompilationNode& folder);

/// What the 4 GB rule does with a file of more than 4,294,967,295 bytes.
enum class LargeFileRule : std::uint8_t {
    Allowed,           // ISO 9660 is off already
    Refuse,            // the file systems were chosen explicitly
    SwitchToUdf,       // ISO 9660 and Joliet off, UDF on
    KeepInUdfTreeOnly  // a boot image or Rock Ridge keeps ISO 9660; Joliet off, UDF on
};
LargeFileRule RuleForLargeFile(const ImageBuildContext& context);

/// Removes a node and everything below it from the tree. The root cannot be removed.
void DeleteNode(ImageBuildContext& context, CompilationNode& node);

/// Moves or copies a node (a folder with everything below it) under another folder. Failed with a message on a clash,
/// onto its own folder, or into its own sub-folder.
Status MoveNode(Task& task, ImageBuildContext& context, CompilationNode& node, CompilationNode& target);
Status CopyNode(Task& task, ImageBuildContext& context, const CompilationNode& node, CompilationNode& target);

}  // namespace tovlark
