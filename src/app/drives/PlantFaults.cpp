#include <algorithm>

#include "app/drives/Common.h"
#include "app/drives/DriveFacts.h"
#include "app/drives/Verbs.h"

namespace tovlark {

namespace {

bool AddRanges(Task& task, const std::vector<Text>& words, std::vector<BlockRange>& ranges) {
    for (const Text& word : words) {
        const auto range = ParseBlockRange(ToUtf8(word));
        if (!range) Complain(task, TextId::NoBlockRange, {word});
        if (!range) return false;
        ranges.push_back(*range);
    }
    return true;
}

std::optional<std::uint8_t> ParseOpcode(const Text& word) {
    constexpr TextView kDigits = u"0123456789ABCDEF";
    const Text digits = UpperCase(word.starts_with(u"0x") ? word.substr(2) : word);
    if (digits.empty() || digits.size() > 2 || digits.find_first_not_of(kDigits) != digits.npos) return std::nullopt;
    std::size_t value = 0;
    for (const char16_t digit : digits) value = value * 16 + kDigits.find(digit);
    return static_cast<std::uint8_t>(value);
}

bool AddOpcodes(Task& task, const std::vector<Text>& words, std::vector<std::uint8_t>& opcodes) {
    for (const Text& word : words) {
        const auto opcode = ParseOpcode(word);
        if (!opcode) Complain(task, TextId::NoOperationCode, {word});
        if (!opcode) return false;
        if (std::ranges::find(opcodes, *opcode) == opcodes.end()) opcodes.push_back(*opcode);
    }
    return true;
}

}  // namespace

Status PlantFaults(Task& task, const Text& letter, const FaultWords& words) {
    const auto drive = FindSimulated(task, letter);
    if (!drive) return Status::Failed;
    DriveDescription description = drive->description;
    DriveFaults& faults = description.faults;
    if (words.clears) faults = {};
    if (!AddRanges(task, words.readErrors, faults.readErrors) ||
        !AddRanges(task, words.slowBlocks, faults.slowBlocks) ||
        !AddRanges(task, words.writeErrors, faults.writeErrors) ||
        !AddOpcodes(task, words.refusedOpcodes, faults.refusedOpcodes))
        return Status::Failed;
    if (words.busy != BusyFault::None) {
        faults.busy = words.busy;
        faults.busyAfter = words.busyAfter;
    }
    if (words.transportError != 0) faults.transportError = words.transportError;
    if (words.powerLoss != 0) faults.powerLoss = words.powerLoss;
    if (faults != drive->description.faults && !Describe(task, *drive, description)) return Status::Failed;
    const auto planted = PlantedFaults(faults);
    if (planted.empty())
        Print(task, TextId::NoFaults, {drive->letter});
    else
        task.session.print(DescribeFaults(planted));
    return Status::Ok;
}

}  // namespace tovlark
