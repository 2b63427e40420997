#include <gmock/gmock.h>

#include "app/session/Settings.h"
#include "authoring/ChecksumImplant.h"
#include "authoring/WriterFixture.h"

namespace tovlark {

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::size_t kArea = 33'651, kAreaSize = 512;

std::span<const std::byte> BytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

std::string Md5Of(const std::string& bytes) {
    Md5Stream stream;
    stream.add(BytesOf(bytes));
    std::string text;
    for (const std::uint8_t byte : stream.value()) text += ToUtf8(FormatText(u"%02x", {std::uint32_t{byte}}));
    return text;
}

/// The area as it must become, computed from the whole image at once.
std::string ExpectedArea(std::string image) {
    image.replace(kArea, kAreaSize, kAreaSize, ' ');
    const std::string hashed = image.substr(0, image.size() - std::size_t{15} * 2048);
    const std::size_t fragmentSize = hashed.size() / 21;
    std::string sums;
    std::size_t last = 0;
    for (std::size_t chunk = 0; chunk < hashed.size(); chunk += 32'768) {
        if (chunk / fragmentSize == last) continue;
        last = chunk / fragmentSize;
        const std::string digest = Md5Of(hashed.substr(0, chunk + 32'768));
        for (const std::size_t index : {0u, 2u, 4u}) sums += digest[index] == '0' ? digest[index + 1] : digest[index];
    }
    std::string area = "ISO MD5SUM = " + Md5Of(hashed) + ";SKIPSECTORS = 15;RHLISOSTATUS=0;FRAGMENT SUMS = " + sums +
                       ";FRAGMENT COUNT = 20;THIS IS NOT THE SAME AS RUNNING MD5SUM ON THIS ISO!!;";
    area.resize(kAreaSize, ' ');
    return area;
}

class ChecksumImplantTest : public WriterFixture {
protected:
    void fill(std::size_t largeSize) {
        std::string large(largeSize, '?');
        for (std::size_t index = 0; index < large.size(); ++index)
            large[index] = static_cast<char>(index * 2654435761u >> 24);
        const std::string name = std::to_string(largeSize);
        source(*context_.root, sources_.write(name, large));
        for (std::size_t number = 0; number < 40; ++number)
            source(*context_.root, sources_.write(name + "." + std::to_string(number), large.substr(0, number * 97)));
    }
    std::string create() {
        EXPECT_EQ(CreateImageFile(fake_.task, context_, path().u16string(), ExistingOutput::Replace), Status::Ok);
        return sources_.read("out/x.iso");
    }
    std::filesystem::path path() {
        std::filesystem::create_directory(sources_ / "out");
        return sources_ / "out/x.iso";
    }

    TempFolder sources_;
};

TEST_F(ChecksumImplantTest, IsTheSameWhileWritingAndInTheWrittenFile) {
    // A few chunks, fewer than fragments, and more than the thread may lag behind.
    for (const std::size_t size : {20'000u, 300'000u, 12'000'001u}) {
        SCOPED_TRACE(size);
        fill(size);
        fake_.task.settings.setInt(kImplantChecksum.name, 0);
        const std::string plain = create();
        fake_.task.settings.setInt(kImplantChecksum.name, 1);
        const std::string implanted = create();
        ASSERT_EQ(implanted.size(), plain.size());
        EXPECT_EQ(implanted.substr(kArea, kAreaSize), ExpectedArea(plain));
        EXPECT_EQ(plain.substr(0, kArea), implanted.substr(0, kArea));
        EXPECT_EQ(plain.substr(kArea + kAreaSize), implanted.substr(kArea + kAreaSize));

        const std::filesystem::path later = sources_.write("later.iso", plain);
        for (int round = 0; round < 2; ++round) {
            ASSERT_EQ(ImplantChecksum(fake_.task, later.u16string()), Status::Ok);
            EXPECT_TRUE(sources_.read("later.iso") == implanted);
        }
    }
    EXPECT_THAT(fake_.streams.output, HasSubstr("Updating md5 checksum..."));
}

TEST_F(ChecksumImplantTest, UdfAloneHasNoPlaceForIt) {
    fill(100'000);
    context_.isoEnabled = false;
    context_.udfEnabled = true;
    const std::string plain = create();
    fake_.task.settings.setInt(kImplantChecksum.name, 1);
    const std::string implanted = create();
    EXPECT_EQ(implanted.size(), plain.size());
    EXPECT_THAT(implanted, Not(HasSubstr("ISO MD5SUM")));
    EXPECT_FALSE(fake_.flags.error);
    ASSERT_FALSE(fake_.log.lines().empty());
    EXPECT_THAT(ToUtf8(fake_.log.lines().back().text), HasSubstr("has no ISO 9660 file system"));
}

TEST_F(ChecksumImplantTest, CancelAndFailureLeaveTheFileAsItIs) {
    fill(3'000'000);
    const std::string plain = create();
    const struct {
        std::string contents;
        bool isCancelled;
        const char* words;
    } cases[] = {{plain, true, "Cancelled: no checksum is implanted in "},
                 {plain.substr(0, plain.size() - 2048), false, "shorter than its file system says"},
                 {plain.substr(0, 34'000), false, "has no ISO 9660 file system"},
                 {std::string(100'000, 'x'), false, "has no ISO 9660 file system"}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.words);
        const std::filesystem::path image = sources_.write("image", each.contents);
        fake_.flags.error = false;
        fake_.flags.cancel = each.isCancelled;
        EXPECT_EQ(ImplantChecksum(fake_.task, image.u16string()), Status::Failed);
        EXPECT_TRUE(sources_.read("image") == each.contents);
        EXPECT_THAT(fake_.streams.output, HasSubstr(each.words));
        EXPECT_EQ(fake_.flags.error, !each.isCancelled);
    }
}

}  // namespace

}  // namespace tovlark
