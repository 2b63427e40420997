#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "preload/Protocol.h"

// The side of the preloaded library. It keeps nothing of its own: a descriptor is the drive's when it is connected to
// the keeper, so that dup, fork, exec, passing over sockets and close need no help. Errors are those of errno.h.
namespace tovlark {

/// The drive's path and socket as the environment names them; nullptr for none.
struct Place {
    std::string path, socket;
};
const Place* DrivePlace();

enum class Links : std::uint8_t { Follow, Keep };

/// Whether a path means the drive: its own name, /dev/fd/N of an open one, or a link to those with a whole path.
bool IsDrivePath(int folder, const char* path, Links links = Links::Follow);
bool IsDrive(int file);

/// Opens the drive; the descriptor, else -1 and errno.
int OpenDrive(int flags);
/// As access(); 0, else -1 and errno.
int AccessDrive(int mode);

/// One command and what came of it.
struct SentCommand {
    Answer answer;
    std::vector<std::byte> data;  // out, or as many as came in

    bool isRefused() const { return answer.status != 0; }
    unsigned senseKey() const { return std::to_integer<unsigned>(answer.sense[2]) & 15; }
    unsigned senseCode() const { return std::to_integer<unsigned>(answer.sense[12]); }
};

/// Carries data out (`data` holds them) or up to `inBytes` in. 0, else an error of the transport.
int SendDrive(int file, std::span<const std::byte> cdb, SentCommand& command, std::uint32_t inBytes);
/// The same for a command that only asks: nothing when it was refused.
std::optional<std::vector<std::byte>> AskDrive(int file, std::initializer_list<unsigned> cdb, std::uint32_t inBytes);

/// The position of the file; changes it first unless `position` is negative.
std::int64_t DrivePosition(int file, std::int64_t position = -1);
/// Blocks of 2048 bytes that can be read as a file: as Linux has it, what READ CAPACITY says, or as far as the last
/// track is written where that is more.
std::uint32_t DriveBlocks(int file);
/// As pread and pwrite.
std::int64_t ReadDrive(int file, void* buffer, std::size_t bytes, std::int64_t position);
std::int64_t WriteDrive(int file, const void* buffer, std::size_t bytes, std::int64_t position);

/// As the kernel's driver for optical drives answers ioctl.
int ControlDrive(int file, unsigned long request, void* argument);

/// Memory of the program, which need not be there; false when it is not.
bool CopyIn(void* ours, const void* theirs, std::size_t bytes);
bool CopyOut(void* theirs, const void* ours, std::size_t bytes);

/// Sets errno.
int Fail(int error);

}  // namespace tovlark
