#include "simdrive/DriveTime.h"

#include <algorithm>
#include <cmath>

#include "simdrive/Drive.h"

namespace tovlark {

namespace {

// Where the data of a disc begin and end at most, in millimetres from its centre: ECMA-130 for CDs, ECMA-267 for DVDs;
// those of BDs lie as those of DVDs.
constexpr double kCdInner = 25, kInner = 24, kOuter = 58;
constexpr double kLeastOuter = 35;     // a recorded DVD does not end before (ECMA-338 13)
constexpr double kLeadOutWidth = 0.5;  // of a DVD whose data end further out

constexpr std::uint32_t kCdRate = 2352, kUserRate = 2048;           // bytes of a block that rates count
constexpr std::uint32_t kDvdLeadIn = 53344;                         // blocks from 22.6 mm to 24 mm
constexpr std::uint32_t kCdLeadOut = 6750, kCdLaterLeadOut = 2250;  // 90 s, then 30 s
constexpr std::uint32_t kCdLaterLeadIn = 4500;                      // 60 s

constexpr std::uint64_t kSettleTime = 50 * kMillisecond, kStrokeTime = 250 * kMillisecond;
constexpr std::uint64_t kRelinkTime = 300 * kMillisecond;  // some turns to find the end of what is written
constexpr std::uint64_t kReadAheadBlocks = 512;

/// What drives do with a kind of media. The spindle turns at most so fast that the outermost edge passes with
/// `writeEdge` times the single speed; further in the rate is lower by as much as the radius. That makes CAV of the
/// greatest speed, P-CAV of one that is reached on the way, CLV of one that the innermost edge has already. Media
/// that want the same rate over a whole zone (Z-CLV) go on in steps of `zoneStep` times the single speed.
struct Family {
    Medium first, last;
    std::uint8_t readEdge, writeEdge, zoneStep;
    DriveTimes times;
};

constexpr Family kFamilies[] = {
    {Medium::CdRom, Medium::CdR, 48, 48, 0, {8000, 3000, 4000, 2000, 3000, 3000, 0}},
    {Medium::CdRw, Medium::CdRw, 48, 38, 4, {8000, 3000, 4000, 2000, 3000, 3000, 25000}},
    {Medium::DvdRom, Medium::DvdR, 16, 16, 0, {10000, 4000, 5000, 2000, 3000, 5000, 0}},
    {Medium::DvdRwSequential, Medium::DvdRwOverwrite, 16, 11, 2, {10000, 4000, 5000, 2000, 3000, 5000, 30000}},
    {Medium::DvdRam, Medium::DvdRam, 16, 8, 1, {10000, 4000, 5000, 0, 0, 0, 10000}},
    {Medium::DvdPlusR, Medium::DvdPlusR, 16, 16, 0, {10000, 4000, 5000, 2000, 3000, 5000, 0}},
    {Medium::DvdPlusRw, Medium::DvdPlusRwDl, 16, 16, 2, {10000, 4000, 5000, 2000, 3000, 10000, 40000}},
    {Medium::BdRom, Medium::BdReQl, 12, 12, 0, {15000, 5000, 8000, 2000, 3000, 15000, 30000}},
    {Medium::HdDvdRom, Medium::HdDvdRam, 3, 3, 0, {15000, 5000, 5000, 2000, 3000, 5000, 10000}},
};

const Family& FamilyOf(const MediumRules& rules) {
    for (const Family& family : kFamilies)
        if (rules.medium >= family.first && rules.medium <= family.last) return family;
    return kFamilies[0];
}

double InnerOf(const MediumRules& rules) { return rules.isCd() ? kCdInner : kInner; }

std::uint32_t LayerBlocks(const MediumRules& rules) { return rules.blocks / rules.layers; }

/// Every second layer goes from the outside inwards.
double RadiusAt(const MediumRules& rules, std::int64_t block) {
    const std::int64_t size = LayerBlocks(rules), at = std::clamp<std::int64_t>(block, 0, rules.blocks - 1);
    const std::int64_t layer = std::min<std::int64_t>(at / size, rules.layers - 1);
    double share = std::min(static_cast<double>(at - layer * size) / static_cast<double>(size), 1.0);
    if (layer % 2 != 0) share = 1 - share;
    const double inner = InnerOf(rules);
    return std::sqrt(inner * inner + share * (kOuter * kOuter - inner * inner));
}

/// Blocks of a layer that lie further in.
std::int64_t BlocksBelow(const MediumRules& rules, double radius) {
    const double inner = InnerOf(rules);
    const double share = (radius * radius - inner * inner) / (kOuter * kOuter - inner * inner);
    return static_cast<std::int64_t>(share * LayerBlocks(rules));
}

/// Blocks that are written behind the last one for a disc that can be read in every drive: to the least outer radius,
/// and on two layers as far back on the second one as on the first.
std::uint64_t FillBlocks(const DiscState& state, std::int64_t end) {
    const MediumRules& rules = *state.rules;
    const std::int64_t layer = LayerBlocks(rules),
                       least = std::min<std::int64_t>(BlocksBelow(rules, kLeastOuter), state.blocks);
    const double radius = RadiusAt(rules, end);
    const std::int64_t strip = BlocksBelow(rules, radius + kLeadOutWidth) - BlocksBelow(rules, radius);
    const std::int64_t reach = std::max(end, least);
    if (rules.layers == 1) return static_cast<std::uint64_t>(std::max(reach - end, strip));
    const std::int64_t all = std::min<std::int64_t>(state.blocks, 2 * layer);
    return static_cast<std::uint64_t>(std::max((end < layer ? std::min(2 * reach, all) : all) - end, strip));
}

std::uint64_t LeadInTime(const SimDrive& drive) {
    const DiscState& state = drive.disc->state;
    if (state.rules->isBd()) return 0;
    std::uint32_t blocks = kDvdLeadIn;
    if (state.rules->isCd())
        blocks = state.closedSessions > 0
                     ? kCdLaterLeadIn
                     : static_cast<std::uint32_t>(-LeadInStart(state)) - std::uint32_t{kPregapFrames};
    return WriteTime(drive, 0, blocks);
}

void SleepUntil(const SimDrive& drive, std::uint64_t when) {
    const std::uint64_t now = drive.nanoseconds();
    if (when > now)
        drive.clock->sleep(drive.clock->self,
                           static_cast<std::uint32_t>((when - now + kMillisecond - 1) / kMillisecond));
}

/// Spins the disc up if it stands still.
std::uint64_t SpinUpTime(SimDrive& drive) {
    if (drive.motion.isSpinning) return 0;
    drive.motion.isSpinning = true;
    drive.motion.cachedFrom.reset();
    return TimesOf(drive.rules()).spinUp * kMillisecond;
}

/// From the command to the first block.
std::uint64_t StartTime(SimDrive& drive, const WriteJob& job) {
    Motion& motion = drive.motion;
    const DriveTimes times = TimesOf(drive.rules());
    std::uint64_t time = SpinUpTime(drive) + SeekTime(drive.rules(), motion.head, job.first);
    if (!motion.isCalibrated) time += times.calibrate * kMillisecond;
    motion.isCalibrated = true;
    if (motion.wantsLeadIn)
        time += LeadInTime(drive);
    else if (job.beginsTrack)
        time += times.beginTrack * kMillisecond;
    motion.wantsLeadIn = false;
    return time;
}

bool IsEmptyInTheMiddle(const SimDrive& drive, std::int64_t block) {
    return drive.motion.next == block && drive.motion.writtenUntil <= drive.nanoseconds();
}

}  // namespace

std::uint64_t RateAt(const MediumRules& rules, Pass pass, std::uint32_t speed, std::int64_t block) {
    const Family& family = FamilyOf(rules);
    const std::uint32_t edge = pass == Pass::Read ? family.readEdge : family.writeEdge;
    double factor = edge * RadiusAt(rules, block) / kOuter;
    if (pass == Pass::Write && family.zoneStep > 0)
        factor = std::max(std::floor(factor / family.zoneStep), 1.0) * family.zoneStep;
    const auto most = static_cast<std::uint64_t>(factor * rules.singleSpeed * 1000);
    return std::max<std::uint64_t>(std::min(std::uint64_t{speed} * 1000, most), 1000);
}

std::uint64_t PassTime(const MediumRules& rules, Pass pass, std::uint32_t speed, std::int64_t first,
                       std::uint64_t count) {
    constexpr std::uint64_t kLeastPiece = 1024, kPieces = 256;
    const std::uint64_t piece = std::max(kLeastPiece, count / kPieces), second = 1000 * kMillisecond;
    const std::uint64_t blockBytes = rules.isCd() ? kCdRate : kUserRate;
    std::uint64_t time = 0;
    while (count > 0) {
        const std::uint64_t part = std::min(count, piece);
        time += part * blockBytes * second / RateAt(rules, pass, speed, first + static_cast<std::int64_t>(part / 2));
        first += static_cast<std::int64_t>(part);
        count -= part;
    }
    return time;
}

std::uint64_t SeekTime(const MediumRules& rules, std::int64_t from, std::int64_t to) {
    const double way = std::abs(RadiusAt(rules, from) - RadiusAt(rules, to)) / (kOuter - InnerOf(rules));
    return kSettleTime + static_cast<std::uint64_t>(way * static_cast<double>(kStrokeTime));
}

DriveTimes TimesOf(const MediumRules& rules) {
    constexpr std::uint32_t kFurtherLayer = 10000;  // of a quick format
    DriveTimes times = FamilyOf(rules).times;
    times.calibrate *= rules.layers;
    times.quickErase += (rules.layers - 1u) * kFurtherLayer;
    return times;
}

Refusal AdmitWrite(SimDrive& drive, std::int64_t block, std::uint64_t bytes) {
    constexpr Refusal kStreamLost{3, 0x0C, 0x09};
    if (!drive.isRealTime) return {};
    if (drive.motion.hasLostStream) return kStreamLost;
    const std::uint64_t buffered = BufferedBytes(drive);
    if (buffered > 0 && buffered + bytes > kBufferBytes) return kLongWrite;
    const WriteParameters wanted = CurrentWriteParameters(drive);
    constexpr std::uint8_t kIncremental = 0;
    const bool needsStream = drive.rules().writeTypes != 0 && !wanted.isGapFree && wanted.type != kIncremental;
    if (!needsStream || !IsEmptyInTheMiddle(drive, block)) return {};
    ++drive.underruns;
    drive.motion.hasLostStream = true;
    return kStreamLost;
}

void BookWrite(SimDrive& drive, const WriteJob& job) {
    if (!drive.isRealTime) return;
    Motion& motion = drive.motion;
    std::uint64_t start = std::max(drive.nanoseconds(), motion.writtenUntil);
    if (motion.next != job.first) {
        start += StartTime(drive, job);
    } else if (IsEmptyInTheMiddle(drive, job.first)) {
        ++drive.underruns;
        start += kRelinkTime;
    }
    motion.writtenUntil = start + job.passes * WriteTime(drive, job.first, job.count);
    motion.buffer.push_back({motion.writtenUntil, job.bytes});
    motion.bufferedBytes += job.bytes;
    motion.head = job.first + job.count;
    motion.next = motion.head;
    motion.headAt = motion.writtenUntil;
    motion.cachedFrom.reset();
}

void WriteOn(SimDrive& drive, std::uint64_t time) {
    if (!drive.isRealTime) return;
    drive.motion.next.reset();
    if (time > 0) drive.motion.writtenUntil = std::max(drive.nanoseconds(), drive.motion.writtenUntil) + time;
}

void WriteMade(SimDrive& drive, std::int64_t first, std::uint32_t count) {
    if (drive.motion.next != first) return;
    drive.motion.writtenUntil += WriteTime(drive, first, count);
    drive.motion.head = first + count;
    drive.motion.next = drive.motion.head;
}

std::uint64_t BufferedBytes(SimDrive& drive) {
    Motion& motion = drive.motion;
    for (; !motion.buffer.empty() && motion.buffer.front().writtenAt <= drive.nanoseconds(); motion.buffer.pop_front())
        motion.bufferedBytes -= motion.buffer.front().bytes;
    return motion.bufferedBytes;
}

void TimeRead(SimDrive& drive, std::int64_t block, std::uint64_t count) {
    if (!drive.isRealTime || count == 0) return;
    Motion& motion = drive.motion;
    const MediumRules& rules = drive.rules();
    const std::uint32_t speed = ReadSpeedOf(drive);
    const std::int64_t end = block + static_cast<std::int64_t>(count);
    const std::uint64_t now = drive.nanoseconds();
    std::uint64_t start = std::max(now, motion.writtenUntil) + SpinUpTime(drive);
    std::int64_t from = block;
    if (motion.cachedFrom && block >= *motion.cachedFrom && block <= motion.head + std::int64_t{kReadAheadBlocks}) {
        if (end <= motion.head) return;
        from = motion.head;
        // The drive has read on while nobody asked, as far as there was room.
        const std::uint64_t ahead = PassTime(rules, Pass::Read, speed, from, kReadAheadBlocks);
        start = std::max(motion.headAt, start - std::min(start, ahead));
    } else {
        start += SeekTime(rules, motion.head, block);
        motion.cachedFrom = block;
    }
    motion.head = end;
    motion.headAt = start + PassTime(rules, Pass::Read, speed, from, static_cast<std::uint64_t>(end - from));
    motion.cachedFrom = std::max(*motion.cachedFrom, end - std::int64_t{kBufferBytes / kUserRate});
    SleepUntil(drive, motion.headAt);
}

void Occupy(SimDrive& drive, const Refusal& sense, std::uint64_t time, bool immed) {
    if (!drive.isRealTime) return;
    WriteOn(drive, time);
    if (time > 0) drive.motion.isSpinning = true;
    const std::uint64_t now = drive.nanoseconds(), until = drive.motion.writtenUntil;
    if (until <= now) return;
    if (!immed) return SleepUntil(drive, until);
    drive.running = sense;
    drive.runningSince = now;
    drive.runningUntil = until;
}

void Pause(SimDrive& drive, std::uint64_t time) {
    if (drive.isRealTime) SleepUntil(drive, drive.nanoseconds() + time);
}

std::uint64_t WriteTime(const SimDrive& drive, std::int64_t first, std::uint64_t count) {
    return PassTime(drive.rules(), Pass::Write, WriteSpeedOf(drive), first, count);
}

std::uint64_t WholeDiscTime(const SimDrive& drive) { return WriteTime(drive, 0, drive.disc->state.blocks); }

std::uint64_t CertifyTime(const SimDrive& drive) {
    return WholeDiscTime(drive) + PassTime(drive.rules(), Pass::Read, ReadSpeedOf(drive), 0, drive.disc->state.blocks);
}

std::uint64_t CloseTime(const SimDrive& drive, bool isFinal, bool hasLeadIn) {
    const DiscState& state = drive.disc->state;
    const MediumRules& rules = *state.rules;
    std::uint64_t time = TimesOf(rules).closeSession * kMillisecond;
    if (rules.isBd() || rules.access != Access::Sequential) return time;
    std::int64_t end = 0;
    for (const DiscTrack& track : state.tracks) end = std::max<std::int64_t>(end, track.next);
    const bool isFirst = state.closedSessions == 0;
    if (!hasLeadIn && (isFirst || rules.isCd())) time += LeadInTime(drive);
    std::uint64_t blocks = isFirst ? rules.firstSessionGap : rules.furtherSessionGap;
    if (rules.isCd())
        blocks = isFirst ? kCdLeadOut : kCdLaterLeadOut;
    else if (isFinal)
        blocks = FillBlocks(state, end);
    return time + WriteTime(drive, end, blocks);
}

}  // namespace tovlark
