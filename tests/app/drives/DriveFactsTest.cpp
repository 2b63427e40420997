#include <functional>
#include <gmock/gmock.h>
#include <set>

#include "app/drives/DriveFacts.h"
#include "optical/DriveMap.h"
#include "simdrive/DriveFixture.h"
#include "support/FakeSession.h"

namespace tovlark {
namespace {

constexpr std::uint32_t kOk = 0;

OpenedDrive Open(LoadedDrive& loaded) {
    const DiscDevice device{
        &loaded.drive, [](void* self, PassThrough& command) { return Execute(*static_cast<SimDrive*>(self), command); },
        [](void*, VolumeControl) { return SystemError{}; }, [](void*) {}};
    return OpenedDrive({.device = device, .clock = &loaded.time.clock});
}

/// What is told of the disc: "21 DVD+R appendable, 2295104 = 0 used + 2295104 free; 1.1 0+32 data, ...; 22160".
/// A track is session.number, first+blocks, what it is, and ">next" where it takes more.
std::string Told(LoadedDrive& loaded) {
    const OpenedDrive drive = Open(loaded);
    const DriveFacts facts = ReadDriveFacts(Texts(), drive.get());
    const DriveEntry& entry = facts.entry;
    constexpr const char* kStatus[] = {"blank", "appendable", "complete", "random"};
    const auto number = [](auto value) { return std::to_string(value); };
    std::string told = number(static_cast<int>(entry.mediaType)) + " " + ToUtf8(entry.mediaName) + " " +
                       (facts.disc ? kStatus[static_cast<std::size_t>(facts.disc->status)] : "untold") + ", " +
                       number(entry.totalBlocks) + " = " + number(entry.usedBlocks) + " used + " +
                       number(entry.freeBlocks) + " free;";
    for (const TrackInformation& track : facts.tracks) {
        told += " " + number(track.session) + "." + number(track.number) + " " +
                number(static_cast<std::int32_t>(track.first)) + "+" + number(track.blocks);
        told += track.isBlank ? " blank" : IsCd(entry.mediaType) && track.isAudio() ? " audio" : " data";
        if (track.next) told += " >" + number(static_cast<std::int32_t>(*track.next));
        told += ",";
    }
    told.back() = ';';
    return told + (facts.writeSpeeds.empty() ? " none" : " " + number(facts.writeSpeeds.front()));
}

/// A medium on its way from blank to closed. Steps give 0 when the drive does what they ask.
struct Walk {
    Medium medium;
    const char* blank;
    std::function<std::uint32_t(LoadedDrive&)> append;
    const char* appendable;
    std::function<std::uint32_t(LoadedDrive&)> close;
    const char* closed;

    friend void PrintTo(const Walk& walk, std::ostream* out) { *out << ToUtf8(FindRules(walk.medium)->name); }
};

constexpr int kTrackAtOnce = 1, kIncremental = 0, kMultiSession = 0xC0, kDataTrack = 4, kIncrementalTrack = 5;

std::uint32_t Write(LoadedDrive& on, std::uint32_t first) {
    const std::uint32_t sense = on.write(first, 32, 'a');
    return sense != 0 ? sense : on.synchronize();
}

/// Writes a session of one track, and closes both.
std::function<std::uint32_t(LoadedDrive&)> Session(std::uint32_t first, int track, int writeType, int trackMode,
                                                   int closeFunction = 2) {
    return [=](LoadedDrive& on) {
        std::uint32_t sense = writeType >= 0 ? on.select(writeType, trackMode) : kOk;
        if (sense == 0) sense = Write(on, first);
        if (sense == 0) sense = on.close(1, track);
        return sense != 0 ? sense : on.close(closeFunction, track);
    };
}

class Media : public testing::TestWithParam<Walk> {};

TEST_P(Media, AreToldRightOnTheirWay) {
    const Walk& walk = GetParam();
    LoadedDrive on(walk.medium, FindRules(walk.medium)->blocks);
    EXPECT_EQ(Told(on), walk.blank);
    ASSERT_EQ(walk.append(on), kOk);
    EXPECT_EQ(Told(on), walk.appendable);
    ASSERT_EQ(walk.close(on), kOk);
    EXPECT_EQ(Told(on), walk.closed);
    on.load(on.path());
    EXPECT_EQ(Told(on), walk.closed) << "the disc file, opened anew";
}

const auto kFormatAndWrite = [](int type, int parameter = 0) {
    return [=](LoadedDrive& on) {
        const std::uint32_t sense = on.format(on.drive.state().blocks, type, parameter);
        return sense != 0 ? sense : Write(on, 0);
    };
};

INSTANTIATE_TEST_SUITE_P(
    , Media,
    testing::Values(
        Walk{
            Medium::CdR, "2 CD-R blank, 359849 = 0 used + 359849 free; 1.1 0+359849 blank >0; 8448",
            Session(0, 1, kTrackAtOnce, kMultiSession | kDataTrack),
            "2 CD-R appendable, 359849 = 11702 used + 348147 free; 1.1 0+302 data, 2.2 11702+348147 blank >11702; 8448",
            Session(11702, 2, kTrackAtOnce, kDataTrack),
            "2 CD-R complete, 12004 = 12004 used + 0 free; 1.1 0+302 data, 2.2 11702+302 data; 8448"},
        Walk{Medium::CdRw, "3 CD-RW blank, 359849 = 0 used + 359849 free; 1.1 0+359849 blank >0; 4224",
             Session(0, 1, kTrackAtOnce, kMultiSession | kDataTrack),
             "3 CD-RW appendable, 359849 = 11702 used + 348147 free; 1.1 0+302 data, 2.2 11702+348147 blank >11702; "
             "4224",
             Session(11702, 2, kTrackAtOnce, kDataTrack),
             "3 CD-RW complete, 12004 = 12004 used + 0 free; 1.1 0+302 data, 2.2 11702+302 data; 4224"},
        Walk{Medium::DvdR, "17 DVD-R blank, 2298496 = 0 used + 2298496 free; 1.1 0+2298496 blank >0; 22160",
             Session(0, 1, kIncremental, kMultiSession | kIncrementalTrack),
             "17 DVD-R appendable, 2298496 = 12304 used + 2286192 free; 1.1 0+32 data, 2.2 12304+2286192 blank >12304; "
             "22160",
             Session(12304, 2, kIncremental, kIncrementalTrack),
             "17 DVD-R complete, 12336 = 12336 used + 0 free; 1.1 0+32 data, 2.2 12304+32 data; 22160"},
        Walk{Medium::DvdRwSequential, "18 DVD-RW blank, 2298496 = 0 used + 2298496 free; 1.1 0+2298496 blank >0; 8310",
             Session(0, 1, kIncremental, kMultiSession | kIncrementalTrack),
             "18 DVD-RW appendable, 2298496 = 12304 used + 2286192 free; 1.1 0+32 data, 2.2 12304+2286192 blank "
             ">12304; 8310",
             Session(12304, 2, kIncremental, kIncrementalTrack),
             "18 DVD-RW complete, 12336 = 12336 used + 0 free; 1.1 0+32 data, 2.2 12304+32 data; 8310"},
        Walk{Medium::DvdRDl, "23 DVD-R DL blank, 4171712 = 0 used + 4171712 free; 1.1 0+4171712 blank >0; 11080",
             Session(0, 1, kIncremental, kMultiSession | kIncrementalTrack),
             "23 DVD-R DL appendable, 4171712 = 12304 used + 4159408 free; 1.1 0+32 data, 2.2 12304+4159408 blank "
             ">12304; 11080",
             Session(12304, 2, kIncremental, kIncrementalTrack),
             "23 DVD-R DL complete, 12336 = 12336 used + 0 free; 1.1 0+32 data, 2.2 12304+32 data; 11080"},
        Walk{Medium::DvdPlusR, "21 DVD+R blank, 2295104 = 0 used + 2295104 free; 1.1 0+2295104 blank >0; 22160",
             Session(0, 1, -1, 0),
             "21 DVD+R appendable, 2295104 = 4128 used + 2290976 free; 1.1 0+32 data, 2.2 4128+2290976 blank >4128; "
             "22160",
             Session(4128, 2, -1, 0, 6),
             "21 DVD+R complete, 4160 = 4160 used + 0 free; 1.1 0+32 data, 2.2 4128+32 data; 22160"},
        Walk{Medium::DvdPlusRDl, "24 DVD+R DL blank, 4173824 = 0 used + 4173824 free; 1.1 0+4173824 blank >0; 11080",
             Session(0, 1, -1, 0),
             "24 DVD+R DL appendable, 4173824 = 4128 used + 4169696 free; 1.1 0+32 data, 2.2 4128+4169696 blank >4128; "
             "11080",
             Session(4128, 2, -1, 0, 6),
             "24 DVD+R DL complete, 4160 = 4160 used + 0 free; 1.1 0+32 data, 2.2 4128+32 data; 11080"},
        Walk{Medium::DvdPlusRw, "22 DVD+RW blank, 2295104 = 0 used + 2295104 free; 1.1 0+2295104 blank; 11080",
             kFormatAndWrite(0x26), "22 DVD+RW complete, 2295104 = 0 used + 2295104 free; 1.1 0+2295104 data; 11080",
             [](LoadedDrive& on) { return on.close(2); },
             "22 DVD+RW complete, 2295104 = 0 used + 2295104 free; 1.1 0+2295104 data; 11080"},
        Walk{Medium::DvdPlusRwDl, "26 DVD+RW DL blank, 4173824 = 4173824 used + 0 free; 1.1 0+4173824 blank; 5540",
             kFormatAndWrite(0x26), "26 DVD+RW DL complete, 4173824 = 4173824 used + 0 free; 1.1 0+4173824 data; 5540",
             [](LoadedDrive& on) { return on.close(2); },
             "26 DVD+RW DL complete, 4173824 = 4173824 used + 0 free; 1.1 0+4173824 data; 5540"},
        Walk{Medium::DvdRam, "20 DVD-RAM random, 2236704 = 0 used + 2236704 free; 1.1 0+2236704 blank; 6925",
             kFormatAndWrite(0, 2048), "20 DVD-RAM random, 2236704 = 0 used + 2236704 free; 1.1 0+2236704 data; 6925",
             [](LoadedDrive& on) { return Write(on, 1000); },
             "20 DVD-RAM random, 2236704 = 0 used + 2236704 free; 1.1 0+2236704 data; 6925"},
        Walk{Medium::DvdRwOverwrite, "19 DVD-RW complete, 2298496 = 0 used + 2298496 free; 1.1 0+2298496 data; 8310",
             [](LoadedDrive& on) {
                 const std::uint32_t sense = on.format(64, 0x15);
                 return sense != 0 ? sense : Write(on, 0);
             },
             "19 DVD-RW appendable, 2298496 = 0 used + 2298496 free; 1.1 0+64 data >32; 8310",
             [](LoadedDrive& on) { return on.close(2); },
             "19 DVD-RW complete, 2298496 = 0 used + 2298496 free; 1.1 0+64 data; 8310"}));

// Those of Blu-ray and HD DVD go alike, whatever their size.
TEST(BlueMedia, AreToldRightOnTheirWay) {
    constexpr std::uint32_t kWritten = 32;
    for (const MediumRules& rules : MediaRules()) {
        if (rules.medium < Medium::BdR || rules.access == Access::Pressed) continue;
        LoadedDrive on(rules.medium, rules.blocks);
        std::uint32_t total = on.drive.state().capacity();
        const auto expect = [&](const char* status, std::uint32_t used, const std::string& tracks) {
            const TextView name = rules.name.substr(0, rules.name.find(u" ("));  // the recording mode is no part of it
            const std::string head = std::to_string(static_cast<int>(rules.medium)) + " " + ToUtf8(name);
            EXPECT_THAT(Told(on), testing::StartsWith(head + " " + status + ", " + std::to_string(total) + " = " +
                                                      std::to_string(used) + " used + " + std::to_string(total - used) +
                                                      " free; 1.1 0+" + tracks + "; "));
        };
        const std::string all = std::to_string(total), rest = std::to_string(total - kWritten);
        // What is not known to be overwritable is taken as a track that is full.
        const bool isCounted = rules.medium == Medium::BdRe || rules.medium == Medium::BdReDl;
        if (rules.access == Access::Sequential) {
            expect(rules.hasPseudoOverwrite() ? "appendable" : "blank", 0, all + " blank >0");
            ASSERT_EQ(Session(0, 1, -1, 0)(on), kOk);
            const bool takesMore = rules.medium != Medium::HdDvdR;
            if (takesMore) {
                expect("appendable", kWritten, "32 data, 2.2 32+" + rest + " blank >32");
                ASSERT_EQ(on.close(6), kOk);
            }
            total = kWritten;
            expect("complete", kWritten, "32 data");
        } else if (rules.isRandomBdR()) {
            expect("complete", total, all + " data");
        } else {
            const bool isRam = rules.medium == Medium::HdDvdRam;
            expect(isRam ? "random" : "blank", isCounted ? 0 : total, all + " blank");
            ASSERT_EQ(kFormatAndWrite(isRam ? 0x00 : 0x31, 2048)(on), kOk);
            expect(isRam ? "random" : "complete", isCounted ? 0 : total, all + " data");
        }
    }
}

TEST(PressedMedia, AreToldRight) {
    LoadedDrive on(Medium::CdR);
    on.folder.write("cd.iso", std::string(20 * 2048, 'd'));
    on.folder.write("dvd.iso", "");
    std::filesystem::resize_file(on.folder / "dvd.iso", std::uintmax_t{500'000} * 2048);
    on.folder.write("a.bin", std::string(300 * 2352, 'a'));
    on.folder.write("b.bin", std::string(400 * 2048, 'b'));
    on.folder.write("mixed.cue",
                    "FILE a.bin BINARY\n TRACK 01 AUDIO\n  INDEX 01 00:00:00\n"
                    "FILE b.bin BINARY\n TRACK 02 MODE1/2048\n  INDEX 01 00:00:00\n");
    const struct {
        const char* file;
        const char* told;
    } rows[] = {{"cd.iso", "1 CD-ROM complete, 20 = 20 used + 0 free; 1.1 0+20 data; 8448"},
                {"dvd.iso", "16 DVD-ROM complete, 500000 = 500000 used + 0 free; 1.1 0+500000 data; 22160"},
                {"mixed.cue", "1 CD-ROM complete, 700 = 700 used + 0 free; 1.1 0+300 audio, 1.2 300+400 data; 8448"}};
    for (const auto& row : rows) {
        on.load((on.folder / row.file).u16string());
        EXPECT_EQ(Told(on), row.told) << row.file;
    }
    const auto insert = [&](const char* file, Medium medium) {
        SystemError error;
        auto disc = std::make_unique<Disc>();
        const DiscFault fault = disc->open((on.folder / file).u16string(), error, FindRules(medium));
        if (fault == DiscFault::None) LoadDisc(on.drive, std::move(disc));
        return fault;
    };
    for (const Medium medium : {Medium::DvdRom, Medium::BdRom, Medium::HdDvdRom}) {
        ASSERT_EQ(insert("cd.iso", medium), DiscFault::None);
        EXPECT_THAT(Told(on), testing::HasSubstr(ToUtf8(FindRules(medium)->name) + " complete, 20 = 20 used"));
    }
    EXPECT_EQ(insert("dvd.iso", Medium::CdRom), DiscFault::NotPressed) << "too large";
    EXPECT_EQ(insert("mixed.cue", Medium::BdRom), DiscFault::NotPressed);
    LoadDisc(on.drive, nullptr);
    EXPECT_EQ(Told(on), "0 No disc untold, 0 = 0 used + 0 free; none");
}

/// A drive that gives the same bytes to every command, however many it was asked for.
struct Babbling {
    Bytes answer;
    DiscDevice device() {
        return {this,
                [](void* self, PassThrough& command) {
                    const Bytes& bytes = static_cast<Babbling*>(self)->answer;
                    const std::size_t count = std::min<std::size_t>(bytes.size(), command.dataBytes);
                    std::copy_n(bytes.begin(), count, command.data);
                    command.dataBytes = static_cast<std::uint32_t>(count);
                    return SystemError{};
                },
                [](void*, VolumeControl) { return SystemError{}; }, [](void*) {}};
    }
};

// Lengths that run off the end, tracks without end, zeros for ever: all that counts is that it ends.
TEST(DriveFacts, HostileRepliesEndSoon) {
    const StillTime time;
    for (const int fill : {0, 1, 0x20, 0x7F, 0xFF})
        for (const std::size_t size : {0u, 1u, 8u, 36u, 4096u}) {
            Babbling babbling{Bytes(size, static_cast<std::byte>(fill))};
            const OpenedDrive drive({.device = babbling.device(), .clock = &time.clock});
            const DriveFacts facts = ReadDriveFacts(Texts(), drive.get());
            EXPECT_LE(facts.features.size(), 1024u);
            EXPECT_FALSE(DescribeFacts(Texts(), facts, u"x").empty());
        }
}

// A drive that is there can be asked without being changed: nothing but questions is sent.
TEST(RealDrives, AnswerWhatIsAskedOfThem) {
    FakeSession fake;
    DriveMap map = MapDrives(fake.task);
    const std::vector<DriveLetter> letters = ListDrives(map);
    int asked = 0;
    for (const DriveLetter& letter : letters) {
        DriveFault fault;
        const OpenedDrive drive = OpenDrive(map, letter.letter, fault);
        if (!drive) continue;
        const DriveFacts facts = ReadDriveFacts(Texts(), drive.get());
        EXPECT_FALSE(facts.features.empty()) << ToUtf8(letter.target);
        EXPECT_FALSE(facts.identity.product.empty()) << ToUtf8(letter.target);
        EXPECT_FALSE(DescribeFacts(Texts(), facts, letter.target).empty());
        ++asked;
    }
    if (asked == 0) GTEST_SKIP() << "no optical drive that may be opened among " << letters.size();
}

}  // namespace
}  // namespace tovlark
