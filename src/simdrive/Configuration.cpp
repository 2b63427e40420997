// What the drive is and how it is set: features, mode pages, speeds.
#include <algorithm>

#include "simdrive/BluRay.h"
#include "simdrive/Drive.h"

namespace tovlark {

namespace {

/// A feature of MMC-6 5.3; its data are `bytes`, changed by `Fill` where they depend on the disc.
struct Feature {
    std::uint16_t code;
    std::uint8_t version;
    bool isPersistent;  // current whatever is loaded
    std::vector<std::uint8_t> bytes;
};

const std::vector<Feature>& Features() {
    static const std::vector<Feature> features{
        {0x0000, 0, true, {}},                                      // profile list
        {0x0001, 2, true, {0, 0, 0, 7, 1, 0, 0, 0}},                // core: serial ATAPI, device busy events
        {0x0002, 1, true, {2, 0, 0, 0}},                            // morphing: operational change events
        {0x0003, 1, true, {0x29, 0, 0, 0}},                         // removable medium: tray, ejects, locks
        {0x0010, 0, false, {0, 0, 8, 0, 0, 1, 1, 0}},               // random readable
        {0x001D, 0, false, {}},                                     // multi-read
        {0x001E, 2, false, {3, 0, 0, 0}},                           // CD read: CD-Text, C2 pointers
        {0x001F, 1, false, {1, 0, 1, 0}},                           // DVD read
        {0x0020, 1, false, {0, 0, 0, 0, 0, 0, 8, 0, 0, 16, 1, 0}},  // random writable
        {0x0021, 1, false, {1, 0, 1, 1, 16, 0, 0, 0}},              // incremental: blocks of type 8, linked by 16
        {0x0023, 1, false, {0x0B, 0, 0, 0, 1, 0, 0, 0}},            // formattable: BD-RE without spares, certified; RRM
        {0x0024, 0, false, {0, 0, 0, 0}},                           // defect management
        {0x0025, 0, false, {0, 0, 8, 0, 0, 32, 1, 0}},              // write once, in clusters of 32
        {0x002A, 0, false, {1, 0, 0, 0}},                           // DVD+RW
        {0x002B, 0, false, {1, 0, 0, 0}},                           // DVD+R
        {0x002C, 0, false, {3, 0, 0, 0}},                           // rigid overwrite: intermediate state, blanks
        {0x002D, 2, false, {0x46, 0, 7, 1}},                        // track-at-once: no underruns, tests, CD-RW
        {0x002E, 2, false, {0x67, 0, 0x0C, 0x80}},  // session-at-once: the same, R to W; cue sheets up to 3200 bytes
        {0x002F, 2, false, {0x4E, 0, 0, 0}},        // DVD-R: no underruns, DL, tests, DVD-RW
        {0x0037, 0, false, {0, 0xFF, 0, 0}},        // CD-RW of all speeds
        {0x0038, 0, false, {0, 0, 0, 0}},           // BD-R pseudo-overwrite
        {0x003A, 0, false, {1, 0, 0, 0}},           // DVD+RW DL
        {0x003B, 0, false, {1, 0, 0, 0}},           // DVD+R DL
        // BD read and write: every version of the first classes of BD-RE, BD-R and BD-ROM
        {0x0040, 0, false, {0,    0,    0, 0, 0xFF, 0xFE, 0xFF, 0xFE, 0,    0,    0, 0, 0xFF, 0xFE,
                            0xFF, 0xFE, 0, 0, 0,    0,    0xFF, 0xFE, 0xFF, 0xFE, 0, 0, 0,    0}},
        {0x0041, 0, false, {0, 0, 0, 0, 0xFF, 0xFE, 0xFF, 0xFE, 0, 0, 0, 0, 0xFF, 0xFE, 0xFF, 0xFE, 0, 0, 0, 0}},
        {0x0050, 0, false, {1, 0, 1, 0}},    // HD DVD read: -R and -RAM
        {0x0051, 0, false, {1, 0, 1, 0}},    // HD DVD write
        {0x0100, 0, true, {}},               // power management
        {0x0105, 1, true, {0, 0, 0, 0}},     // time-outs
        {0x0107, 4, true, {0x1B, 0, 0, 0}},  // streaming: buffer capacity, speeds, performance, WRITE(12)
    };
    return features;
}

bool IsCurrent(const SimDrive& drive, const Feature& feature) {
    if (feature.isPersistent) return true;
    if (drive.disc == nullptr || drive.isTrayOpen) return false;
    if (feature.code == 0x0021 && drive.disc->state.isQuickBlanked) return false;
    if (feature.code == 0x0024 && drive.rules().profile == 0x0041 && SpareClusters(drive.disc->state) <= 0)
        return false;
    return std::ranges::find(drive.rules().features, feature.code) != drive.rules().features.end();
}

void PutProfiles(const SimDrive& drive, Reply& reply) {
    const auto media = MediaRules();
    for (auto rules = media.begin(); rules != media.end(); ++rules) {
        // Several media share a profile.
        if (std::ranges::find(media.begin(), rules, rules->profile, &MediumRules::profile) != rules) continue;
        const bool isLoaded = drive.disc != nullptr && !drive.isTrayOpen && drive.rules().profile == rules->profile;
        reply.put(2, rules->profile).put(1, isLoaded).put(1, 0);
    }
}

void PutFeature(const SimDrive& drive, const Feature& feature, Reply& reply) {
    const bool isCurrent = IsCurrent(drive, feature);
    const std::size_t start = reply.size();
    reply.put(2, feature.code)
        .put(1, feature.version << 2 | (feature.isPersistent ? 2 : 0) | (isCurrent ? 1 : 0))
        .put(1, 0);
    for (const std::uint8_t byte : feature.bytes) reply.put(1, byte);
    if (feature.code == 0x0000) PutProfiles(drive, reply);
    if (isCurrent && feature.code == 0x0010) reply.set(start + 8, 2, drive.rules().eccBlocks);
    if (isCurrent && feature.code == 0x0020) {
        reply.set(start + 4, 4, drive.disc->state.capacity() - 1);
        reply.set(start + 12, 2, drive.rules().eccBlocks);
    }
    reply.set(start + 3, 1, reply.size() - start - 4);
}

std::vector<ModePage> StandardPages() {
    const auto page = [](std::uint8_t code, std::size_t bytes,
                         const std::vector<std::pair<std::size_t, std::pair<std::uint8_t, std::uint8_t>>>& values) {
        ModePage made{code, std::vector<std::uint8_t>(bytes), {}, std::vector<std::uint8_t>(bytes)};
        made.current[0] = code;
        made.current[1] = static_cast<std::uint8_t>(bytes - 2);
        made.changeable[0] = made.current[0];
        made.changeable[1] = made.current[1];
        for (const auto& [offset, value] : values) {
            made.current[offset] = value.first;
            made.changeable[offset] = value.second;
        }
        made.standard = made.current;
        return made;
    };
    std::vector<ModePage> pages;
    pages.push_back(page(0x01, 12, {{2, {0xC0, 0xFF}}, {3, {16, 0xFF}}, {8, {1, 0xFF}}}));
    pages.push_back(
        page(0x05, 52, {{2, {0x41, 0x7F}}, {3, {4, 0xFF}}, {4, {8, 0x0F}}, {5, {0, 0xFF}}, {15, {150, 0xFF}}}));
    for (std::size_t offset = 7; offset < 52; ++offset) pages.back().changeable[offset] = 0xFF;
    pages.push_back(page(0x08, 12, {{2, {4, 5}}}));  // write cache
    pages.push_back(page(0x0E, 16, {{2, {4, 6}}, {8, {1, 15}}, {9, {255, 255}}, {10, {2, 15}}, {11, {255, 255}}}));
    pages.push_back(page(0x1A, 12, {{3, {0, 3}}}));
    pages.push_back(page(0x1D, 12, {{4, {0, 7}}}));
    // CD-R, CD-RW, DVD-ROM, -R and -RAM read; all but DVD-ROM written, in test mode too; no underruns; tray, locks,
    // ejects; multi-session, mode 2; audio is read exactly, with R to W, C2 pointers, ISRC, catalogue number and
    // CD-Text.
    pages.push_back(page(
        0x2A, 32, {{2, {0x3B, 0}}, {3, {0x37, 0}}, {4, {0xF0, 0}}, {5, {0x77, 0}}, {6, {0x29, 0}}, {7, {0x20, 0}}}));
    return pages;
}

/// The speeds on offer, greatest first.
std::vector<std::uint32_t> SpeedsOf(const SimDrive& drive) {
    std::vector<std::uint32_t> speeds;
    if (drive.disc == nullptr) return speeds;
    const MediumRules& rules = drive.rules();
    for (std::uint32_t factor = rules.maximumSpeed; factor >= 1; factor /= 2)
        speeds.push_back(factor * rules.singleSpeed);
    return speeds;
}

/// Page 2Ah names the speeds of what is loaded.
void FillCapabilities(const SimDrive& drive, std::vector<std::uint8_t>& page) {
    const std::vector<std::uint32_t> speeds = SpeedsOf(drive);
    const auto put = [&](std::size_t offset, std::uint32_t value) {
        page[offset] = static_cast<std::uint8_t>(value >> 8);
        page[offset + 1] = static_cast<std::uint8_t>(value);
    };
    page.resize(32 + 4 * speeds.size());
    page[1] = static_cast<std::uint8_t>(page.size() - 2);
    if (drive.preventsRemoval) page[6] |= 2;
    put(8, speeds.empty() ? 0 : speeds.front());
    put(12, kBufferBytes / 1024);
    put(14, ReadSpeedOf(drive));
    put(18, speeds.empty() ? 0 : speeds.front());
    put(20, WriteSpeedOf(drive));
    put(28, WriteSpeedOf(drive));
    put(30, static_cast<std::uint32_t>(speeds.size()));
    for (std::size_t index = 0; index < speeds.size(); ++index) put(34 + 4 * index, speeds[index]);
}

std::vector<std::uint8_t> PageBytes(const SimDrive& drive, const ModePage& page, std::uint8_t control) {
    std::vector<std::uint8_t> bytes = control == 0 ? page.current : control == 1 ? page.changeable : page.standard;
    if (page.code != 0x2A) return bytes;
    std::vector<std::uint8_t> filled = page.current;
    FillCapabilities(drive, filled);
    if (control != 1) return filled;
    bytes.resize(filled.size());  // as long as the current one, but nothing in it can be changed
    bytes[1] = filled[1];
    return bytes;
}

/// Whether a disc of this kind can be written as the page says.
bool IsWritePageSound(const SimDrive& drive, std::span<const std::uint8_t> page) {
    const std::uint8_t type = page[2] & 15, blockType = page[4] & 15;
    constexpr std::uint8_t kReservedSessions = 2, kSessionFormats[] = {0x00, 0x10, 0x20};
    const bool isKnown = type <= 2 && (blockType == 0 || (blockType >= 8 && blockType <= 10)) &&
                         page[3] >> 6 != kReservedSessions &&
                         std::ranges::find(kSessionFormats, page[8]) != std::end(kSessionFormats);
    if (drive.disc == nullptr || drive.rules().writeTypes == 0) return isKnown;
    return isKnown && drive.rules().takes(drive.rules().writeTypes, type) && (drive.rules().isCd() || blockType == 8);
}

Refusal SelectPage(const SimDrive& drive, std::span<const std::byte> bytes, std::vector<ModePage>& pages) {
    const std::uint8_t code = std::to_integer<std::uint8_t>(bytes[0]) & 0x3F;
    const auto page = std::ranges::find(pages, code, &ModePage::code);
    if (page == pages.end() || bytes.size() != page->current.size()) return kInvalidParameter;
    std::vector<std::uint8_t> wanted = page->current;
    for (std::size_t index = 2; index < bytes.size(); ++index) {
        const std::uint8_t byte = std::to_integer<std::uint8_t>(bytes[index]);
        if (((byte ^ wanted[index]) & ~page->changeable[index]) != 0) return kInvalidParameter;
        wanted[index] = byte;
    }
    if (code == 0x05 && !IsWritePageSound(drive, wanted)) return kInvalidParameter;
    page->current = wanted;
    return {};
}

}  // namespace

void ResetModePages(SimDrive& drive) { drive.pages = StandardPages(); }

void ChooseWriteType(SimDrive& drive) {
    std::vector<std::uint8_t>& page = std::ranges::find(drive.pages, 0x05, &ModePage::code)->current;
    if (drive.rules().writeTypes != 0 && IsWritePageSound(drive, page)) return;
    page[2] = static_cast<std::uint8_t>((page[2] & 0xF0) | (drive.rules().isCd() ? 1 : 0));
    page[4] = 8;
}

WriteParameters CurrentWriteParameters(const SimDrive& drive) {
    const std::vector<std::uint8_t>& page = std::ranges::find(drive.pages, 0x05, &ModePage::code)->current;
    return {static_cast<std::uint8_t>(page[2] & 15),
            static_cast<std::uint8_t>(page[3] & 15),
            static_cast<std::uint8_t>(page[4] & 15),
            (page[2] & 0x10) != 0,
            (page[3] & 0xC0) == 0xC0,
            (page[2] & 0x40) != 0};
}

std::uint32_t ReadSpeedOf(const SimDrive& drive) {
    if (drive.disc == nullptr) return 0;
    const std::uint32_t most = std::uint32_t{drive.rules().maximumSpeed} * drive.rules().singleSpeed;
    return drive.readSpeed == 0 ? most : std::clamp<std::uint32_t>(drive.readSpeed, drive.rules().singleSpeed, most);
}

std::uint32_t WriteSpeedOf(const SimDrive& drive) {
    if (drive.disc == nullptr) return 0;
    const std::uint32_t most = std::uint32_t{drive.rules().maximumSpeed} * drive.rules().singleSpeed;
    return drive.writeSpeed == 0 ? most : std::clamp<std::uint32_t>(drive.writeSpeed, drive.rules().singleSpeed, most);
}

Refusal GetConfiguration(SimDrive& drive, Request& request) {
    const std::uint8_t scope = request.cdb[1] & 3;
    const std::uint32_t first = request.be(2, 2);
    if (scope == 3) return kInvalidField;
    Reply reply;
    reply.put(4, 0).put(2, 0).put(2, drive.disc == nullptr || drive.isTrayOpen ? 0 : drive.rules().profile);
    for (const Feature& feature : Features()) {
        const bool isWanted = scope == 2 ? feature.code == first : feature.code >= first;
        if (isWanted && (scope != 1 || IsCurrent(drive, feature))) PutFeature(drive, feature, reply);
    }
    reply.set(0, 4, reply.size() - 4);
    return Answer(request, reply, request.be(7, 2));
}

Refusal ModeSense(SimDrive& drive, Request& request) {
    const std::uint8_t control = request.cdb[2] >> 6, code = request.cdb[2] & 0x3F;
    if (control == 3) return kSavingUnsupported;
    if (request.cdb[3] != 0) return kInvalidField;  // sub-pages
    Reply reply;
    reply.put(8, 0);
    for (const ModePage& page : drive.pages)
        if (code == 0x3F || code == page.code)
            for (const std::uint8_t byte : PageBytes(drive, page, control)) reply.put(1, byte);
    if (reply.size() == 8) return kInvalidField;
    reply.set(0, 2, reply.size() - 2);
    return Answer(request, reply, request.be(7, 2));
}

Refusal ModeSelect(SimDrive& drive, Request& request) {
    const std::uint32_t listBytes = request.be(7, 2);
    if ((request.cdb[1] & 0x10) == 0 || (request.cdb[1] & 1) != 0) return kInvalidField;
    if (listBytes == 0) return {};
    if (request.data.size() < listBytes) return kDataPhase;
    if (listBytes < 8) return kListTooShort;
    request.transferred = listBytes;
    std::span<const std::byte> rest = std::span<const std::byte>(request.data).first(listBytes).subspan(8);
    const std::uint32_t descriptorBytes = request.dataBe(6, 2);
    if (descriptorBytes > rest.size()) return kListTooShort;
    rest = rest.subspan(descriptorBytes);
    std::vector<ModePage> pages = drive.pages;  // none changes when one is refused
    while (!rest.empty()) {
        if (rest.size() < 2) return kListTooShort;
        const std::size_t bytes = std::to_integer<std::size_t>(rest[1]) + 2;
        if (bytes > rest.size()) return kListTooShort;
        if (const Refusal refusal = SelectPage(drive, rest.first(bytes), pages)) return refusal;
        rest = rest.subspan(bytes);
    }
    drive.pages = std::move(pages);
    return {};
}

namespace {

/// A part of a disc whose speed (1000 bytes a second) changes evenly from its first block to its last.
struct Zone {
    std::uint32_t first, last, firstSpeed, lastSpeed;
};

std::vector<Zone> ZonesOf(const SimDrive& drive, Pass pass) {
    constexpr std::uint32_t kPieces = 16;  // of a layer, close enough to the curve
    const std::uint32_t speed = pass == Pass::Write ? WriteSpeedOf(drive) : ReadSpeedOf(drive);
    const std::uint32_t blocks = drive.disc->state.blocks,
                        piece = std::max(blocks / drive.rules().layers / kPieces, 1u);
    const auto speedAt = [&](std::uint32_t block) {
        return static_cast<std::uint32_t>(RateAt(drive.rules(), pass, speed, block) / 1000);
    };
    std::vector<Zone> zones;
    for (std::uint32_t first = 0; first < blocks; first += piece) {
        const std::uint32_t last = std::min(first + piece, blocks) - 1;
        const Zone zone{first, last, speedAt(first), speedAt(last)};
        const bool goesOn = !zones.empty() && zones.back().firstSpeed == zone.lastSpeed &&
                            zone.firstSpeed == zone.lastSpeed && zones.back().lastSpeed == zone.lastSpeed;
        if (goesOn)
            zones.back().last = last;
        else
            zones.push_back(zone);
    }
    return zones;
}

}  // namespace

Refusal GetPerformance(SimDrive& drive, Request& request) {
    const std::uint32_t most = request.be(8, 2);
    const std::uint8_t kind = request.cdb[10], dataType = request.cdb[1] & 0x1F;
    if (kind != 0 && kind != 3) return kInvalidField;
    if (drive.disc == nullptr || drive.isTrayOpen) return drive.isTrayOpen ? kTrayOpen : kNoDisc;
    const std::uint32_t last = drive.disc->state.blocks - 1;
    const bool isWrite = (dataType & 4) != 0;
    Reply reply;
    reply.put(4, 0).put(1, kind == 0 && isWrite ? 2 : 0).put(3, 0);
    std::uint32_t available = 0;
    if (kind == 0) {
        if ((dataType & 3) != 0) return kInvalidField;
        for (const Zone& zone : ZonesOf(drive, isWrite ? Pass::Write : Pass::Read))
            if (zone.last >= request.be(2, 4) && available++ < most)
                reply.put(4, zone.first).put(4, zone.firstSpeed).put(4, zone.last).put(4, zone.lastSpeed);
    } else {
        for (const std::uint32_t speed : SpeedsOf(drive))
            if (available++ < most) reply.put(1, 0).put(3, 0).put(4, last).put(4, ReadSpeedOf(drive)).put(4, speed);
    }
    // The length is that of all there is, whatever was asked for (MMC-6 6.7.3.1).
    reply.set(0, 4, 4 + 16 * available);
    return Answer(request, reply, 8 + 16 * most);
}

Refusal SetStreaming(SimDrive& drive, Request& request) {
    constexpr std::uint32_t kDescriptorBytes = 28;
    const std::uint32_t listBytes = request.be(9, 2);
    if (request.cdb[8] != 0) return kInvalidField;
    if (request.data.size() < listBytes) return kDataPhase;
    if (listBytes != kDescriptorBytes) return kListTooShort;
    request.transferred = listBytes;
    const bool restores = (request.dataAt(0) & 4) != 0;
    const auto speed = [&](std::size_t offset) -> std::uint16_t {
        const std::uint32_t size = request.dataBe(offset, 4), time = request.dataBe(offset + 4, 4);
        if (restores || time == 0) return 0;
        return static_cast<std::uint16_t>(std::min<std::uint64_t>(std::uint64_t{size} * 1000 / time, 0xFFFF));
    };
    drive.readSpeed = speed(12);
    drive.writeSpeed = speed(20);
    return {};
}

Refusal SetCdSpeed(SimDrive& drive, Request& request) {
    const auto speed = [&](std::size_t offset) {
        const std::uint32_t wanted = request.be(offset, 2);
        return static_cast<std::uint16_t>(wanted == 0xFFFF ? 0 : wanted);
    };
    drive.readSpeed = speed(2);
    drive.writeSpeed = speed(4);
    return {};
}

Refusal ReadBufferCapacity(SimDrive& drive, Request& request) {
    if ((request.cdb[1] & 1) != 0) return kInvalidField;  // in blocks
    Reply reply;
    reply.put(2, 10).put(2, 0).put(4, kBufferBytes).put(4, kBufferBytes - BufferedBytes(drive));
    return Answer(request, reply, request.be(7, 2));
}

}  // namespace tovlark
