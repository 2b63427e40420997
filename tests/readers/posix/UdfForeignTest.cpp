#include <gtest/gtest.h>
#include <map>

#include "app/session/Texts.h"
#include "readers/UdfVolume.h"
#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

// What other programs write: their images, opened by us.
class UdfForeign : public testing::Test {
protected:
    void SetUp() override {
        for (const char* program : {"mkudffs", "genisoimage"})
            if (RunProgram({.words = {"sh", "-c", std::string("PATH=$PATH:/usr/sbin; command -v ") + program}})
                    .status != 0)
                GTEST_SKIP() << program << " is missing";
    }

    std::string run(const std::string& command) {
        const ProgramEnd end =
            RunProgram({.words = {"sh", "-c", "PATH=$PATH:/usr/sbin; " + command}, .folder = folder.path()});
        EXPECT_EQ(end.status, 0) << command << end.errors;
        return end.output;
    }

    /// Opens "image" of the folder; null after a failure that was told.
    std::unique_ptr<Volume> open(const std::string& what) {
        std::optional<VolumeFault> fault;
        FileInfo info;
        EXPECT_FALSE(file.open(FromUtf8((folder / "image").string())).failed());
        EXPECT_FALSE(file.examine(info).failed());
        EXPECT_TRUE(HasUdf(SourceOf(file, info.sizeBytes))) << what;
        source = SourceOf(file, info.sizeBytes);
        auto volume = OpenUdf(source, fault);
        if (fault) ADD_FAILURE() << what << ": " << ToUtf8(BuiltInText(fault->text)) << ToUtf8(fault->subject);
        return volume;
    }

    /// Paths below a folder and what the files hold; folders end in "/".
    void collect(Volume& volume, const VolumeEntry& parent, const std::string& path,
                 std::map<std::string, std::string>& all) {
        std::vector<VolumeEntry> entries;
        const auto fault = volume.list(parent, [&](const VolumeEntry& entry) {
            entries.push_back(entry);
            return true;
        });
        EXPECT_FALSE(fault) << path;
        for (const VolumeEntry& entry : entries) {
            const std::string name = path + ToUtf8(entry.name);
            if (entry.kind == EntryKind::Folder) {
                all[name + "/"];
                collect(volume, entry, name + "/", all);
                continue;
            }
            std::vector<DataExtent> extents;
            EXPECT_FALSE(volume.locate(entry, extents)) << name;
            std::string& data = all[name];
            for (const DataExtent& extent : extents) {
                std::string piece(extent.sizeBytes, '\0');
                std::size_t readCount = 0;
                EXPECT_FALSE(
                    source.readAt(source.self, extent.offset, std::as_writable_bytes(std::span(piece)), readCount)
                        .failed());
                data += piece;
            }
        }
    }

    TempFolder folder;
    InputFile file;
    ByteSource source{};
};

TEST_F(UdfForeign, OpensEmptyVolumesOfEveryKind) {
    struct Case {
        const char* options;
        bool isWriteOnce = false;  // ends with its table of virtual blocks
        const char* names = "";
    };
    const Case cases[] = {{"--media-type=hd -b 512"},
                          {"--media-type=hd -b 1024"},
                          {"--media-type=hd -b 4096"},
                          {"--media-type=hd -b 2048 --udfrev=1.02"},
                          {"--media-type=hd --strategy=4096"},
                          {"--media-type=dvd --udfrev=1.50"},
                          {"--media-type=dvdram --udfrev=2.00"},
                          {"--media-type=cdrw --udfrev=1.50", false, "Non-Allocatable Space"},
                          {"--media-type=cdrw --udfrev=2.01"},
                          {"--media-type=dvdrw"},
                          {"--media-type=cdr --udfrev=1.50", true},
                          {"--media-type=cdr --udfrev=2.01", true},
                          {"--media-type=bdr --udfrev=2.60", true}};
    for (const Case& item : cases) {
        const std::string output = run("rm -f image && truncate -s 20M image && mkudffs --label='Läbel 日本' " +
                                       std::string(item.options) + " image");
        if (item.isWriteOnce) {
            const std::size_t at = output.find("vatblock=");
            ASSERT_NE(at, output.npos) << output;
            std::filesystem::resize_file(folder / "image", (std::stoull(output.substr(at + 9)) + 1) * 2048);
        }
        const auto volume = open(item.options);
        if (!volume) continue;
        EXPECT_EQ(volume->label(), u"Läbel 日本") << item.options;
        std::map<std::string, std::string> all;
        collect(*volume, volume->root(), "", all);
        EXPECT_EQ(all.empty() ? "" : all.begin()->first, item.names) << item.options;
    }
}

TEST_F(UdfForeign, ReadsABridgeImage) {
    std::map<std::string, std::string> expected{
        {"a.txt", "hello"}, {"empty", ""}, {"sub/", ""}, {"sub/deep/", ""}, {"sub/deep/ünï 日本.bin", {}}};
    for (int index = 0; index < 100'000; ++index)
        expected["sub/deep/ünï 日本.bin"] += static_cast<char>(index * 7 + index / 256);
    for (int index = 0; index < 300; ++index) expected["sub/many" + std::to_string(index)] = std::to_string(index);
    for (const auto& [name, data] : expected)
        if (name.back() != '/') folder.write("tree/" + name, data);
    run("genisoimage -quiet -udf -V BRIDGE -input-charset utf-8 -o image tree");
    const auto volume = open("genisoimage");
    ASSERT_TRUE(volume);
    EXPECT_EQ(volume->label(), u"BRIDGE");
    std::map<std::string, std::string> all;
    collect(*volume, volume->root(), "", all);
    EXPECT_TRUE(all == expected) << all.size();
}

}  // namespace
}  // namespace tovlark
