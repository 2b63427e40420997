#pragma once

#include <cstddef>
#include <cstdint>

namespace tovlark {

/// Integers as they are stored on disc and on the wire. Alignment 1, so that structures of them need no packing.
template <typename Value, bool isBig>
class StoredInteger {
public:
    constexpr StoredInteger() = default;
    constexpr StoredInteger(Value value) {
        for (std::size_t index = 0; index < sizeof(Value); ++index)
            bytes_[isBig ? sizeof(Value) - 1 - index : index] = static_cast<std::uint8_t>(value >> (8 * index));
    }
    constexpr operator Value() const {
        Value value = 0;
        for (std::size_t index = 0; index < sizeof(Value); ++index)
            value = static_cast<Value>(value | static_cast<Value>(bytes_[isBig ? sizeof(Value) - 1 - index : index])
                                                   << (8 * index));
        return value;
    }

private:
    std::uint8_t bytes_[sizeof(Value)] = {};
};

using Little16 = StoredInteger<std::uint16_t, false>;
using Little32 = StoredInteger<std::uint32_t, false>;
using Little64 = StoredInteger<std::uint64_t, false>;
using Big16 = StoredInteger<std::uint16_t, true>;
using Big32 = StoredInteger<std::uint32_t, true>;
using Big64 = StoredInteger<std::uint64_t, true>;

/// Both byte orders one after the other, little-endian first (ECMA-119 7.2.3 and 7.3.3).
template <typename Value>
struct BothEndian {
    StoredInteger<Value, false> little;
    StoredInteger<Value, true> big;

    constexpr BothEndian(Value value = 0) : little(value), big(value) {}
    constexpr operator Value() const { return little; }
};

using Both16 = BothEndian<std::uint16_t>;
using Both32 = BothEndian<std::uint32_t>;

static_assert(sizeof(Both32) == 8 && alignof(Both32) == 1);

}  // namespace tovlark
