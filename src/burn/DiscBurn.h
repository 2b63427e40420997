#pragma once

#include <cstdint>
#include <initializer_list>

#include "app/session/Task.h"
#include "base/Msf.h"
#include "optical/Drive.h"
#include "optical/MediaType.h"
#include "optical/SendCommand.h"

namespace tovlark {

/// How discs are burned.
struct BurnOptions {
    bool finalises = false, simulates = false;
    bool verifies = false;                   // reads the disc back and compares it
    std::uint32_t kbPerSecond = 0xFFFFFFFF;  // of writing; all ones: the greatest speed
    std::uint32_t speedUnit = 0;             // the single speed that it was given in; 0: not given
};

/// Media that are prepared, written and closed alike.
enum class BurnKind : std::uint8_t {
    None,
    Cd,
    DvdR,
    DvdRw,
    DvdRam,
    DvdPlusR,
    DvdPlusRw,
    BdSequential,
    BdPseudo,
    BdRandom,
    BdRe
};

BurnKind BurnKindOf(MediaType type);

/// One disc that is written from its first block on.
struct DiscBurn {
    Task& task;
    Drive drive;
    const BurnOptions& options;
    MediaType type = MediaType::None;
    Lba start{0};
    std::uint32_t blocks = 0;   // to write, filled up to whole chunks
    std::uint32_t written = 0;  // so far
    std::uint8_t fillMode = 0;  // of a CD's sectors that fill up the last chunk; 0: zeros
    std::uint16_t track = 1;
    bool hasWarnings = false;
    bool setsParameters = false;  // the write parameters page was set for this burn
    bool hasSheet = false;        // a CD's cue sheet was sent, or may have been
    bool isAhead = false;         // a CD was written to before block 0
    bool hasTried = false;        // a block was sent, whether it was taken or not
    bool hasReserved = false;     // a track was
    bool wasCancelled = false;    // as `isCancelled` keeps it

    BurnKind kind() const { return BurnKindOf(type); }
    /// Disc-at-once: the drive closes the disc itself.
    bool isAtOnce() const {
        return options.finalises && (kind() == BurnKind::DvdR || type == MediaType::DvdRwSequential);
    }
    /// Blocks that each write has: an ECC block of a DVD, a cluster of a BD.
    std::uint32_t chunk() const { return IsBd(type) ? 32 : 16; }
    /// Whether the user has cancelled. That stays so for this disc: the flag may be taken back, when drives share it.
    bool isCancelled() { return wasCancelled = wasCancelled || task.flags.cancel; }
    /// Lets a wait for the drive end when the burn is cancelled.
    WaitWatcher untilCancelled() {
        return {this, [](void* self) { return !static_cast<DiscBurn*>(self)->isCancelled(); }};
    }
};

/// Steps of a burn, as messages count them.
enum class BurnPlace : std::uint8_t {
    WriteParameters = 1,
    Write = 2,
    Synchronize = 3,
    CloseTrack = 4,
    CloseSession = 5,
    Format = 6,
    CueSheet = 7,
    LeadIn = 8
};

/// Reports the sentence. Always false, so that a check ends with it.
bool Fail(DiscBurn& burn, TextId text, std::initializer_list<FormatArgument> arguments = {});
/// "There are not enough free blocks on media (...)."
bool FailShort(DiscBurn& burn, std::uint32_t available);
/// "The operation has been canceled.", without the error flag.
bool FailCancelled(DiscBurn& burn);
/// "Burning failed (4, 3a5b1c5b).": the step and the drive's last error.
bool FailAtDrive(DiscBurn& burn, BurnPlace place);

/// Checks that the medium takes so many blocks and makes it ready for the first one. False after a message.
[[nodiscard]] bool PrepareMedia(DiscBurn& burn);

/// Polls that closing a disc may take, of about a second each.
constexpr std::uint32_t CloseBudget(MediaType type, std::uint32_t blocks) {
    constexpr std::uint32_t kUsual = 496, kPlusRBlocks = 462304;
    const auto atLeastUsual = [](std::uint32_t polls) { return polls < kUsual ? kUsual : polls; };
    if (IsBd(type)) return 600;
    switch (type) {
        case MediaType::DvdR:
        case MediaType::DvdRwSequential:
        case MediaType::DvdRwRestricted: return 1800;
        case MediaType::DvdRam: return kUsual;
        case MediaType::DvdPlusRDual: return 5400;
        case MediaType::DvdRDual: return 3600;
        case MediaType::DvdPlusRw: return 600;
        case MediaType::DvdPlusR:
            // A short session is filled up to 1 GB.
            return atLeastUsual(((blocks < kPlusRBlocks ? kPlusRBlocks - blocks : 0) + 61440) / 600);
        default: return atLeastUsual(blocks);
    }
}
static_assert(CloseBudget(MediaType::DvdPlusR, 0) == 872 && CloseBudget(MediaType::DvdPlusR, 100000) == 706 &&
              CloseBudget(MediaType::DvdPlusR, 462304) == 496);

/// Has the drive write what it still holds. False after a message.
[[nodiscard]] bool SynchronizeDisc(DiscBurn& burn);
/// Closes track and session, or finalises, as the medium needs it. False after a message.
[[nodiscard]] bool CloseDisc(DiscBurn& burn);
/// After a burn that was broken off: leaves the disc as usable as its kind allows, and says how that is.
void AbandonDisc(DiscBurn& burn);
/// Takes the drive out of the test mode that the burn set.
void RestoreDrive(DiscBurn& burn);

}  // namespace tovlark
