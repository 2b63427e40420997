#include "burn/BurnCd.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/RawSector.h"
#include "base/Sectors.h"
#include "burn/WriteParameters.h"
#include "optical/DiscSummary.h"
#include "optical/DiscTracks.h"
#include "optical/SendCommand.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kPregap = kPregapFrames;

/// What is ahead of the first block was not written.
bool FailAhead(DiscBurn& burn) {
    return burn.isCancelled() ? FailCancelled(burn) : FailAtDrive(burn, BurnPlace::LeadIn);
}

bool HasRoom(DiscBurn& burn) {
    const auto disc = QueryDisc(burn.drive);
    if (!disc) return Fail(burn, TextId::ErrorReadingMedia);
    if (disc->status != DiscStatus::Blank) return Fail(burn, TextId::InsertBlankDisc);
    DriveEntry entry;
    ReadDiscSummary(burn.task.session.texts(), entry, burn.drive, SummaryParts::Everything);
    return entry.freeBlocks >= burn.blocks || FailShort(burn, entry.freeBlocks);
}

/// Blocks are to have 2048 bytes. Some drives say nothing of a disc that is blank.
bool HasUsualBlocks(DiscBurn& burn) {
    constexpr std::uint8_t kUnreadableMedium = 0x30;
    std::array<std::byte, 8> buffer;
    ReplyView reply;
    const bool isTold = ReceiveData(burn.drive, ReadCapacity(), buffer, reply);
    if (isTold ? reply.has(8) && reply.be32(4) == kSectorSize : GetLastSense(burn.drive).code == kUnreadableMedium)
        return true;
    return Fail(burn, TextId::ErrorReadingCapacity);
}

/// Asks whether sub-channels R to W of a lead-in can be written (MMC-6 5.3.24).
bool ReadDriveInformation(DiscBurn& burn, bool& writesCdText) {
    constexpr std::uint16_t kCdMastering = 0x002E;
    constexpr std::size_t kFeature = 8, kFlags = kFeature + 4;
    constexpr unsigned kPacks = 0;
    std::array<std::byte, 16> buffer;
    ReplyView reply;
    if (!ReceiveData(burn.drive, GetConfiguration(FeatureScope::One, kCdMastering, buffer.size()), buffer, reply))
        return Fail(burn, TextId::ErrorReadingDrive);
    writesCdText = reply.be16(kFeature) == kCdMastering && reply.bit(kFlags, kPacks);
    return true;
}

std::optional<Lba> FindLeadIn(Drive drive) {
    const auto atip = ReadAtip(drive);
    if (!atip || atip->leadIn >= Lba{-static_cast<std::int32_t>(kPregap)}) return std::nullopt;
    return atip->leadIn;
}

/// What a drive answers that has not taken a cue sheet, or does not let its lead-in be written.
constexpr Sense kSheetRefusals[] = {SenseOf(0x052600), SenseOf(0x052400)};

void LeaveCdTextOut(DiscBurn& burn) {
    TellNote(burn.task, TextId::CdTextIgnored);
    burn.hasWarnings = true;
}

/// The packs of the disc's texts; none when there are no texts or the drive does not write them.
std::vector<CdTextPack> FindPacks(DiscBurn& burn, const CdTexts& texts, bool writesCdText) {
    if (texts.tracks.empty()) return {};
    auto made = BuildCdText(texts);
    if (!made) {
        LeaveCdTextOut(burn);
        return {};
    }
    for (const CdTextChange& change : made->changes) {
        if (change.written.empty())
            TellNote(burn.task, TextId::CdTextLeftOut, {change.original});
        else
            TellNote(burn.task, TextId::CdTextChanged, {change.original, change.written});
    }
    if (!made->packs.empty() && (!writesCdText || !FindLeadIn(burn.drive))) {
        TellNote(burn.task, TextId::CdTextUnsupported);
        LeaveCdTextOut(burn);
        return {};
    }
    return std::move(made->packs);
}

bool SetMode(DiscBurn& burn, const CdSession& session) {
    const WriteMode mode{.atOnce = true,
                         .leavesOpen = !burn.options.finalises,
                         .simulates = burn.options.simulates,
                         .hasRawBlocks = session.tracks.front().sectorSize != 2048};
    burn.setsParameters = true;
    if (SelectWriteParameters(burn.drive, mode)) return true;
    return FailAtDrive(burn, BurnPlace::WriteParameters);
}

bool SendSheet(DiscBurn& burn, const CdSession& session) {
    const auto sheet = BuildCueSheet(session);
    if (!sheet) return false;
    std::vector<std::byte> bytes(sheet->size());
    std::ranges::copy(std::as_bytes(std::span(*sheet)), bytes.begin());
    const bool isSent = SendData(burn.drive, SendCueSheet(static_cast<std::uint32_t>(bytes.size())), bytes);
    if (isSent || !IsOneOf(GetLastSense(burn.drive), kSheetRefusals)) burn.hasSheet = true;
    return isSent;
}

/// Tells the drive what comes, without CD-Text if it takes the sheet no other way: the packs are gone then.
bool Announce(DiscBurn& burn, CdSession& session, std::vector<CdTextPack>& packs) {
    session.hasCdText = !packs.empty();
    if (!BuildCueSheet(session)) return Fail(burn, TextId::CdTracksRefused);
    if (!SetMode(burn, session)) return false;
    if (SendSheet(burn, session)) return true;
    if (!packs.empty() && IsOneOf(GetLastSense(burn.drive), kSheetRefusals)) {
        TellNote(burn.task, TextId::CdTextUnsupported);
        LeaveCdTextOut(burn);
        packs.clear();
        session.hasCdText = false;
        if (SendSheet(burn, session)) return true;
    }
    return FailAtDrive(burn, BurnPlace::CueSheet);
}

/// A drive that does not let the lead-in be written goes on without CD-Text, which its cue sheet has to say: one that
/// has kept the former sheet refuses what comes next.
bool GoOnWithoutLeadIn(DiscBurn& burn, CdSession& session) {
    LeaveCdTextOut(burn);
    session.hasCdText = false;
    static_cast<void>(SendSheet(burn, session));
    return true;
}

bool WriteLeadIn(DiscBurn& burn, CdSession& session, std::span<const CdTextPack> packs) {
    constexpr std::uint32_t kChunk = 32;
    TellNote(burn.task, burn.options.simulates ? TextId::SimulatingCdText : TextId::WritingCdText);
    const std::int32_t begin = static_cast<std::int32_t>(*FindLeadIn(burn.drive));
    const auto sectors = static_cast<std::uint32_t>(-static_cast<std::int32_t>(kPregap) - begin);
    std::vector<std::byte> chunk;
    for (std::uint32_t done = 0; done < sectors;) {
        if (burn.isCancelled()) return FailAhead(burn);
        const std::uint32_t count = std::min(kChunk, sectors - done);
        chunk.clear();
        for (std::uint32_t index = 0; index < count; ++index)
            std::ranges::transform(CdTextSector(packs, done + index), std::back_inserter(chunk),
                                   [](std::uint8_t symbol) { return std::byte{symbol}; });
        if (!WriteBlocks(burn.drive, Lba{begin + static_cast<std::int32_t>(done)}, chunk, kCdTextSectorBytes,
                         burn.untilCancelled())) {
            if (IsOneOf(GetLastSense(burn.drive), kSheetRefusals)) return GoOnWithoutLeadIn(burn, session);
            burn.isAhead = true;
            return FailAhead(burn);
        }
        burn.isAhead = true;
        done += count;
    }
    return true;
}

bool WritePregap(DiscBurn& burn, const CdTrack& track) {
    constexpr std::uint32_t kChunk = 15;
    static_assert(kPregap % kChunk == 0);
    std::vector<std::byte> chunk(std::size_t{kChunk} * track.sectorSize);
    for (std::uint32_t done = 0; done < kPregap; done += kChunk) {
        const std::int32_t first = static_cast<std::int32_t>(done) - static_cast<std::int32_t>(kPregap);
        MakeEmptySectors(chunk, first, track.wholeMode());
        burn.isAhead = true;
        if (!WriteBlocks(burn.drive, Lba{first}, chunk, track.sectorSize, burn.untilCancelled()))
            return FailAhead(burn);
    }
    return true;
}

}  // namespace

CdContent OneDataTrack(std::uint32_t sectors) {
    return {.session = {.tracks = {{.type = TrackType::Mode1, .pregap = kPregap, .sectors = sectors}}}, .texts = {}};
}

void PadLastTrack(DiscBurn& burn, CdSession& session) {
    CdTrack& last = session.tracks.back();
    const std::uint32_t sectors = burn.blocks;
    burn.blocks += last.sectors < kLeastTrackSectors ? kLeastTrackSectors - last.sectors : 0;
    burn.blocks = (burn.blocks + burn.chunk() - 1) / burn.chunk() * burn.chunk();
    last.sectors += burn.blocks - sectors;
}

std::vector<std::uint32_t> TrackStarts(const CdSession& session) {
    std::vector<std::uint32_t> starts;
    std::uint32_t end = 0;
    for (const CdTrack& track : session.tracks) {
        starts.push_back(end);
        end += track.pregap + track.sectors - (starts.size() == 1 ? kPregap : 0);
    }
    return starts;
}

std::optional<Atip> ReadAtip(Drive drive) {
    std::array<std::byte, 28> buffer;
    ReplyView reply;
    if (!ReceiveData(drive, ReadToc(TocFormat::Atip, 0, buffer.size()), buffer, reply) || !reply.has(15))
        return std::nullopt;
    const auto at = [&](std::size_t offset) {
        return ToLba({reply.u8(offset), reply.u8(offset + 1), reply.u8(offset + 2)});
    };
    return Atip{at(8), at(12)};
}

bool PrepareCd(DiscBurn& burn, CdContent& content) {
    if (!HasUsualBlocks(burn) || !HasRoom(burn)) return false;
    bool writesCdText = false;
    if (!ReadDriveInformation(burn, writesCdText)) return false;
    CdSession& session = content.session;
    std::vector<CdTextPack> packs = FindPacks(burn, content.texts, writesCdText);
    return Announce(burn, session, packs) && (packs.empty() || WriteLeadIn(burn, session, packs)) &&
           WritePregap(burn, session.tracks.front());
}

}  // namespace tovlark
