#include <filesystem>
#include <gtest/gtest.h>
#include <map>

#include "readers/BootCatalog.h"
#include "readers/TreeWalk.h"
#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

namespace fs = std::filesystem;

struct Writer {
    const char* name;
    const char* command;  // with the source folder "tree" and the image "image" in the working folder
};

// What other programs write, opened by us.
class IsoForeign : public testing::TestWithParam<Writer> {
protected:
    void SetUp() override {
        const std::string program =
            std::string(GetParam().command).substr(0, std::string(GetParam().command).find(' '));
        if (RunProgram({.words = {"sh", "-c", "command -v " + program}}).status != 0)
            GTEST_SKIP() << program << " is missing";
        const fs::path tree = folder / "tree";
        folder.write("tree/a/file.txt", "hello");
        folder.write("tree/1/2/3/4/5/6/7/8/9/deepest", std::string(5000, 'd'));
        folder.write("tree/" + std::string(200, 'n') + ".long", "long");
        folder.write("tree/\xC3\xA4\xE6\x97\xA5 b", "unicode");
        folder.write("tree/boot.img", std::string(2048, 'b'));
        folder.write("tree/empty", "");
        for (int index = 0; index < 300; ++index) folder.write("tree/many/item-" + std::to_string(index), "m");
        fs::create_symlink("../a/./file.txt", tree / "a/link");
        fs::create_symlink("/" + std::string(100, 'p') + "/../" + std::string(60, 'q'), tree / "a/far");
        fs::permissions(tree / "a/file.txt", fs::perms(0640));
        const ProgramEnd end = RunProgram({.words = {"sh", "-c", GetParam().command}, .folder = folder.path()});
        ASSERT_EQ(end.status, 0) << end.errors;
        FileInfo info;
        ASSERT_FALSE(file.open(FromUtf8((folder / "image").string())).failed() || file.examine(info).failed());
        source = SourceOf(file, info.sizeBytes);
    }

    std::string read(Volume& volume, const VolumeEntry& entry) {
        std::vector<DataExtent> extents;
        EXPECT_FALSE(volume.locate(entry, extents)) << ToUtf8(entry.name);
        std::string bytes(entry.sizeBytes, '?');
        std::size_t count = 0;
        EXPECT_FALSE(ReadRange(source, extents, 0, std::as_writable_bytes(std::span(bytes)), count).failed());
        return bytes.substr(0, count);
    }

    /// Every path below the root with what can be compared.
    std::map<std::string, std::string> readTree(Volume& volume, bool hasAttributes) {
        std::map<std::string, std::string> tree;
        TreeVisitor visitor;
        visitor.item = [&](const WalkedFolder& parent, const VolumeEntry& entry, std::uint64_t&, bool&) {
            std::string& told = tree[ToUtf8((parent.path == u"/" ? Text() : parent.path) + u'/' + entry.name)];
            if (entry.kind == EntryKind::Folder) told = "folder";
            if (entry.kind == EntryKind::SymbolicLink) told = "-> " + ToUtf8(entry.linkTarget);
            if (entry.kind == EntryKind::File) told = read(volume, entry);
            if (hasAttributes && entry.kind != EntryKind::SymbolicLink) told += " " + std::to_string(entry.mode & 0777);
            return true;
        };
        visitor.fault = [](const VolumeFault& fault) {
            ADD_FAILURE() << ToUtf8(fault.subject);
            return true;
        };
        EXPECT_TRUE(WalkTree(volume, {u"/", volume.root()}, visitor));
        return tree;
    }

    TempFolder folder;
    InputFile file;
    ByteSource source{};
};

std::map<std::string, std::string> TreeOnDisk(const TempFolder& folder) {
    std::map<std::string, std::string> tree;
    for (const auto& item : fs::recursive_directory_iterator(folder / "tree")) {
        const fs::path below = fs::relative(item.path().parent_path(), folder / "tree") / item.path().filename();
        std::string& told = tree["/" + below.lexically_normal().string()];
        if (item.is_symlink()) {
            told = "-> " + fs::read_symlink(item).string();
        } else {
            told = item.is_directory() ? "folder" : folder.read("tree" / below);
            told += " " + std::to_string(static_cast<unsigned>(item.status().permissions()));
        }
    }
    return tree;
}

TEST_P(IsoForeign, TreesAreAsTheyWereWritten) {
    std::optional<VolumeFault> fault;
    const std::vector<VolumeKind> kinds = FindVolumes(source, fault);
    EXPECT_FALSE(fault);
    ASSERT_EQ(kinds, (std::vector{VolumeKind::RockRidge, VolumeKind::Joliet, VolumeKind::Iso}));
    std::map<std::string, std::string> expected = TreeOnDisk(folder);
    const auto rockRidge = OpenVolume(source, VolumeKind::RockRidge, fault);
    auto told = readTree(*rockRidge, true);
    for (auto* tree : {&expected, &told})
        std::erase_if(*tree, [](const auto& item) { return item.first == "/boot.cat"; });
    EXPECT_EQ(told, expected);

    const auto joliet = OpenVolume(source, VolumeKind::Joliet, fault);
    auto names = readTree(*joliet, false);
    EXPECT_EQ(names["/a/file.txt"], "hello");
    EXPECT_EQ(names["/\xC3\xA4\xE6\x97\xA5 b"], "unicode");
    EXPECT_EQ(names["/many/item-299"], "m");
    const auto iso = OpenVolume(source, VolumeKind::Iso, fault);
    EXPECT_EQ(readTree(*iso, false)["/A/FILE.TXT"], "hello");

    const auto catalog = ReadBootCatalog(source, fault);
    ASSERT_TRUE(catalog && !fault);
    const auto image = FindEntry(*rockRidge, u"/boot.img", fault);
    std::vector<DataExtent> extents;
    ASSERT_TRUE(image && !rockRidge->locate(*image, extents));
    EXPECT_EQ(extents.at(0).offset, catalog->entries.at(0).firstSector * 2048u);
}

INSTANTIATE_TEST_SUITE_P(
    Writers, IsoForeign,
    testing::Values(Writer{"genisoimage",
                           "genisoimage -quiet -R -J -joliet-long -b boot.img -c boot.cat -no-emul-boot "
                           "-boot-load-size 4 -o image tree"},
                    Writer{"xorriso",
                           "xorriso -as mkisofs -quiet -R -J -joliet-long -b boot.img -c boot.cat "
                           "-no-emul-boot -boot-load-size 4 -o image tree"},
                    Writer{"xorriso_relocating",
                           "xorriso -as mkisofs -quiet -R -J -joliet-long -D -b boot.img -c boot.cat "
                           "-no-emul-boot -boot-load-size 4 -o image tree"}),
    [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace tovlark
