#pragma once

#include "app/session/Task.h"
#include "app/session/TextId.h"

namespace tovlark {

/// True when the file can be opened for reading, else a message: `cannotOpen` filled with the path and the system's
/// reason.
bool CanOpenImage(Task& task, const Text& path, TextId cannotOpen);

/// True for an archive whose files have to be unpacked before they can be burned (ZIP, 7z, RAR), told by its first
/// bytes. False for what cannot be read.
bool IsPackedArchive(const Text& path);

/// True for a folder, or a link to one.
bool IsFolder(const Text& path);

}  // namespace tovlark
