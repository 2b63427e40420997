#pragma once

#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>

#include "burn/BurnImage.h"
#include "simdrive/DriveFixture.h"
#include "support/FakeSession.h"

namespace tovlark {

/// A simulated drive as burning sees it: what changes something is noted by its short name, and a test may come
/// between.
struct BurnerDrive {
    LoadedDrive loaded;
    FakeSession fake;
    std::string commands;
    /// Given the operation code and its turn from 1: an error that the transport fails with, or a sense to refuse with.
    std::function<std::uint32_t(std::uint8_t opcode, int turn)> refuses = [](std::uint8_t, int) { return 0u; };
    std::map<std::uint8_t, int> turns;
    /// May change the answer to a command that was carried out.
    std::function<void(PassThrough& command)> hasSent = [](PassThrough&) {};
    OpenedDrive opened{DriveRecord{.device = {this, &send, &control, nullptr}, .clock = &loaded.time.clock}};
    std::string image;
    FileSource files{2048};

    explicit BurnerDrive(Medium medium, std::uint32_t discBlocks = 4000, std::uint32_t imageBlocks = 1000)
        : loaded(medium, discBlocks) {
        for (std::uint32_t index = 0; index < imageBlocks; ++index) {
            std::string sector(2048, static_cast<char>('a' + index % 23));
            image += sector;
        }
        const auto path = loaded.folder / "a.iso";
        std::ofstream(path, std::ios::binary) << image;
        EXPECT_FALSE(AddImageFile(files, path.u16string(), 2048, 2048).failed());
    }

    /// Afterwards there is no thread or file that was not there before.
    Status burn(const BurnOptions& options) {
        const auto threads = countOf("/proc/self/task"), left = countOf(loaded.folder.path());
        const Status status =
            BurnImage(fake.task, {.drive = opened.get(), .source = files.source(), .options = options});
        EXPECT_EQ(countOf("/proc/self/task"), threads);
        EXPECT_EQ(countOf(loaded.folder.path()), left);
        return status;
    }
    static std::ptrdiff_t countOf(const std::filesystem::path& folder) {
        std::error_code error;
        return std::distance(std::filesystem::directory_iterator(folder, error), {});
    }
    bool logs(TextView words) const {
        for (const MessageLog::Line& line : fake.log.lines())
            if (line.text.find(words) != Text::npos) return true;
        return false;
    }
    bool says(std::string_view words) const { return fake.streams.output.find(words) != std::string::npos; }
    /// Compares what the disc holds with the image.
    void expectImage() {
        for (const std::size_t block : {std::size_t{0}, std::size_t{15}, std::size_t{500}, image.size() / 2048 - 1})
            EXPECT_EQ(loaded.read(static_cast<std::uint32_t>(block)), static_cast<unsigned>(image[block * 2048]));
    }

    static SystemError control(void*, VolumeControl) { return {}; }
    static SystemError send(void* self, PassThrough& command) {
        auto& burner = *static_cast<BurnerDrive*>(self);
        const auto opcode = std::to_integer<std::uint8_t>(command.cdb[0]);
        burner.note(command);
        const std::uint32_t refusal = burner.refuses(opcode, ++burner.turns[opcode]);
        if (refusal == 0) {
            const SystemError error = Execute(burner.loaded.drive, command);
            burner.hasSent(command);
            return error;
        }
        if (refusal < 0x10000) return {refusal};
        refuse(command, refusal);
        return {};
    }
    /// Answers with a sense of 0xKKCCQQ.
    static void refuse(PassThrough& command, std::uint32_t refusal) {
        command.scsiStatus = 2;
        if (command.sense.size() < 14) return;
        command.sense[0] = std::byte{0x70};
        command.sense[2] = static_cast<std::byte>(refusal >> 16);
        command.sense[7] = std::byte{10};
        command.sense[12] = static_cast<std::byte>(refusal >> 8);
        command.sense[13] = static_cast<std::byte>(refusal);
    }
    /// Runs of the same command are noted once.
    void note(const PassThrough& command) {
        static const std::map<std::uint8_t, std::string> kNames = {{0x04, "format"},  {0x2A, "write"}, {0x35, "sync"},
                                                                   {0x53, "reserve"}, {0x54, "opc"},   {0x55, "mode"},
                                                                   {0xBF, "stamp"},   {0x5D, "cue"},   {0x5B, "close"}};
        const auto found = kNames.find(std::to_integer<std::uint8_t>(command.cdb[0]));
        if (found == kNames.end()) return;
        std::string name = found->second;
        if (name == "close") name += std::to_string(std::to_integer<int>(command.cdb[2]));
        if (name == "format") name += std::to_string(std::to_integer<int>(command.data[8]) >> 2);
        if (commands.ends_with(name)) return;
        commands += (commands.empty() ? "" : " ") + name;
    }
};

}  // namespace tovlark
