#include "simdrive/Medium.h"

namespace tovlark {

namespace {

constexpr std::uint8_t kRamFormats[] = {0x00};
constexpr std::uint8_t kRwFormats[] = {0x00, 0x10, 0x13, 0x15};
constexpr std::uint8_t kPlusFormats[] = {0x26};

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

constexpr std::uint8_t kCdWrites = WriteTypes::kTrackAtOnce | WriteTypes::kSessionAtOnce;
// Disc-at-once of DVD has the number of a CD's session-at-once.
constexpr std::uint8_t kDvdWrites = WriteTypes::kIncremental | WriteTypes::kSessionAtOnce;
constexpr std::uint8_t kFull = 1 << 0, kMinimal = 1 << 1;
constexpr std::uint8_t kErasable = kFull | kMinimal | 1 << 3 | 1 << 5 | 1 << 6;  // unreserve, unclose, last session
constexpr std::uint8_t kTrack = 1 << 1, kSession = 1 << 2, kFinal = 1 << 5, kFinalPlain = 1 << 6;

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
};

}  // namespace

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
