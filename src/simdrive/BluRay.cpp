#include "simdrive/BluRay.h"

#include <algorithm>
#include <string_view>

namespace tovlark {

namespace {

constexpr std::uint32_t kCluster = 32;
constexpr Refusal kCannotFormat{5, 0x30, 0x06};

/// The share of a disc that so many clusters are on one of 25 GB.
constexpr std::uint32_t Share(std::uint32_t blocks, std::uint64_t clusters) {
    constexpr std::uint64_t kClusters = 381856;
    return static_cast<std::uint32_t>(blocks / kCluster * clusters / kClusters) * kCluster;
}
static_assert(12219392 - Share(12219392, 12288) == 11826176 && 24438784 - Share(24438784, 12288) == 23652352);

bool IsRewritable(const MediumRules& rules) { return rules.profile == 0x0043; }

Medium Variant(const MediumRules& rules, unsigned mode) {
    const auto first = rules.isRandomBdR() ? 2u : rules.hasPseudoOverwrite() ? 1u : 0u;
    return static_cast<Medium>(static_cast<unsigned>(rules.medium) - first + mode);
}

/// The user data that a format leaves; 0 when it asks for what cannot be.
std::uint32_t UserBlocks(const DiscState& state, const BdFormat& format) {
    const std::uint32_t all = state.blocks / kCluster * kCluster;
    if (format.type == 0x00) return state.formattedBlocks > 0 ? state.formattedBlocks : all - DefaultSpare(all);
    if (format.type == 0x31) return all;
    const std::uint32_t most = all - LeastSpare(all);
    if (format.blocks == 0xFFFFFFFF) return most;
    const std::uint32_t blocks = format.blocks / kCluster * kCluster;
    return blocks <= most && blocks >= all - MostSpare(all) ? blocks : 0;
}

unsigned LayersOf(const DiscState& state) {
    if (state.rules->access != Access::Pressed) return state.rules->layers;
    constexpr std::uint32_t kMost[] = {12219392, 24438784, 48878592};
    unsigned layers = 1;
    for (const std::uint32_t most : kMost) layers += state.blocks > most ? 1 : 0;
    return layers;
}

/// A disc information unit of the first layer (MMC-6 6.22.3.3.1).
void PutDiscInformation(const DiscState& state, Reply& reply) {
    const MediumRules& rules = *state.rules;
    const bool isRom = rules.access == Access::Pressed, isRewritable = IsRewritable(rules);
    const std::size_t start = reply.size();
    reply.put(2, 0x4449).put(1, 1).put(1, LayersOf(state) << 3 | 1).put(1, 0).put(1, 0);
    reply.put(1, isRom ? 52 : 98).put(1, 0);
    reply.put(2, 0x4244).put(1, isRom ? 'O' : isRewritable ? 'W' : 'R').put(1, 0x01);
    reply.put(1, LayersOf(state) << 4 | (isRom ? 1 : isRewritable ? 4 : 2));
    reply.bytes.resize(start + 4096);
    if (isRom) return;
    constexpr std::string_view kMaker = "TOVLRKSIM";  // of the disc, and its kind
    std::ranges::copy(kMaker, reply.bytes.begin() + static_cast<std::ptrdiff_t>(start + 100));
}

void PutSpareAreas(const SimDrive& drive, Reply& reply) {
    const DiscState& state = drive.disc->state;
    const auto blocks = [](std::int64_t clusters) { return static_cast<std::uint32_t>(clusters) * kCluster; };
    reply.put(4, 0)
        .put(4, blocks(std::max<std::int64_t>(FreeSpares(drive, state.capacity()), 0)))
        .put(4, blocks(SpareClusters(state)));
}

}  // namespace

std::uint32_t DefaultSpare(std::uint32_t blocks) { return Share(blocks, 12288); }
std::uint32_t LeastSpare(std::uint32_t blocks) { return Share(blocks, 4096); }
std::uint32_t MostSpare(std::uint32_t blocks) { return Share(blocks, 200704); }

void ApplyBdFormat(DiscState& state, std::uint32_t userBlocks) {
    state.formattedBlocks = userBlocks;
    state.tracks = {{.size = userBlocks}};
    if (state.rules->access == Access::Sequential) return;
    state.closedSessions = 1;
    state.tracks[0].state = TrackState::Complete;
    state.tracks[0].next = static_cast<std::int32_t>(userBlocks);
}

Refusal FormatBd(SimDrive& drive, const BdFormat& format) {
    const DiscState& state = drive.state();
    const bool isRewritable = IsRewritable(*state.rules);
    if (!isRewritable && (!state.isBlank() || state.formattedBlocks > 0)) return kCannotFormat;
    const unsigned mode = format.subtype == 0 ? 1 : format.subtype == 1 ? 0 : 2;
    if (!isRewritable && format.subtype == 3) return kInvalidParameter;
    const std::uint32_t blocks = UserBlocks(state, format);
    if (blocks == 0) return kInvalidParameter;
    if (isRewritable)
        if (const Refusal refusal = Wear(drive)) return refusal;
    DiscState fresh = BlankDisc(isRewritable ? *state.rules : *FindRules(Variant(*state.rules, mode)), state.blocks);
    fresh.eraseCycles = state.eraseCycles;
    ApplyBdFormat(fresh, blocks);
    if (const Refusal refusal = StartOver(drive, std::move(fresh))) return refusal;
    constexpr unsigned kFullCertification = 2;
    const bool isFull = isRewritable && format.type != 0x00 && format.subtype == kFullCertification;
    const std::uint64_t quick = TimesOf(drive.rules()).quickErase * kMillisecond;
    Occupy(drive, kFormatRunning, isFull ? CertifyTime(drive) : quick, format.immed);
    return {};
}

Refusal BdFormatCapacities(SimDrive& drive, Request& request) {
    constexpr std::uint32_t kUnformatted = 1, kFormatted = 2;
    const DiscState& state = drive.state();
    const std::uint32_t all = state.blocks / kCluster * kCluster;
    const bool isFormatted = state.formattedBlocks > 0 || (state.rules->formats.empty() || !state.isBlank());
    Reply reply;
    reply.put(4, 0).put(4, isFormatted ? state.capacity() : state.blocks);
    reply.put(1, isFormatted ? kFormatted : kUnformatted).put(3, 2048);
    const bool isRewritable = IsRewritable(*state.rules);
    if (isRewritable || (state.formattedBlocks == 0 && state.isBlank() && !state.rules->formats.empty())) {
        const std::uint32_t usual = state.formattedBlocks > 0 ? state.formattedBlocks : all - DefaultSpare(all);
        reply.put(4, usual).put(1, 0).put(3, 2048);
        const std::uint32_t type = isRewritable ? 0x30 : 0x32;
        for (const std::uint32_t spare : {DefaultSpare(all), MostSpare(all), LeastSpare(all)})
            reply.put(4, all - spare).put(1, type << 2).put(3, spare / kCluster);
        if (isRewritable) reply.put(4, all).put(1, 0x31 << 2).put(3, 2048);
    }
    reply.set(3, 1, reply.size() - 4);
    return Answer(request, reply, request.be(7, 2));
}

Refusal BdDiscStructure(SimDrive& drive, Request& request) {
    constexpr std::uint8_t kBdMedia = 1, kCartridge = 0x09, kSpareAreas = 0x0A, kFormatList = 0xFF;
    const DiscState& state = drive.state();
    const std::uint8_t format = request.cdb[7];
    if ((request.cdb[1] & 15) != kBdMedia) return kInvalidField;
    if (request.cdb[6] >= LayersOf(state)) return kInvalidField;
    const bool isRecordable = state.rules->access != Access::Pressed;
    Reply reply;
    reply.put(4, 0);
    if (format == 0x00)
        PutDiscInformation(state, reply);
    else if (format == kCartridge && isRecordable)
        reply.put(4, 0);
    else if (format == kSpareAreas && isRecordable)
        PutSpareAreas(drive, reply);
    else if (format == kFormatList) {
        reply.put(1, 0).put(1, 0x40).put(2, 4100);
        if (isRecordable) reply.put(1, kCartridge).put(1, 0x40).put(2, 8).put(1, kSpareAreas).put(1, 0x40).put(2, 16);
    } else {
        return kInvalidField;
    }
    reply.set(0, 2, reply.size() - 2);
    return Answer(request, reply, request.be(8, 2));
}

bool VerifiesWrites(const SimDrive& drive, const Request& request) {
    const DiscState& state = drive.disc->state;
    const bool isStreaming = request.cdb[0] == 0xAA && (request.cdb[10] & 0x80) != 0;
    return state.rules->isBd() && !isStreaming && SpareClusters(state) > 0;
}

std::int64_t SpareClusters(const DiscState& state) {
    return std::int64_t{state.blocks / kCluster} - state.capacity() / kCluster;
}

std::int64_t FreeSpares(const SimDrive& drive, std::int64_t end) {
    std::vector<BlockRange> ranges = drive.faults.writeErrors;
    std::ranges::sort(ranges, {}, &BlockRange::first);
    std::int64_t left = SpareClusters(drive.disc->state), next = 0;  // the cluster that was not looked at
    for (const BlockRange& range : ranges) {
        if (range.first >= end) break;
        const std::int64_t first = std::max<std::int64_t>(range.first / kCluster, next);
        next = std::max(next, (std::min<std::int64_t>(range.last, end - 1)) / kCluster + 1);
        left -= std::max<std::int64_t>(next - first, 0);
    }
    return left;
}

Refusal WriteOnce(SimDrive& drive, Request& request, std::int32_t block, std::uint32_t count) {
    const auto first = static_cast<std::uint32_t>(block), end = first + count;
    const std::uint32_t from = first / kCluster + (drive.begunCluster == block ? 1 : 0);
    const std::uint32_t clusters = std::max(from, (end + kCluster - 1) / kCluster) - from;
    bool isRecorded = false;
    if (drive.disc->readRecorded(from, clusters, isRecorded).failed()) return kFileFailed;
    if (isRecorded) return kWrongWriteAddress;
    if (const Refusal refusal = Store(drive, request, drive.state().tracks[0], block, count * 2048)) return refusal;
    if (drive.disc->markRecorded(from, clusters).failed()) return kFileFailed;
    drive.begunCluster.reset();
    if (end % kCluster != 0) drive.begunCluster = static_cast<std::int32_t>(end);
    return {};
}

Refusal WritePseudo(SimDrive& drive, Request& request, std::int32_t block, std::uint32_t count) {
    DiscState& state = drive.state();
    const DiscTrack* track = state.trackOf(block);
    if (track == nullptr || block < 0 || std::int64_t{block} + count > track->next) return kWrongWriteAddress;
    DiscTrack& last = state.tracks.back();
    const std::uint32_t first = static_cast<std::uint32_t>(block) / kCluster;
    const std::uint32_t clusters = (static_cast<std::uint32_t>(block) + count + kCluster - 1) / kCluster - first;
    const std::uint32_t left = last.size - static_cast<std::uint32_t>(last.next - last.first);
    if (last.state == TrackState::Complete || left < clusters * kCluster) return kNoSpareLeft;
    if (const Refusal refusal = Store(drive, request, *track, block, count * 2048)) return refusal;
    last.next += static_cast<std::int32_t>(clusters * kCluster);
    last.state = TrackState::Open;
    return {};
}

}  // namespace tovlark
