#pragma once

#include <array>
#include <cstdint>
#include <type_traits>

namespace tovlark {

/// "PATH=SOCKET": the path that names the drive, and where its keeper (with_drive) listens.
inline constexpr char kDriveVariable[] = "TOVLARK_PRELOADED_DRIVE";

/// Set when the programs' waits are to be short.
inline constexpr char kHasteVariable[] = "TOVLARK_PRELOADED_HASTE";

/// Number of the block devices that are optical drives, and the drive's own one.
inline constexpr unsigned kOpticalMajor = 11, kOpticalMinor = 31;

/// Data of one command at most: what a host adapter takes.
inline constexpr std::uint32_t kMostDataBytes = 1 << 20;

/// What a preloaded library and the keeper of a drive say to each other over a local stream socket, one connection for
/// each opened file: a question and its data, then an answer and its data. Both are processes of one machine.
struct Question {
    enum class Kind : std::uint32_t {
        Open,     // number: flags of open()
        Access,   // number: mode of access()
        Command,  // cdb, direction, dataBytes
        Seek,     // number: a new position of the file; negative: none
    };
    Kind kind{};
    std::uint32_t cdbBytes = 0, direction = 2, dataBytes = 0;  // direction: of DataDirection; data follow for 0
    std::int64_t number = 0;
    std::array<std::byte, 16> cdb{};
};

struct Answer {
    std::int32_t error = 0;       // of errno.h
    std::uint32_t dataBytes = 0;  // that were transferred; they follow when they came in
    std::int64_t number = 0;      // position of the file
    std::uint32_t status = 0;
    std::array<std::byte, 20> sense{};
};

static_assert(std::is_trivially_copyable_v<Question> && std::is_trivially_copyable_v<Answer>);

}  // namespace tovlark
