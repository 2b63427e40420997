#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

using testing::HasSubstr;
using testing::Not;

/// Images that are opened, changed and saved again, judged by programs of others.
class Edit : public testing::Test {
protected:
    static std::string foreign(std::vector<std::string> words) {
        const std::string name = words[0];
        const ProgramEnd end = RunProgram({.words = std::move(words), .environment = {{"LC_ALL", "C.UTF-8"}}});
        EXPECT_EQ(end.status, 0) << name << ": " << end.output << end.errors;
        return end.output;
    }
    ProgramEnd tvcmd(const std::vector<std::string>& arguments, std::string input = {}) const {
        return RunProgram({.words = OurProgram("tvcmd", arguments), .input = std::move(input), .folder = work_.path()});
    }
    std::string at(const std::string& name) const { return (work_ / name).string(); }

    void fillTree() const {
        std::string contents;
        for (std::uint32_t index = 0; index < (3u << 20) + 5; ++index)
            contents += static_cast<char>(index * 2654435761u >> 24);
        work_.write("tree/same/one.bin", contents);
        work_.write("tree/same/two.bin", contents);
        work_.write("tree/empty", "");
        work_.write("tree/A long name, \xC3\xA4\xC3\xB6\xC3\xBC.html", "names");
        work_.write("tree/" + std::string(200, 'n'), "a name that goes on");
        for (int number = 0; number < 20; ++number) work_.write("tree/many/" + std::to_string(number), "few bytes");
        std::filesystem::create_symlink("../empty", work_ / "tree/many/link");
        ::chmod(at("tree/same/one.bin").c_str(), 04755);
        ::chmod(at("tree/same").c_str(), 0700);
        foreign({"find", at("tree"), "-exec", "touch", "-h", "-d", "@1600000001", "{}", "+"});
    }
    /// Names, kinds, modes and dates below a folder.
    static std::string facts(const std::string& folder) {
        return foreign(
            {"sh", "-c", "cd '" + folder + "'; find . -mindepth 1 ! -type l -printf '%P %y %m %Ts\\n' | sort"});
    }
    std::string extracted(const std::string& image) const {
        const std::string folder = at("out of " + image);
        foreign({"xorriso", "-osirrox", "on", "-indev", at(image), "-extract", "/", folder});
        return folder;
    }

    TempFolder work_;
};

TEST_F(Edit, KeepsWhatItIsNotToldToChange) {
    fillTree();
    foreign({"genisoimage", "-quiet", "-R", "-J", "-V", "SOMETHING", "-publisher", "Somebody", "-o", at("old.iso"),
             at("tree")});
    work_.write("new.txt", "added");
    foreign({"touch", "-d", "@1600000001", at("new.txt"), at("tree/many")});
    const ProgramEnd end = tvcmd({"edit", "old.iso", "-add", "new.txt", "/many", "-delete", "/empty", "-o", "new.iso"});
    EXPECT_EQ(end.status, 0) << end.output;

    std::filesystem::rename(work_ / "new.txt", work_ / "tree/many/new.txt");
    std::filesystem::remove(work_ / "tree/empty");
    foreign({"touch", "-d", "@1600000001", at("tree/many"), at("tree")});
    const std::string folder = extracted("new.iso");
    foreign({"diff", "-r", "--no-dereference", at("tree"), folder});
    EXPECT_EQ(facts(folder), facts(at("tree")));
    const std::string volume = foreign({"isoinfo", "-d", "-i", at("new.iso")});
    EXPECT_THAT(volume, HasSubstr("Volume id: SOMETHING"));
    EXPECT_THAT(volume, HasSubstr("Publisher id: Somebody"));
    EXPECT_THAT(volume, HasSubstr("Joliet with UCS level 3"));
    EXPECT_LT(std::filesystem::file_size(work_ / "new.iso"), 5u << 20) << "equal files share their data again";
}

TEST_F(Edit, KeepsTheKindOfImage) {
    work_.write("tree/sub/file.txt", "text");
    struct Case {
        std::vector<std::string> options;
        std::string has, hasNot;
    };
    const Case cases[] = {{{"-J"}, "Joliet with UCS level 3 found", "Rock Ridge signatures version 1 found"},
                          {{"-R"}, "Rock Ridge signatures version 1 found", "Joliet with"},
                          {{"-iso-level", "1"}, "NO Rock Ridge present", "Joliet with"}};
    for (const Case& row : cases) {
        std::vector<std::string> words{"genisoimage", "-quiet", "-o", at("x.iso")};
        words.insert(words.end(), row.options.begin(), row.options.end());
        words.push_back(at("tree"));
        foreign(words);
        EXPECT_EQ(tvcmd({"edit", "x.iso", "-label", "CHANGED"}).status, 0);
        const std::string volume = foreign({"isoinfo", "-d", "-i", at("x.iso")});
        EXPECT_THAT(volume, HasSubstr(row.has));
        EXPECT_THAT(volume, Not(HasSubstr(row.hasNot)));
        EXPECT_THAT(volume, HasSubstr("Volume id: CHANGED"));
        EXPECT_EQ(
            foreign({"bsdtar", "-xOf", at("x.iso"), row.options[0] == "-iso-level" ? "SUB/FILE.TXT" : "sub/file.txt"}),
            "text");
    }
}

TEST_F(Edit, KeepsTheRevisionOfUdfUnlessASettingTellsAnother) {
    work_.write("tree/file.txt", "text");
    const std::map<std::string, std::string> home{{"XDG_CONFIG_HOME", work_.path()}};
    const std::string old = "NSR02", third = "NSR03";
    const auto recorded = [&] {
        return work_.read("x.iso").substr(0, 64u << 10).find(third) == std::string::npos ? old : third;
    };
    const auto set = [&](const std::string& value) {
        EXPECT_EQ(RunProgram({.words = OurProgram("tvset", {"set", "UdfRevision", value}), .environment = home}).status,
                  0);
    };
    const auto run = [&](const std::vector<std::string>& words) {
        EXPECT_EQ(RunProgram({.words = OurProgram("tvcmd", words), .environment = home, .folder = work_.path()}).status,
                  0);
    };
    set("513");
    run({"create", "-y", "-o", "x.iso", "-udf", "on", "-add", "tree", "/"});
    EXPECT_EQ(recorded(), third);
    EXPECT_EQ(RunProgram({.words = OurProgram("tvset", {"reset", "-y"}), .environment = home}).status, 0);
    run({"edit", "x.iso", "-label", "A"});
    EXPECT_EQ(recorded(), third);
    set("258");
    run({"edit", "x.iso", "-label", "B"});
    EXPECT_EQ(recorded(), old);
}

TEST_F(Edit, KeepsWhatItBootsFrom) {
    work_.write("tree/isolinux/isolinux.bin", std::string(24576, 'i'));
    work_.write("tree/other/loader.bin", std::string(3000, 'l'));
    work_.write("tree/images/uefi.img", std::string(70000, 'u'));
    const std::vector<std::string> base{"xorriso", "-as", "mkisofs",   "-quiet",
                                        "-R",      "-o",  at("x.iso"), "-no-emul-boot"};
    const std::vector<std::string> uefi{"-eltorito-alt-boot", "-e", "images/uefi.img", "-no-emul-boot", at("tree")};
    struct Case {
        std::vector<std::string> loader;
        std::string deleted, bios;
    };
    const Case cases[] = {
        {{"-b", "isolinux/isolinux.bin", "-boot-load-size", "4", "-boot-info-table"},
         "/other",
         "BIOS  y   none  0x0000  0x00      4"},
        {{"-b", "other/loader.bin", "-boot-load-size", "2"}, "/other", "BIOS  y   none  0x0000  0x00      2"}};
    for (const Case& row : cases) {
        std::vector<std::string> words = base;
        words.insert(words.end(), row.loader.begin(), row.loader.end());
        words.insert(words.end(), uefi.begin(), uefi.end());
        foreign(words);
        EXPECT_EQ(tvcmd({"edit", "x.iso", "-delete", row.deleted}).status, 0);
        const std::string report = foreign({"xorriso", "-indev", at("x.iso"), "-report_el_torito", "plain"});
        EXPECT_THAT(report, HasSubstr(row.bios));
        EXPECT_THAT(report, HasSubstr("UEFI  y   none  0x0000  0x00    140"));
    }
    const std::string image = work_.read("x.iso");
    EXPECT_NE(image.find(std::string(3000, 'l')), image.npos) << "its file is gone, the boot image is not";
}

TEST_F(Edit, AsksBeforeItReplacesAnotherFileOnly) {
    work_.write("tree/file", "text");
    ASSERT_EQ(tvcmd({"create", "-o", "x.iso", "-add", at("tree"), "/"}).status, 0);
    work_.write("other.iso", "precious");
    EXPECT_THAT(tvcmd({"edit", "x.iso", "-label", "NEW", "-o", "other.iso"}, "n\n").output,
                HasSubstr("Do you want to replace"));
    EXPECT_EQ(work_.read("other.iso"), "precious");
    EXPECT_THAT(tvcmd({"edit", "x.iso", "-label", "NEW"}).output, Not(HasSubstr("Do you want to replace")));
    EXPECT_THAT(foreign({"isoinfo", "-d", "-i", at("x.iso")}), HasSubstr("Volume id: NEW"));
}

TEST_F(Edit, NeverLosesADamagedImage) {
    work_.write("tree/first", std::string(3000, '1'));
    work_.write("tree/last", std::string(300000, '2'));
    ASSERT_EQ(tvcmd({"create", "-o", "x.iso", "-add", at("tree"), "/"}).status, 0);
    std::filesystem::resize_file(work_ / "x.iso", std::filesystem::file_size(work_ / "x.iso") - 100000);
    const std::string damaged = work_.read("x.iso");
    const ProgramEnd inPlace = tvcmd({"edit", "x.iso", "-label", "NEW"});
    EXPECT_EQ(inPlace.status, 255);
    EXPECT_THAT(inPlace.output, HasSubstr("/tree/last"));
    EXPECT_EQ(work_.read("x.iso"), damaged);
    EXPECT_EQ(tvcmd({"edit", "x.iso", "-o", "saved.iso"}).status, 255);
    EXPECT_EQ(foreign({"bsdtar", "-xOf", at("saved.iso"), "tree/first"}), std::string(3000, '1'));
}

TEST_F(Edit, KilledInPlaceLeavesTheOldImageOrTheNew) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "no such signal there";
    work_.write("tree/big", "");
    std::filesystem::resize_file(work_ / "tree/big", 200u << 20);
    work_.write("tree/small", "small");
    ASSERT_EQ(tvcmd({"create", "-o", "x.iso", "-add", at("tree"), "/"}).status, 0);
    work_.write("new.txt", "new");
    RunningProgram running(
        {.words = OurProgram("tvcmd", {"edit", "x.iso", "-add", "new.txt", "/"}), .folder = work_.path()});
    ASSERT_TRUE(running.waitForOutput("Writing the image"));
    running.signalGroup(SIGKILL);
    running.finish();
    foreign({"sh", "-c", "pkill -KILL -f '[t]ovlark edit x.iso' || true"});
    EXPECT_EQ(foreign({"bsdtar", "-xOf", at("x.iso"), "tree/small"}), "small");
    EXPECT_EQ(foreign({"sh", "-c", "bsdtar -xOf '" + at("x.iso") + "' tree/big | wc -c"}), "209715200\n");
    EXPECT_EQ(
        foreign({"sh", "-c", "ls -A '" + at("") + "' | grep -c -v -e '^tree$' -e '^x.iso$' -e '^new.txt$' || true"}),
        "0\n");
}

}  // namespace
}  // namespace tovlark
