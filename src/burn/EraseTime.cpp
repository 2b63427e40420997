#include "burn/EraseTime.h"

#include <algorithm>

namespace tovlark {
namespace {

constexpr TextView kEraseTime = u"EraseTime";

/// Seconds: what is assumed at first, and what no estimate is below.
struct Span {
    std::uint16_t usual, least;
};

struct TimeRow {
    EraseKind kind;
    Span quick, full;
};
constexpr TimeRow kTimes[] = {
    {EraseKind::CdRw, {25, 10}, {540, 120}},         //
    {EraseKind::DvdPlusRw, {120, 40}, {1800, 600}},  //
    {EraseKind::DvdMinusRw, {30, 10}, {900, 120}},   //
    {EraseKind::DvdRam, {10, 4}, {2400, 300}},       //
    {EraseKind::BdRe, {30, 4}, {3600, 300}},
};

std::size_t OffsetOf(EraseKind kind, EraseMethod method) {
    return static_cast<std::size_t>(kind) * 4 + (method == EraseMethod::Full ? 2 : 0);
}

}  // namespace

std::optional<EraseKind> EraseKindOf(MediaType type) {
    switch (type) {
        case MediaType::CdRw: return EraseKind::CdRw;
        case MediaType::DvdRwSequential:
        case MediaType::DvdRwRestricted: return EraseKind::DvdMinusRw;
        case MediaType::DvdPlusRw: return EraseKind::DvdPlusRw;
        case MediaType::DvdRam: return EraseKind::DvdRam;
        case MediaType::BdRe:
        case MediaType::BdReDual:
        case MediaType::BdReTriple:
        case MediaType::BdReQuad: return EraseKind::BdRe;
        default: return std::nullopt;
    }
}

EraseTimes EraseTimes::load(const SettingsStore& settings) {
    EraseTimes times;
    static_cast<void>(settings.getBinary(kEraseTime, times.record));
    return times;
}

bool EraseTimes::save(SettingsStore& settings) const { return settings.setBinary(kEraseTime, record); }

std::uint32_t EraseTimes::estimate(EraseKind kind, EraseMethod method) const {
    const TimeRow& row = kTimes[static_cast<std::size_t>(kind)];
    const Span& span = method == EraseMethod::Full ? row.full : row.quick;
    const std::size_t offset = OffsetOf(kind, method);
    const std::uint32_t taken =
        std::to_integer<std::uint32_t>(record[offset]) << 8 | std::to_integer<std::uint32_t>(record[offset + 1]);
    return taken == 0 ? span.usual : std::max<std::uint32_t>(taken, span.least);
}

void EraseTimes::store(EraseKind kind, EraseMethod method, std::uint64_t seconds) {
    const auto kept = static_cast<std::uint16_t>(std::min<std::uint64_t>(seconds, 0xFFFF));
    const std::size_t offset = OffsetOf(kind, method);
    record[offset] = static_cast<std::byte>(kept >> 8);
    record[offset + 1] = static_cast<std::byte>(kept);
}

}  // namespace tovlark
