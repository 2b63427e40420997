#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tovlark {

/// A strict reader of ISO 9660 images that shares nothing with the writer. Whatever breaks the standard throws.
class IsoReader {
public:
    struct Entry {
        bool isFolder = false, isLink = false;
        std::uint32_t extent = 0, size = 0;
        std::string target{};  // of a symbolic link
        std::uint32_t mode = 0, links = 0, owner = 0, group = 0;
        std::string date{};  // seven bytes
        std::string posixDate{};
    };
    using Tree = std::map<std::string, Entry>;  // "/A/B" to what is there; the root is ""

    explicit IsoReader(std::string image) : image_(std::move(image)) {}

    std::uint32_t u8(std::uint64_t at) const { return static_cast<unsigned char>(image_.at(at)); }
    std::uint32_t little(std::uint64_t at, unsigned count) const {
        std::uint32_t value = 0;
        for (unsigned index = 0; index < count; ++index) value |= u8(at + index) << (8 * index);
        return value;
    }
    std::uint32_t big(std::uint64_t at, unsigned count) const {
        std::uint32_t value = 0;
        for (unsigned index = 0; index < count; ++index) value = value << 8 | u8(at + index);
        return value;
    }
    std::uint32_t both(std::uint64_t at, unsigned count) const {
        const std::uint32_t value = little(at, count);
        require(big(at + count, count) == value, "both-endian halves differ", at);
        return value;
    }
    std::string bytes(std::uint64_t at, std::size_t count) const {
        require(at + count <= image_.size(), "beyond the image", at);
        return image_.substr(at, count);
    }
    std::string contents(const Entry& entry) const { return bytes(std::uint64_t{entry.extent} * 2048, entry.size); }
    std::uint64_t sectors() const { return image_.size() / 2048; }

    /// Reads the whole tree of the descriptor in a sector, Rock Ridge names where `hasRockRidge`, and holds the path
    /// tables against it. Identifiers must ascend.
    Tree read(std::uint32_t descriptorSector, bool hasRockRidge) {
        const std::uint64_t descriptor = std::uint64_t{descriptorSector} * 2048;
        isJoliet_ = u8(descriptor) == 2;
        hasRockRidge_ = hasRockRidge;
        tree_.clear();
        folders_.clear();
        require(image_.size() % 2048 == 0 && both(descriptor + 80, 4) == sectors(), "volume size", descriptor);
        const std::uint32_t rootExtent = both(descriptor + 156 + 2, 4), rootSize = both(descriptor + 156 + 10, 4);
        tree_[""] = {.isFolder = true, .extent = rootExtent, .size = rootSize};
        struct Waiting {
            std::string path;
            std::uint32_t extent, size, parentExtent;
        };
        std::vector<Waiting> waiting{{"", rootExtent, rootSize, rootExtent}};
        while (!waiting.empty()) {
            const Waiting folder = waiting.back();
            waiting.pop_back();
            for (auto& [name, entry] : readFolder(folder.extent, folder.size, folder.parentExtent)) {
                if (entry.isFolder)
                    waiting.push_back({folder.path + "/" + name, entry.extent, entry.size, folder.extent});
                require(tree_.emplace(folder.path + "/" + name, entry).second, "name twice", folder.extent);
            }
        }
        checkPathTables(descriptor);
        return tree_;
    }

    void require(bool isRight, const char* what, std::uint64_t where) const {
        if (!isRight) throw std::runtime_error(std::string(what) + " at " + std::to_string(where));
    }

private:
    struct FolderFacts {
        std::uint32_t parentExtent;
        std::string identifier;
    };

    std::vector<std::pair<std::string, Entry>> readFolder(std::uint32_t extent, std::uint32_t size,
                                                          std::uint32_t parentExtent) {
        require(size > 0 && size % 2048 == 0, "folder size", extent);
        std::vector<std::pair<std::string, Entry>> entries;
        std::string lastKey;
        std::uint32_t index = 0;
        const std::uint64_t begin = std::uint64_t{extent} * 2048;
        for (std::uint32_t sector = 0; sector < size / 2048; ++sector) {
            const std::uint64_t sectorBegin = begin + sector * 2048ull;
            std::uint64_t at = sectorBegin;
            while (at < sectorBegin + 2048 && u8(at) != 0) {
                const std::uint32_t length = u8(at), nameLength = u8(at + 32);
                require(length % 2 == 0 && at + length < sectorBegin + 2048, "record's length", at);
                require(33 + nameLength <= length && both(at + 28, 2) == 1, "record's head", at);
                Entry entry{.isFolder = (u8(at + 25) & 2) != 0, .extent = both(at + 2, 4), .size = both(at + 10, 4)};
                entry.date = bytes(at + 18, 7);
                const std::string identifier = bytes(at + 33, nameLength);
                const std::uint64_t systemUse = at + 33 + nameLength + (nameLength % 2 == 0);
                std::string name = isJoliet_ ? FromBigEndian(identifier) : identifier;
                if (hasRockRidge_) readSystemUse(systemUse, at + length, name, entry);
                if (index < 2) {
                    require(identifier == std::string(1, static_cast<char>(index)) && entry.isFolder, "dot record", at);
                    require(entry.extent == (index == 0 ? extent : parentExtent), "dot record's extent", at);
                } else {
                    std::string key = isJoliet_ ? identifier : SortKey(identifier, entry.isFolder);
                    require(index == 2 || lastKey < key, "order of records", at);
                    lastKey = key;
                    if (entry.isFolder) folders_[entry.extent] = {extent, identifier};
                    require(entry.size == 0 || entry.extent + (entry.size + 2047ull) / 2048 <= sectors(), "extent", at);
                    entries.emplace_back(name, entry);
                }
                ++index;
                at += length;
            }
            for (; at < sectorBegin + 2048; ++at) require(u8(at) == 0, "bytes behind the last record", at);
        }
        require(index >= 2, "dot records", begin);
        return entries;
    }

    void readSystemUse(std::uint64_t at, std::uint64_t end, std::string& name, Entry& entry) const {
        std::string longName, target;
        bool hasName = false, isComponentOpen = false;
        for (std::uint64_t nextAt = 0, nextEnd = 0;; at = nextAt, end = nextEnd, nextAt = 0) {
            require(at / 2048 == (end - 1) / 2048, "system use crosses a sector", at);
            while (at + 4 <= end) {
                const std::string signature = bytes(at, 2);
                const std::uint32_t length = u8(at + 2);
                require(length >= 4 && at + length <= end && u8(at + 3) == 1, "entry", at);
                if (signature == "CE") {
                    nextAt = both(at + 4, 4) * 2048ull + both(at + 12, 4);
                    nextEnd = nextAt + both(at + 20, 4);
                } else if (signature == "NM") {
                    hasName = true;
                    longName += bytes(at + 5, length - 5);
                } else if (signature == "PX") {
                    require(length == 36, "length of PX", at);
                    entry.mode = both(at + 4, 4);
                    entry.links = both(at + 12, 4);
                    entry.owner = both(at + 20, 4);
                    entry.group = both(at + 28, 4);
                } else if (signature == "TF") {
                    require(length == 12 && u8(at + 4) == 2, "form of TF", at);
                    entry.posixDate = bytes(at + 5, 7);
                } else if (signature == "SL") {
                    entry.isLink = true;
                    for (std::uint64_t part = at + 5; part < at + length; part += 2 + u8(part + 1)) {
                        const std::uint32_t flags = u8(part);
                        if (!target.empty() && target.back() != '/' && !isComponentOpen) target += '/';
                        target += (flags & 8) != 0   ? "/"
                                  : (flags & 4) != 0 ? ".."
                                  : (flags & 2) != 0 ? "."
                                                     : bytes(part + 2, u8(part + 1));
                        isComponentOpen = (flags & 1) != 0;
                    }
                }
                at += length;
            }
            if (nextAt == 0) break;
        }
        if (hasName) name = longName;
        entry.target = target;
    }

    void checkPathTables(std::uint64_t descriptor) const {
        const std::uint32_t size = both(descriptor + 132, 4);
        std::uint64_t littleAt = little(descriptor + 140, 4) * 2048ull, bigAt = big(descriptor + 148, 4) * 2048ull;
        const std::uint64_t end = littleAt + size;
        std::vector<std::uint32_t> extents{0};
        std::pair<std::uint32_t, std::string> last;
        while (littleAt < end) {
            const std::uint32_t nameLength = u8(littleAt), extent = little(littleAt + 2, 4);
            const std::uint32_t parent = little(littleAt + 6, 2);
            const std::string identifier = bytes(littleAt + 8, nameLength);
            require(extent == big(bigAt + 2, 4) && parent == big(bigAt + 6, 2), "path tables differ", bigAt);
            require(identifier == bytes(bigAt + 8, nameLength), "path tables differ", bigAt);
            if (extents.size() == 1) {
                require(parent == 1 && identifier == std::string(1, '\0'), "root in the path table", littleAt);
            } else {
                const auto folder = folders_.find(extent);
                require(folder != folders_.end() && folder->second.identifier == identifier, "folder", littleAt);
                require(extents.at(parent) == folder->second.parentExtent, "parent number", littleAt);
                require(extents.size() == 2 || last < std::pair(parent, identifier), "path table's order", littleAt);
                last = {parent, identifier};
            }
            extents.push_back(extent);
            littleAt += 8 + nameLength + nameLength % 2;
            bigAt += 8 + nameLength + nameLength % 2;
        }
        require(littleAt == end && extents.size() == folders_.size() + 2, "path table's size", end);
    }

    static std::string SortKey(const std::string& identifier, bool isFolder) {
        const std::size_t dot = isFolder ? std::string::npos : identifier.rfind('.');
        std::string key = identifier.substr(0, dot);
        key.resize(222, ' ');
        return dot == std::string::npos ? key : key + identifier.substr(dot + 1);
    }

    static std::string FromBigEndian(const std::string& identifier) {
        std::string name;
        for (std::size_t index = 0; index + 1 < identifier.size(); index += 2) {
            const unsigned unit =
                static_cast<unsigned char>(identifier[index]) << 8 | static_cast<unsigned char>(identifier[index + 1]);
            name += unit < 0x80 ? static_cast<char>(unit) : '?';
        }
        return name;
    }

    std::string image_;
    bool isJoliet_ = false, hasRockRidge_ = false;
    Tree tree_;
    std::map<std::uint32_t, FolderFacts> folders_;
};

}  // namespace tovlark
