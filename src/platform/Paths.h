#pragma once

#include "base/Text.h"

namespace tovlark {

/// Separator of local paths: `\` or `/`.
extern const char16_t kPathSeparator;

/// True for every character that separates local path parts here (Windows: both `\` and `/`).
bool IsPathSeparator(char16_t unit);

/// Joins with exactly one separator; an empty `folder` gives `name`.
Text JoinPath(TextView folder, TextView name);

/// The path made absolute against the current folder, "." and ".." resolved by words, no trailing separator unless
/// it is a root. Does not touch the disk.
Text FullPath(TextView path);

/// The last part of a path ("" for a root), trailing separators ignored; and everything before it.
TextView FileName(TextView path);
TextView FolderOf(TextView path);

/// True when the path is the root of a file system ("/", "C:\", "\\server\share\").
bool IsRootPath(TextView path);

/// Extension of a file name without its dot, "" when there is none: "a.tar.gz" gives "gz", ".profile" gives "profile".
TextView ExtensionOf(TextView path);

/// Folder of the running program, without a trailing separator.
Text ProgramFolder();
/// Folder with the language files: `Lang` beside the program, else the installed place.
Text LanguageFolder();
/// Folder of per-user configuration; not created. Windows: empty.
Text ConfigurationFolder();
/// The system's folder for temporary files ($TMPDIR, else /var/tmp).
Text SystemTempFolder();

}  // namespace tovlark
