#include <algorithm>
#include <array>

#include "burn/DiscBurn.h"
#include "burn/Format.h"
#include "burn/WriteParameters.h"
#include "optical/Commands.h"
#include "optical/DiscSummary.h"
#include "optical/DiscTracks.h"
#include "optical/SendCommand.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kFormatPolls = 600, kRewritableFormatPolls = 7200;

struct KindRow {
    MediaType type;
    BurnKind kind;
};

constexpr KindRow kKinds[] = {{MediaType::CdR, BurnKind::Cd},
                              {MediaType::CdRw, BurnKind::Cd},
                              {MediaType::DvdR, BurnKind::DvdR},
                              {MediaType::DvdRDual, BurnKind::DvdR},
                              {MediaType::DvdRwSequential, BurnKind::DvdRw},
                              {MediaType::DvdRwRestricted, BurnKind::DvdRw},
                              {MediaType::DvdRam, BurnKind::DvdRam},
                              {MediaType::DvdPlusR, BurnKind::DvdPlusR},
                              {MediaType::DvdPlusRDual, BurnKind::DvdPlusR},
                              {MediaType::DvdPlusRw, BurnKind::DvdPlusRw},
                              {MediaType::BdR, BurnKind::BdSequential},
                              {MediaType::BdRDual, BurnKind::BdSequential},
                              {MediaType::BdRTriple, BurnKind::BdSequential},
                              {MediaType::BdRQuad, BurnKind::BdSequential},
                              {MediaType::BdRPseudo, BurnKind::BdPseudo},
                              {MediaType::BdRDualPseudo, BurnKind::BdPseudo},
                              {MediaType::BdRTriplePseudo, BurnKind::BdPseudo},
                              {MediaType::BdRQuadPseudo, BurnKind::BdPseudo},
                              {MediaType::BdRRandom, BurnKind::BdRandom},
                              {MediaType::BdRDualRandom, BurnKind::BdRandom},
                              {MediaType::BdRTripleRandom, BurnKind::BdRandom},
                              {MediaType::BdRQuadRandom, BurnKind::BdRandom},
                              {MediaType::BdRe, BurnKind::BdRe},
                              {MediaType::BdReDual, BurnKind::BdRe},
                              {MediaType::BdReTriple, BurnKind::BdRe},
                              {MediaType::BdReQuad, BurnKind::BdRe}};

/// What the burn does without: told to the log, not to people.
void LogWithout(DiscBurn& burn, TextView step) {
    burn.task.log.append(burn.task.session.texts().format(TextId::PlaceAndCode, {step, GetLastDriveError(burn.drive)}));
}

void LogWithout(DiscBurn& burn, Opcode opcode) { LogWithout(burn, FindCommand(opcode)->name); }

bool IsNextAddressRight(DiscBurn& burn) {
    return CheckNextWritableAddress(burn.task, burn.drive, burn.track, burn.start, burn.blocks);
}

/// The last step before the first write, and the last look at the cancel flag: a track that is reserved stays on the
/// disc.
bool Reserve(DiscBurn& burn) {
    if (burn.isCancelled()) return FailCancelled(burn);
    burn.hasReserved = SendPlain(burn.drive, ReserveTrack(burn.blocks));
    if (!burn.hasReserved) LogWithout(burn, burn.task.session.texts()[TextId::ReserveZone]);
    return true;
}

bool Format(DiscBurn& burn, const FormatRequest& request, std::uint32_t polls) {
    if (!StartFormat(burn.drive, request)) return Fail(burn, TextId::ErrorFormatting);
    if (WaitUntilReady(burn.drive, polls, burn.untilCancelled())) return true;
    if (!burn.isCancelled()) return Fail(burn, TextId::ErrorFormatting);
    TellNote(burn.task, TextId::BurnCanceled);
    TellNote(burn.task, TextId::EraseGoesOn);
    return false;
}

bool PrepareDvdR(DiscBurn& burn) {
    if (!IsNextAddressRight(burn)) return false;
    const WriteMode mode{
        .atOnce = burn.isAtOnce(), .leavesOpen = !burn.options.finalises, .simulates = burn.options.simulates};
    burn.setsParameters = true;
    if (!SelectWriteParameters(burn.drive, mode)) return FailAtDrive(burn, BurnPlace::WriteParameters);
    if (!burn.options.simulates && !SendPlain(burn.drive, SendOpcInformation()))
        LogWithout(burn, Opcode::SendOpcInformation);
    if (!SendTimestamp(burn.drive)) LogWithout(burn, Opcode::SendDiscStructure);
    return Reserve(burn);
}

/// The bordered area of a disc in restricted overwrite is made as large as it has to be.
bool GrowBorder(DiscBurn& burn) {
    std::array<std::byte, 48> buffer;
    ReplyView reply;
    if (!ReceiveData(burn.drive, ReadTrackInformation(TrackAddress::Track, 1, buffer.size()), buffer, reply) ||
        !reply.has(28))
        return Fail(burn, TextId::ErrorReadingTrack);
    const std::uint32_t size = reply.be32(24);
    if (size >= burn.blocks) return true;
    const auto offer = FindFormat(burn.drive, FormatType::kGrowBorder);
    if (!offer) return Fail(burn, TextId::ErrorReadingCapacity);
    const std::uint32_t missing = burn.blocks - size;
    if (offer->blocks < missing) return FailShort(burn, size + offer->blocks);
    return Format(burn, {.format = {FormatType::kGrowBorder, missing / 16 * 16, offer->parameter}},
                  kRewritableFormatPolls);
}

bool PrepareDvdRw(DiscBurn& burn) {
    if (burn.type == MediaType::DvdRwRestricted) return GrowBorder(burn);
    if (burn.options.finalises) return PrepareDvdR(burn);
    if (!IsNextAddressRight(burn)) return false;
    const auto offer = FindFormat(burn.drive, FormatType::kQuickBorder);
    return Format(burn, {.format = {FormatType::kQuickBorder, burn.blocks, offer ? offer->parameter : 0}},
                  kRewritableFormatPolls);
}

/// Most discs come formatted; one that is not takes no block before it is.
bool PrepareDvdRam(DiscBurn& burn) {
    constexpr unsigned kUnformatted = 1;  // of the current capacity, MMC-6 6.23.3.2
    std::array<std::byte, kFormatCapacitiesBytes> buffer;
    ReplyView reply;
    if (!ReceiveData(burn.drive, ReadFormatCapacities(), buffer, reply) || !reply.has(9))
        return Fail(burn, TextId::ErrorReadingCapacity);
    if ((reply.u8(8) & 3) != kUnformatted) return true;
    const auto offer = FindFormat(burn.drive, FormatType::kFull);
    if (!offer) return Fail(burn, TextId::ErrorReadingCapacity);
    return Format(burn, {.format = *offer, .certify = Certify::No}, kRewritableFormatPolls);
}

bool PrepareDvdPlusR(DiscBurn& burn) { return IsNextAddressRight(burn) && Reserve(burn); }

bool PrepareDvdPlusRw(DiscBurn& burn) {
    constexpr std::uint32_t kWholeDisc = 0xFFFFFFFF;  // MMC-6 6.5.4.2.14
    const auto offer = FindFormat(burn.drive, FormatType::kPlusRw);
    if (!offer) return Fail(burn, TextId::ErrorReadingCapacity);
    if (offer->blocks < burn.blocks) return FailShort(burn, offer->blocks);
    TellNote(burn.task, TextId::FormattingDvdPlusRw);
    return Format(burn, {.format = {FormatType::kPlusRw, kWholeDisc, offer->parameter}}, kFormatPolls);
}

bool PrepareBdSequential(DiscBurn& burn) { return IsNextAddressRight(burn); }

bool PrepareBdPseudo(DiscBurn& burn) {
    return CheckNextWritableAddress(burn.task, burn.drive, static_cast<std::uint32_t>(burn.start), burn.start,
                                    burn.blocks, TrackAddress::Block);
}

bool PrepareBdRe(DiscBurn& burn) {
    const auto disc = QueryDisc(burn.drive);
    if (!disc) return Fail(burn, TextId::ErrorReadingMedia);
    if (disc->status != DiscStatus::Blank) {  // it is formatted
        const auto blocks = ReadDiscBlocks(burn.drive);
        if (!blocks) return Fail(burn, TextId::ErrorReadingCapacity);
        return *blocks >= burn.blocks || FailShort(burn, *blocks);
    }
    const auto found = FindBdReFormat(burn.drive);
    if (!found) return Fail(burn, TextId::ErrorReadingCapacity);
    if (found->format.blocks < burn.blocks) return FailShort(burn, found->format.blocks);
    const std::uint8_t subType =
        found->format.type == FormatType::kBdReSpares ? BdReSubType::kNoCertification : std::uint8_t{0};
    return Format(burn, {.format = found->format, .subType = subType}, kFormatPolls);
}

struct PreparationRow {
    BurnKind kind;
    bool (*prepare)(DiscBurn& burn);
};

constexpr PreparationRow kPreparations[] = {
    {BurnKind::DvdR, PrepareDvdR},           {BurnKind::DvdRw, PrepareDvdRw},
    {BurnKind::DvdRam, PrepareDvdRam},       {BurnKind::DvdPlusR, PrepareDvdPlusR},
    {BurnKind::DvdPlusRw, PrepareDvdPlusRw}, {BurnKind::BdSequential, PrepareBdSequential},
    {BurnKind::BdPseudo, PrepareBdPseudo},   {BurnKind::BdRe, PrepareBdRe},
};  // CDs follow a cue sheet

}  // namespace

BurnKind BurnKindOf(MediaType type) {
    const auto row = std::ranges::find(kKinds, type, &KindRow::type);
    return row == std::end(kKinds) ? BurnKind::None : row->kind;
}

bool PrepareMedia(DiscBurn& burn) {
    const auto row = std::ranges::find(kPreparations, burn.kind(), &PreparationRow::kind);
    if (row != std::end(kPreparations)) return row->prepare(burn);
    return Fail(burn, TextId::ErrorReadingMedia);
}

}  // namespace tovlark
