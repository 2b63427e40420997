#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <string_view>
#include <type_traits>
#include <vector>

namespace tovlark {

/// Names of one folder, each with a number, in chained buckets: 1024 of them, more for a larger folder so that chains
/// stay short. The same names are found whatever the number of buckets.
template <typename Char>
class NameTable {
public:
    using View = std::basic_string_view<Char>;

    /// Forgets everything and gets ready for about so many names.
    void reset(std::size_t expectedCount) {
        entries_.clear();
        heads_.assign(std::max(kBuckets, std::bit_ceil(expectedCount)), kEnd);
        extraBits_ = static_cast<unsigned>(std::countr_zero(heads_.size()) - std::countr_zero(kBuckets));
    }

    /// The number kept with a name, or null. Valid until the next `insert`.
    std::int32_t* find(View name) {
        const std::uint32_t hash = HashOf(name);
        for (std::uint32_t index = heads_[bucketOf(hash)]; index != kEnd; index = entries_[index].next)
            if (entries_[index].hash == hash && entries_[index].name == name) return &entries_[index].number;
        return nullptr;
    }

    /// Keeps a name that is not there yet. Its characters must outlive the table's use.
    void insert(View name, std::int32_t number) {
        const std::uint32_t hash = HashOf(name);
        std::uint32_t& head = heads_[bucketOf(hash)];
        entries_.push_back({name, hash, head, number});
        head = static_cast<std::uint32_t>(entries_.size() - 1);
    }

    /// Over the characters before the first ';'.
    static constexpr std::uint32_t HashOf(View name) {
        std::uint32_t hash = 0;
        for (const Char character : name) {
            if (character == Char(';')) break;
            hash = hash * 32776 + (hash >> 3) + static_cast<std::make_unsigned_t<Char>>(character);
        }
        return hash;
    }

private:
    static constexpr std::size_t kBuckets = 1024;
    static constexpr std::uint32_t kEnd = std::numeric_limits<std::uint32_t>::max();

    struct Entry {
        View name;
        std::uint32_t hash, next;
        std::int32_t number;
    };

    std::size_t bucketOf(std::uint32_t hash) const {
        constexpr std::uint32_t kSpread = 0x9E3779B1;  // 2^32 divided by the golden ratio: moves all bits upwards
        const std::size_t low = hash & (kBuckets - 1);
        return extraBits_ == 0 ? low : low | std::size_t(hash * kSpread >> (32 - extraBits_)) * kBuckets;
    }

    std::vector<std::uint32_t> heads_;
    std::vector<Entry> entries_;
    unsigned extraBits_ = 0;
};

}  // namespace tovlark
