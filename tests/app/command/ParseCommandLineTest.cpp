#include <gtest/gtest.h>
#include <set>

#include "app/command/Grammars.h"
#include "app/command/OptionTable.h"
#include "app/command/ParseCommandLine.h"
#include "base/Dates.h"
#include "platform/Paths.h"
#include "support/CommandLine.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

/// Puts the current folder back at the end.
struct CurrentFolder {
    std::filesystem::path path = std::filesystem::current_path();
    ~CurrentFolder() { std::filesystem::current_path(path); }
};

Text ToText(const std::filesystem::path& path) { return path.u16string(); }

TEST(OptionTable, HasNoWordTwice) {
    std::set<TextView> words;
    for (const OptionRow& row : AllOptions()) EXPECT_TRUE(words.insert(row.word).second) << ToUtf8(row.word);
}

TEST(ParseCommandLine, RefusesBadLinesInTheseWords) {
    const Text long127(127, u'x'), long128(128, u'x'), long64(64, u'x'), long65(65, u'x');
    const struct {
        std::vector<Text> words;
        std::string_view output;
    } rows[] = {
        {{}, "No parameters.\r\n"},
        {{u"burn-disc"}, "Unrecognized parameter: burn-disc\r\n"},
        {{u"-OT", u"iso"}, "Unrecognized parameter: -OT\r\n"},
        {{u"Create", u"-y"}, "Unrecognized parameter: Create\r\n"},
        {{u""}, "Unrecognized parameter: \r\n"},
        {{u"-ii1"}, "Unrecognized parameter: -ii1\r\n"},
        // A second command
        {{u"burn-image", u"d:\\x.iso", u"F:", u"convert", u"e:\\y.dmg"}, "Bad parameter: convert\r\n"},
        {{u"-?", u"-h"}, "Bad parameter: -h\r\n"},
        {{u"create", u"create", u"-y"}, "Bad parameter: create\r\n"},
        {{u"listvd", u"edit", u"x.iso"}, "Bad parameter: edit\r\n"},
        {{u"unmount", u"ALL", u"unmount", u"F:"}, "Bad parameter: unmount\r\n"},
        // Missing parameters
        {{u"-o"}, "Bad parameter: -o\r\n"},
        {{u"-od"}, "Bad parameter: -od\r\n"},
        {{u"-evt"}, "Bad parameter: -evt\r\n"},
        {{u"-label"}, "Bad parameter: -label\r\n"},
        {{u"-wd"}, "Bad parameter: -wd\r\n"},
        {{u"-OO", u"A"}, "Bad parameter: -OO\r\n"},
        {{u"-add", u"x"}, "Bad parameter: -add\r\n"},
        {{u"burn-image", u"x.iso"}, "Bad parameter: burn-image\r\n"},
        {{u"mount", u"x.iso"}, "Bad parameter: mount\r\n"},
        {{u"list", u"x.iso"}, "Bad parameter: list\r\n"},
        {{u"create"}, "Bad parameter: create\r\n"},
        {{u"rip", u"F:"}, "Bad parameter: rip\r\n"},
        {{u"-comment"}, "Usage: -comment <string>\r\nBad parameter: -comment\r\n"},
        {{u"show-comment"}, "Usage: show-comment <image file>\r\nBad parameter: show-comment\r\n"},
        {{u"extract-comment-to-file", u"x"},
         "Usage: extract-comment-to-file <image file> <comment file>\r\nBad parameter: extract-comment-to-file\r\n"},
        // Rows that only say no
        {{u"-vunmount"}, "Bad parameter: -vunmount\r\n"},
        {{u"-vwintogo"}, "Bad parameter: -vwintogo\r\n"},
        {{u"setvdnum", u"3"}, "Bad parameter: setvdnum\r\n"},
        // Values
        {{u"-ot", u"dmg"}, "Bad parameter: -ot\r\n"},
        {{u"-speed", u"10x"}, "Invalid speed settings.\r\nBad parameter: -speed\r\n"},
        {{u"-joliet", u"4"}, "Jolitet level must be from 0 tp 3.\r\nBad parameter: -joliet\r\n"},
        {{u"-joliet", u"-1"}, "Jolitet level must be from 0 tp 3.\r\nBad parameter: -joliet\r\n"},
        {{u"-joliet", u"three"}, "Jolitet level must be from 0 tp 3.\r\nBad parameter: -joliet\r\n"},
        {{u"-udf", u"yes"}, "Usage: -udf on | off\r\nBad parameter: -udf\r\n"},
        {{u"-iso-name-len", u"31"}, "Usage: -iso-name-len 12 | 30 | 221\r\nBad parameter: -iso-name-len\r\n"},
        {{u"-iso-name-len", u"268"}, "Usage: -iso-name-len 12 | 30 | 221\r\nBad parameter: -iso-name-len\r\n"},
        {{u"-joliet-name-len", u"12"}, "Usage: -joliet-name-len 64 | 110\r\nBad parameter: -joliet-name-len\r\n"},
        {{u"-file-datetime", u"13-01-2000-00:00:00"},
         "Usage: -file-datetime mm-dd-yyyy:hh:mm:ss\r\nBad parameter: -file-datetime\r\n"},
        {{u"-vol-effective-datetime", u"now"},
         "Usage: -vol-effective-datetime mm-dd-yyyy:hh:mm:ss\r\nBad parameter: -vol-effective-datetime\r\n"},
        {{u"-part-style", u"BIOS"}, "The part style can be BIOS or GPT.\r\nBad parameter: -part-style\r\n"},
        {{u"-part-type", u"ext4"},
         "The part type can be NTFS, FAT32, FAT12, or FAT16.\r\nBad parameter: -part-type\r\n"},
        {{u"-boot-mode", u"floppy"}, "Bad parameter: -boot-mode\r\n"},
        {{u"-method", u"fastest"}, "Bad parameter: -method\r\n"},
        {{u"-hwnd", u"1234"}, "Bad parameter: -hwnd\r\n"},
        {{u"-volsize", u"131071"}, "Bad parameter: -volsize\r\n"},
        {{u"-OO", u"D"}, "Bad parameter: -OO\r\n"},
        {{u"-OO", u"a", u"1"}, "Bad parameter: -OO\r\n"},
        {{u"-OO", u"AB", u"1"}, "Bad parameter: -OO\r\n"},
        {{u"-password", long128}, "Bad parameter: -password\r\n"},
        {{u"-evt", long128}, "Bad parameter: -evt\r\n"},
        {{u"-setpassword", u""},
         "The password must be between 1-64 characters in length\r\nBad parameter: -setpassword\r\n"},
        {{u"-setpassword", long65},
         "The password must be between 1-64 characters in length\r\nBad parameter: -setpassword\r\n"},
        {{u"-setpassword", u"\u0416"},
         "The password has a character that code page 1252 does not have.\r\nBad parameter: -setpassword\r\n"},
        {{u"-delete", u"/gone"}, "Can't find the specified item: /gone\r\nBad parameter: -delete\r\n"},
        {{u"-delete", u"/"}, "The root folder of the image cannot be deleted.\r\nBad parameter: -delete\r\n"},
        {{u"-add", u".", u"photos"}, "Bad parameter: -add\r\n"},
        {{u"-wd", u"/no such folder", u"-y"}, "Bad parameter: -wd\r\n"},
        {{u"-y", u"-wd", u"/no such folder"}, "Bad parameter: -wd\r\n"},
        {{u"-comment-from-file", u"no such file"}, "open file no such file failed.\r\nCannot open no such file: "},
    };
    for (const auto& row : rows) {
        CommandLine line(row.words);
        EXPECT_EQ(line.parse(), Status::Failed) << row.output;
        EXPECT_NE(line.output().find(row.output), std::string::npos) << row.output << line.output();
    }
    for (const std::vector<Text>& words :
         {std::vector<Text>{u"-password", long127}, {u"-evt", long127}, {u"-setpassword", long64}}) {
        CommandLine line(words);
        EXPECT_EQ(line.parse(), Status::Ok) << line.output();
    }
}

TEST(ParseCommandLine, FillsTheRequestInAnyOrder) {
    CommandLine line({u"-speed",
                      u"cd10x",
                      u"-r",
                      u"-y",
                      u"burn-image",
                      u"d:\\x.iso",
                      u"F:",
                      u"-verify",
                      u"-eject",
                      u"-full-erase",
                      u"-create-temp-file-for-copy",
                      u"-o",
                      u"out",
                      u"-od",
                      u"folder",
                      u"-ot",
                      u"FLAC",
                      u"-hwnd",
                      u"78563412",
                      u"-password",
                      u"secret",
                      u"-evt",
                      u"done",
                      u"-rip-to-single-file"});
    ASSERT_EQ(line.parse(), Status::Ok) << line.output();
    const CommandRequest& request = line.request;
    EXPECT_EQ(request.command, CommandKind::BurnImage);
    EXPECT_EQ(request.flags, 0xFC000000u);
    EXPECT_EQ(request.source, u"d:\\x.iso");
    EXPECT_EQ(request.target, u"F:");
    EXPECT_EQ(request.outputFile, u"out");
    EXPECT_EQ(request.outputFolder, u"folder");
    EXPECT_EQ(request.outputType, OutputType::Flac);
    EXPECT_TRUE(request.ripToSingleFile);
    EXPECT_EQ(request.speedMedia, SpeedMedia::Cd);
    EXPECT_EQ(request.speedFactor, 10);
    EXPECT_EQ(request.callerWindow, 0x12345678u);
    EXPECT_EQ(request.password, u"secret");
    EXPECT_EQ(request.eventName, u"done");
    EXPECT_EQ(line.output(), "");
    // -y is in force from here on.
    EXPECT_EQ(line.fake.session.prompt(u"?", Answer::Yes | Answer::No), Answer::Yes);
}

TEST(ParseCommandLine, TellsCommandsThatShareAWord) {
    const struct {
        std::vector<Text> words;
        CommandKind kind;
        Text source, innerPath, target;
    } rows[] = {
        {{u"unmount", u"ALL"}, CommandKind::UnmountAll, u"", u"", u""},
        {{u"unmount", u"G:"}, CommandKind::Unmount, u"", u"", u"G:"},
        {{u"list", u"/x.iso", u"\\a\\b"}, CommandKind::List, ToLocalSource(u"/x.iso"), u"/a/b", u""},
        {{u"extract", u"x.iso", u"/"}, CommandKind::Extract, ToLocalSource(u"x.iso"), u"/", u""},
        {{u"rip", u"F:", u"-y"}, CommandKind::Rip, u"F:", u"", u""},
        {{u"create", u"-y"}, CommandKind::Create, u"-y", u"", u""},
        {{u"-help"}, CommandKind::Usage, u"", u"", u""},
        {{u"-ii1", u"listvd"}, CommandKind::ListVirtualDrives, u"", u"", u""},
        {{u"-ii2", u"-vrudisk", u"automount"}, CommandKind::AutoMount, u"", u"", u""},
        {{u"-y", u"-wd", u""}, CommandKind::None, u"", u"", u""},
    };
    for (const auto& row : rows) {
        CommandLine line(row.words);
        EXPECT_EQ(line.parse(), Status::Ok) << line.output();
        EXPECT_EQ(line.request.command, row.kind) << ToUtf8(row.words[0]);
        EXPECT_EQ(line.request.source, row.source);
        EXPECT_EQ(line.request.innerPath, row.innerPath);
        EXPECT_EQ(line.request.target, row.target);
    }
}

TEST(ParseCommandLine, SetsTheCompilationUp) {
    CommandLine line({u"-joliet", u"0", u"-udf", u"ON", u"-iso-name-len", u"221", u"-joliet-name-len", u"110",
                      u"-allow-lower-case-iso-name", u"-disable-optimization", u"-label", u"BACKUP", u"-file-datetime",
                      u"12-20-2008:08:00:01", u"-vol-creation-datetime", u"01-02-2003-04:05:06"});
    line.fake.fakeClock.offsetSeconds = 3600;
    ASSERT_EQ(line.parse(), Status::Ok) << line.output();
    const ImageBuildContext& compilation = line.compilation;
    EXPECT_FALSE(compilation.jolietEnabled);
    EXPECT_EQ(compilation.jolietLevel, 3) << "the level stays one that can be written";
    EXPECT_TRUE(compilation.udfEnabled);
    EXPECT_EQ(compilation.isoNameLength, 221);
    EXPECT_TRUE(compilation.isoNameLengthFixed);
    EXPECT_TRUE(compilation.fileSystemsFixed);
    EXPECT_EQ(compilation.jolietNameLength, 110);
    EXPECT_TRUE(compilation.lowerCaseAllowed);
    EXPECT_FALSE(compilation.optimisationEnabled);
    EXPECT_EQ(compilation.volumeFields[0], u"BACKUP");
    EXPECT_EQ(compilation.fixedDate, ToSeconds({2008, 12, 20, 8, 0, 1}) - 3600) << "dates are local time";
    EXPECT_EQ(compilation.volumeDates[0], ToSeconds({2003, 1, 2, 4, 5, 6}) - 3600);
    EXPECT_EQ(compilation.volumeDates[1], 0);

    CommandLine udfOnly({u"-udf", u"on"});
    ASSERT_EQ(udfOnly.parse(), Status::Ok);
    EXPECT_FALSE(udfOnly.compilation.fileSystemsFixed) << "UDF is no choice about ISO 9660 or Joliet";
}

TEST(ParseCommandLine, KeepsTuningAndBootOptions) {
    CommandLine line({u"-OO",  u"S",          u"64",   u"-OO",        u"A",    u"12abc",       u"-OO",
                      u"B",    u"x",          u"-OO",  u"H",          u"-OO",  u"Z",           u"-method",
                      u"BEST", u"-part-type", u"ntfs", u"-boot-mode", u"uefi", u"-part-style", u"mbr"});
    ASSERT_EQ(line.parse(), Status::Ok) << line.output();
    PsaTuning tuning;
    tuning.sizeBytes = 65536;
    tuning.a = 12;
    tuning.h = false;
    tuning.z = true;
    tuning.level = 3;
    EXPECT_EQ(line.context.psa, tuning);
    EXPECT_EQ(line.context.usbBoot,
              (UsbBootOptions{BootMode::Uefi, PartitionStyle::Mbr, BootSystem::None, PartitionType::Fat32}))
        << "a boot mode overrides what stands before it, not what stands after it";
}

TEST(ParseCommandLine, CutsCommentsToWholeCharacters) {
    CommandLine narrow({u"-comment", Text(131'080, u'\u20AC')});
    ASSERT_EQ(narrow.parse(), Status::Ok);
    EXPECT_EQ(narrow.request.imageOptions.comment, std::string(65536, '\x80'));

    CommandLine wide({u"-comment", u"a" + Text(65536, u'\u3042')});
    wide.compilation.codePage = CodePage(932);
    ASSERT_EQ(wide.parse(), Status::Ok);
    EXPECT_EQ(wide.request.imageOptions.comment.size(), 65535u) << "half a character is left out";

    CommandLine unknown({u"-comment", u"\u0416\U0001F600!"});
    ASSERT_EQ(unknown.parse(), Status::Ok);
    EXPECT_EQ(unknown.request.imageOptions.comment, std::string(2, '?') + "!");

    const TempFolder folder;
    CommandLine file({u"-comment-from-file", ToText(folder.write("comment", std::string(70'000, 'c')))});
    ASSERT_EQ(file.parse(), Status::Ok);
    EXPECT_EQ(file.request.imageOptions.comment, std::string(65536, 'c'));
}

TEST(ParseCommandLine, ChangesFolderBeforeAnythingElseWhenTheLineEndsWithIt) {
    const CurrentFolder restored;
    const TempFolder folder;
    folder.write("work/here.txt", "x");
    CommandLine line({u"-add", u"here.txt", u"/", u"-o", u"-wd", ToText(folder / "work")});
    EXPECT_EQ(line.parse(), Status::Failed);
    EXPECT_EQ(line.output(), "Adding here.txt  done.\r\nBad parameter: -o\r\nUsage: -o FILE\r\n")
        << "the last two words are gone";
    EXPECT_NE(FindNode(line.compilation, u"/here.txt"), nullptr);
}

TEST(ParseCommandLine, AddsAndDeletesInOrder) {
    const TempFolder folder;
    folder.write("tree/a.txt", "a");
    folder.write("tree/sub/b.txt", "b");
    const Text tree = ToText(folder / "tree");
    CommandLine line({u"-add", tree, u"\\deep/er\\", u"-delete", u"\\deep\\er/tree/sub"});
    ASSERT_EQ(line.parse(), Status::Ok) << line.output();
    EXPECT_EQ(line.output(), "Adding " + ToUtf8(tree) + "  done.\r\n");
    EXPECT_NE(FindNode(line.compilation, u"/deep/er/tree/a.txt"), nullptr);
    EXPECT_EQ(FindNode(line.compilation, u"/deep/er/tree/sub"), nullptr);
    EXPECT_FALSE(line.context.endStatus);

    CommandLine early({u"-delete", u"/tree", u"-add", tree, u"/"});
    EXPECT_EQ(early.parse(), Status::Failed) << "nothing is there to be deleted yet";
}

TEST(ParseCommandLine, EndsAtOnceWhenAnAddedPathIsMissing) {
    const Text missing = FullPath(u"no such thing");
    CommandLine line({u"-add", missing, u"/", u"unheard-of"});
    EXPECT_EQ(line.parse(), Status::Failed);
    EXPECT_EQ(line.context.endStatus, Status::Failed);
    const std::string path = ToUtf8(missing);
    EXPECT_EQ(line.output(), "Adding " + path + " \r\nCannot find file or folder: " + path + "\r\n");
}

TEST(ParseCommandLine, StopsBetweenWordsOnceCancelled) {
    CommandLine line({u"-y", u"unheard-of"});
    line.fake.flags.cancel = true;
    EXPECT_EQ(line.parseAndRun(), Status::Failed);
    EXPECT_EQ(line.output(), "");
}

TEST(ParseCommandLine, AppliesTheInstallersChoiceAndEnds) {
    const struct {
        TextView choice;
        std::uint32_t before, after;
    } rows[] = {{u"2 register", 4, 5}, {u"1", 5, 4}, {u"", 5, 5}, {u"x2", 4, 4}};
    for (const auto& row : rows) {
        CommandLine line({u"-vset", u"unheard-of"});
        line.fake.fakeSettings.put(u"Status1", Text(row.choice));
        line.fake.fakeSettings.put(u"ShellIntegration", row.before);
        EXPECT_EQ(line.parse(), Status::Ok);
        EXPECT_EQ(line.context.endStatus, Status::Ok);
        EXPECT_EQ(line.output(), "");
        EXPECT_EQ(std::get<std::uint32_t>(*line.fake.fakeSettings.find(u"ShellIntegration")), row.after);
    }
}

TEST(ParseCommandLine, SaysWhatWouldHaveBeenRight) {
    const struct {
        std::vector<Text> words;
        std::string_view hint;
    } rows[] = {
        {{u"cretae", u"-o", u"x"}, "Did you mean create?"},
        {{u"-OT", u"iso"}, "Did you mean -ot?"},
        {{u"-frobnicate"}, "tvcmd -? lists the commands and switches."},
        {{Text(5000, u'x')}, "tvcmd -? lists the commands and switches."},
        {{u"-volsize", u"12"}, "Usage: -volsize SIZE (128K to 8192G, as in 700M)"},
        {{u"listvd", u"convert", u"x"}, "A line has one command only, and there is one already."},
        {{u"-vpebuilder"}, "-vpebuilder cannot be used on the command line."},
        {{u"-wd", u"/no such folder"}, "Cannot open /no such folder: "},
    };
    for (const auto& row : rows) {
        CommandLine line(row.words);
        EXPECT_EQ(line.parse(), Status::Failed);
        EXPECT_NE(line.output().find(row.hint), std::string::npos) << row.hint << "\n" << line.output();
    }
}

}  // namespace
}  // namespace tovlark
