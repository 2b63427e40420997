#include "simdrive/Faults.h"

#include <algorithm>
#include <charconv>

#include "simdrive/BluRay.h"
#include "simdrive/Drive.h"

namespace tovlark {

namespace {

constexpr std::size_t kMostRanges = 1000;
constexpr std::string_view kBusyNames[] = {"", "still", "transient", "forever"};

std::optional<std::uint32_t> ParseNumber(std::string_view text, int base = 10) {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

/// Visits the words between commas.
template <typename Visit>
void ForEachWord(std::string_view text, const Visit& visit) {
    for (std::size_t count = 0; !text.empty() && count < kMostRanges; ++count) {
        visit(text.substr(0, text.find(',')));
        text.remove_prefix(std::min(text.size(), text.find(',') == text.npos ? text.size() : text.find(',') + 1));
    }
}

std::string ToText(const std::vector<BlockRange>& ranges) {
    std::string text;
    for (const BlockRange& range : ranges) {
        if (!text.empty()) text += ',';
        text += std::to_string(range.first);
        if (range.last != range.first) text += '-' + std::to_string(range.last);
    }
    return text;
}

std::vector<BlockRange> ToRanges(std::string_view text) {
    std::vector<BlockRange> ranges;
    ForEachWord(text, [&](std::string_view word) {
        if (const auto range = ParseBlockRange(word)) ranges.push_back(*range);
    });
    return ranges;
}

std::string ToText(std::uint32_t count) { return count == 0 ? std::string() : std::to_string(count); }

/// How many of the blocks lie in one of the ranges, and the first of those.
std::uint64_t Overlap(const std::vector<BlockRange>& ranges, std::int64_t block, std::uint64_t count,
                      std::int64_t& first) {
    const std::int64_t end = block + static_cast<std::int64_t>(count);
    std::uint64_t total = 0;
    first = end;
    for (const BlockRange& range : ranges) {
        const std::int64_t from = std::max<std::int64_t>(block, range.first),
                           to = std::min<std::int64_t>(end, std::int64_t{range.last} + 1);
        if (from >= to) continue;
        total += static_cast<std::uint64_t>(to - from);
        first = std::min(first, from);
    }
    return total;
}

}  // namespace

std::optional<BlockRange> ParseBlockRange(std::string_view text) {
    const std::size_t dash = text.find('-');
    const auto first = ParseNumber(text.substr(0, dash));
    const auto last = dash == text.npos ? first : ParseNumber(text.substr(dash + 1));
    if (!first || !last || *last < *first) return std::nullopt;
    return BlockRange{*first, *last};
}

std::vector<std::pair<std::string, std::string>> FaultEntries(const DriveFaults& faults) {
    std::string busy(kBusyNames[static_cast<std::size_t>(faults.busy)]), refused;
    if (faults.busy != BusyFault::None) busy += ',' + std::to_string(faults.busyAfter);
    for (const std::uint8_t opcode : faults.refusedOpcodes) {
        constexpr std::string_view kDigits = "0123456789ABCDEF";
        if (!refused.empty()) refused += ',';
        refused += kDigits[opcode >> 4];
        refused += kDigits[opcode & 15];
    }
    return {{"ReadErrors", ToText(faults.readErrors)},
            {"SlowBlocks", ToText(faults.slowBlocks)},
            {"WriteErrors", ToText(faults.writeErrors)},
            {"Busy", busy},
            {"TransportError", ToText(faults.transportError)},
            {"PowerLoss", ToText(faults.powerLoss)},
            {"Refuse", refused}};
}

DriveFaults ReadFaults(const std::function<std::optional<std::string_view>(std::string_view)>& find) {
    const auto text = [&](std::string_view name) { return find(name).value_or(std::string_view()); };
    DriveFaults faults;
    faults.readErrors = ToRanges(text("ReadErrors"));
    faults.slowBlocks = ToRanges(text("SlowBlocks"));
    faults.writeErrors = ToRanges(text("WriteErrors"));
    const std::string_view busy = text("Busy"), kind = busy.substr(0, busy.find(','));
    for (std::size_t index = 1; index < std::size(kBusyNames); ++index)
        if (kind == kBusyNames[index]) faults.busy = static_cast<BusyFault>(index);
    if (kind.size() < busy.size()) faults.busyAfter = ParseNumber(busy.substr(kind.size() + 1)).value_or(0);
    faults.transportError = ParseNumber(text("TransportError")).value_or(0);
    faults.powerLoss = ParseNumber(text("PowerLoss")).value_or(0);
    ForEachWord(text("Refuse"), [&](std::string_view word) {
        if (const auto opcode = ParseNumber(word, 16); opcode && *opcode <= 0xFF)
            faults.refusedOpcodes.push_back(static_cast<std::uint8_t>(*opcode));
    });
    return faults;
}

bool FailsInTransport(SimDrive& drive) { return ++drive.counts.commands == drive.faults.transportError; }

Refusal BusyAnswer(SimDrive& drive) {
    constexpr std::uint32_t kMostAnswers[] = {0, 10, 3, 0xFFFFFFFF};
    const DriveFaults& faults = drive.faults;
    if (faults.busy == BusyFault::None || drive.counts.ready++ < faults.busyAfter) return {};
    if (drive.counts.busyAnswers == kMostAnswers[static_cast<std::size_t>(faults.busy)]) return {};
    ++drive.counts.busyAnswers;
    return faults.busy == BusyFault::Transient ? kBecomingReady : kOperationRunning;
}

std::uint64_t ReadableBlocks(SimDrive& drive, std::int64_t block, std::uint64_t count) {
    constexpr std::uint64_t kRetryTime = 2000 * kMillisecond;  // a drive tries long to read what it cannot
    std::int64_t first = 0;
    if (Overlap(drive.faults.readErrors, block, count, first) > 0) count = static_cast<std::uint64_t>(first - block);
    if (count == 0) Pause(drive, kRetryTime);
    const std::uint64_t slowCount = Overlap(drive.faults.slowBlocks, block, count, first);
    if (slowCount > 0)
        drive.clock->sleep(drive.clock->self,
                           static_cast<std::uint32_t>(std::min<std::uint64_t>(slowCount * kSlowMilliseconds, 600000)));
    return count;
}

bool LosesPower(SimDrive& drive) {
    return ++drive.counts.writes == drive.faults.powerLoss && drive.losePower != nullptr;
}

Refusal WriteFault(SimDrive& drive, const Request& request, std::int64_t block, std::uint32_t count) {
    constexpr Refusal kWriteError{3, 0x0C, 0x00};
    std::int64_t first = 0;
    if (Overlap(drive.faults.writeErrors, block, count, first) == 0) return {};
    if (!VerifiesWrites(drive, request)) return kWriteError;
    return FreeSpares(drive, block + count) < 0 ? kNoSpareLeft : Refusal{};
}

}  // namespace tovlark
