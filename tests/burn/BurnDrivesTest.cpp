#include "burn/BurnDrives.h"
#include "burn/BurnerDrive.h"

namespace tovlark {
namespace {

/// Drives with a disc each that share log and settings, as the windows of one program do.
struct ManyDrives {
    FakeSession shared;
    std::vector<std::unique_ptr<BurnerDrive>> burners;
    std::vector<std::unique_ptr<Task>> tasks;
    std::vector<DriveTask> drives;

    explicit ManyDrives(std::initializer_list<Medium> media) {
        for (const Medium medium : media) {
            BurnerDrive& burner = *burners.emplace_back(std::make_unique<BurnerDrive>(medium, 20000, 9000));
            burner.opened.get().record->letter = static_cast<char16_t>(u'E' + burners.size());
            FakeSession& own = burner.fake;
            tasks.push_back(
                std::make_unique<Task>(Task{own.session, shared.settings, shared.log, own.clock, own.flags}));
        }
    }
    void burn(const BurnOptions& options) {
        for (std::size_t index = 0; index < burners.size(); ++index)
            drives.push_back({*tasks[index],
                              {.drive = burners[index]->opened.get(),
                               .source = burners[index]->files.source(),
                               .options = options}});
        BurnOnDrives(drives);
    }
    std::size_t lines(TextView begin, TextView words) const {
        std::size_t count = 0;
        for (const MessageLog::Line& line : shared.log.lines())
            count += line.text.starts_with(begin) && line.text.find(words) != Text::npos;
        return count;
    }
};

TEST(BurnDrives, OneThatFailsDoesNotTroubleTheOthers) {
    ManyDrives many{Medium::CdRw, Medium::DvdPlusR, Medium::DvdRam, Medium::BdRe};
    many.burners[2]->refuses = [](std::uint8_t opcode, int turn) {
        return opcode == 0x2A && turn == 300 ? 0x030C00u : 0u;
    };
    many.burn({.finalises = true, .verifies = true});
    for (std::size_t index = 0; index < many.drives.size(); ++index) {
        SCOPED_TRACE(index);
        BurnerDrive& burner = *many.burners[index];
        const bool isBurned = index != 2;
        EXPECT_EQ(many.drives[index].status == Status::Ok, isBurned) << burner.fake.streams.output;
        EXPECT_EQ(burner.fake.flags.error, !isBurned);
        if (isBurned) burner.expectImage();
        const Text mark = u"[TOVLARK SIMULATED DRIVE " + Text(1, static_cast<char16_t>(u'F' + index)) + u":] ";
        EXPECT_EQ(many.lines(mark, u"SHA-256"), isBurned ? 1u : 0u);
        EXPECT_GT(many.lines(mark, u"BurnProgress["), 10u);
    }
    EXPECT_EQ(many.lines(u"BurnProgress", u""), 0u);
}

TEST(BurnDrives, OneAnswerEndsAllVerifications) {
    ManyDrives many{Medium::DvdPlusR, Medium::DvdPlusRw, Medium::BdR};
    for (const auto& burner : many.burners) {
        burner->fake.streams.input = "OK\n";
        burner->hasSent = [&one = *burner](PassThrough& command) {
            const bool isVerifying = one.turns[0x1B] > 0;  // the medium was stopped and started
            if (isVerifying && command.cdb[0] == std::byte{0x28}) one.fake.flags.cancel = true;
        };
    }
    many.burn({.finalises = true, .verifies = true});
    std::size_t asked = 0;
    for (const auto& burner : many.burners) {
        asked += burner->says("Would you really like to abort");
        EXPECT_TRUE(burner->says("Verifying media was canceled.")) << burner->fake.streams.output;
    }
    EXPECT_EQ(asked, 1u);
}

}  // namespace
}  // namespace tovlark
