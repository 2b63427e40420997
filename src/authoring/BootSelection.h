#pragma once

#include "app/session/Task.h"
#include "authoring/Compilation.h"

namespace tovlark {

/// Finds what the compilation boots from, where it is not set yet: a boot information file (*.bif) in the root, which
/// leaves the tree, or else (setting `AutoBootImage`) the first well-known boot image of the tree, in any case of
/// letters. A boot image brings ISO 9660 back where the 4 GB rule switched it off.
///
/// A boot information file that is none, or a second one, sets `context.error`. A well-known name without a boot image
/// behind it is reported; the image is then made without one.
void SelectBootImage(Task& task, ImageBuildContext& context);

/// The well-known boot image of the tree that would be picked up first; null when there is none.
const CompilationNode* FindWellKnownBootImage(const ImageBuildContext& context);

/// The file of the tree that makes a BIOS boot image bootable by UEFI too; null when there is none, or when the boot
/// setting has more than one image or one for UEFI already.
const CompilationNode* FindUefiImage(const ImageBuildContext& context);

}  // namespace tovlark
