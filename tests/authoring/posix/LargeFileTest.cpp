#include <fstream>
#include <gmock/gmock.h>

#include "authoring/Adding.h"
#include "authoring/WriterFixture.h"
#include "base/Sectors.h"
#include "readers/OpenedImage.h"
#include "support/RunProgram.h"

namespace tovlark {
namespace {

using testing::HasSubstr;

constexpr std::uint64_t kLargeBytes = (1ull << 32) + 5000;
constexpr std::uint64_t kMarks[] = {0, 1ull << 32, kLargeBytes - 1};  // bytes of the large file that are not zero

/// An image file with holes where the large file has them.
struct SparseSink {
    std::ofstream file;

    static std::uint32_t accept(void* self, std::uint32_t first, std::span<const std::byte> sectors) {
        std::string bytes(sectors.size(), '\0');
        std::memcpy(bytes.data(), sectors.data(), sectors.size());
        put(self, std::uint64_t{first} * kSectorSize, bytes);
        return static_cast<std::uint32_t>(sectors.size() / kSectorSize);
    }
    static std::uint64_t acceptFile(void* self, std::uint32_t first, const FileRange& range, bool&) {
        for (const std::uint64_t mark : kMarks) {
            if (mark < range.offset || mark - range.offset >= range.sizeBytes) continue;
            std::byte byte{};
            std::size_t readCount = 0;
            EXPECT_FALSE(range.file.readAt(mark, std::span(&byte, 1), readCount).failed());
            put(self, std::uint64_t{first} * kSectorSize + mark - range.offset, {std::to_integer<char>(byte)});
        }
        return range.sizeBytes;
    }
    static void put(void* self, std::uint64_t offset, const std::string& bytes) {
        auto& sink = *static_cast<SparseSink*>(self);
        sink.file.seekp(static_cast<std::streamoff>(offset));
        sink.file << bytes;
    }
};

class LargeFileTest : public WriterFixture {
protected:
    std::vector<std::byte> range(OpenedImage& image, const VolumeEntry& entry, std::uint64_t offset) {
        std::vector<DataExtent> extents;
        EXPECT_FALSE(image.volume->locate(entry, extents));
        std::vector<std::byte> bytes(1);
        std::size_t readCount = 0;
        EXPECT_FALSE(ReadRange(image.source, extents, offset, bytes, readCount).failed());
        return bytes;
    }
};

// A boot image that comes after the rule has left UDF alone brings ISO 9660 back; the large file stands in UDF only.
TEST_F(LargeFileTest, StandsBesideABootImageInTheUdfTreeOnly) {
    const TempFolder folder;
    std::filesystem::resize_file(folder.write("large", ""), kLargeBytes);
    {
        std::fstream large(folder / "large");
        for (const std::uint64_t mark : kMarks) {
            large.seekp(static_cast<std::streamoff>(mark));
            large << 'm';
        }
    }
    ASSERT_EQ(AddFromDisk(fake_.task, context_, (folder / "large").u16string(), *context_.root), AddResult::Done);
    EXPECT_FALSE(context_.isoEnabled);
    CompilationNode& isolinux = this->folder(*context_.root, u"isolinux");
    file(isolinux, u"isolinux.bin", std::string(24576, 'i'));
    file(*context_.root, u"small", "small");
    const std::string path = (folder / "x.iso").string();
    SparseSink sink{std::ofstream(path, std::ios::binary)};
    ASSERT_EQ(WriteImage(fake_.task, context_, {&sink, SparseSink::accept, SparseSink::acceptFile}), Status::Ok);
    sink.file.close();
    EXPECT_TRUE(context_.isoEnabled && context_.udfEnabled);
    EXPECT_FALSE(context_.jolietEnabled);

    const auto told = [&](std::vector<std::string> words) { return RunProgram({.words = std::move(words)}).output; };
    EXPECT_THAT(told({"xorriso", "-indev", path, "-report_el_torito", "plain"}),
                HasSubstr("BIOS  y   none  0x0000  0x00      4"));
    EXPECT_EQ(told({"isoinfo", "-f", "-i", path}), "/ISOLINUX\n/SMALL\n/ISOLINUX/ISOLINUX.BIN\n");
    OpenedImage image;
    ASSERT_TRUE(OpenImage(fake_.task, (folder / "x.iso").u16string(), image)) << fake_.streams.output;
    ASSERT_EQ(image.volume->kind(), VolumeKind::Udf);
    std::optional<VolumeFault> fault;
    const auto large = FindEntry(*image.volume, u"/large", fault);
    ASSERT_TRUE(large && large->sizeBytes == kLargeBytes);
    for (const std::uint64_t mark : kMarks) EXPECT_EQ(range(image, *large, mark), std::vector{std::byte{'m'}}) << mark;
    EXPECT_EQ(range(image, *large, kMarks[1] + 1), std::vector{std::byte{0}});
}

}  // namespace
}  // namespace tovlark
