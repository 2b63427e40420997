#include <fstream>
#include <gtest/gtest.h>

#include "optical/DiscSummary.h"
#include "simdrive/DriveSource.h"
#include "support/FakeSession.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

class DriveSourceTest : public testing::Test {
protected:
    DriveSourceTest() {
        fake_.fakeSettings.put(u"F", u"sim:" + path("drive"), kDrivesKey);
        EXPECT_FALSE(Disc::create(path("a.tvdisc"), *FindRules(Medium::DvdPlusR), 5000).failed());
    }
    Text path(const char* name) const { return (folder_ / name).u16string(); }
    void describe(const Text& disc) const {
        DriveDescription description;
        description.disc = disc;
        EXPECT_FALSE(WriteDriveDescription(path("drive"), description).failed());
    }
    /// The disc that the drive says it holds, or why it cannot be used.
    std::string open() {
        const DriveMap map = MapAllDrives(fake_.task);
        DriveFault fault;
        const OpenedDrive drive = OpenDrive(map, u'F', fault);
        if (!drive) return bare(ToUtf8(DescribeFault(fake_.texts, u'F', fault)));
        DriveEntry entry;
        ReadDiscSummary(fake_.texts, entry, drive.get(), SummaryParts::Everything);
        return ToUtf8(entry.mediaName + u" " + entry.summary);
    }
    /// Without the folder of the test.
    std::string bare(std::string text) const {
        const std::string folder = (folder_.path() / "").string();
        for (std::size_t at; (at = text.find(folder)) != text.npos;) text.erase(at, folder.size());
        return text;
    }

    TempFolder folder_;
    FakeSession fake_;
};

TEST_F(DriveSourceTest, OpensByItsLetterOrTellsWhyNot) {
    EXPECT_EQ(open(), "Drive F: is a simulated drive whose file is gone: drive. Make it anew with: tvdrive add");
    std::ofstream(folder_ / "drive") << "root:x:0:0:root:/root:/bin/bash\n";
    EXPECT_EQ(open(), "Drive F: is drive, which is not an optical drive.");
    std::filesystem::remove(folder_ / "drive");
    describe(u"");
    EXPECT_EQ(open(), "No disc ");
    describe(u"a.tvdisc");
    EXPECT_EQ(open(), "DVD+R Total 9MB, Free 9MB");

    const struct {
        const char* name;
        std::string contents;
        const char* reason;
    } cases[] = {
        {"text", "no disc at all", "The disc in drive F: is text, which is neither a disc file nor an image."},
        {"cut", std::string("TVDISC\r\n\1\0\0\0", 12), "The disc in drive F: is cut, a damaged disc file."},
        {"new", "TVDISC\r\n\xFF\xFF\xFF",
         "The disc in drive F: is new, which a newer version of this program has made."},
    };
    for (const auto& each : cases) {
        std::ofstream(folder_ / each.name, std::ios::binary) << each.contents + std::string(32, ' ');
        describe(FromUtf8(each.name));
        EXPECT_EQ(open(), each.reason);
    }
    describe(u"gone");
    EXPECT_EQ(open().substr(0, 44), "The disc in drive F: (gone) cannot be opened");
}

TEST_F(DriveSourceTest, IsOneProgramsAtATime) {
    describe(u"a.tvdisc");
    LockedFile held;
    ASSERT_FALSE(held.open(path("drive"), LockedFile::Mode::Existing).failed());
    EXPECT_EQ(open(), "Drive F: is used by another program: drive is locked.");
    held = LockedFile();
    ASSERT_FALSE(held.open(path("a.tvdisc"), LockedFile::Mode::Existing).failed());
    EXPECT_EQ(open(), "The disc in drive F: is used by another program: a.tvdisc is locked.");
}

}  // namespace
}  // namespace tovlark
