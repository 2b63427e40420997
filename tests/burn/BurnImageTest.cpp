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

TEST(BurnMatrix, EveryCodeIsBurnedVerifiedAndReadWithEachOption) {
    for (const MediumRules& rules : MediaRules()) {
        const BurnKind kind = BurnKindOf(static_cast<MediaType>(rules.medium));
        if (kind == BurnKind::None) continue;
        for (const bool finalises : {false, true}) {
            SCOPED_TRACE(ToUtf8(rules.name) + (finalises ? " final" : " open"));
            BurnerDrive burner(rules.medium);
            const bool isRefused = kind == BurnKind::BdRandom || (rules.medium == Medium::DvdRDl && !finalises);
            const Status status = burner.burn({.finalises = finalises, .verifies = true});
            EXPECT_EQ(status != Status::Ok, isRefused) << burner.fake.streams.output;
            if (status == Status::Ok) burner.expectImage();
        }
    }
}

TEST(BurnChecks, ADiscThatHoldsSomethingIsTold) {
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
