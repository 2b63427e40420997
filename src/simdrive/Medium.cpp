#include "simdrive/Medium.h"

namespace tovlark {

namespace {

constexpr std::uint8_t kRamFormats[] = {0x00};
constexpr std::uint8_t kRwFormats[] = {0x00, 0x10, 0x13, 0x15};
constexpr std::uint8_t kPlusFormats[] = {0x26};
constexpr std::uint8_t kBdRFormats[] = {0x00, 0x32};
constexpr std::uint8_t kBdReFormats[] = {0x00, 0x30, 0x31};

constexpr std::uint16_t kCdRomFeatures[] = {0x0010, 0x001D, 0x001E};
constexpr std::uint16_t kCdRFeatures[] = {0x0010, 0x001D, 0x001E, 0x002D, 0x002E};
constexpr std::uint16_t kCdRwFeatures[] = {0x0010, 0x001D, 0x001E, 0x002D, 0x002E, 0x0037};
constexpr std::uint16_t kDvdRomFeatures[] = {0x0010, 0x001F};
constexpr std::uint16_t kDvdRFeatures[] = {0x0010, 0x001F, 0x0021, 0x002F};
constexpr std::uint16_t kDvdRwFeatures[] = {0x0010, 0x001F, 0x0021, 0x0023, 0x002F};
constexpr std::uint16_t kRigidFeatures[] = {0x0010, 0x001F, 0x0023, 0x002C, 0x002F};
constexpr std::uint16_t kRamFeatures[] = {0x0010, 0x001F, 0x0020, 0x0023, 0x0024};
constexpr std::uint16_t kPlusRFeatures[] = {0x0010, 0x001F, 0x002B};
constexpr std::uint16_t kPlusRwFeatures[] = {0x0010, 0x001F, 0x0020, 0x0023, 0x002A};
constexpr std::uint16_t kPlusRDlFeatures[] = {0x0010, 0x001F, 0x003B};
constexpr std::uint16_t kPlusRwDlFeatures[] = {0x0010, 0x001F, 0x0020, 0x0023, 0x003A};

constexpr std::uint16_t kBdRomFeatures[] = {0x0010, 0x0040};
constexpr std::uint16_t kBdRFeatures[] = {0x0010, 0x0021, 0x0023, 0x0024, 0x0040, 0x0041};
constexpr std::uint16_t kBdRPseudoFeatures[] = {0x0010, 0x0021, 0x0023, 0x0024, 0x0038, 0x0040, 0x0041};
constexpr std::uint16_t kBdRRandomFeatures[] = {0x0010, 0x0023, 0x0024, 0x0025, 0x0040, 0x0041};
constexpr std::uint16_t kBdReFeatures[] = {0x0010, 0x0020, 0x0023, 0x0024, 0x0040, 0x0041};
constexpr std::uint16_t kHdDvdRomFeatures[] = {0x0010, 0x0050};
constexpr std::uint16_t kHdDvdRFeatures[] = {0x0010, 0x0021, 0x002F, 0x0050, 0x0051};
constexpr std::uint16_t kHdDvdRamFeatures[] = {0x0010, 0x0020, 0x0023, 0x0024, 0x0050, 0x0051};

constexpr std::uint8_t kCdWrites = WriteTypes::kTrackAtOnce | WriteTypes::kSessionAtOnce;
// Disc-at-once of DVD has the number of a CD's session-at-once.
constexpr std::uint8_t kDvdWrites = WriteTypes::kIncremental | WriteTypes::kSessionAtOnce;
constexpr std::uint8_t kFull = 1 << 0, kMinimal = 1 << 1;
constexpr std::uint8_t kErasable = kFull | kMinimal | 1 << 3 | 1 << 5 | 1 << 6;  // unreserve, unclose, last session
constexpr std::uint8_t kTrack = 1 << 1, kSession = 1 << 2, kFinal = 1 << 5, kFinalPlain = 1 << 6;

constexpr std::uint8_t kBdCloses = kTrack | kSession | kFinalPlain;

constexpr std::uint32_t kBdSingle = 12219392, kBdDual = 24438784, kBdTriple = 48878592, kBdQuad = 62500864;

/// BD-R of one number of layers. Sessions follow one another without a gap.
constexpr MediumRules BdRecordable(Medium medium, TextView name, std::uint32_t blocks, std::uint8_t layers) {
    return {medium,
            name,
            0x0041,
            Access::Sequential,
            blocks,
            32,
            layers,
            0,
            0,
            0,
            kBdCloses,
            kBdRFormats,
            kBdRFeatures,
            0,
            0,
            0,
            4495,
            static_cast<std::uint8_t>(layers == 1   ? 12
                                      : layers == 2 ? 8
                                                    : 4)};
}
constexpr MediumRules BdPseudo(Medium medium, TextView name, std::uint32_t blocks, std::uint8_t layers) {
    MediumRules rules = BdRecordable(medium, name, blocks, layers);
    rules.features = kBdRPseudoFeatures;
    return rules;
}
constexpr MediumRules BdRandom(Medium medium, TextView name, std::uint32_t blocks, std::uint8_t layers) {
    MediumRules rules = BdRecordable(medium, name, blocks, layers);
    rules.profile = 0x0042;
    rules.access = Access::Overwrite;
    rules.closeTypes = kFinalPlain;
    rules.features = kBdRRandomFeatures;
    return rules;
}
constexpr MediumRules BdRewritable(Medium medium, TextView name, std::uint32_t blocks, std::uint8_t layers) {
    return {medium, name, 0x0043,       Access::Overwrite, blocks, 32, layers, 0,    0,
            0,      0,    kBdReFormats, kBdReFeatures,     0,      0,  1000,   4495, 2};
}

// Gaps: of a CD a lead-out and a lead-in with the pre-gap (11400, then 6900: MMC-6 annex on CD sessions), of a DVD-R
// its border zones, of a DVD+R the closure and intro zones.
constexpr MediumRules kMedia[] = {
    {Medium::CdRom, u"CD-ROM", 0x0008, Access::Pressed, 359849, 1, 1, 0, 0, 0, 0, {}, kCdRomFeatures, 0, 0, 0, 176, 48},
    {Medium::CdR,
     u"CD-R",
     0x0009,
     Access::Sequential,
     359849,
     1,
     1,
     0,
     kCdWrites,
     0,
     kTrack | kSession,
     {},
     kCdRFeatures,
     11400,
     6900,
     0,
     176,
     48},
    {Medium::CdRw,
     u"CD-RW",
     0x000A,
     Access::Sequential,
     359849,
     1,
     1,
     0,
     kCdWrites,
     kErasable,
     kTrack | kSession,
     {},
     kCdRwFeatures,
     11400,
     6900,
     1000,
     176,
     24},
    {Medium::DvdRom,
     u"DVD-ROM",
     0x0010,
     Access::Pressed,
     2295104,
     16,
     1,
     0,
     0,
     0,
     0,
     {},
     kDvdRomFeatures,
     0,
     0,
     0,
     1385,
     16},
    {Medium::DvdR,
     u"DVD-R",
     0x0011,
     Access::Sequential,
     2298496,
     16,
     1,
     2,
     kDvdWrites,
     0,
     kTrack | kSession,
     {},
     kDvdRFeatures,
     12272,
     4080,
     0,
     1385,
     16},
    {Medium::DvdRwSequential, u"DVD-RW", 0x0014, Access::Sequential, 2298496, 16, 1, 3, kDvdWrites, kErasable,
     kTrack | kSession, kRwFormats, kDvdRwFeatures, 12272, 4080, 1000, 1385, 6},
    {Medium::DvdRwOverwrite, u"DVD-RW (restricted overwrite)", 0x0013, Access::Rigid, 2298496, 16, 1, 3, kDvdWrites,
     kFull | kMinimal, kSession, kRwFormats, kRigidFeatures, 0, 0, 1000, 1385, 6},
    {Medium::DvdRam, u"DVD-RAM", 0x0012, Access::Overwrite, 2236704, 16, 1, 1, 0, 0, 0, kRamFormats, kRamFeatures, 0, 0,
     65535, 1385, 5},
    {Medium::DvdPlusR,
     u"DVD+R",
     0x001B,
     Access::Sequential,
     2295104,
     16,
     1,
     10,
     0,
     0,
     kTrack | kSession | kFinal | kFinalPlain,
     {},
     kPlusRFeatures,
     4096,
     4096,
     0,
     1385,
     16},
    {Medium::DvdPlusRw, u"DVD+RW", 0x001A, Access::Overwrite, 2295104, 16, 1, 9, 0, 0, kSession | 1, kPlusFormats,
     kPlusRwFeatures, 0, 0, 1000, 1385, 8},
    {Medium::DvdRDl,
     u"DVD-R DL",
     0x0015,
     Access::Sequential,
     4171712,
     16,
     2,
     2,
     kDvdWrites,
     0,
     kTrack | kSession,
     {},
     kDvdRFeatures,
     12272,
     4080,
     0,
     1385,
     8},
    {Medium::DvdPlusRDl,
     u"DVD+R DL",
     0x002B,
     Access::Sequential,
     4173824,
     16,
     2,
     14,
     0,
     0,
     kTrack | kSession | kFinal | kFinalPlain,
     {},
     kPlusRDlFeatures,
     4096,
     4096,
     0,
     1385,
     8},
    {Medium::DvdPlusRwDl, u"DVD+RW DL", 0x002A, Access::Overwrite, 4173824, 16, 2, 13, 0, 0, kSession | 1, kPlusFormats,
     kPlusRwDlFeatures, 0, 0, 1000, 1385, 4},
    {Medium::BdRom,
     u"BD-ROM",
     0x0040,
     Access::Pressed,
     kBdSingle,
     32,
     1,
     0,
     0,
     0,
     0,
     {},
     kBdRomFeatures,
     0,
     0,
     0,
     4495,
     12},
    BdRecordable(Medium::BdR, u"BD-R", kBdSingle, 1),
    BdPseudo(Medium::BdRPseudo, u"BD-R (pseudo-overwrite)", kBdSingle, 1),
    BdRandom(Medium::BdRRandom, u"BD-R (random recording)", kBdSingle, 1),
    BdRewritable(Medium::BdRe, u"BD-RE", kBdSingle, 1),
    BdRecordable(Medium::BdRDl, u"BD-R DL", kBdDual, 2),
    BdPseudo(Medium::BdRDlPseudo, u"BD-R DL (pseudo-overwrite)", kBdDual, 2),
    BdRandom(Medium::BdRDlRandom, u"BD-R DL (random recording)", kBdDual, 2),
    BdRewritable(Medium::BdReDl, u"BD-RE DL", kBdDual, 2),
    BdRecordable(Medium::BdRTl, u"BD-R TL", kBdTriple, 3),
    BdPseudo(Medium::BdRTlPseudo, u"BD-R TL (pseudo-overwrite)", kBdTriple, 3),
    BdRandom(Medium::BdRTlRandom, u"BD-R TL (random recording)", kBdTriple, 3),
    BdRewritable(Medium::BdReTl, u"BD-RE TL", kBdTriple, 3),
    BdRecordable(Medium::BdRQl, u"BD-R QL", kBdQuad, 4),
    BdPseudo(Medium::BdRQlPseudo, u"BD-R QL (pseudo-overwrite)", kBdQuad, 4),
    BdRandom(Medium::BdRQlRandom, u"BD-R QL (random recording)", kBdQuad, 4),
    BdRewritable(Medium::BdReQl, u"BD-RE QL", kBdQuad, 4),
    {Medium::HdDvdRom,
     u"HD DVD-ROM",
     0x0050,
     Access::Pressed,
     7324160,
     32,
     1,
     4,
     0,
     0,
     0,
     {},
     kHdDvdRomFeatures,
     0,
     0,
     0,
     4569,
     1},
    {Medium::HdDvdR,
     u"HD DVD-R",
     0x0051,
     Access::Sequential,
     7324160,
     32,
     1,
     6,
     kDvdWrites,
     0,
     kTrack | kSession,
     {},
     kHdDvdRFeatures,
     12288,
     4096,
     0,
     4569,
     1},
    {Medium::HdDvdRam, u"HD DVD-RAM", 0x0052, Access::Overwrite, 9764896, 32, 1, 5, 0, 0, 0, kRamFormats,
     kHdDvdRamFeatures, 0, 0, 65535, 4569, 1},
};

}  // namespace

bool MediumRules::hasPseudoOverwrite() const {
    return features.data() == static_cast<const std::uint16_t*>(kBdRPseudoFeatures);
}

std::span<const MediumRules> MediaRules() { return kMedia; }

const MediumRules* FindRules(Medium medium) {
    for (const MediumRules& rules : kMedia)
        if (rules.medium == medium) return &rules;
    return nullptr;
}

const MediumRules* FindRules(TextView name) {
    for (const MediumRules& rules : kMedia)
        if (EqualsIgnoringCase(rules.name, name)) return &rules;
    return nullptr;
}

}  // namespace tovlark
