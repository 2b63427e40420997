#include <algorithm>
#include <array>
#include <vector>

#include "base/Sectors.h"
#include "burn/BurnCd.h"
#include "burn/BurnImage.h"
#include "burn/Erase.h"
#include "burn/Format.h"
#include "optical/DiscSummary.h"
#include "optical/DiscTracks.h"
#include "optical/SendCommand.h"

namespace tovlark {

namespace {

/// A disc that can be written anywhere holds something when its first blocks do.
DiscStatus StatusOfOverwritable(Drive drive) {
    constexpr std::uint16_t kLooked = 32;
    std::vector<std::byte> buffer(kLooked * std::size_t{kSectorSize});
    ReplyView reply;
    if (!ReceiveData(drive, Read10(Lba{0}, kLooked), buffer, reply)) return DiscStatus::Blank;  // never written
    const bool isEmpty = std::ranges::all_of(reply.bytes(), [](std::byte byte) { return byte == std::byte{0}; });
    return isEmpty ? DiscStatus::Blank : DiscStatus::Complete;
}

/// How full the disc is, as far as writing from its first block goes; nothing when the drive does not tell. On a disc
/// that takes more, the burn goes to the track that is written next.
std::optional<DiscStatus> StatusOf(DiscBurn& burn) {
    const BurnKind kind = burn.kind();
    if (kind == BurnKind::DvdRam || kind == BurnKind::DvdPlusRw || kind == BurnKind::BdRe ||
        burn.type == MediaType::DvdRwRestricted)
        return StatusOfOverwritable(burn.drive);
    const auto disc = QueryDisc(burn.drive);
    if (!disc || disc->status == DiscStatus::Random) return std::nullopt;
    if (disc->status == DiscStatus::Appendable) burn.track = static_cast<std::uint16_t>(disc->lastTrack);
    return disc->status;
}

/// True when the drive can write such a disc with the laser off.
bool CanTestWrite(const DiscBurn& burn) {
    constexpr std::uint16_t kCdMastering = 0x002E, kDvdWrite = 0x002F;
    constexpr std::size_t kFeature = 8, kFlags = kFeature + 4;
    constexpr unsigned kTestWrite = 2;
    const std::uint16_t feature = burn.kind() == BurnKind::Cd ? kCdMastering : kDvdWrite;
    std::array<std::byte, 16> buffer;
    ReplyView reply;
    return ReceiveData(burn.drive, GetConfiguration(FeatureScope::One, feature, buffer.size()), buffer, reply) &&
           reply.be16(kFeature) == feature && reply.bit(kFlags, kTestWrite);
}

bool MaySimulate(DiscBurn& burn, const Text& name) {
    const BurnKind kind = burn.kind();
    const bool staysOpen = burn.type == MediaType::DvdRwRestricted || !burn.options.finalises;
    if (kind == BurnKind::DvdRw && staysOpen)
        return Fail(burn, TextId::MediaSimulationRefused, {burn.task.session.texts()[TextId::DvdRwMultisession]});
    if (kind != BurnKind::Cd && kind != BurnKind::DvdR && kind != BurnKind::DvdRw)
        return Fail(burn, TextId::MediaSimulationRefused, {name});
    return CanTestWrite(burn) || Fail(burn, TextId::SimulationRefused);
}

/// Blocks that a rewritable disc has at most when it is erased, where that can be told before.
std::optional<std::uint32_t> BlocksOnceErased(const DiscBurn& burn, const DriveEntry& entry) {
    if (burn.type == MediaType::CdRw)
        if (const auto atip = ReadAtip(burn.drive); atip && atip->leadOut > Lba{0})
            return static_cast<std::uint32_t>(atip->leadOut);
    if (burn.kind() == BurnKind::DvdRw)
        if (const auto offer = FindFormat(burn.drive, FormatType::kFull)) return offer->blocks;
    if (burn.kind() == BurnKind::DvdRam) return entry.totalBlocks;
    if (burn.kind() == BurnKind::DvdPlusRw)
        if (const auto offer = FindFormat(burn.drive, FormatType::kPlusRw)) return offer->blocks;
    if (burn.kind() == BurnKind::BdRe)
        if (const auto found = FindBdReFormat(burn.drive)) return found->format.blocks;
    return std::nullopt;
}

/// True once the disc was erased.
bool ErasesDisc(DiscBurn& burn) {
    static constexpr PromptRow kErase{TextId::EraseItNow, Answer::Yes | Answer::No, Answer::No};
    TellNote(burn.task, TextId::DiscNotEmpty);
    TellNote(burn.task, TextId::AllDataErased);
    if (burn.task.session.prompt(kErase) != Answer::Yes) return Fail(burn, TextId::BurnCanceled);
    if (EraseDisc(burn.task, {.drive = burn.drive}) != Status::Ok) return false;
    burn.type = DetectMediaType(burn.drive);
    burn.track = 1;
    return true;
}

bool IsEmpty(DiscBurn& burn) {
    const auto status = StatusOf(burn);
    if (!status) return Fail(burn, TextId::BlankCheckFailed);
    if (status == DiscStatus::Blank) return true;
    // What can be erased is not appended to: an image that is laid out for the start of a disc belongs there.
    if (EraseKindOf(burn.type)) return ErasesDisc(burn);
    return status == DiscStatus::Appendable || Fail(burn, TextId::InsertBlankDisc);
}

}  // namespace

bool CheckDisc(DiscBurn& burn, const BurnRequest& request) {
    if (!WaitForDisc(burn.task, burn.drive)) return false;
    DriveEntry entry;
    ReadDiscSummary(burn.task.session.texts(), entry, burn.drive, SummaryParts::Everything);
    burn.type = entry.mediaType;
    const Text name = MediaTypeName(burn.task.session.texts(), burn.type);
    if (burn.type == MediaType::None) return Fail(burn, TextId::MediaDetectFailed);
    if (burn.kind() == BurnKind::None) return Fail(burn, TextId::InsertBlankDisc);
    if (burn.type == MediaType::DvdRDual && !burn.options.finalises) return Fail(burn, TextId::DualLayerUnfinalized);
    if (burn.kind() == BurnKind::BdRandom) return Fail(burn, TextId::RandomModeRefused, {name});
    if (burn.options.simulates && !MaySimulate(burn, name)) return false;
    const SectorSource& source = request.source;
    const bool needsCd = source.sectorSize != kSectorSize || (request.cd && request.cd->session.tracks.size() > 1);
    if (needsCd && burn.kind() != BurnKind::Cd) return Fail(burn, TextId::OnlyForCd);
    burn.blocks = (source.sectorCount + burn.chunk() - 1) / burn.chunk() * burn.chunk();
    if (const auto room = BlocksOnceErased(burn, entry); room && *room < burn.blocks) return FailShort(burn, *room);
    return IsEmpty(burn);
}

}  // namespace tovlark
