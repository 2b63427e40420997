#pragma once

#include "base/Text.h"

namespace tovlark {

/// Separator of local paths: `\` or `/`.
extern const char16_t kPathSeparator;

/// True for every character that separates local path parts here (Windows: both `\` and `/`).
bool IsPathSeparator(char16_t unit);

/// Length of the part that names where a path starts, not a file: "/", "C:\", "C:", "\\server\share\"; 0 when there is
/// none.
std::size_t RootLength(TextView path);

/// True when the path does not depend on any current folder.
bool IsAbsolutePath(TextView path);

/// Joins with exactly one separator; an empty `folder` (and "C:") gives it and `name` without one.
Text JoinPath(TextView folder, TextView name);

/// The path made absolute against the current folder ("" gives that folder), "." and ".." resolved by words, no
/// trailing separator unless it is a root. Does not touch the disk.
Text FullPath(TextView path);

/// The last part of a path ("" for a root), trailing separators ignored; and everything before it, which ends in a
/// separator only when it is a root ("" for a bare name, the root itself for a root).
TextView FileName(TextView path);
TextView FolderOf(TextView path);

/// The name that a file recorded elsewhere as `recorded` gets here, harmless whatever was recorded: never empty, "." or
/// "..", without separators and control characters, no longer than file systems accept, and not one of those that
/// Windows gives a meaning of its own.
Text LocalName(TextView recorded);
/// As much of the beginning of a name as fits so many bytes of UTF-8.
TextView CutName(TextView name, std::size_t maximumBytes);
/// Equal for two names that mean the same file of a folder here.
Text LocalNameKey(TextView name);

/// True when the path is the root of a file system ("/", "C:\", "\\server\share\").
bool IsRootPath(TextView path);

/// Extension of a file name without its dot, "" when there is none: "a.tar.gz" gives "gz", ".profile" gives "profile".
TextView ExtensionOf(TextView path);

/// Folder of the running program, without a trailing separator.
Text ProgramFolder();
/// Folder with the language files: `Lang` beside the program, else (not on Windows) `../share/tovlark/Lang` from there.
Text LanguageFolder();
/// Folder of per-user configuration (`$XDG_CONFIG_HOME/tovlark`, else `~/.config/tovlark`); not created; empty when the
/// user has no home. Windows: empty.
Text ConfigurationFolder();
/// The system's folder for temporary files ($TMPDIR, else /var/tmp), without a trailing separator.
Text SystemTempFolder();

}  // namespace tovlark
