#include <cstring>

#include "authoring/Adding.h"
#include "authoring/ChecksumImplant.h"
#include "burn/BurnerDrive.h"
#include "burn/CompilationSource.h"

namespace tovlark {
namespace {

std::string FileOf(char first, std::size_t size) {
    std::string contents(size, first);
    for (std::size_t at = 0; at < size; at += 100) contents[at] = static_cast<char>('0' + at / 100 % 10);
    return contents;
}

std::uint32_t AppendTo(void* self, std::uint32_t, std::span<const std::byte> sectors) {
    auto& image = *static_cast<std::string*>(self);
    for (const std::byte byte : sectors) image += static_cast<char>(byte);
    return static_cast<std::uint32_t>(sectors.size() / 2048);
}

/// A folder that is burned as it stands.
struct FolderBurn {
    BurnerDrive burner;
    ImageBuildContext context;
    std::filesystem::path large;  // read piece by piece, last of all

    explicit FolderBurn(Medium medium) : burner(medium) {
        const TempFolder& folder = burner.loaded.folder;
        folder.write("files/a/small.txt", FileOf('s', 5000));
        folder.write("files/b/small.txt", FileOf('t', 3000));
        large = folder.write("files/z/large.bin", FileOf('l', 3'000'000));
        InitialiseCompilation(burner.fake.task, context);
        AddFromDisk(burner.fake.task, context, (folder / "files/.").u16string(), *context.root);
    }
    Status burn(CompilationSource& source, const BurnOptions& options = {.verifies = true}) {
        return BurnImage(burner.fake.task,
                         {.drive = burner.opened.get(), .source = source.source(), .options = options});
    }
    /// Blocks of the disc that differ from what one writing pass gives.
    std::size_t differingBlocks() {
        std::string image;
        EXPECT_EQ(WriteImage(burner.fake.task, context, {&image, AppendTo, nullptr}), Status::Ok);
        std::size_t count = 0;
        for (std::size_t block = 0; block < image.size() / 2048; ++block) {
            Bytes data(2048);
            burner.loaded.send({0x28, 0, 0, 0, int(block >> 8), int(block & 255), 0, 0, 1}, data, DataDirection::In);
            count += std::memcmp(data.data(), image.data() + block * 2048, data.size()) != 0;
        }
        return count;
    }
};

TEST(CompilationSource, DiscAndImageFileAreTheSame) {
    for (const Medium medium : {Medium::CdR, Medium::DvdPlusR, Medium::BdRe}) {
        FolderBurn folder(medium);
        CompilationSource source(folder.burner.fake.task, folder.context);
        EXPECT_EQ(folder.burn(source), Status::Ok) << folder.burner.fake.streams.output;
        EXPECT_TRUE(folder.burner.says("Verifying media completed successfully.\r\n"));
        EXPECT_EQ(folder.differingBlocks(), 0u);
    }
}

TEST(CompilationSource, WhatChangesMeanwhileIsFilledUpAndTold) {
    FolderBurn folder(Medium::DvdPlusRw);
    CompilationSource source(folder.burner.fake.task, folder.context);
    std::filesystem::resize_file(folder.large, 2'000'000);
    std::filesystem::remove(folder.burner.loaded.folder / "files/a/small.txt");
    EXPECT_EQ(folder.burn(source), Status::Ok);
    EXPECT_TRUE(folder.burner.fake.flags.error);
    const std::string& output = folder.burner.fake.streams.output;
    EXPECT_TRUE(folder.burner.says("small.txt cannot be read from byte 0 of 5000 on: ")) << output;
    EXPECT_TRUE(folder.burner.says("large.bin ended early, at byte 2000000 of 3000000")) << output;
    EXPECT_TRUE(folder.burner.says("Burning completed successfully with warnings.\r\n")) << output;
    EXPECT_EQ(folder.differingBlocks(), 0u) << "the length that was laid out";
}

TEST(CompilationSource, AFailureEndsTheSourceToo) {
    FolderBurn folder(Medium::DvdPlusRw);
    folder.burner.fake.fakeSettings.put(u"BurnBuffer", 16u);
    CompilationSource source(folder.burner.fake.task, folder.context);
    folder.burner.refuses = [](std::uint8_t opcode, int turn) { return opcode == 0x2A && turn == 20 ? 0x030C00u : 0u; };
    EXPECT_EQ(folder.burn(source), Status::Failed);
    EXPECT_TRUE(folder.burner.says("Error writing")) << folder.burner.fake.streams.output;
    // The same source goes on another disc afterwards.
    folder.burner.refuses = [](std::uint8_t, int) { return 0u; };
    folder.burner.fake.session.assumeYes();
    EXPECT_EQ(folder.burn(source), Status::Ok) << folder.burner.fake.streams.output;
    EXPECT_EQ(folder.differingBlocks(), 0u);
}

TEST(CompilationSource, CarriesTheChecksumOfItsImage) {
    FolderBurn folder(Medium::BdR);
    folder.burner.fake.fakeSettings.put(u"ImplantChecksum", 1u);
    CompilationSource source(folder.burner.fake.task, folder.context);
    ASSERT_TRUE(source.isReady());
    std::string image;
    const SectorIntake intake{
        &image, [](void* self, std::span<const std::byte> sectors) { return AppendTo(self, 0, sectors) > 0; },
        [](void*, const Text& words) { ADD_FAILURE() << ToUtf8(words); }};
    SourceFault fault;
    ASSERT_TRUE(source.source().make(&source, intake, fault));
    EXPECT_EQ(image.size(), source.source().sectorCount * 2048u);
    const auto path = folder.burner.loaded.folder.write("made.iso", image);
    const std::string before = folder.burner.loaded.folder.read("made.iso");
    EXPECT_EQ(ImplantChecksum(folder.burner.fake.task, path.u16string()), Status::Ok);
    EXPECT_EQ(folder.burner.loaded.folder.read("made.iso"), before) << "it was there";
}

TEST(CompilationSource, WhatCannotBeLaidOutIsReported) {
    FolderBurn folder(Medium::DvdPlusRw);
    folder.context.isoEnabled = false;
    CompilationSource source(folder.burner.fake.task, folder.context);
    EXPECT_FALSE(source.isReady());
    EXPECT_TRUE(folder.burner.fake.flags.error);
}

}  // namespace
}  // namespace tovlark
