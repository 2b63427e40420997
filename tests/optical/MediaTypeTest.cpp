#include <gtest/gtest.h>

#include "optical/MediaType.h"
#include "optical/ScriptedDisc.h"

namespace tovlark {
namespace {

/// ATIP that is valid, and physical formats with a book type or of a BD.
ByteList Atip(bool isRewritable) { return {0, 26, 0, 0, 0, 0, static_cast<std::uint8_t>(isRewritable ? 0x40 : 0), 0}; }

ByteList Book(unsigned type, unsigned layers = 1) {
    return {0x08, 0x02, 0, 0, static_cast<std::uint8_t>(type << 4), 0, static_cast<std::uint8_t>((layers - 1) << 5)};
}

ByteList Bd(char kind, unsigned layers) {
    return {0x10,
            0x02,
            0,
            0,
            'D',
            'I',
            1,
            0,
            0,
            0,
            0,
            0,
            'B',
            'D',
            static_cast<std::uint8_t>(kind),
            0,
            static_cast<std::uint8_t>(layers << 4)};
}

struct DetectCase {
    const char* fault;
    ScriptedDisc disc;
    MediaType type;
    const char* name;
};

TEST(DetectMediaType, TakesEveryStepInItsTurn) {
    using enum MediaType;
    const ByteList erasable = {0, 32, 0x1E}, notErasable = {0, 32, 0x0E};
    const DetectCase cases[] = {
        {"a drive that answers nothing", {}, Unknown, "Unknown Disc Type"},
        {"an empty drive", {.profile = 0}, None, "No disc"},
        {"a profile of the future", {.profile = 0x0099}, Unknown, "Unknown Disc Type"},
        {"profile alone", {.profile = 0x0014}, DvdRwSequential, "DVD-RW"},
        {"HD DVD needs no more", {.profile = 0x0052, .atip = Atip(false)}, HdDvdRam, "HD DVD-RAM"},
        {"CD-ROM with ATIP", {.profile = 8, .atip = Atip(false)}, CdR, "CD-R"},
        {"CD-ROM with rewritable ATIP", {.profile = 8, .atip = Atip(true)}, CdRw, "CD-RW"},
        {"CD-ROM is final", {.profile = 8, .currentFeatures = {0x2B}, .dvdStructure = Book(2)}, CdRom, "CD-ROM"},
        {"ATIP that claims too little", {.profile = 8, .atip = {0, 6, 0, 0, 0, 0, 0x40, 0}}, CdRom, "CD-ROM"},
        {"ATIP that is cut short", {.profile = 8, .atip = {0, 26, 0, 0, 0, 0}}, CdRom, "CD-ROM"},
        {"no profile but an ATIP", {.atip = Atip(true)}, CdRw, "CD-RW"},
        {"DVD+R DL behind DVD-ROM", {.profile = 0x10, .currentFeatures = {0x3B, 0x2B}}, DvdPlusRDual, "DVD+R DL"},
        {"DVD+RW before DVD+R", {.profile = 0x10, .currentFeatures = {0x2A, 0x2B}}, DvdPlusRw, "DVD+RW"},
        {"DVD-RW by features", {.currentFeatures = {0x2F}, .discInformation = erasable}, DvdRwSequential, "DVD-RW"},
        {"restricted overwrite",
         {.profile = 0x10, .currentFeatures = {0x2F, 0x2C}, .discInformation = erasable},
         DvdRwRestricted,
         "DVD-RW"},
        {"not erasable: the book decides",
         {.profile = 0x10, .currentFeatures = {0x2F, 0x2C}, .dvdStructure = Book(2), .discInformation = notErasable},
         DvdR,
         "DVD-R"},
        {"book of two layers", {.profile = 0x10, .dvdStructure = Book(2, 2)}, DvdRDual, "DVD-R DL"},
        {"book too short for layers", {.profile = 0x10, .dvdStructure = {0, 4, 0, 0, 0x20, 0, 0x20}}, DvdR, "DVD-R"},
        {"unknown book", {.profile = 0x10, .dvdStructure = Book(15)}, DvdRom, "DVD-ROM"},
        {"book without profile", {.dvdStructure = Book(14)}, DvdPlusRDual, "DVD+R DL"},
        {"DVD-ROM does not look for a BD", {.profile = 0x10, .bdStructure = Bd('R', 1)}, DvdRom, "DVD-ROM"},
        {"BD-ROM that is a BD-RE TL", {.profile = 0x40, .bdStructure = Bd('W', 3)}, BdReTriple, "BD-RE TL"},
        {"BD-ROM without structure", {.profile = 0x40}, BdRom, "BD-ROM"},
        {"the kind does not change a known profile",
         {.profile = 0x43, .bdStructure = Bd('R', 2)},
         BdReDual,
         "BD-RE DL"},
        {"random recording, four layers", {.profile = 0x42, .bdStructure = Bd('R', 4)}, BdRQuadRandom, "BD-R QL"},
        {"five layers", {.profile = 0x41, .bdStructure = Bd('R', 5)}, BdR, "BD-R"},
        {"pseudo-overwrite, two layers",
         {.profile = 0x41, .currentFeatures = {0x38}, .bdStructure = Bd('R', 2)},
         BdRDualPseudo,
         "BD-R DL"},
        {"no pseudo-overwrite for BD-RE", {.profile = 0x43, .currentFeatures = {0x38}}, BdRe, "BD-RE"},
        {"BD by structure alone", {.bdStructure = Bd('O', 2)}, BdRom, "BD-ROM"},
    };
    for (const DetectCase& each : cases) {
        FakeDrive fake;
        fake.answer = each.disc;
        EXPECT_EQ(DetectMediaType(fake.drive), each.type) << each.fault;
        EXPECT_EQ(ToUtf8(MediaTypeName({}, each.type)), each.name) << each.fault;
    }
}

}  // namespace
}  // namespace tovlark
