#include "burn/BurnerDrive.h"
#include "burn/Verify.h"

namespace tovlark {
namespace {

constexpr std::uint32_t kImageSectors = 1000;  // the last chunk has eight

struct VerifyRow {
    const char* what;
    int wrongReads;  // reads of the sector 993 that come back with a wrong byte
    std::uint32_t refusal;
    const char* answers;
    bool passes;
    std::uint32_t sectorsRead;
    const char* says;
};

constexpr VerifyRow kRows[] = {
    {"as written", 0, 0, "", true, kImageSectors, "Verifying media completed successfully.\r\n"},
    {"once wrong", 1, 0, "Retry\n", true, kImageSectors + 8,
     "Error verifying data on disc.(sector offset: 992-999)\r\n(Abort/Retry/Ignore):"},
    {"wrong, ignored", 1, 0, "i\n", false, kImageSectors, "Verifying media completed with errors.\r\n"},
    {"wrong, aborted", 2, 0, "r\na\n", false, kImageSectors + 8, "Verifying media failed.\r\n"},
    {"nobody answers", 1, 0, "", false, kImageSectors, "Verifying media failed.\r\n"},
    {"unreadable", 0, 0x031100, "", false, 304,
     "Error reading data on disc.(sector offset: 304-319)\r\nError reading data on disc.: "},
};

TEST(Verify, TellsWhatDiffersAndEndsAsAnswered) {
    for (const VerifyRow& row : kRows) {
        SCOPED_TRACE(row.what);
        BurnerDrive burner(Medium::DvdPlusRw);
        burner.fake.streams.input = row.answers;
        std::uint32_t sectorsRead = 0;
        bool isVerifying = false;  // the medium was stopped and started
        burner.refuses = [&](std::uint8_t opcode, int) {
            isVerifying = isVerifying || opcode == 0x1B;
            return opcode == 0x28 && isVerifying && sectorsRead == 304 ? row.refusal : 0;
        };
        int wrong = row.wrongReads;
        burner.hasSent = [&](PassThrough& command) {
            if (command.cdb[0] != std::byte{0x28} || !isVerifying) return;
            sectorsRead += std::to_integer<std::uint32_t>(command.cdb[8]);
            const bool isLast =
                std::to_integer<int>(command.cdb[4]) == 992 >> 8 && std::to_integer<int>(command.cdb[5]) == (992 & 255);
            if (isLast && wrong-- > 0) command.data[2050] ^= std::byte{1};
        };
        const Status status = burner.burn({.finalises = true, .verifies = true});
        EXPECT_EQ(status == Status::Ok, row.passes) << burner.fake.streams.output;
        EXPECT_EQ(burner.fake.flags.error, !row.passes);
        EXPECT_EQ(sectorsRead, row.sectorsRead);
        EXPECT_TRUE(burner.says(row.says)) << burner.fake.streams.output;
        EXPECT_TRUE(burner.says("Burning completed successfully.\r\n"));
    }
}

TEST(Verify, CancellingIsAskedAbout) {
    static constexpr struct {
        int opcode, turn;  // while it is read, or before
        bool aborts;
    } kCases[] = {{0x28, 10, false}, {0x28, 10, true}, {0x35, 1, false}, {0x35, 1, true}};
    for (const auto& [opcode, turn, aborts] : kCases) {
        BurnerDrive burner(Medium::DvdPlusR);
        burner.fake.streams.input = aborts ? "OK\n" : "Cancel\n";
        burner.hasSent = [&](PassThrough& command) {
            const int sent = std::to_integer<int>(command.cdb[0]);
            if (sent == opcode && burner.turns[static_cast<std::uint8_t>(sent)] == turn)
                burner.fake.flags.cancel = true;
        };
        EXPECT_EQ(burner.burn({.finalises = true, .verifies = true}), aborts ? Status::Failed : Status::Ok);
        EXPECT_TRUE(burner.says("Burning completed successfully."));
        EXPECT_TRUE(burner.says("Would you really like to abort the data verification process?"));
        EXPECT_TRUE(
            burner.says(aborts ? "Verifying media was canceled.\r\n" : "Verifying media completed successfully.\r\n"))
            << burner.fake.streams.output;
        EXPECT_EQ(burner.fake.flags.cancel, aborts);
        EXPECT_FALSE(burner.fake.flags.error);
    }
}

TEST(Verify, OneAnswerHoldsForAllDrives) {
    FakeSession fake;
    fake.streams.input = "OK\n";
    AbortQuestion question;
    EXPECT_FALSE(question.isAnsweredYes(fake.task));
    fake.flags.cancel = true;
    EXPECT_TRUE(question.isAnsweredYes(fake.task));
    EXPECT_TRUE(question.isAnsweredYes(fake.task));
    EXPECT_EQ(fake.streams.promptCount, 1u);
}

}  // namespace
}  // namespace tovlark
