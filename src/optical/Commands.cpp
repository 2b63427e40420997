#include "optical/Commands.h"

#include <algorithm>

#include "optical/Sense.h"

namespace tovlark {
namespace {

using enum DataDirection;

constexpr CommandRow kCommands[] = {
    {Opcode::TestUnitReady, u"TEST UNIT READY", None, 10, 0, true},
    {Opcode::FormatUnit, u"FORMAT UNIT", Out, 120, kSenseBytes, true},
    {Opcode::Inquiry, u"INQUIRY", In, 100, 0, true},
    {Opcode::StartStopUnit, u"START STOP UNIT", None, 100, 0, true},
    {Opcode::PreventAllowRemoval, u"PREVENT ALLOW MEDIUM REMOVAL", None, 100, 0, true},
    {Opcode::ReadFormatCapacities, u"READ FORMAT CAPACITIES", In, 100, 0, true},
    {Opcode::ReadCapacity, u"READ CAPACITY", In, 100, 0, true},
    {Opcode::Read10, u"READ(10)", In, 100, kSenseBytes, false},
    {Opcode::Write10, u"WRITE(10)", Out, 50, kSenseBytes, false},
    {Opcode::SynchronizeCache, u"SYNCHRONIZE CACHE", None, 600, 0, true},
    {Opcode::ReadToc, u"READ TOC/PMA/ATIP", In, 100, 0, true},
    {Opcode::GetConfiguration, u"GET CONFIGURATION", In, 100, 0, true},
    {Opcode::GetEventStatus, u"GET EVENT STATUS NOTIFICATION", In, 100, 0, true},
    {Opcode::ReadDiscInformation, u"READ DISC INFORMATION", In, 100, 0, true},
    {Opcode::ReadTrackInformation, u"READ TRACK INFORMATION", In, 100, 0, true},
    {Opcode::ReserveTrack, u"RESERVE TRACK", None, 900, 0, true},
    {Opcode::SendOpcInformation, u"SEND OPC INFORMATION", None, 255, 0, true},
    {Opcode::ModeSelect10, u"MODE SELECT(10)", Out, 100, kSenseBytes, true},
    {Opcode::ModeSense10, u"MODE SENSE(10)", In, 100, kSenseBytes, true},
    {Opcode::CloseTrackSession, u"CLOSE TRACK/SESSION", None, 100, kSenseBytes, true},
    {Opcode::ReadBufferCapacity, u"READ BUFFER CAPACITY", In, 100, 0, true},
    {Opcode::SendCueSheet, u"SEND CUE SHEET", Out, 100, 0, true},
    {Opcode::Blank, u"BLANK", None, 100, 0, true},
    {Opcode::GetPerformance, u"GET PERFORMANCE", In, 100, 0, true},
    {Opcode::ReadDiscStructure, u"READ DISC STRUCTURE", In, 100, 0, true},
    {Opcode::SetStreaming, u"SET STREAMING", Out, 100, 0, true},
    {Opcode::SetCdSpeed, u"SET CD SPEED", None, 100, 0, true},
    {Opcode::ReadCd, u"READ CD", In, 100, kSenseBytes, false},
    {Opcode::SendDiscStructure, u"SEND DISC STRUCTURE", Out, 100, 0, true},
};
static_assert(std::ranges::is_sorted(kCommands, {}, &CommandRow::opcode));

}  // namespace

std::span<const CommandRow> AllCommands() { return kCommands; }

const CommandRow* FindCommand(Opcode opcode) {
    const auto* row = std::ranges::lower_bound(kCommands, opcode, {}, &CommandRow::opcode);
    return row != std::end(kCommands) && row->opcode == opcode ? row : nullptr;
}

}  // namespace tovlark
