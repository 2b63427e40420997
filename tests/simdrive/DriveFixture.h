#pragma once

#include <gtest/gtest.h>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "simdrive/Drive.h"
#include "support/TempFolder.h"

namespace tovlark {

/// Time that passes only when something waits.
struct StillTime {
    std::uint64_t now = 0;
    Clock clock{this, [](void* self) { return static_cast<StillTime*>(self)->now; },
                [](void* self, std::uint32_t milliseconds) { static_cast<StillTime*>(self)->now += milliseconds; },
                [](void*) { return UnixSeconds{0}; }, [](void*, UnixSeconds) { return std::int32_t{0}; }};
};

using Bytes = std::vector<std::byte>;

/// A drive with a new disc in it, which is driven by command blocks.
struct LoadedDrive {
    TempFolder folder;
    StillTime time;
    SimDrive drive;

    explicit LoadedDrive(Medium medium, std::uint32_t blocks = 20000) {
        drive.clock = &time.clock;
        ResetModePages(drive);
        if (Disc::create(path(), *FindRules(medium), blocks).failed()) throw std::runtime_error("no disc");
        load(path());
    }

    Text path() const { return (folder / "a.tvdisc").u16string(); }

    void load(const Text& file) {
        LoadDisc(drive, nullptr);
        auto disc = std::make_unique<Disc>();
        SystemError error;
        if (disc->open(file, error) != DiscFault::None) throw std::runtime_error("no disc");
        LoadDisc(drive, std::move(disc));
        drive.attentions.clear();
    }

    /// Sense key, code and qualifier as 0xKKCCQQ; 0 when all went well.
    std::uint32_t send(std::initializer_list<int> cdb, Bytes& data, DataDirection direction) {
        std::vector<std::byte> block;
        for (const int byte : cdb) block.push_back(static_cast<std::byte>(byte));
        block.resize(block[0] < std::byte{0x20} ? 6 : block[0] < std::byte{0xA0} ? 10 : 12);
        std::array<std::byte, 18> sense{};
        PassThrough command{.cdb = block,
                            .direction = data.empty() ? DataDirection::None : direction,
                            .data = data.data(),
                            .dataBytes = static_cast<std::uint32_t>(data.size()),
                            .sense = sense};
        EXPECT_FALSE(Execute(drive, command).failed());
        data.resize(command.dataBytes);
        return std::to_integer<std::uint32_t>(sense[2]) << 16 | std::to_integer<std::uint32_t>(sense[12]) << 8 |
               std::to_integer<std::uint32_t>(sense[13]);
    }
    std::uint32_t send(std::initializer_list<int> cdb) {
        Bytes none;
        return send(cdb, none, DataDirection::None);
    }
    Bytes receive(std::initializer_list<int> cdb, std::size_t bytes) {
        Bytes data(bytes);
        EXPECT_EQ(send(cdb, data, DataDirection::In), 0u) << "opcode " << *cdb.begin();
        return data;
    }

    std::uint32_t write(std::uint32_t block, int count, char fill, std::size_t blockBytes = 2048) {
        Bytes data(static_cast<std::size_t>(count) * blockBytes, static_cast<std::byte>(fill));
        return send({0x2A, 0, int(block >> 24), int(block >> 16 & 255), int(block >> 8 & 255), int(block & 255), 0,
                     count >> 8, count & 255},
                    data, DataDirection::Out);
    }
    /// The byte that fills a block, or the sense.
    std::uint32_t read(std::uint32_t block) {
        Bytes data(2048);
        const std::uint32_t sense = send(
            {0x28, 0, 0, int(block >> 16), int(block >> 8 & 255), int(block & 255), 0, 0, 1}, data, DataDirection::In);
        return sense != 0 ? sense : std::to_integer<std::uint32_t>(data[7]);
    }
    std::uint32_t synchronize() { return send({0x35}); }
    std::uint32_t close(int function, int track = 1) { return send({0x5B, 0, function, 0, 0, track}); }

    /// Write parameters page: byte 2 (type), byte 3 (multi-session, track mode), byte 4 (data block type).
    std::uint32_t select(int type, int trackMode, int blockType = 8) {
        Bytes page = receive({0x5A, 8, 5, 0, 0, 0, 0, 0, 60}, 60);
        page[8 + 2] = static_cast<std::byte>(0x40 | type);
        page[8 + 3] = static_cast<std::byte>(trackMode);
        page[8 + 4] = static_cast<std::byte>(blockType);
        return send({0x55, 0x10, 0, 0, 0, 0, 0, 0, 60}, page, DataDirection::Out);
    }
    std::uint32_t format(std::uint32_t blocks, int type, int parameter = 0, int subtype = 0) {
        Bytes list{std::byte{0}, std::byte{2}, std::byte{0}, std::byte{8}};
        for (const std::uint32_t value : {blocks >> 24, blocks >> 16, blocks >> 8, blocks})
            list.push_back(static_cast<std::byte>(value));
        list.push_back(static_cast<std::byte>(type << 2 | subtype));
        list.insert(list.end(),
                    {std::byte{0}, static_cast<std::byte>(parameter >> 8), static_cast<std::byte>(parameter)});
        return send({0x04, 0x11}, list, DataDirection::Out);
    }

    static std::uint32_t be(const Bytes& data, std::size_t offset, std::size_t count) {
        std::uint32_t value = 0;
        for (std::size_t index = 0; index < count; ++index)
            value = value << 8 | std::to_integer<std::uint32_t>(data.at(offset + index));
        return value;
    }
    std::uint32_t trackField(int track, std::size_t offset) {
        return be(receive({0x52, 1, 0, 0, 0, track, 0, 0, 48}, 48), offset, 4);
    }
    std::uint32_t nextWritable(int track) { return trackField(track, 12); }
    /// Bits of READ DISC INFORMATION byte 2: erasable, state of the last session, disc status.
    std::uint32_t discStatus() { return be(receive({0x51, 0, 0, 0, 0, 0, 0, 0, 34}, 34), 2, 1); }
    std::uint32_t profile() { return be(receive({0x46, 0, 0, 0, 0, 0, 0, 0, 8}, 8), 6, 2); }
};

}  // namespace tovlark
