#pragma once

#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/IsoBytes.h"
#include "base/RockRidgeBytes.h"
#include "support/MemorySource.h"

namespace tovlark {

/// A small image of ISO 9660 put together record by record, so that any byte of it can be wrong.
class IsoImage {
public:
    static constexpr std::uint32_t kRoot = 20, kJolietRoot = 21, kSub = 22, kArea = 23, kData = 24, kSectorCount = 28;

    struct Record {
        std::string name;
        std::uint32_t extent = kData, size = 0;
        std::uint8_t flags = 0;
        std::string systemUse{};
        std::uint8_t extendedLength = 0, unitSize = 0;
    };

    IsoImage() : bytes_(kSectorCount * kSectorSize) {
        VolumeDescriptor primary;
        primary.spaceSize = kSectorCount;
        primary.blockSize = kSectorSize;
        primary.root.length = 34;
        primary.root.extent = kRoot;
        primary.root.dataLength = kSectorSize;
        primary.root.flags = DirectoryRecordHead::kFolder;
        std::memcpy(primary.volumeIdentifier, "LABEL   ", 8);
        std::memcpy(primary.publisherIdentifier, "WHO", 3);
        std::memcpy(primary.creation.digits, "2024022912000050", 16);
        primary.creation.quarterHours = 4;
        put(16 * kSectorSize, primary);
        VolumeDescriptor joliet = primary;
        joliet.type = VolumeDescriptor::kSupplementary;
        joliet.root.extent = kJolietRoot;
        std::memcpy(joliet.escapeSequences, "%/E", 3);
        std::memcpy(joliet.volumeIdentifier, "\0J\0o\0l\0 \0 ", 10);
        put(17 * kSectorSize, joliet);
        VolumeDescriptor end;
        end.type = VolumeDescriptor::kTerminator;
        put(18 * kSectorSize, end);
        begin(kJolietRoot);
        begin(kRoot, RootEntries());
    }

    /// Starts a folder: its own record, with `systemUse`, and its parent's.
    void begin(std::uint32_t sector, const std::string& systemUse = {}) {
        cursor_ = sector * kSectorSize;
        std::memset(bytes_.data() + cursor_, 0, kSectorSize);
        add({std::string(1, '\0'), sector, kSectorSize, DirectoryRecordHead::kFolder, systemUse});
        add({std::string(1, '\1'), kRoot, kSectorSize, DirectoryRecordHead::kFolder});
    }
    /// Adds a record to the folder begun last; returns its offset.
    std::size_t add(const Record& record) {
        const std::size_t offset = cursor_;
        DirectoryRecordHead head;
        const std::size_t nameEnd = sizeof(head) + record.name.size();
        const std::size_t length = nameEnd + nameEnd % 2 + record.systemUse.size() + record.systemUse.size() % 2;
        head.length = static_cast<std::uint8_t>(length);
        head.extendedLength = record.extendedLength;
        head.extent = record.extent;
        head.dataLength = record.size;
        head.date = {124, 2, 29, 12, 0, 0, 4};
        head.flags = record.flags;
        head.unitSize = record.unitSize;
        head.nameLength = static_cast<std::uint8_t>(record.name.size());
        put(cursor_, head);
        putText(cursor_ + sizeof(head), record.name);
        putText(cursor_ + nameEnd + nameEnd % 2, record.systemUse);
        cursor_ += length;
        return offset;
    }
    template <typename Structure>
    void put(std::size_t offset, const Structure& structure) {
        std::memcpy(bytes_.data() + offset, &structure, sizeof(structure));
    }
    void putText(std::size_t offset, std::string_view text) {
        std::memcpy(bytes_.data() + offset, text.data(), text.size());
    }
    void resize(std::size_t sizeBytes) { bytes_.resize(sizeBytes); }

    const ByteSource& source() {
        memory_.bytes = bytes_;
        return source_ = memory_.source();
    }

    /// An entry of SUSP: signature, length, version, body.
    static std::string Entry(std::string_view signature, const std::string& body) {
        return std::string(signature) + static_cast<char>(body.size() + 4) + '\1' + body;
    }
    static std::string Both(std::uint32_t value) {
        std::string bytes(8, '\0');
        for (int index = 0; index < 4; ++index)
            bytes[static_cast<std::size_t>(index)] = bytes[static_cast<std::size_t>(7 - index)] =
                static_cast<char>(value >> (8 * index));
        return bytes;
    }
    static std::string Posix(std::uint32_t mode, const std::string& more = {}) {
        return Entry("PX", Both(mode) + Both(3) + Both(1000) + Both(100) + more);
    }
    static std::string Continue(std::uint32_t sector, std::uint32_t offset, std::uint32_t length) {
        return Entry("CE", Both(sector) + Both(offset) + Both(length));
    }
    static std::string RootEntries() {
        return Entry("SP", {'\xBE', '\xEF', '\0'}) + Posix(0040755) +
               Entry("ER", std::string("\x0A\0\0\1", 4) + "RRIP_1991A");
    }

private:
    std::vector<std::byte> bytes_;
    MemoryBytes memory_;
    ByteSource source_{};
    std::size_t cursor_ = 0;
};

}  // namespace tovlark
