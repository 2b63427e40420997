#include "simdrive/Drive.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/DeviceFailed.h"

namespace tovlark {

namespace {

enum class Needs : std::uint8_t {
    Nothing,    // works while the drive is busy and leaves a unit attention alone (MMC-6 4.1.6)
    Attention,  // no disc, but reports a unit attention first
    Disc,
};

struct CommandRow {
    std::uint8_t opcode, cdbBytes;
    DataDirection direction;
    Needs needs;
    Handler handle;
};

constexpr DataDirection kIn = DataDirection::In, kOut = DataDirection::Out, kNone = DataDirection::None;

constexpr CommandRow kCommands[] = {
    {0x00, 6, kNone, Needs::Disc, TestUnitReady},
    {0x03, 6, kIn, Needs::Nothing, RequestSense},
    {0x04, 6, kOut, Needs::Disc, FormatUnit},
    {0x12, 6, kIn, Needs::Nothing, Inquiry},
    {0x1B, 6, kNone, Needs::Attention, StartStopUnit},
    {0x1E, 6, kNone, Needs::Attention, PreventAllow},
    {0x23, 10, kIn, Needs::Disc, ReadFormatCapacities},
    {0x25, 10, kIn, Needs::Disc, ReadCapacity},
    {0x28, 10, kIn, Needs::Disc, Read},
    {0x2A, 10, kOut, Needs::Disc, Write},
    {0x2E, 10, kOut, Needs::Disc, Write},
    {0x2F, 10, kNone, Needs::Disc, Verify},
    {0x35, 10, kNone, Needs::Disc, SynchronizeCache},
    {0x42, 10, kIn, Needs::Disc, ReadSubChannel},
    {0x43, 10, kIn, Needs::Disc, ReadToc},
    {0x46, 10, kIn, Needs::Nothing, GetConfiguration},
    {0x4A, 10, kIn, Needs::Nothing, GetEventStatus},
    {0x51, 10, kIn, Needs::Disc, ReadDiscInformation},
    {0x52, 10, kIn, Needs::Disc, ReadTrackInformation},
    {0x53, 10, kNone, Needs::Disc, ReserveTrack},
    {0x54, 10, kNone, Needs::Disc, SendOpc},
    {0x55, 10, kOut, Needs::Attention, ModeSelect},
    {0x5A, 10, kIn, Needs::Attention, ModeSense},
    {0x5B, 10, kNone, Needs::Disc, CloseTrackSession},
    {0x5C, 10, kIn, Needs::Nothing, ReadBufferCapacity},
    {0x5D, 10, kOut, Needs::Disc, SendCueSheet},
    {0xA1, 12, kNone, Needs::Disc, Blank},
    {0xA8, 12, kIn, Needs::Disc, Read},
    {0xAA, 12, kOut, Needs::Disc, Write},
    {0xAC, 12, kIn, Needs::Attention, GetPerformance},
    {0xAD, 12, kIn, Needs::Disc, ReadDiscStructure},
    {0xB6, 12, kOut, Needs::Attention, SetStreaming},
    {0xB9, 12, kIn, Needs::Disc, ReadCd},
    {0xBB, 12, kNone, Needs::Attention, SetCdSpeed},
    {0xBD, 12, kIn, Needs::Nothing, MechanismStatus},
    {0xBE, 12, kIn, Needs::Disc, ReadCd},
    {0xBF, 12, kOut, Needs::Disc, SendDiscStructure},
};

constexpr std::uint8_t kNoRow = 255;

constexpr std::array<std::uint8_t, 256> kRowOf = [] {
    std::array<std::uint8_t, 256> rows{};
    rows.fill(kNoRow);
    for (std::size_t index = 0; index < std::size(kCommands); ++index)
        rows[kCommands[index].opcode] = static_cast<std::uint8_t>(index);
    return rows;
}();

/// What keeps a ready drive from taking a command.
Refusal Obstacle(SimDrive& drive, Needs needs) {
    if (needs == Needs::Nothing) return {};
    if (drive.running) {
        const std::uint64_t now = drive.nanoseconds(), length = drive.runningUntil - drive.runningSince;
        if (now < drive.runningUntil) {
            Refusal busy = drive.running;
            busy.progress = static_cast<std::uint16_t>((now - drive.runningSince) / kMillisecond * 65535 /
                                                       std::max<std::uint64_t>(length / kMillisecond, 1));
            return busy;
        }
        drive.running = {};
    }
    if (!drive.attentions.empty()) {
        const Refusal attention = drive.attentions.front();
        drive.attentions.pop_front();
        return attention;
    }
    if (needs != Needs::Disc) return {};
    if (drive.isTrayOpen) return kTrayOpen;
    return drive.disc == nullptr ? kNoDisc : Refusal{};
}

Refusal Carry(SimDrive& drive, const PassThrough& command, Request& request) {
    const std::uint8_t index = kRowOf[request.cdb[0]];
    const std::vector<std::uint8_t>& refused = drive.faults.refusedOpcodes;
    if (index == kNoRow || std::ranges::find(refused, request.cdb[0]) != refused.end()) return kInvalidOpcode;
    const CommandRow& row = kCommands[index];
    if (command.cdb.size() < row.cdbBytes) return kInvalidField;
    if (const Refusal obstacle = Obstacle(drive, row.needs)) return obstacle;
    if (row.needs == Needs::Disc)
        if (const Refusal busy = BusyAnswer(drive)) return busy;
    if (command.dataBytes > 0 && command.direction != row.direction) return kDataPhase;
    return row.handle(drive, request);
}

/// Fixed-format sense data (SPC-4 4.5.3).
std::array<std::uint8_t, 18> SenseBytes(const Refusal& refusal) {
    std::array<std::uint8_t, 18> bytes{0x70, 0, refusal.key, 0, 0, 0, 0, 10};
    bytes[12] = refusal.code;
    bytes[13] = refusal.qualifier;
    if (refusal.progress) {
        bytes[15] = 0x80;
        bytes[16] = static_cast<std::uint8_t>(*refusal.progress >> 8);
        bytes[17] = static_cast<std::uint8_t>(*refusal.progress);
    }
    return bytes;
}

}  // namespace

SystemError Execute(SimDrive& drive, PassThrough& command) {
    if (FailsInTransport(drive)) {
        command.dataBytes = 0;
        return kDeviceFailed;
    }
    Request request;
    const std::size_t cdbBytes = std::min(command.cdb.size(), request.cdb.size());
    if (cdbBytes > 0) std::memcpy(request.cdb.data(), command.cdb.data(), cdbBytes);
    if (command.data != nullptr) request.data = {command.data, command.dataBytes};
    constexpr std::uint8_t kRequestSense = 0x03;
    if (request.cdb[0] != kRequestSense) drive.last = {};
    const Refusal refusal = Carry(drive, command, request);
    command.dataBytes = request.transferred;
    command.scsiStatus = refusal ? 2 : 0;  // CHECK CONDITION
    if (!refusal) return {};
    // Sense data that went over with the status are told (SAM-5 5.14.4).
    if (command.sense.empty()) drive.last = refusal;
    const std::array<std::uint8_t, 18> sense = SenseBytes(refusal);
    std::ranges::copy(std::as_bytes(std::span(sense)).first(std::min(sense.size(), command.sense.size())),
                      command.sense.begin());
    return {};
}

Refusal Answer(Request& request, const Reply& reply, std::uint32_t allocatedBytes) {
    const std::size_t count = std::min({reply.size(), std::size_t{allocatedBytes}, request.data.size()});
    std::ranges::copy(std::as_bytes(std::span(reply.bytes)).first(count), request.data.begin());
    request.transferred = static_cast<std::uint32_t>(count);
    return {};
}

Refusal Keep(SimDrive& drive) {
    // What a test write changed is never kept.
    if (drive.isTestWrite) return {};
    return drive.disc->save().failed() ? kFileFailed : Refusal{};
}

void LoadDisc(SimDrive& drive, std::unique_ptr<Disc> disc) {
    drive.disc = std::move(disc);
    drive.cues.clear();
    drive.isTestWrite = false;
    drive.motion = {};
    drive.position = 0;
    drive.begunCluster.reset();
    drive.backgroundSince = 0;
    drive.running = {};
    drive.mediaEvent = drive.disc != nullptr ? 2 : 3;
    drive.hasFeatureEvent = true;
    if (drive.disc == nullptr) return;
    // A format that ran when the power went is one that was stopped.
    if (drive.state().background == BackgroundFormat::Running) drive.state().background = BackgroundFormat::Stopped;
    drive.attentions.push_back(kDiscChanged);
    ChooseWriteType(drive);
}

Refusal TestUnitReady(SimDrive&, Request&) { return {}; }

Refusal RequestSense(SimDrive& drive, Request& request) {
    if ((request.cdb[1] & 1) != 0) return kInvalidField;  // sense data with descriptors
    Refusal refusal = std::exchange(drive.last, {});
    if (!refusal) refusal = Obstacle(drive, Needs::Attention);
    if (!refusal && drive.disc != nullptr && drive.state().background == BackgroundFormat::Running) {
        AdvanceBackground(drive);
        refusal.code = kFormatRunning.code;  // with key 0: only tells how far it is (MMC-6 6.24.2.3)
        refusal.qualifier = kFormatRunning.qualifier;
        refusal.progress = static_cast<std::uint16_t>(std::uint64_t{drive.state().backgroundBlocks} * 65535 /
                                                      std::max(drive.state().formattedBlocks, 1u));
    }
    Reply reply;
    for (const std::uint8_t byte : SenseBytes(refusal)) reply.put(1, byte);
    return Answer(request, reply, request.cdb[4]);
}

Refusal Inquiry(SimDrive& drive, Request& request) {
    const std::uint32_t allocated = request.be(3, 2);
    if ((request.cdb[1] & 1) != 0 || request.cdb[2] != 0) return kInvalidField;
    Reply reply;
    // No version: one of SPC would oblige to pages of vital product data and REPORT LUNS (SPC-4 6.4.2).
    reply.put(1, 5).put(1, 0x80).put(1, 0).put(1, 2).put(1, 31).put(3, 0);
    const auto putText = [&](const std::string& text, std::size_t width) {
        for (std::size_t index = 0; index < width; ++index)
            reply.put(1, index < text.size() ? static_cast<std::uint8_t>(text[index]) : std::uint8_t{' '});
    };
    putText(drive.vendor, 8);
    putText(drive.product, 16);
    putText(drive.revision, 4);
    return Answer(request, reply, allocated);
}

namespace {

constexpr std::uint64_t kTrayTime = 2000 * kMillisecond, kStopTime = 2000 * kMillisecond;

/// What is not formatted yet when the disc goes out, stays so.
void StopBackground(SimDrive& drive) {
    AdvanceBackground(drive);
    if (drive.state().background == BackgroundFormat::Running) drive.state().background = BackgroundFormat::Stopped;
}

/// START STOP UNIT that leaves the tray where it is.
Refusal Spin(SimDrive& drive, bool starts, bool immed) {
    if (drive.disc == nullptr || drive.isTrayOpen) return !starts ? Refusal{} : drive.isTrayOpen ? kTrayOpen : kNoDisc;
    if (drive.motion.isSpinning == starts) return {};
    const std::uint64_t time = starts ? TimesOf(drive.rules()).spinUp * kMillisecond : kStopTime;
    Occupy(drive, kBecomingReady, time, immed);
    drive.motion.isSpinning = starts;
    drive.motion.cachedFrom.reset();
    return {};
}

}  // namespace

Refusal StartStopUnit(SimDrive& drive, Request& request) {
    const bool loadsOrEjects = (request.cdb[4] & 2) != 0, starts = (request.cdb[4] & 1) != 0;
    if ((request.cdb[4] & 0xF0) != 0) return {};  // power conditions
    const bool immed = (request.cdb[1] & 1) != 0;
    if (!loadsOrEjects) return Spin(drive, starts, immed);
    if (!starts && drive.preventsRemoval) return kRemovalPrevented;
    if (drive.disc != nullptr) {
        if (const Refusal refusal = Flush(drive)) return refusal;
        Occupy(drive, kOperationRunning, 0, false);
    }
    if (starts == !drive.isTrayOpen) return {};
    if (drive.disc != nullptr && !starts) StopBackground(drive);
    if (!immed) Pause(drive, kTrayTime);
    drive.isTrayOpen = !starts;
    drive.motion = {};
    if (drive.disc != nullptr) {
        drive.mediaEvent = starts ? 2 : 3;
        drive.hasFeatureEvent = true;
        if (starts) LoadDisc(drive, std::move(drive.disc));
        if (starts) Occupy(drive, kBecomingReady, TimesOf(drive.rules()).load * kMillisecond, immed);
        drive.motion.isSpinning = starts;
    }
    return {};
}

Refusal PreventAllow(SimDrive& drive, Request& request) {
    drive.preventsRemoval = (request.cdb[4] & 1) != 0;
    return {};
}

Refusal GetEventStatus(SimDrive& drive, Request& request) {
    constexpr std::uint8_t kOperational = 1, kPower = 2, kMedia = 4, kBusy = 6;
    constexpr std::uint8_t kClasses[] = {kOperational, kPower, kMedia, kBusy};
    constexpr std::uint8_t kSupported = 1 << kOperational | 1 << kPower | 1 << kMedia | 1 << kBusy;
    if ((request.cdb[1] & 1) == 0) return kInvalidField;  // asynchronous events
    const std::uint32_t allocated = request.be(7, 2);
    if (drive.disc != nullptr) AdvanceBackground(drive);
    const std::uint64_t now = drive.nanoseconds(), busyFor = drive.runningUntil > now ? drive.runningUntil - now : 0;
    const bool isBusy = drive.running && busyFor > 0;
    const auto hasEvent = [&](std::uint8_t kind) {
        if (kind == kOperational) return drive.hasFeatureEvent;
        return kind == kMedia ? drive.mediaEvent != 0 : kind == kBusy && isBusy;
    };
    // One class is told: the first that has an event, else the first that was asked for (MMC-6 6.6.2).
    std::uint8_t told = 0;
    for (const std::uint8_t kind : kClasses)
        if ((request.cdb[4] >> kind & 1) != 0 && (told == 0 || (hasEvent(kind) && !hasEvent(told)))) told = kind;
    Reply reply;
    reply.put(2, told == 0 ? 2 : 6).put(1, told == 0 ? 0x80 : told).put(1, kSupported);
    const bool isIn = drive.disc != nullptr && !drive.isTrayOpen;
    if (told == kOperational) reply.put(1, drive.hasFeatureEvent ? 2 : 0).put(1, 0).put(2, drive.hasFeatureEvent);
    if (told == kPower) reply.put(4, 0x00010000);  // active
    if (told == kMedia) reply.put(1, drive.mediaEvent).put(1, (isIn ? 2 : 0) | (drive.isTrayOpen ? 1 : 0)).put(2, 0);
    if (told == kBusy)
        reply.put(1, isBusy).put(1, isBusy).put(
            2, std::min<std::uint64_t>(busyFor / (100 * kMillisecond), 0xFFFF));  // in 100 ms
    // The header alone tells of no event: it stays (MMC-6 6.6.2).
    if (allocated > 4 && told == kOperational) drive.hasFeatureEvent = false;
    if (allocated > 4 && told == kMedia) drive.mediaEvent = 0;
    return Answer(request, reply, allocated);
}

Refusal MechanismStatus(SimDrive& drive, Request& request) {
    Reply reply;
    reply.put(1, 0).put(1, drive.isTrayOpen ? 0x10 : 0).put(3, 0).put(1, 0).put(2, 0);
    return Answer(request, reply, request.be(8, 2));
}

}  // namespace tovlark
