#pragma once

#include "app/session/Task.h"
#include "authoring/Compilation.h"
#include "base/Status.h"

namespace tovlark {

/// Folder of the image at `path` ("/" separated, starts with "/"), made with those above it where missing.
/// Null with a message and the error flag when a file stands in the way or a part is no name for a folder: ".", "..",
/// or longer than `kMaximumNameUnits`.
CompilationNode* MakeFolders(Task& task, ImageBuildContext& context, TextView path);

/// Adds a local file, or a folder with everything below it, under `folder`.
///
/// A folder onto a folder of that name merges, and the attributes of the one that is there stay; a file onto a file
/// asks the overwrite prompt. "." and ".." take the real folder's name; a file-system root, and a path that ends in a
/// separator and ".", add only their contents.
///
/// Symbolic links are skipped or kept (`keepSymbolicLinks`); sockets, devices and FIFOs are left out and named once; in
/// both cases without an error, unless the path named is one itself. What is refused or unreadable is reported, sets
/// the error flag, and the walk goes on; after an unreadable one the user is asked, and whatever is not Yes sets the
/// cancel flag.
///
/// Files are not opened, except those that not everybody may read: what else proves unreadable does so when the image
/// is written. `NotFound` (nothing added, nothing said) is for the caller to report.
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

/// Switches the file systems so that such a file fits, as the rule says.
void AdmitLargeFile(ImageBuildContext& context);

/// Removes a node and everything below it from the tree and the priority list. The root cannot be removed: nothing
/// happens.
void DeleteNode(ImageBuildContext& context, CompilationNode& node);

/// Moves or copies a node (a folder with everything below it) under another folder. A file onto a file asks the
/// overwrite prompt. Failed with a message on any other clash, onto its own folder, or into its own sub-folder.
Status MoveNode(Task& task, ImageBuildContext& context, CompilationNode& node, CompilationNode& target);
Status CopyNode(Task& task, ImageBuildContext& context, const CompilationNode& node, CompilationNode& target);

}  // namespace tovlark
