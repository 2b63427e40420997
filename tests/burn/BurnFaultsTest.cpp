// What goes wrong while a disc is burned, and how the disc, the drive and people come out of it.
#include "burn/BurnerDrive.h"
#include "burn/Erase.h"

namespace tovlark {
namespace {

constexpr std::uint32_t kRemoved = ~0u;   // the medium, just before the command
constexpr std::uint32_t kNoAnswer = 5;    // an error of the transport
constexpr std::uint32_t kMinute = 60000;  // milliseconds

/// What happens to one command. Each burn finalises the disc.
struct FaultRow {
    const char* what;
    Medium medium;
    std::uint8_t opcode;
    int first, last;       // turns of that command that are refused
    std::uint32_t answer;  // 0: as usual
    int cancel;            // the turn at which the user cancels; 0: never
    const char* commands;
    bool isSurvived;
    const char* tells;  // people and the log
    const char* logs;   // the log only
    bool simulates = false;
    std::uint32_t waits = 0;  // milliseconds, at least
};

constexpr FaultRow kFaults[] = {
    {"first write", Medium::DvdPlusR, 0x2A, 1, 1, 0x030C00, 0, "reserve write sync close1", false,
     "Error writing data. (2-00000000 ", ""},
    {"first write, nothing was begun", Medium::BdR, 0x2A, 1, 1, 0x030C00, 0, "write sync", false,
     "Nothing was written to the disc.", ""},
    {"middle write", Medium::DvdPlusR, 0x2A, 30, 30, 0x030C00, 0, "reserve write sync close1", false,
     "Error writing data. (2-000001d0 ", "BurnProgress[46]"},
    {"last write", Medium::DvdPlusR, 0x2A, 63, 63, 0x030C00, 0, "reserve write sync close1", false,
     "The disc was left open", ""},
    {"middle of a CD", Medium::CdRw, 0x2A, 30, 30, 0x030C00, 0, "mode cue write sync", false,
     "Error writing data. (2-00000130 ", ""},
    {"middle of a BD-RE", Medium::BdRe, 0x2A, 9, 9, 0x030C00, 0, "format49 write sync", false,
     "Error writing data. (2-00000100 ", ""},
    {"long write", Medium::DvdPlusR, 0x2A, 5, 3000, 0x020408, 0, "reserve write sync close1 close5", true, "", "",
     false, 4 * kMinute},
    {"300 resets", Medium::DvdPlusR, 0x2A, 5, 304, 0x062900, 0, "reserve write sync close1 close5", true, "", "", false,
     5 * kMinute},
    {"301 resets", Medium::DvdPlusR, 0x2A, 5, 305, 0x062900, 0, "reserve write sync close1", false,
     "Error writing data. (2-00000040 ", "", false, 5 * kMinute},
    {"no answer", Medium::DvdPlusR, 0x2A, 30, 30, kNoAnswer, 0, "reserve write sync close1", false,
     "Error writing data. (2-000001d0 ", ""},
    {"no answer while it formats itself", Medium::DvdPlusRw, 0x2A, 5, 5, kNoAnswer, 0, "format38 write close2 sync",
     false, "Background formatting stopped.", ""},
    {"no answer to the end", Medium::DvdRwSequential, 0x35, 1, 99, kNoAnswer, 0, "mode opc stamp reserve write sync",
     false, "What was written cannot be read; a disc that is rewritable can be erased.", ""},
    {"removed", Medium::DvdPlusR, 0x2A, 30, 30, kRemoved, 0, "reserve write sync", false,
     "Error writing data. (2-000001d0 ", ""},
    {"removed from a BD-RE", Medium::BdRe, 0x2A, 9, 9, kRemoved, 0, "format49 write sync", false,
     "What was written cannot be read", ""},
    {"removed before it was closed", Medium::BdR, 0x5B, 1, 1, kRemoved, 0, "write sync close1 sync", false,
     "Burning failed (4, ", ""},
    {"no BUFE", Medium::DvdR, 0x55, 1, 1, 0x052600, 0, "mode opc stamp reserve write sync", true, "", ""},
    {"no page", Medium::DvdR, 0x55, 1, 2, 0x052600, 0, "mode", false, "Burning failed (1, ", ""},
    {"no OPC", Medium::DvdR, 0x54, 1, 1, 0x052000, 0, "mode opc stamp reserve write sync", true, "",
     "SEND OPC INFORMATION: 3c7a390e"},
    {"no timestamp", Medium::DvdR, 0xBF, 1, 1, 0x052000, 0, "mode opc stamp reserve write sync", true, "",
     "SEND DISC STRUCTURE: 3c7a39"},
    {"no RESERVE TRACK", Medium::DvdPlusR, 0x53, 1, 1, 0x052000, 0, "reserve write sync close1 close5", true, "",
     "Reserve zone: 3c7a39"},
    {"no SYNCHRONIZE", Medium::DvdPlusR, 0x35, 1, 1, 0x052000, 0, "reserve write sync close1", false,
     "Synchronizing cache failed.", ""},
    {"no close", Medium::DvdPlusR, 0x5B, 2, 2, 0x030C00, 0, "reserve write sync close1 close5 sync close1", false,
     "Burning failed (5, ", ""},

    {"cancelled among the checks", Medium::DvdPlusR, 0x51, 0, 0, 0, 1, "", false, "The operation has been canceled.",
     ""},
    {"cancelled at OPC", Medium::DvdR, 0x54, 0, 0, 0, 1, "mode opc stamp", false, "Nothing was written to the disc.",
     ""},
    {"cancelled while it reserves", Medium::DvdPlusR, 0x53, 0, 0, 0, 1, "reserve sync close1", false,
     "The disc was left open", ""},
    {"cancelled while it formats", Medium::BdRe, 0x04, 0, 0, 0, 1, "format49", false, "goes on by itself", ""},
    {"cancelled while it writes", Medium::DvdPlusR, 0x2A, 0, 0, 0, 10, "reserve write sync close1", false,
     "The disc was left open", ""},
    {"cancelled while it rests", Medium::DvdPlusR, 0x2A, 10, 60, 0x020408, 30, "reserve write sync close1", false,
     "The operation has been canceled.", ""},
    {"cancelled in test mode", Medium::DvdR, 0x2A, 0, 0, 0, 10, "mode stamp reserve write sync mode", false,
     "The operation has been canceled.", "", true},
    {"cancelled on a disc that formats itself", Medium::DvdPlusRw, 0x2A, 0, 0, 0, 10, "format38 write close2 sync",
     false, "can be erased.", ""},
    {"cancelled in the pre-gap of a CD", Medium::CdRw, 0x2A, 5, 60, 0x020408, 9, "mode cue write sync", false,
     "The operation has been canceled.", ""},
    {"cancelled when all is written", Medium::DvdPlusR, 0x35, 0, 0, 0, 1, "reserve write sync close1 close5", true,
     "Burning completed successfully.", ""},
    {"cancelled while it closes", Medium::BdR, 0x5B, 0, 0, 0, 1, "write sync close1 close6", true,
     "Burning completed successfully.", ""},
};

/// The reserved track and what was not written are of no matter to a disc that can be erased.
void ExpectErasable(BurnerDrive& burner) {
    burner.refuses = [](std::uint8_t, int) { return 0u; };
    if (burner.loaded.drive.disc == nullptr) burner.loaded.load(burner.loaded.path());
    burner.loaded.time.now += 10 * kMinute;  // a format goes on to its end
    burner.fake.flags.cancel = burner.fake.flags.error = false;
    burner.fake.streams.input = "Yes\nYes\n";
    EXPECT_EQ(burner.burn({.finalises = true, .verifies = true}), Status::Ok) << burner.fake.streams.output;
    burner.expectImage();
}

TEST(BurnFaults, AreSurvivedOrToldAndTheDiscIsLeftAsWellAsItCanBe) {
    for (const FaultRow& row : kFaults) {
        SCOPED_TRACE(row.what);
        BurnerDrive burner(row.medium);
        // Else formats end at once.
        burner.loaded.drive.isRealTime = row.medium == Medium::DvdPlusRw || row.opcode == 0x04;
        burner.refuses = [&](std::uint8_t opcode, int turn) {
            if (opcode != row.opcode) return 0u;
            if (turn == row.cancel) burner.fake.flags.cancel = true;
            if (turn < row.first || turn > row.last) return 0u;
            if (row.answer == kRemoved) LoadDisc(burner.loaded.drive, nullptr);
            return row.answer == kRemoved ? 0u : row.answer;
        };
        const Status status = burner.burn({.finalises = true, .simulates = row.simulates});
        EXPECT_EQ(status == Status::Ok, row.isSurvived) << burner.fake.streams.output;
        EXPECT_EQ(burner.fake.flags.error, !row.isSurvived);
        EXPECT_EQ(burner.commands, row.commands);
        EXPECT_TRUE(burner.says(row.tells) && burner.logs(FromUtf8(row.tells))) << burner.fake.streams.output;
        EXPECT_TRUE(burner.logs(FromUtf8(row.logs))) << burner.fake.log.render();
        EXPECT_EQ(burner.says("Burning failed\r\n"), !row.isSurvived);
        EXPECT_GE(burner.loaded.time.now, row.waits);
        EXPECT_FALSE(CurrentWriteParameters(burner.loaded.drive).isTest);
        if (row.isSurvived) burner.expectImage();
        if (!row.isSurvived && FindRules(row.medium)->isErasable()) ExpectErasable(burner);
    }
}

TEST(BurnFaults, ADiscThatLacksABlockIsLeftAlone) {
    constexpr std::uint32_t kNeeded = 1024;  // whole chunks of any medium
    for (const Medium medium : {Medium::CdR, Medium::DvdR, Medium::DvdRwSequential, Medium::DvdRwOverwrite,
                                Medium::DvdRam, Medium::DvdPlusR, Medium::DvdPlusRw, Medium::BdR, Medium::BdRe})
        for (const std::uint32_t missing : {0u, 1u}) {
            SCOPED_TRACE(ToUtf8(FindRules(medium)->name) + " lacks " + std::to_string(missing));
            BurnerDrive burner(medium, kNeeded - missing, kNeeded);
            EXPECT_EQ(burner.burn({.finalises = true}) == Status::Ok, missing == 0) << burner.fake.streams.output;
            EXPECT_EQ(burner.commands.find("write") == std::string::npos, missing > 0);
            EXPECT_EQ(burner.says("There are not enough free blocks on media ("), missing > 0)
                << burner.fake.streams.output;
        }
}

TEST(BurnFaults, ARewritableDiscThatIsTooSmallKeepsWhatItHolds) {
    const std::pair<Medium, int> media[] = {{Medium::DvdRam, 0},
                                            {Medium::DvdPlusRw, 0},
                                            {Medium::BdRe, 0},
                                            {Medium::CdRw, 1},
                                            {Medium::DvdRwSequential, 0}};
    for (const auto& [medium, writeType] : media) {
        SCOPED_TRACE(ToUtf8(FindRules(medium)->name));
        BurnerDrive burner(medium, 992, 1024);
        ASSERT_EQ(EraseDisc(burner.fake.task, {burner.opened.get(), EraseMethod::Full}), Status::Ok);
        static_cast<void>(burner.loaded.select(writeType, 4));  // where the page is looked at
        ASSERT_EQ(burner.loaded.write(0, 32, 'x'), 0u);
        ASSERT_EQ(burner.loaded.synchronize(), 0u);
        burner.fake.streams.input = "Yes\n";
        EXPECT_EQ(burner.burn({}), Status::Failed);
        EXPECT_TRUE(burner.says("There are not enough free blocks on media (")) << burner.fake.streams.output;
        EXPECT_EQ(burner.loaded.read(31), std::uint32_t{'x'});
    }
    BurnerDrive formatted(Medium::BdRe, 4000, 1024);
    ASSERT_EQ(EraseDisc(formatted.fake.task, {formatted.opened.get()}), Status::Ok);
    formatted.commands.clear();
    formatted.hasSent = [](PassThrough& command) {  // some of its blocks are spare areas
        if (command.cdb[0] == std::byte{0x25} && command.dataBytes == 8)
            std::ranges::copy(std::initializer_list{std::byte{0}, std::byte{0}, std::byte{3}, std::byte{0xDF}},
                              command.data);
    };
    EXPECT_EQ(formatted.burn({}), Status::Failed);
    EXPECT_TRUE(formatted.says("There are not enough free blocks on media (")) << formatted.fake.streams.output;
    EXPECT_EQ(formatted.commands, "");
}

TEST(BurnFaults, ADriveThatStaysBusyIsNotTakenForABadDisc) {
    BurnerDrive burner(Medium::BdRe);
    burner.refuses = [](std::uint8_t, int) { return 0x020404u; };
    EXPECT_EQ(burner.burn({}), Status::Failed);
    EXPECT_EQ(burner.fake.streams.output,
              "The drive is still at work on the disc. Please wait until it is ready and retry.\r\n");
}

TEST(BurnFaults, ADriveThatWouldWriteElsewhereIsNotWrittenTo) {
    for (const Medium medium : {Medium::DvdR, Medium::DvdPlusR, Medium::BdR, Medium::BdRPseudo}) {
        BurnerDrive burner(medium);
        burner.hasSent = [](PassThrough& command) {
            if (command.cdb[0] == std::byte{0x52} && command.dataBytes > 15) command.data[15] = std::byte{32};
        };
        EXPECT_EQ(burner.burn({.finalises = true}), Status::Failed);
        EXPECT_EQ(burner.commands, "");
        EXPECT_TRUE(burner.says("Reading next writable address failed(0 needed, 32")) << burner.fake.streams.output;
    }
}

TEST(BurnFaults, ASourceThatShrinksEndsTheBurn) {
    BurnerDrive burner(Medium::DvdPlusR, 20000, 12000);  // more than the buffer holds
    burner.refuses = [&](std::uint8_t opcode, int turn) {
        if (opcode == 0x2A && turn == 1) std::filesystem::resize_file(burner.loaded.folder / "a.iso", 9000 * 2048);
        return 0u;
    };
    EXPECT_EQ(burner.burn({.finalises = true, .verifies = true}), Status::Failed);
    EXPECT_EQ(burner.commands, "reserve write sync close1");
    EXPECT_TRUE(burner.says("Error reading image data.\r\n"));
    EXPECT_TRUE(burner.says("a.iso\r\nThe disc was left open")) << burner.fake.streams.output;
    EXPECT_FALSE(burner.says("Verifying"));
}

}  // namespace
}  // namespace tovlark
