#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tovlark {

struct SimDrive;
struct Request;
struct Refusal;

/// Blocks `first` to `last`, both counted in, as people write them: "100" or "100-199".
struct BlockRange {
    std::uint32_t first = 0, last = 0;

    bool operator==(const BlockRange&) const = default;
};
std::optional<BlockRange> ParseBlockRange(std::string_view text);

enum class BusyFault : std::uint8_t {
    None,
    Still,      // 02/04/07, operation in progress, to the next ten commands that need the disc
    Transient,  // 02/04/01, becoming ready, to the next three
    Forever,    // 02/04/07 to all that follow
};

/// What is planted in a drive. Counts begin anew whenever the drive is opened; 0: never.
struct DriveFaults {
    std::vector<BlockRange> readErrors = {};   // 03/11/00
    std::vector<BlockRange> slowBlocks = {};   // each takes `kSlowMilliseconds` to read
    std::vector<BlockRange> writeErrors = {};  // 03/0C/00, where defect management does not replace them
    BusyFault busy = BusyFault::None;
    std::uint32_t busyAfter = 0;                    // commands that need the disc and go well before
    std::uint32_t transportError = 0;               // the command of this number does not get through
    std::uint32_t powerLoss = 0;                    // the process ends in the middle of the write of this number
    std::vector<std::uint8_t> refusedOpcodes = {};  // 05/20/00

    bool operator==(const DriveFaults&) const = default;
};
inline constexpr std::uint32_t kSlowMilliseconds = 50;

/// The faults as entries of a drive description, by name; all names, with empty values for what is not planted.
std::vector<std::pair<std::string, std::string>> FaultEntries(const DriveFaults& faults);
/// The same read back; what cannot be read is left out.
DriveFaults ReadFaults(const std::function<std::optional<std::string_view>(std::string_view)>& find);

/// What a drive counts while it is open.
struct FaultCounts {
    std::uint32_t commands = 0, ready = 0, writes = 0, busyAnswers = 0;
};

/// True when this command is the one that does not get through.
bool FailsInTransport(SimDrive& drive);
/// The answer of a drive that is made to be busy; for commands that need the disc.
Refusal BusyAnswer(SimDrive& drive);
/// How many of the blocks can be read before the first unreadable one; waits for those that are slow.
std::uint64_t ReadableBlocks(SimDrive& drive, std::int64_t block, std::uint64_t count);
/// Counts a write, and says whether it is the one at which the power goes.
bool LosesPower(SimDrive& drive);
/// The error of writing there, if one is planted.
Refusal WriteFault(SimDrive& drive, const Request& request, std::int64_t block, std::uint32_t count);

}  // namespace tovlark
