#pragma once

#include <cstdint>

#include "base/Text.h"
#include "platform/Files.h"

// What the two systems' files share; for this folder only.
namespace tovlark {

/// Replaces a path whose last part is a symbolic link by what the link (and the next, and so on) leads to, be it there
/// or not.
SystemError FollowLinks(Text& path);

/// Changes what this system alone cannot have in a name: no separators and control characters are left in it.
void MendLocalName(Text& name);

/// ".<finalName>.<process>-<number>.part", the name cut so that the whole is a name that file systems accept.
Text TemporaryName(TextView finalName, std::uint32_t processId, std::uint32_t number);

/// `NewFile::append` by reading and writing; `copiedCount` says how much is there already.
SystemError CopyThroughMemory(const InputFile& source, std::uint64_t offset, std::uint64_t sizeBytes, NewFile& file,
                              std::uint64_t& copiedCount);

/// Creates one folder; one that is there already is fine.
SystemError CreateFolder(const Text& path);

}  // namespace tovlark
