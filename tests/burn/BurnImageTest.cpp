#include "burn/BurnerDrive.h"

namespace tovlark {
namespace {

struct MatrixRow {
    Medium medium;
    bool finalises, simulates;
    const char* commands;  // "": refused before anything is sent
};

constexpr MatrixRow kMatrix[] = {
    {Medium::CdR, true, false, "mode cue write sync"},
    {Medium::CdR, false, true, "mode cue write sync mode"},
    {Medium::CdRw, false, false, "mode cue write sync"},
    {Medium::DvdR, true, false, "mode opc stamp reserve write sync"},
    {Medium::DvdR, false, false, "mode opc stamp reserve write sync close1 close2"},
    {Medium::DvdR, true, true, "mode stamp reserve write sync mode"},
    {Medium::DvdR, false, true, "mode stamp reserve write sync close1 close2 mode"},
    {Medium::DvdRDl, true, false, "mode opc stamp reserve write sync"},
    {Medium::DvdRDl, false, false, ""},
    {Medium::DvdRDl, true, true, "mode stamp reserve write sync mode"},
    {Medium::DvdRwSequential, true, false, "mode opc stamp reserve write sync"},
    {Medium::DvdRwSequential, false, false, "format21 write sync close2"},
    {Medium::DvdRwSequential, true, true, "mode stamp reserve write sync mode"},
    {Medium::DvdRwSequential, false, true, ""},
    {Medium::DvdRwOverwrite, true, false, "write sync close2"},
    {Medium::DvdRwOverwrite, true, true, ""},
    {Medium::DvdRam, true, false, "format0 write sync"},
    {Medium::DvdRam, false, true, ""},
    {Medium::DvdPlusR, true, false, "reserve write sync close1 close5"},
    {Medium::DvdPlusR, false, false, "reserve write sync close1 close2"},
    {Medium::DvdPlusR, true, true, ""},
    {Medium::DvdPlusRDl, true, false, "reserve write sync close1 close5"},
    {Medium::DvdPlusRw, true, false, "format38 write sync close2"},
    {Medium::DvdPlusRw, false, false, "format38 write sync close2"},
    {Medium::DvdPlusRw, true, true, ""},
    {Medium::BdR, true, false, "write sync close1 close6"},
    {Medium::BdR, false, false, "write sync close1 close2"},
    {Medium::BdRDl, true, true, ""},
    {Medium::BdRPseudo, true, false, "write sync close1 close6"},
    {Medium::BdRPseudo, false, false, "write sync close1"},
    {Medium::BdRe, true, false, "format49 write sync"},
    {Medium::BdReDl, false, true, ""},
};

TEST(BurnMatrix, EachMediumIsPreparedWrittenAndClosedAsItsKindNeeds) {
    for (const MatrixRow& row : kMatrix) {
        const std::string what = ToUtf8(FindRules(row.medium)->name) + (row.finalises ? " final" : " open") +
                                 (row.simulates ? " simulated" : "");
        SCOPED_TRACE(what);
        BurnerDrive burner(row.medium);
        const Status status =
            burner.burn({.finalises = row.finalises, .simulates = row.simulates, .verifies = !row.simulates});
        EXPECT_EQ(status == Status::Ok, *row.commands != '\0') << burner.fake.streams.output;
        EXPECT_EQ(burner.commands, row.commands);
        if (status == Status::Ok && !row.simulates) {
            burner.expectImage();
            EXPECT_TRUE(burner.says("\r\nVerifying media completed successfully.\r\n"));
        }
        if (status == Status::Ok)
            EXPECT_TRUE(burner.says(row.simulates ? "\r\nSimulation burning completed successfully.\r\n"
                                                  : "\r\nBurning completed successfully.\r\n"));
        else
            EXPECT_TRUE(burner.says("DVD-R DL multisession burning is not supported.") ||
                        burner.says("simulation of burning is not supported."))
                << burner.fake.streams.output;
    }
}

struct FaultRow {
    const char* what;
    Medium medium;
    std::uint8_t opcode;
    int first, last;  // turns of that command that are refused
    std::uint32_t refusal;
    bool isSurvived;
    const char* commands;
    const char* says;
};

constexpr FaultRow kFaults[] = {
    {"first write", Medium::DvdPlusR, 0x2A, 1, 1, 0x030C00, false, "reserve write", "Error writing data. (2-00000000 "},
    {"middle write", Medium::DvdPlusR, 0x2A, 30, 30, 0x030C00, false, "reserve write sync close1",
     "Error writing data. (2-000001d0 "},
    {"last write", Medium::DvdPlusR, 0x2A, 63, 63, 0x030C00, false, "reserve write sync close1",
     "The disc was left open"},
    {"long write", Medium::DvdPlusR, 0x2A, 5, 3000, 0x020408, true, "reserve write sync close1 close5", ""},
    {"300 resets", Medium::DvdPlusR, 0x2A, 5, 304, 0x062900, true, "reserve write sync close1 close5", ""},
    {"301 resets", Medium::DvdPlusR, 0x2A, 5, 305, 0x062900, false, "reserve write sync close1", "Error writing data."},
    {"transport", Medium::DvdPlusRw, 0x2A, 5, 5, 5, false, "format38 write close2 sync",
     "Background formatting stopped."},
    {"no BUFE", Medium::DvdR, 0x55, 1, 1, 0x052600, true, "mode opc stamp reserve write sync", ""},
    {"no page", Medium::DvdR, 0x55, 1, 2, 0x052600, false, "mode", "Burning failed (1, "},
    {"no OPC", Medium::DvdR, 0x54, 1, 1, 0x052000, true, "mode opc stamp reserve write sync", ""},
    {"no timestamp", Medium::DvdR, 0xBF, 1, 1, 0x052000, true, "mode opc stamp reserve write sync", ""},
    {"no RESERVE TRACK", Medium::DvdPlusR, 0x53, 1, 1, 0x052000, true, "reserve write sync close1 close5", ""},
    {"no SYNCHRONIZE", Medium::DvdPlusR, 0x35, 1, 1, 0x052000, false, "reserve write sync close1",
     "Synchronizing cache failed."},
    {"no close", Medium::DvdPlusR, 0x5B, 2, 2, 0x030C00, false, "reserve write sync close1 close5 sync close1",
     "Burning failed (5, "},
};

TEST(BurnFaults, AreSurvivedOrToldAndTheDiscIsLeftAsWellAsItCanBe) {
    for (const FaultRow& row : kFaults) {
        SCOPED_TRACE(row.what);
        BurnerDrive burner(row.medium);
        burner.loaded.drive.isRealTime = row.medium == Medium::DvdPlusRw;  // else the background format ends at once
        burner.refuses = [&](std::uint8_t opcode, int turn) {
            return opcode == row.opcode && turn >= row.first && turn <= row.last ? row.refusal : 0;
        };
        EXPECT_EQ(burner.burn({.finalises = true}) == Status::Ok, row.isSurvived) << burner.fake.streams.output;
        EXPECT_EQ(burner.fake.flags.error, !row.isSurvived);
        EXPECT_EQ(burner.commands, row.commands);
        EXPECT_TRUE(burner.says(row.says)) << burner.fake.streams.output;
        if (row.isSurvived) burner.expectImage();
    }
}

TEST(BurnFaults, CancellingClosesTheTrackAndEndsTheTestMode) {
    static constexpr struct {
        Medium medium;
        bool simulates;
        const char *commands, *says;
    } kCases[] = {
        {Medium::DvdPlusR, false, "reserve write sync close1", "The disc was left open"},
        {Medium::DvdR, true, "mode stamp reserve write sync mode", "The operation has been canceled."},
        {Medium::DvdPlusRw, false, "format38 write close2 sync", "can be erased."},
    };
    for (const auto& [medium, simulates, commands, says] : kCases) {
        BurnerDrive burner(medium);
        burner.loaded.drive.isRealTime = medium == Medium::DvdPlusRw;
        burner.refuses = [&](std::uint8_t opcode, int turn) {
            if (opcode == 0x2A && turn == 10) burner.fake.flags.cancel = true;
            return 0u;
        };
        EXPECT_EQ(burner.burn({.finalises = true, .simulates = simulates}), Status::Failed);
        EXPECT_EQ(burner.commands, commands);
        EXPECT_GE(burner.turns[0x2A], 10);
        EXPECT_TRUE(burner.says(says)) << burner.fake.streams.output;
    }
}

TEST(BurnChecks, ADiscThatIsTooSmallOrHoldsSomethingIsTold) {
    BurnerDrive small(Medium::DvdPlusR, 992);
    EXPECT_EQ(small.burn({.finalises = true}), Status::Failed);
    EXPECT_TRUE(small.says("There are not enough free blocks on media (1.969M needed, 1.938M available)."))
        << small.fake.streams.output;

    BurnerDrive appendable(Medium::DvdPlusR, 60000);
    ASSERT_EQ(appendable.burn({}), Status::Ok);
    EXPECT_EQ(appendable.burn({}), Status::Failed);
    EXPECT_TRUE(appendable.says("Reading next writable address failed(0 needed, ")) << appendable.fake.streams.output;

    BurnerDrive full(Medium::DvdPlusR);
    ASSERT_EQ(full.burn({.finalises = true}), Status::Ok);
    EXPECT_EQ(full.burn({.finalises = true}), Status::Failed);
    EXPECT_TRUE(full.says("Please insert a blank or rewritable disc and retry.")) << full.fake.streams.output;
}

TEST(BurnChecks, ARewritableDiscIsErasedOnlyWhenTheUserAgrees) {
    for (const Medium medium : {Medium::DvdPlusRw, Medium::DvdRwSequential, Medium::BdRe, Medium::DvdRam}) {
        SCOPED_TRACE(static_cast<int>(medium));
        BurnerDrive burner(medium);
        ASSERT_EQ(burner.burn({.finalises = true}), Status::Ok) << burner.fake.streams.output;
        burner.fake.streams.input = "No\nYes\n";
        burner.commands.clear();
        EXPECT_EQ(burner.burn({.finalises = true}), Status::Failed);
        EXPECT_EQ(burner.commands, "");
        EXPECT_TRUE(burner.says("The operation has been canceled."));
        EXPECT_EQ(burner.burn({.finalises = true}), Status::Ok) << burner.fake.streams.output;
        burner.expectImage();
    }
}

}  // namespace
}  // namespace tovlark
