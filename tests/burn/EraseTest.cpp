#include <cstdio>
#include <gmock/gmock.h>
#include <optional>

#include "burn/Erase.h"
#include "burn/Format.h"
#include "optical/FakeDrive.h"
#include "simdrive/DriveFixture.h"

namespace tovlark {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr EraseMethod kQuick = EraseMethod::Quick, kFull = EraseMethod::Full;
constexpr std::uint32_t kBlocks = 20000;

std::string Hex(std::uint32_t value) {
    std::array<char, 9> text{};
    std::string digits = "0123456789abcdef";
    std::size_t at = text.size();
    do text[--at] = digits[value & 15], value >>= 4;
    while (value != 0);
    return std::string(text.begin() + static_cast<std::ptrdiff_t>(at), text.end());
}

/// What commands that changed a disc say, short: writes that follow one another are counted.
struct Changes {
    std::string text;
    std::uint32_t writes = 0, next = 0;

    void add(std::span<const std::byte> cdb, std::span<const std::byte> data) {
        const ReplyView command(cdb), list(data);
        const auto opcode = static_cast<Opcode>(command.u8(0));
        if (opcode == Opcode::Write10 && command.be32(2) == next) {
            ++writes;
            next += command.be16(7);
            return;
        }
        if (opcode == Opcode::Blank) text += " blank " + Hex(command.u8(1));
        if (opcode == Opcode::FormatUnit)
            text += " format " + Hex(command.u8(1)) + "," + Hex(list.u8(1)) + "," + Hex(list.be32(4)) + "," +
                    Hex(list.u8(8)) + "," + Hex(list.be24(9));
        if (opcode == Opcode::Write10) text += " write out of order";
        if (opcode != Opcode::SynchronizeCache && opcode != Opcode::CloseTrackSession) return;
        if (writes != 0) text += " zeros " + std::to_string(writes) + "/" + std::to_string(next);
        writes = next = 0;
        text += opcode == Opcode::SynchronizeCache ? " sync " + Hex(command.u8(1))
                                                   : " close " + Hex(command.u8(1)) + Hex(command.u8(2));
    }
};

/// A simulated drive as engines see it, with a disc that may be written on, and what is to go wrong.
struct Erasing {
    LoadedDrive sim;
    FakeSession around;
    Changes changes;
    /// Called before each command: what the drive answers instead.
    std::function<std::optional<DriveAnswer>(Opcode)> fault = [](Opcode) { return std::nullopt; };
    OpenedDrive opened;
    Drive drive;

    explicit Erasing(Medium medium) : sim(medium, kBlocks) {
        sim.drive.clock = &around.clock;
        opened = OpenedDrive(DriveRecord{.device = {this, &send, nullptr, nullptr}, .clock = &around.clock});
        drive = opened.get();
    }

    static SystemError send(void* self, PassThrough& command) {
        Erasing& owner = *static_cast<Erasing*>(self);
        const auto answer = owner.fault(static_cast<Opcode>(command.cdb[0]));
        if (answer && answer->error != 0) return {answer->error};
        if (answer) {
            command.scsiStatus = 2;
            command.sense[0] = std::byte{0x70};
            command.sense[2] = std::byte{answer->sense.key};
            command.sense[7] = std::byte{10};
            command.sense[12] = std::byte{answer->sense.code};
            command.sense[13] = std::byte{answer->sense.qualifier};
            command.dataBytes = 0;
            return {};
        }
        const SystemError error = Execute(owner.sim.drive, command);
        const bool isOut = command.direction == DataDirection::Out;
        if (command.scsiStatus == 0)
            owner.changes.add(command.cdb, std::span<const std::byte>(command.data, isOut ? command.dataBytes : 0));
        return error;
    }

    /// Puts data on the disc, as its kind takes them.
    void fill() {
        switch (sim.drive.rules().medium) {
            case Medium::CdR:
            case Medium::CdRw: EXPECT_EQ(sim.select(1, 4), 0u); break;
            case Medium::DvdR:
            case Medium::DvdRwSequential: EXPECT_EQ(sim.select(0, 5), 0u); break;
            case Medium::DvdRwOverwrite: EXPECT_EQ(sim.format(kBlocks, 0x00, 16), 0u); break;
            case Medium::DvdPlusRw: EXPECT_EQ(sim.format(kBlocks, 0x26), 0u); break;
            case Medium::DvdRam: EXPECT_EQ(sim.format(kBlocks, 0x00, 2048), 0u); break;
            case Medium::BdRe:
            case Medium::BdReDl: EXPECT_EQ(sim.format(kBlocks, 0x31), 0u); break;
            default: break;
        }
        EXPECT_EQ(sim.write(0, 16, 'x'), 0u);
        EXPECT_EQ(sim.synchronize(), 0u);
        EXPECT_EQ(sim.read(3), std::uint32_t{'x'});
    }
    bool isEmpty() {
        if (sim.drive.rules().access == Access::Sequential) return (sim.discStatus() & 3) == 0;
        return sim.read(3) == 0;
    }
    Status erase(EraseMethod method) { return EraseDisc(around.task, {drive, method}); }
    const std::string& output() const { return around.streams.output; }
    std::vector<std::byte> record() const {
        const auto* value = around.fakeSettings.find(u"EraseTime");
        return value == nullptr ? std::vector<std::byte>() : std::get<std::vector<std::byte>>(*value);
    }
};

TEST(EraseTest, EverySimulatedMediumByItsOwnCommands) {
    struct Row {
        Medium medium;
        EraseMethod method;
        const char* changes;
    };
    constexpr Row kRows[] = {
        {Medium::CdRw, kQuick, " blank 11"},
        {Medium::CdRw, kFull, " blank 10"},
        {Medium::DvdRwSequential, kQuick, " blank 11"},
        {Medium::DvdRwSequential, kFull, " blank 10"},
        {Medium::DvdRwOverwrite, kQuick, " blank 11"},
        {Medium::DvdRwOverwrite, kFull, " blank 10"},
        {Medium::DvdPlusRw, kQuick, " format 11,2,4e20,98,0 zeros 128/2048 sync 2 close 12"},
        {Medium::DvdPlusRw, kFull, " format 11,2,4e20,98,0 zeros 1250/20000 sync 2 close 12"},
        {Medium::DvdRam, kQuick, " format 19,a2,4e20,0,800"},
        {Medium::DvdRam, kFull, " format 11,82,4e20,0,800"},
        {Medium::BdRe, kQuick, " format 11,2,4e20,c5,800"},
        {Medium::BdReDl, kFull, " format 11,2,4e20,c6,800"},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(row.medium) << " method " << static_cast<int>(row.method));
        Erasing erasing(row.medium);
        erasing.fill();
        erasing.sim.drive.isRealTime = true;
        EXPECT_EQ(erasing.erase(row.method), Status::Ok);
        EXPECT_EQ(erasing.changes.text, row.changes);
        EXPECT_TRUE(erasing.isEmpty());
        EXPECT_THAT(erasing.output(), EndsWith("\b\b\b\b\b\b  100%\r\nMedia erased successfully.\r\n"));
        EXPECT_FALSE(erasing.around.flags.error);
    }
}

TEST(EraseTest, ShowsElapsedTimeAgainstTheEstimateAndKeepsIt) {
    Erasing erasing(Medium::CdRw);
    erasing.fill();
    erasing.sim.drive.isRealTime = true;
    std::vector<std::byte> record(64, std::byte{1});
    record[0] = std::byte{0};
    record[1] = std::byte{50};
    erasing.around.fakeSettings.put(u"EraseTime", record);
    EXPECT_EQ(erasing.erase(kQuick), Status::Ok);
    // The drive takes 25 seconds, half of what it took the last time.
    EXPECT_THAT(erasing.output(), HasSubstr("Erasing media...\r\nquick erase ...     0%"));
    EXPECT_THAT(erasing.output(), HasSubstr("    1%\b\b\b\b\b\b    2%\b\b\b\b\b\b    3%"));
    EXPECT_THAT(erasing.output(), HasSubstr("   49%"));
    EXPECT_THAT(erasing.output(), Not(HasSubstr("   52%")));
    record[1] = std::byte{25};
    EXPECT_EQ(erasing.record(), record);
}

TEST(EraseTest, RefusesWhatCannotBeErased) {
    struct Row {
        Medium medium;
        bool isThere;
        const char* words;
    };
    constexpr Row kRows[] = {{Medium::CdRw, false, "No disc in the drive\r\n"},
                             {Medium::DvdPlusR, true, "DVD+R cannot be erased.\r\n"},
                             {Medium::CdR, true, "CD-R cannot be erased.\r\n"},
                             {Medium::DvdPlusRwDl, true, "DVD+RW DL cannot be erased.\r\n"}};
    for (const Row& row : kRows) {
        Erasing erasing(row.medium);
        if (!row.isThere) LoadDisc(erasing.sim.drive, nullptr);
        erasing.sim.drive.attentions.clear();
        EXPECT_EQ(erasing.erase(kQuick), Status::Failed);
        EXPECT_EQ(erasing.output(), std::string("Erasing media...\r\n") + row.words);
        EXPECT_EQ(erasing.changes.text, "");
        EXPECT_TRUE(erasing.around.flags.error);
    }
}

/// The nth command of a kind and all that follow are answered so.
auto FailFrom(Opcode opcode, int nth, DriveAnswer answer) {
    return [=, count = 0](Opcode sent) mutable -> std::optional<DriveAnswer> {
        if (sent != opcode || ++count < nth) return std::nullopt;
        return answer;
    };
}

TEST(EraseTest, NamesEachFailureAndKeepsTheOldRecord) {
    const DriveAnswer worn = Refused({3, 0x51, 0}), refused = Refused({5, 0x26, 0});
    struct Row {
        const char* what;
        Medium medium;
        Opcode opcode;
        int nth;
        DriveAnswer answer;
        const char* words;
    };
    const Row rows[] = {
        {"BLANK", Medium::CdRw, Opcode::Blank, 1, worn,
         "\r\nError erasing media.\r\nThe drive answered 03/51/00 (3c0b3ffb).\r\n"},
        {"transport", Medium::DvdRwSequential, Opcode::Blank, 1, {.error = 5}, "\r\nError erasing media.\r\n"},
        {"erasing ends badly", Medium::CdRw, Opcode::TestUnitReady, 1, worn, "\r\nError erasing media.\r\n"},
        {"no answer to whether it is blank", Medium::CdRw, Opcode::ReadDiscInformation, 1, refused,
         "\r\nError verifying blank media.\r\n"},
        {"no capacities", Medium::DvdPlusRw, Opcode::ReadFormatCapacities, 1, refused,
         "\r\nError reading capacity information.\r\n"},
        {"FORMAT", Medium::DvdPlusRw, Opcode::FormatUnit, 1, refused, "\r\nError formatting the media.\r\n"},
        {"FORMAT of DVD-RAM", Medium::DvdRam, Opcode::FormatUnit, 1, worn, "\r\nError formatting the media.\r\n"},
        {"first write", Medium::DvdPlusRw, Opcode::Write10, 1, worn, "\r\nError writing data. (1-3c0b3f70)\r\n"},
        {"a later write", Medium::DvdPlusRw, Opcode::Write10, 128, worn, "\r\nError writing data. (1-3c0b3f70)\r\n"},
        {"SYNCHRONIZE", Medium::DvdPlusRw, Opcode::SynchronizeCache, 1, worn, "\r\nSynchronizing cache failed.\r\n"},
        {"CLOSE", Medium::DvdPlusRw, Opcode::CloseTrackSession, 1, worn, "\r\nError Closing track.\r\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        Erasing erasing(row.medium);
        erasing.fill();
        erasing.fault = FailFrom(row.opcode, row.nth, row.answer);
        EXPECT_EQ(erasing.erase(kQuick), Status::Failed);
        EXPECT_THAT(erasing.output(), HasSubstr(row.words));
        EXPECT_THAT(erasing.output(), Not(HasSubstr("successfully")));
        EXPECT_TRUE(erasing.record().empty());
        EXPECT_TRUE(erasing.around.flags.error);
        erasing.fault = [](Opcode) { return std::nullopt; };
        EXPECT_EQ(erasing.erase(kQuick), Status::Ok) << "again";
        EXPECT_TRUE(erasing.isEmpty());
    }
}

TEST(EraseTest, ADriveThatBlanksNothingIsFoundOut) {
    Erasing erasing(Medium::CdRw);
    erasing.fill();
    FakeDrive liar;  // says yes to BLANK and leaves it
    liar.answer = [&](const FakeDrive::Sent& sent) {
        DriveAnswer answer;
        answer.data.resize(512);
        std::array<std::byte, 18> sense{};
        PassThrough command{.cdb = std::as_bytes(std::span(sent.cdb)),
                            .direction = sent.direction,
                            .data = std::as_writable_bytes(std::span(answer.data)).data(),
                            .dataBytes = static_cast<std::uint32_t>(answer.data.size()),
                            .sense = sense};
        if (sent.direction == DataDirection::In && !Execute(erasing.sim.drive, command).failed())
            answer.data.resize(command.dataBytes);
        return answer;
    };
    EXPECT_EQ(EraseDisc(liar.around.task, {liar.drive, kQuick}), Status::Failed);
    EXPECT_THAT(liar.around.streams.output, EndsWith("\r\nError verifying blank media.\r\n"));
}

TEST(EraseTest, AQuickBlankedDvdRwIsNotedToTakeDiscAtOnceOnly) {
    for (const EraseMethod method : {kQuick, kFull}) {
        Erasing erasing(Medium::DvdRwSequential);
        erasing.fill();
        EXPECT_EQ(erasing.erase(method), Status::Ok);
        bool isNoted = false;
        for (const MessageLog::Line& line : erasing.around.log.lines())
            isNoted = isNoted || line.text.starts_with(u"The disc takes disc-at-once only");
        EXPECT_EQ(isNoted, method == kQuick);
    }
}

TEST(EraseTest, PowerLostAnywhereLeavesADiscThatCanBeErased) {
    for (const Medium medium : {Medium::CdRw, Medium::DvdRwSequential, Medium::DvdPlusRw, Medium::DvdRam}) {
        for (int commands = 1;; commands += 7) {
            Erasing erasing(medium);
            erasing.fill();
            int left = commands;
            erasing.fault = [&](Opcode) { return left-- > 0 ? std::nullopt : std::optional(DriveAnswer{.error = 5}); };
            if (erasing.erase(kQuick) == Status::Ok) break;
            // Nothing was saved on the way out: the disc is as the file has it.
            LoadDisc(erasing.sim.drive, nullptr);
            erasing.sim.load(erasing.sim.path());
            erasing.fault = [](Opcode) { return std::nullopt; };
            ASSERT_EQ(erasing.erase(kQuick), Status::Ok) << static_cast<int>(medium) << " after " << commands;
            ASSERT_TRUE(erasing.isEmpty()) << static_cast<int>(medium) << " after " << commands;
        }
    }
}

TEST(EraseTest, CancelStopsWhatCanBeStoppedAndSaysHowTheDiscIs) {
    struct Row {
        Medium medium;
        Opcode at;
        int nth;
        const char* words;
        const char* changes;
    };
    constexpr Row kRows[] = {
        {Medium::CdRw, Opcode::TestUnitReady, 3,
         "\r\nThe drive cannot be stopped and goes on by itself: the disc is empty when it has finished, not before."
         "\r\nThe operation has been canceled.\r\n",
         " blank 11"},
        {Medium::DvdPlusRw, Opcode::Write10, 10,
         "\r\nErasing was stopped after 160 of 2048 sectors: the disc can be written, but what lay behind them is "
         "still "
         "on it.\r\nThe operation has been canceled.\r\n",
         " format 11,2,4e20,98,0 zeros 10/160 sync 2 close 12"},
    };
    for (const Row& row : kRows) {
        Erasing erasing(row.medium);
        erasing.fill();
        erasing.sim.drive.isRealTime = true;
        erasing.fault = [&, count = 0](Opcode sent) mutable -> std::optional<DriveAnswer> {
            if (sent == row.at && ++count == row.nth) erasing.around.flags.cancel = true;
            return std::nullopt;
        };
        EXPECT_EQ(erasing.erase(kQuick), Status::Failed);
        EXPECT_THAT(erasing.output(), EndsWith(row.words));
        EXPECT_EQ(erasing.changes.text, row.changes);
        EXPECT_TRUE(erasing.record().empty());
    }
}

TEST(EraseTest, AsksWithWhatIsThereAndHowItIsErased) {
    struct Row {
        const char* input;
        bool assumesYes, erases;
        const char* end;
    };
    constexpr Row kRows[] = {
        {"Yes\n", false, true, "Do you want to erase it now? (Yes/No):"},
        {"n\n", false, false, "(Yes/No):The operation has been canceled.\r\n"},
        {"", true, true, "(Yes/No):Yes\r\n"},
    };
    for (const Row& row : kRows) {
        FakeSession around;
        around.streams.input = row.input;
        if (row.assumesYes) around.session.assumeYes();
        DriveEntry entry;
        entry.mediaName = u"CD-RW";
        entry.summary = u"Total 702MB, Free 0MB";
        EXPECT_EQ(AskToErase(around.task, entry, kFull), row.erases);
        EXPECT_THAT(around.streams.output, testing::StartsWith("Media detected: CD-RW Total 702MB, Free 0MB\r\n"
                                                               "Erasing method: full erase\r\n"
                                                               "Warning: All data in the disc will be erased!\r\n"));
        EXPECT_THAT(around.streams.output, EndsWith(row.end));
    }
}

/// A drive with a BD-RE of 64 blocks that it answers for by a script.
struct BdReDrive : FakeDrive {
    std::uint8_t profile = 0x43, feature = 0;     // feature 0023h: bits of its fifth byte
    std::vector<std::uint8_t> refusedSubTypes{};  // of FORMAT UNIT
    bool keepsData = false;
    Changes changes;

    BdReDrive() {
        answer = [this](const Sent& command) {
            changes.add(std::as_bytes(std::span(command.cdb)), std::as_bytes(std::span(command.data)));
            return answerTo(command);
        };
    }
    DriveAnswer answerTo(const Sent& command) {
        switch (static_cast<Opcode>(command.cdb[0])) {
            case Opcode::GetConfiguration:
                if (command.cdb[1] == 0) return {.data = {0, 0, 0, 4, 0, 0, 0, profile}};
                if (command.cdb[3] != 0x23) return {.data = {0, 0, 0, 4, 0, 0, 0, profile}};
                return {.data = {0, 0, 0, 16, 0, 0, 0, profile, 0, 0x23, 5, 8, feature, 0, 0, 0, 0, 0, 0, 0}};
            case Opcode::ReadFormatCapacities:
                return {.data = {0, 0, 0, 32, 0,    0,    0,    64, 2,    0, 8, 0, 0,    0,    0x0F, 0x80, 0, 0,
                                 8, 0, 0, 0,  0x0F, 0x40, 0xC0, 0,  0x30, 0, 0, 0, 0x0F, 0xC0, 0xC4, 0,    8, 0}};
            case Opcode::ReadCapacity: return {.data = {0, 0, 0x0F, 0x3F, 0, 0, 8, 0}};
            case Opcode::Read10: return {.data = ByteList(32 * 2048, keepsData ? 'x' : 0)};
            case Opcode::FormatUnit:
                for (const std::uint8_t type : refusedSubTypes)
                    if ((command.data[8] & 3) == type) return Refused({5, 0x26, 0});
                return {};
            case Opcode::ReadDiscStructure: return Refused({5, 0x24, 0});
            default: return {};
        }
    }
};

TEST(EraseTest, BdReIsFormattedAsTheDriveCan) {
    constexpr unsigned kNoSpares = 8, kCertifies = 1;
    struct Row {
        const char* what;
        EraseMethod method;
        unsigned feature;
        bool keepsData;
        std::vector<std::uint8_t> refused;
        const char* changes;
        Status status = Status::Ok;
    };
    const Row rows[] = {
        {"without spare areas", kQuick, kNoSpares, false, {}, " format 11,2,fc0,c5,800"},
        {"with spare areas", kQuick, 0, false, {}, " format 11,2,f40,c1,3000"},
        {"the old data stay", kQuick, 0, true, {}, " format 11,2,f40,c1,3000 zeros 64/2048 sync 2"},
        {"quick reformat only", kQuick, 0, false, {1}, " format 11,2,f40,c1,3000 format 11,2,f40,c0,3000"},
        {"certified", kFull, kCertifies, false, {}, " format 11,2,f40,c2,3000"},
        {"certified without spare areas", kFull, kNoSpares | kCertifies, false, {}, " format 11,2,fc0,c6,800"},
        {"cannot certify", kFull, 0, false, {}, " format 11,2,f40,c1,3000 zeros 122/3904 sync 2"},
        {"certification refused",
         kFull,
         kCertifies,
         false,
         {2},
         " format 11,2,f40,c2,3000 format 11,2,f40,c1,3000 zeros 122/3904 sync 2"},
        {"nothing works", kQuick, 0, false, {0, 1}, " format 11,2,f40,c1,3000 format 11,2,f40,c0,3000", Status::Failed},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        BdReDrive fake;
        fake.feature = static_cast<std::uint8_t>(row.feature);
        fake.keepsData = row.keepsData;
        fake.refusedSubTypes = row.refused;
        EXPECT_EQ(EraseDisc(fake.around.task, {fake.drive, row.method}), row.status);
        EXPECT_EQ(fake.changes.text, row.changes);
        EXPECT_THAT(fake.around.streams.output,
                    HasSubstr(row.status == Status::Ok ? "Media erased successfully." : "Error formatting the media."));
    }
}

TEST(FormatTest, AListThatIsCutOrLiesOffersOnlyWhatIsThere) {
    struct Row {
        const char* what;
        ByteList reply;
        bool isFound;
    };
    const Row rows[] = {
        {"as it should be", {0, 0, 0, 16, 0, 0, 0, 9, 2, 0, 8, 0, 0, 0, 0, 7, 0x98, 0, 0, 0}, true},
        {"only the current capacity counts", {0, 0, 0, 8, 0, 0, 0, 9, 2, 0, 8, 0, 0, 0, 0, 7, 0x98, 0, 0, 0}, false},
        {"longer than it is", {0, 0, 0, 248, 0, 0, 0, 9, 2, 0, 8, 0, 0, 0, 0, 7, 0x98, 0, 0}, false},
        {"other formats", {0, 0, 0, 16, 0, 0, 0, 9, 2, 0, 8, 0, 0, 0, 0, 7, 0x00, 0, 0, 0}, false},
        {"no length", {0, 0, 0, 0, 0, 0, 0, 9, 2, 0, 8, 0, 0, 0, 0, 7, 0x98, 0, 0, 0}, false},
        {"nothing", {}, false},
    };
    for (const Row& row : rows) {
        FakeDrive fake;
        fake.answer = [&](const auto&) { return DriveAnswer{.data = row.reply}; };
        const auto offer = FindFormat(fake.drive, FormatType::kPlusRw);
        EXPECT_EQ(offer ? offer->blocks : 0, row.isFound ? 7u : 0u) << row.what;
        EXPECT_EQ(fake.sent[0].cdb[8], 252u);
    }
}

}  // namespace
}  // namespace tovlark
