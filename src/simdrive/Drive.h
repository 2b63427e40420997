#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Clock.h"
#include "base/Msf.h"
#include "platform/DiscDevice.h"
#include "simdrive/Disc.h"
#include "simdrive/DriveTime.h"
#include "simdrive/Faults.h"

namespace tovlark {

/// Sense key, additional sense code and qualifier (SPC-4 4.5); key 0: the command went well.
struct Refusal {
    std::uint8_t key = 0, code = 0, qualifier = 0;
    std::optional<std::uint16_t> progress = {};  // of 65536, in the sense-key specific bytes

    explicit operator bool() const { return key != 0; }
};

inline constexpr Refusal kNoDisc{2, 0x3A, 0x01}, kTrayOpen{2, 0x3A, 0x02}, kFormatRunning{2, 0x04, 0x04},
    kBecomingReady{2, 0x04, 0x01}, kOperationRunning{2, 0x04, 0x07}, kLongWrite{2, 0x04, 0x08},
    kNotFormatted{3, 0x31, 0x00}, kReadError{3, 0x11, 0x00}, kNoSpareLeft{3, 0x32, 0x00}, kUnreadable{3, 0x11, 0x05},
    kFileFailed{4, 0x44, 0x00}, kInvalidOpcode{5, 0x20, 0x00}, kBlockOutOfRange{5, 0x21, 0x00},
    kWrongWriteAddress{5, 0x21, 0x02}, kInvalidField{5, 0x24, 0x00}, kListTooShort{5, 0x1A, 0x00},
    kInvalidParameter{5, 0x26, 0x00}, kSequence{5, 0x2C, 0x00}, kSavingUnsupported{5, 0x39, 0x00},
    kUnsuitableFormat{5, 0x30, 0x05}, kUnsuitableMedium{5, 0x30, 0x02}, kRemovalPrevented{5, 0x53, 0x02},
    kEndOfTrack{5, 0x63, 0x00}, kWrongTrackMode{5, 0x64, 0x00}, kSessionIncomplete{5, 0x72, 0x03},
    kDiscChanged{6, 0x28, 0x00}, kDataPhase{11, 0x4B, 0x00};

/// One command that is carried out.
struct Request {
    std::array<std::uint8_t, 16> cdb{};
    std::span<std::byte> data;      // of the caller
    std::uint32_t transferred = 0;  // bytes of it that went over

    std::uint32_t be(std::size_t offset, std::size_t count) const {
        std::uint32_t value = 0;
        for (std::size_t index = 0; index < count; ++index) value = value << 8 | cdb[offset + index];
        return value;
    }
    std::uint8_t dataAt(std::size_t offset) const { return std::to_integer<std::uint8_t>(data[offset]); }
    std::uint32_t dataBe(std::size_t offset, std::size_t count) const {
        std::uint32_t value = 0;
        for (std::size_t index = 0; index < count; ++index) value = value << 8 | dataAt(offset + index);
        return value;
    }
};

/// Bytes of an answer, big-endian.
struct Reply {
    std::vector<std::uint8_t> bytes;

    Reply& put(std::size_t count, std::uint64_t value) {
        while (count-- > 0)
            bytes.push_back(count < 8 ? static_cast<std::uint8_t>(value >> (8 * count)) : std::uint8_t{0});
        return *this;
    }
    void set(std::size_t offset, std::size_t count, std::uint64_t value) {
        while (count-- > 0) bytes[offset++] = static_cast<std::uint8_t>(value >> (8 * count));
    }
    std::size_t size() const { return bytes.size(); }
};

/// Part of a disc that a cue sheet announces.
struct CueRegion {
    std::uint8_t track = 0, index = 0, control = 0, mode = 0;
    std::uint16_t blockBytes = 0;  // 0: made by the drive
    bool hasSubchannel = false;    // the host sends 96 bytes of R to W with each block
    std::int32_t first = 0, end = 0;

    std::uint32_t hostBytes() const { return blockBytes + (hasSubchannel ? kSubchannelBytes : 0); }
};

/// Mode page 05h where it decides something (MMC-6 7.5.4).
struct WriteParameters {
    std::uint8_t type, trackMode, blockType;
    bool isTest, leavesOpen;
    bool isGapFree;  // BUFE: the drive goes on without a gap when its buffer ran empty
};

/// Takes the packs of CD-Text out of what is written into a lead-in, where they are repeated.
class CdTextReader {
public:
    /// 96 bytes of sub-channels R to W.
    void add(std::span<const std::byte> block);
    /// Every pack once.
    std::vector<std::uint8_t> packs;

private:
    bool isWhole_ = false;
};

/// A page of the drive's mode parameters, with the bits that may be changed.
struct ModePage {
    std::uint8_t code;
    std::vector<std::uint8_t> current, standard, changeable;
};

/// A drive: what is in it and what it is doing. The clock outlives it.
struct SimDrive {
    const Clock* clock = nullptr;
    bool isRealTime = false;  // else everything is done at once
    std::string vendor = "TOVLARK", product = "SIMULATED DRIVE", revision = "1.00";

    std::unique_ptr<Disc> disc;  // null: none
    bool isTrayOpen = false, preventsRemoval = false;
    std::deque<Refusal> attentions;
    Refusal last;                  // for REQUEST SENSE
    std::uint8_t mediaEvent = 0;   // MMC-6 6.6.3.5: 2 new media, 3 removal, 5 format completed
    bool hasFeatureEvent = false;  // other features are current than the host was told of
    std::vector<ModePage> pages;
    std::uint16_t readSpeed = 0, writeSpeed = 0;  // 1000 bytes a second; 0: the greatest

    DriveFaults faults;
    FaultCounts counts;
    void* power = nullptr;  // of `losePower`, which ends the process; null: the power never goes
    void (*losePower)(void* power) = nullptr;

    Refusal running;                                   // an operation that goes on after its command ended
    std::uint64_t runningSince = 0, runningUntil = 0;  // nanoseconds
    std::uint64_t backgroundSince = 0;                 // the same
    Motion motion;
    std::uint32_t underruns = 0;  // how often the buffer ran empty in the middle of a write

    std::vector<CueRegion> cues;  // a lead-in that the host writes comes first, as track 0
    std::int32_t cueNext = 0;
    CdTextReader cueText;
    std::int32_t position = 0;  // block that was read last
    // In random recording mode: where the cluster goes on that was begun and waits in the buffer.
    std::optional<std::int32_t> begunCluster;
    bool isTestWrite = false;  // what is being written does not stay
    DiscState beforeWrite;     // of a test, or of a session with a cue sheet: to go back to

    std::uint64_t nanoseconds() const { return clock->milliseconds(clock->self) * kMillisecond; }
    DiscState& state() { return disc->state; }
    const MediumRules& rules() const { return *disc->state.rules; }
};

using Handler = Refusal (*)(SimDrive& drive, Request& request);

/// Puts a disc in; takes it out again with null.
void LoadDisc(SimDrive& drive, std::unique_ptr<Disc> disc);
/// Carries out a command with everything that goes before and after it.
SystemError Execute(SimDrive& drive, PassThrough& command);

/// Sends the first bytes of an answer, as many as were asked for.
Refusal Answer(Request& request, const Reply& reply, std::uint32_t allocatedBytes);
/// Keeps the disc's state; `kFileFailed` when the file cannot be written.
Refusal Keep(SimDrive& drive);

void ResetModePages(SimDrive& drive);
void ChooseWriteType(SimDrive& drive);
WriteParameters CurrentWriteParameters(const SimDrive& drive);
/// 1000 bytes a second.
std::uint32_t ReadSpeedOf(const SimDrive& drive);
std::uint32_t WriteSpeedOf(const SimDrive& drive);
/// Lasts longer than hosts wait with a full buffer, 100 ms, at every speed.
inline constexpr std::uint32_t kBufferBytes = 8 << 20;

/// Ends what is being written: tracks of a packet are filled up, disc-at-once is closed.
Refusal Flush(SimDrive& drive);
/// Closes a track, and a session, as their commands and disc-at-once do.
void CloseTrack(DiscState& state, DiscTrack& track);
void CloseSession(DiscState& state, bool isFinal);
/// From here on nothing that is written stays, until `Flush`.
void BeginTest(SimDrive& drive);
/// Forgets a test, or the session of a cue sheet: the disc is what it was before.
void DropWrite(SimDrive& drive);
/// The lead-in of a cue sheet's session comes first: until the session is whole, the disc tells of tracks that are not
/// there, and takes no more.
Refusal SpoilDisc(SimDrive& drive);
/// Whether the session of a cue sheet waits for its first block.
bool IsCueUnwritten(const SimDrive& drive);
/// Where the next session's lead-in begins on a CD.
std::int32_t LeadInStart(const DiscState& state);
/// The invisible track that comes behind what is recorded, if there is room for one.
void AppendInvisible(DiscState& state, std::uint8_t session, std::int64_t first, std::uint32_t pregap);
bool IsInvisible(const DiscTrack& track);

/// Q channel of a block (ECMA-130 22.3), with its CRC.
std::array<std::uint8_t, 12> QChannel(const DiscState& state, const DiscTrack& track, std::int32_t block);
/// Channels P to W of a block as 96 bytes, a bit of each channel in every one; `user` has those from R on.
void PutSubchannels(const DiscState& state, const DiscTrack& track, std::int32_t block,
                    std::span<std::byte, kSubchannelBytes> user);

/// Writes a part of a session that a cue sheet announced.
Refusal WriteCueRegion(SimDrive& drive, Request& request, std::int32_t block, std::uint32_t count);
/// Puts data of the host on the disc, as blocks of a track.
Refusal Store(SimDrive& drive, Request& request, const DiscTrack& track, std::int32_t block, std::uint32_t bytes);
/// Erasing and formatting wear a disc out.
Refusal Wear(SimDrive& drive);
/// Takes over a state without data: kept first, so that no end of the process leaves data that are gone half.
Refusal StartOver(SimDrive& drive, DiscState state);
/// A background format goes on.
void AdvanceBackground(SimDrive& drive);

// Handlers, a file for each group.
Refusal TestUnitReady(SimDrive&, Request&);
Refusal RequestSense(SimDrive&, Request&);
Refusal Inquiry(SimDrive&, Request&);
Refusal StartStopUnit(SimDrive&, Request&);
Refusal PreventAllow(SimDrive&, Request&);
Refusal GetEventStatus(SimDrive&, Request&);
Refusal MechanismStatus(SimDrive&, Request&);
Refusal GetConfiguration(SimDrive&, Request&);
Refusal ModeSense(SimDrive&, Request&);
Refusal ModeSelect(SimDrive&, Request&);
Refusal GetPerformance(SimDrive&, Request&);
Refusal SetStreaming(SimDrive&, Request&);
Refusal SetCdSpeed(SimDrive&, Request&);
Refusal ReadBufferCapacity(SimDrive&, Request&);
Refusal ReadFormatCapacities(SimDrive&, Request&);
Refusal ReadCapacity(SimDrive&, Request&);
Refusal ReadToc(SimDrive&, Request&);
Refusal ReadDiscInformation(SimDrive&, Request&);
Refusal ReadTrackInformation(SimDrive&, Request&);
Refusal ReadDiscStructure(SimDrive&, Request&);
Refusal SendDiscStructure(SimDrive&, Request&);
Refusal ReadSubChannel(SimDrive&, Request&);
Refusal Read(SimDrive&, Request&);
Refusal ReadCd(SimDrive&, Request&);
Refusal Write(SimDrive&, Request&);
Refusal Verify(SimDrive&, Request&);
Refusal SynchronizeCache(SimDrive&, Request&);
Refusal ReserveTrack(SimDrive&, Request&);
Refusal SendOpc(SimDrive&, Request&);
Refusal CloseTrackSession(SimDrive&, Request&);
Refusal SendCueSheet(SimDrive&, Request&);
Refusal Blank(SimDrive&, Request&);
Refusal FormatUnit(SimDrive&, Request&);

}  // namespace tovlark
