#include "optical/MediaType.h"

#include <algorithm>
#include <array>
#include <optional>

#include "optical/SendCommand.h"

namespace tovlark {
namespace {

using enum MediaType;

constexpr struct {
    MediaType type;
    TextView name;
} kNames[] = {
    {CdRom, u"CD-ROM"},
    {CdR, u"CD-R"},
    {CdRw, u"CD-RW"},
    {DvdRom, u"DVD-ROM"},
    {DvdR, u"DVD-R"},
    {DvdRwSequential, u"DVD-RW"},
    {DvdRwRestricted, u"DVD-RW"},
    {DvdRam, u"DVD-RAM"},
    {DvdPlusR, u"DVD+R"},
    {DvdPlusRw, u"DVD+RW"},
    {DvdRDual, u"DVD-R DL"},
    {DvdPlusRDual, u"DVD+R DL"},
    {DvdRwDual, u"DVD-RW DL"},
    {DvdPlusRwDual, u"DVD+RW DL"},
    {BdRom, u"BD-ROM"},
    {BdR, u"BD-R"},
    {BdRPseudo, u"BD-R"},
    {BdRRandom, u"BD-R"},
    {BdRDual, u"BD-R DL"},
    {BdRDualPseudo, u"BD-R DL"},
    {BdRDualRandom, u"BD-R DL"},
    {BdRe, u"BD-RE"},
    {BdReDual, u"BD-RE DL"},
    {BdRTriple, u"BD-R TL"},
    {BdRTriplePseudo, u"BD-R TL"},
    {BdRTripleRandom, u"BD-R TL"},
    {BdReTriple, u"BD-RE TL"},
    {BdRQuad, u"BD-R QL"},
    {BdRQuadPseudo, u"BD-R QL"},
    {BdRQuadRandom, u"BD-R QL"},
    {BdReQuad, u"BD-RE QL"},
    {HdDvdRom, u"HD DVD-ROM"},
    {HdDvdR, u"HD DVD-R"},
    {HdDvdRam, u"HD DVD-RAM"},
};

/// What is looked at after the profile.
enum class NextStep : std::uint8_t { Done, Atip, Features, BdStructure };

constexpr struct ProfileRow {
    std::uint16_t profile;
    MediaType type;
    NextStep next;
} kProfiles[] = {
    {0x0000, None, NextStep::Atip},
    {0x0008, CdRom, NextStep::Atip},
    {0x0009, CdR, NextStep::Done},
    {0x000A, CdRw, NextStep::Done},
    {0x0010, DvdRom, NextStep::Features},
    {0x0011, DvdR, NextStep::Done},
    {0x0012, DvdRam, NextStep::Done},
    {0x0013, DvdRwRestricted, NextStep::Done},
    {0x0014, DvdRwSequential, NextStep::Done},
    {0x0015, DvdRDual, NextStep::Done},
    {0x0016, DvdRDual, NextStep::Done},
    {0x001A, DvdPlusRw, NextStep::Done},
    {0x001B, DvdPlusR, NextStep::Done},
    {0x002A, DvdPlusRwDual, NextStep::Done},
    {0x002B, DvdPlusRDual, NextStep::Done},
    {0x0040, BdRom, NextStep::BdStructure},
    {0x0041, BdR, NextStep::BdStructure},
    {0x0042, BdRRandom, NextStep::BdStructure},
    {0x0043, BdRe, NextStep::BdStructure},
    {0x0050, HdDvdRom, NextStep::Done},
    {0x0051, HdDvdR, NextStep::Done},
    {0x0052, HdDvdRam, NextStep::Done},
};

ProfileRow FromProfile(Drive drive) {
    constexpr ProfileRow kNoProfile{0xFFFF, Unknown, NextStep::Atip};
    std::array<std::byte, 1024> buffer;
    ReplyView reply;
    if (!ReceiveData(drive, GetConfiguration(FeatureScope::All, 0, buffer.size()), buffer, reply) || !reply.has(8))
        return kNoProfile;
    const ProfileRow* row = std::ranges::find(kProfiles, reply.be16(6), &ProfileRow::profile);
    return row != std::end(kProfiles) ? *row : kNoProfile;
}

/// Only discs that were made to be written have an ATIP.
std::optional<MediaType> FromAtip(Drive drive) {
    std::array<std::byte, 32> buffer;
    ReplyView reply;
    if (!ReceiveData(drive, ReadToc(TocFormat::Atip, 0, buffer.size()), buffer, reply) || reply.be16(0) < 7 ||
        !reply.has(7))
        return std::nullopt;
    return reply.bit(6, 6) ? CdRw : CdR;
}

std::optional<MediaType> FromFeatures(Drive drive) {
    if (IsFeatureCurrent(drive, 0x003B)) return DvdPlusRDual;
    if (IsFeatureCurrent(drive, 0x002A)) return DvdPlusRw;
    if (IsFeatureCurrent(drive, 0x002B)) return DvdPlusR;
    if (!IsFeatureCurrent(drive, 0x002F)) return std::nullopt;
    std::array<std::byte, 42> buffer;
    ReplyView reply;
    const bool isErasable = ReceiveData(drive, ReadDiscInformation(buffer.size()), buffer, reply) && reply.bit(2, 4);
    if (!isErasable) return std::nullopt;
    return IsFeatureCurrent(drive, 0x002C) ? DvdRwRestricted : DvdRwSequential;
}

/// By the book type of the physical format (MMC-6 6.22.3.2.1).
std::optional<MediaType> FromDvdStructure(Drive drive) {
    std::array<std::byte, 2052> buffer;
    ReplyView reply;
    if (!ReceiveData(drive, ReadDiscStructure(0, 0, 0, buffer.size()), buffer, reply) || reply.be16(0) < 3 ||
        !reply.has(5))
        return std::nullopt;
    const bool hasTwoLayers = reply.be16(0) >= 5 && (reply.u8(6) >> 5 & 3) == 1;
    switch (reply.u8(4) >> 4) {
        case 0: return DvdRom;
        case 1: return DvdRam;
        case 2: return hasTwoLayers ? DvdRDual : DvdR;
        case 3: return DvdRwSequential;
        case 4: return HdDvdRom;
        case 5: return HdDvdRam;
        case 6: return HdDvdR;
        case 9: return DvdPlusRw;
        case 10: return DvdPlusR;
        case 13: return DvdPlusRwDual;
        case 14: return DvdPlusRDual;
        default: return std::nullopt;
    }
}

MediaType WithLayers(MediaType type, unsigned layers) {
    constexpr MediaType kRaised[][4] = {// one layer, two, three, four
                                        {BdRe, BdReDual, BdReTriple, BdReQuad},
                                        {BdR, BdRDual, BdRTriple, BdRQuad},
                                        {BdRRandom, BdRDualRandom, BdRTripleRandom, BdRQuadRandom}};
    for (const auto& row : kRaised)
        if (row[0] == type && layers >= 1 && layers <= 4) return row[layers - 1];
    return type;
}

/// By the disc information of a BD (MMC-6 6.22.3.3.1).
MediaType FromBdStructure(Drive drive, MediaType type) {
    std::array<std::byte, 4100> buffer;
    ReplyView reply;
    if (!ReceiveData(drive, ReadDiscStructure(1, 0, 0, buffer.size()), buffer, reply)) return type;
    const bool mayRefine = type == Unknown || type == None || type == BdRom;
    if (mayRefine && reply.be16(0) >= 13 && reply.be16(4) == 0x4449 && reply.be16(12) == 0x4244) {  // "DI", "BD"
        switch (reply.u8(14)) {
            case 'O': type = BdRom; break;
            case 'W': type = BdRe; break;
            case 'R': type = BdR; break;
            default: break;
        }
    }
    return reply.be16(0) >= 15 ? WithLayers(type, reply.u8(16) >> 4) : type;
}

MediaType WithPseudoOverwrite(Drive drive, MediaType type) {
    const bool mayHave = type == BdR || type == BdRDual || type == BdRTriple || type == BdRQuad;
    if (!mayHave || !IsFeatureCurrent(drive, 0x0038)) return type;
    return static_cast<MediaType>(static_cast<std::uint8_t>(type) + 1);
}

}  // namespace

Text MediaTypeName(const Texts& texts, MediaType type) {
    if (type == None) return Text(texts[TextId::NoDisc]);
    for (const auto& row : kNames)
        if (row.type == type) return Text(row.name);
    return Text(texts[TextId::UnknownDiscType]);
}

bool IsFeatureCurrent(Drive drive, std::uint16_t feature) {
    std::array<std::byte, 16> buffer;
    ReplyView reply;
    return ReceiveData(drive, GetConfiguration(FeatureScope::One, feature, buffer.size()), buffer, reply) &&
           reply.has(11) && reply.be16(8) == feature && reply.bit(10, 0);
}

MediaType DetectMediaType(Drive drive) {
    const ProfileRow profile = FromProfile(drive);
    MediaType type = profile.type;
    if (profile.next == NextStep::Done) return type;
    if (profile.next == NextStep::Atip) {
        if (const auto refined = FromAtip(drive)) return *refined;
        if (type == CdRom) return type;
    }
    if (profile.next != NextStep::BdStructure) {
        if (const auto refined = FromFeatures(drive)) return *refined;
        if (const auto refined = FromDvdStructure(drive)) return *refined;
        if (type == DvdRom) return type;
    }
    return WithPseudoOverwrite(drive, FromBdStructure(drive, type));
}

}  // namespace tovlark
