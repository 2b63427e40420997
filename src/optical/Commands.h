#pragma once

#include <cstdint>
#include <span>

#include "base/Text.h"
#include "optical/Mmc.h"
#include "platform/DiscDevice.h"

namespace tovlark {

/// Time-out of a command that answers only when the drive has finished, in seconds.
constexpr std::uint32_t kPatientSeconds = 9999;

/// What is sent along with every command of a kind.
struct CommandRow {
    Opcode opcode;
    TextView name;  // as the standard spells it
    DataDirection direction;
    std::uint32_t timeoutSeconds;
    std::uint8_t senseBytes;
    bool logsData;  // false: its data would flood the log
};

std::span<const CommandRow> AllCommands();
/// The row of an operation code; null when this program never sends it.
const CommandRow* FindCommand(Opcode opcode);

}  // namespace tovlark
