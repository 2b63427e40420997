#include <algorithm>
#include <gtest/gtest.h>

#include "app/command/RunCommand.h"
#include "support/CommandLine.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

Text ToText(const std::filesystem::path& path) { return path.u16string(); }

TEST(RunCommand, ReportsTheFirstFaultOfARequest) {
    const struct {
        std::vector<Text> words;
        std::string_view output;
    } rows[] = {
        {{u"burn-image", u"", u"C:"}, "Please specify a valid burner drive.\r\n"},
        {{u"burn-image", u"", u"F:"}, "Please specify an iamge file name.\r\n"},
        {{u"copy-disc", u"C:", u"F:"}, "Please specify a valid source drive.\r\n"},
        {{u"copy-disc", u"C:", u"x"}, "Please specify a valid burner drive.\r\n"},
        {{u"erase-disc", u"F:\\x"}, "Please specify a valid burner drive.\r\n"},
        {{u"make-image", u"C:"}, "Please specify valid source drive.\r\n"},
        {{u"make-image", u"F:"}, "Please specify output file name.\r\n"},
        {{u"convert", u"x.dmg"}, "Please specify output file name.\r\n"},
        {{u"convert", u"x.dmg", u"-o", u"x.dmg"}, "Unknown output image format.\r\n"},
        {{u"convert", u"x.dmg", u"-o", u"x.iso", u"-ot", u"mp3"}, "Unknown output image format.\r\n"},
        {{u"create", u"-y"}, "Please specify output file name.\r\n"},
        {{u"create", u"-o", u"x.iso", u"-ot", u"wav"}, "Unknown output image format.\r\n"},
        {{u"extract", u"x.iso", u"/"}, "Please specify extract output directory.\r\n"},
        {{u"list", u"", u"/"}, "Please specify an iamge file name.\r\n"},
        {{u"rip", u"F:", u"-y"}, "Please specify rip output directory (-od).\r\n"},
        {{u"rip", u"F:", u"-od", u"x", u"-rip-to-single-file"}, "Please specify rip output file (-o).\r\n"},
        {{u"rip", u"no drive", u"-od", u"x"}, "The output type (-ot) should be mp3, flac, ape, wma, ogg, or wav.\r\n"},
        {{u"rip", u"F:", u"-od", u"x.mp3", u"-ot", u"iso"},
         "The output type (-ot) should be mp3, flac, ape, wma, ogg, or wav.\r\n"},
        {{u"rip", u"F:", u"-o", u"x.iso", u"-rip-to-single-file"},
         "The output type (-ot) should be mp3, flac, ape, wma, ogg, or wav.\r\n"},
        {{u"rip", u"no drive", u"-od", u"x", u"-ot", u"mp3"}, "Please specify a valid source drive.\r\n"},
    };
    for (const auto& row : rows) {
        CommandLine line(row.words);
        EXPECT_EQ(line.parseAndRun(), Status::Failed) << row.output;
        EXPECT_TRUE(line.output().starts_with(row.output)) << line.output();
    }
}

TEST(RunCommand, ExplainsTheFaultBelowTheFixedText) {
    const TempFolder folder;
    const std::filesystem::path missing = folder / "no" / "such";
    const std::string noFolder = "There is no folder " + ToUtf8(ToText(missing)) + ": make it first.";
    const struct {
        std::vector<Text> words;
        std::string_view line;
    } rows[] = {
        {{u"erase-disc", u"C:"}, "\"C:\" is no drive: a drive is a letter from D to Z and a colon, for example F:"},
        {{u"create", u"-y"}, "It is given with -o."},
        {{u"extract", u"x.iso", u"/"}, "It is given with -od."},
        {{u"convert", u"x", u"-o", u"x.foo"},
         "An image can be: iso, bin, psa, 7z, zip. The suffix of the output file tells which, or -ot."},
        {{u"create", u"-o", ToText(missing / "x.iso")}, noFolder},
    };
    for (const auto& row : rows) {
        CommandLine line(row.words);
        EXPECT_EQ(line.parseAndRun(), Status::Failed);
        EXPECT_TRUE(line.output().ends_with("\r\n" + std::string(row.line) + "\r\n")) << line.output();
        EXPECT_EQ(ToUtf8(line.fake.log.lines().back().text), row.line);
    }
}

TEST(CheckRequest, ListsEveryFault) {
    CommandRequest request;
    request.command = CommandKind::CreateBootableUsbDrive;
    request.target = u"stick";
    const std::vector<RequestFault> faults = CheckRequest(request);
    ASSERT_EQ(faults.size(), 2u);
    EXPECT_EQ(faults[0].text, TextId::NotUsbDrive);
    EXPECT_EQ(faults[0].argument, u"stick");
    EXPECT_EQ(faults[1].field, RequestField::Source);
    request.target = u"";
    EXPECT_EQ(CheckRequest(request)[0].text, TextId::SpecifyUsbDrive);
}

TEST(RunCommand, TellsDrivesThatAreThereFromLettersOnly) {
    const auto cannotYet = [](std::string_view command) {
        return "This build of Tovlark cannot do this yet: " + std::string(command) + "\r\n";
    };
    const std::string noDrive =
        "Error opening device [F:].\r\n"
        "Drive F: is a simulated drive whose file is gone: /drives/f. Make it anew with: tvdrive add\r\n";
    const TempFolder folder;
    const Text image = ToText(folder.write("x.iso", "not an archive"));
    const struct {
        std::vector<Text> words;
        std::string output;
    } rows[] = {
        {{u"burn-image", image, u"f:\\", u"-verify"}, noDrive},
        {{u"burn-image", image, u"G:"}, "There is no drive G:\r\n"},
        {{u"copy-disc", u"g:", u"F:"}, "There is no drive G:\r\n"},
        {{u"copy-disc", u"F:", u"F:"}, cannotYet("copy-disc")},
        {{u"erase-disc", u"f:"}, noDrive},
        {{u"make-image", u"F:", u"-o", u"x"}, cannotYet("make-image")},
        {{u"rip", u"F:", u"-o", u"x.FLAC", u"-rip-to-single-file"}, cannotYet("rip")},
        {{u"rip", u"H:", u"-od", u"x", u"-ot", u"ogg"}, "There is no drive H:\r\n"},
        {{u"extract", u"F:", u"/", u"-od", u"x"}, cannotYet("extract")},
        {{u"list", u"F:", u"/"}, cannotYet("list")},
        {{u"convert", image, u"-o", u"x.7z"}, cannotYet("convert")},
    };
    for (const auto& row : rows) {
        CommandLine line(row.words);
        line.fake.fakeSettings.put(u"F", Text(u"sim:/drives/f"), u"Drives");
        EXPECT_EQ(line.parseAndRun(), Status::Failed);
        EXPECT_EQ(line.output(), row.output);
    }
}

TEST(RunCommand, NamesAnImageThatCannotBeOpened) {
    for (const std::vector<Text>& words : {std::vector<Text>{u"burn-image", u"/gone.iso", u"F:"},
                                           {u"list", u"/gone.iso", u"/"},
                                           {u"convert", u"/gone.iso", u"-o", u"x.iso"},
                                           {u"edit", u"/gone.iso"}}) {
        CommandLine line(words);
        EXPECT_EQ(line.parseAndRun(), Status::Failed);
        EXPECT_NE(line.output().find("Cannot open "), std::string::npos);
        EXPECT_NE(line.output().find("gone.iso: "), std::string::npos) << line.output();
    }
}

TEST(RunCommand, RefusesToBurnAnArchive) {
    const TempFolder folder;
    for (const std::string mark : {"PK\3\4", "7z\xBC\xAF\x27\x1C", "Rar!\x1A\x07"}) {
        const Text archive = ToText(folder.write("archive.iso", mark + "more"));
        CommandLine line({u"burn-image", archive, u"F:"});
        line.fake.fakeSettings.put(u"F", Text(u"sim:/drives/f"), u"Drives");
        EXPECT_EQ(line.parseAndRun(), Status::Failed);
        EXPECT_EQ(line.output(), ToUtf8(archive) +
                                     "\r\n\r\nThe selected file can't be burned to the optical disc. Please unpack the "
                                     "file, then write the unpacked files to the optical disc.\r\n");
    }
}

TEST(RunCommand, FailsWhateverFollowsWorkOnAnImageThatCannotBeDone) {
    const TempFolder folder;
    const Text image = ToText(folder.write("x.iso", "image")), output = ToText(folder / "out.iso");
    const std::pair<Text, std::string> cases[] = {
        {u"edit",
         ToUtf8(image) +
             " holds no file system that can be read (looked for: ISO 9660 with Rock Ridge or Joliet, UDF).\r\n"},
        {u"show-comment", "This build of Tovlark cannot do this yet: show-comment\r\n"}};
    for (const auto& [word, said] : cases) {
        CommandLine line({word, image, u"create", u"-o", output});
        EXPECT_EQ(line.parseAndRun(), Status::Failed);
        EXPECT_EQ(line.output(), said);
        EXPECT_FALSE(std::filesystem::exists(folder / "out.iso"));
    }
    CommandLine line({u"extract-comment-to-file", u"/gone", u"comment"});
    EXPECT_EQ(line.parseAndRun(), Status::Failed);
    EXPECT_TRUE(line.output().starts_with("Can't open file: /gone\r\nCannot read /gone: ")) << line.output();
}

TEST(RunCommand, WritesOnlyTheImagesThatItCan) {
    const TempFolder folder;
    const Text plain = ToText(folder / "x.img"), archive = ToText(folder / "x.PSA"), raw = ToText(folder / "x.bin");
    const struct {
        std::vector<Text> words;
        std::string_view reason;  // empty: written
    } rows[] = {
        {{u"create", u"-o", plain}, ""},
        {{u"create", u"-o", raw, u"-ot", u"iso"}, ""},
        {{u"create", u"-o", archive}, "create (psa)"},
        {{u"create", u"-o", plain, u"-ot", u"bin"}, "create (bin)"},
        {{u"create", u"-o", raw}, "create (bin)"},
        {{u"create", u"-o", plain, u"-udf", u"on"}, ""},
    };
    for (const auto& row : rows) {
        CommandLine line(row.words);
        const bool isWritten = row.reason.empty();
        EXPECT_EQ(line.parseAndRun(), isWritten ? Status::Ok : Status::Failed) << line.output();
        EXPECT_NE(line.output().find(row.reason), std::string::npos) << line.output();
        EXPECT_EQ(std::filesystem::exists(std::filesystem::path(line.request.outputFile)), isWritten);
        std::filesystem::remove(std::filesystem::path(line.request.outputFile));
    }
    for (const auto& [name, isWarned] : {std::pair{u"x.7Z", true}, {u"x.img", false}, {u"x", false}}) {
        CommandLine line({u"create", u"-o", ToText(folder / name)});
        EXPECT_EQ(line.parseAndRun(), Status::Ok);
        EXPECT_EQ(line.output().find(" is written as an ISO image,") != std::string::npos, isWarned) << line.output();
        std::filesystem::remove(folder / name);
    }
    CommandLine protectedImage({u"create", u"-o", plain, u"-setpassword", u"secret"});
    EXPECT_EQ(protectedImage.parseAndRun(), Status::Ok);
    EXPECT_NE(protectedImage.output().find("have no effect"), std::string::npos)
        << "nobody may believe that the image is encrypted";
}

TEST(RunCommand, DoesNothingForVirtualDrivesAndFailsWithoutACommand) {
    for (const std::vector<Text>& words :
         {std::vector<Text>{u"listvd"}, {u"automount"}, {u"unmount", u"all"}, {u"mount", u"x", u"F:"}}) {
        CommandLine line(words);
        EXPECT_EQ(line.parseAndRun(), Status::Ok);
        EXPECT_EQ(line.output(), "");
    }
    CommandLine silent({u"-y"});
    EXPECT_EQ(silent.parseAndRun(), Status::Failed);
    EXPECT_EQ(silent.output(), "");

    CommandLine language({u"create_lang_file"});
    EXPECT_EQ(language.parseAndRun(), Status::Ok);
    EXPECT_TRUE(language.context.keepRunning);
}

TEST(RunCommand, PrintsTheUsageTextInItsShape) {
    CommandLine line({u"-?"});
    EXPECT_EQ(line.parseAndRun(), Status::Ok);
    const std::string& output = line.output();
    EXPECT_TRUE(
        output.starts_with("Usage:    tvcmd <command> [parameters] [-switches]\r\n\r\n<Commands>\r\n convert  "));
    EXPECT_NE(output.find("-ot mp3\r\n<Switches>\r\n\r\n -y  "), std::string::npos);
    EXPECT_TRUE(output.ends_with(" Set volume expiration date \r\n                time for output image file.\r\n"));
    std::size_t blankLines = 0, position = 0;
    while ((position = output.find("\r\n\r\n", position)) != std::string::npos) {
        ++blankLines;
        position += 2;
    }
    EXPECT_EQ(blankLines, 8u);
    EXPECT_EQ(std::count(output.begin(), output.end(), '\r'), std::count(output.begin(), output.end(), '\n'));
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 64 + 8);
    EXPECT_EQ(line.fake.fakeClock.sleeps, std::vector<std::uint32_t>{300});
}

}  // namespace
}  // namespace tovlark
