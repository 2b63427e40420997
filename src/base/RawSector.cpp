#include "base/RawSector.h"

#include <algorithm>

#include "base/Msf.h"

namespace tovlark {

namespace {

// x^32 + x^31 + x^16 + x^15 + x^4 + x^3 + x + 1, bits reversed (ECMA-130 14.3).
constexpr std::uint32_t kEdcPolynomial = 0xD8018001;
constexpr unsigned kFieldPolynomial = 0x11D;  // x^8 + x^4 + x^3 + x^2 + 1 (ECMA-130 annex A)

constexpr std::array<std::uint32_t, 256> kEdcTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t index = 0; index < 256; ++index) {
        std::uint32_t value = index;
        for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? kEdcPolynomial : 0);
        table[index] = value;
    }
    return table;
}();

constexpr unsigned Twice(unsigned value) { return value << 1 ^ ((value & 0x80) != 0 ? kFieldPolynomial : 0); }

/// value / (x + 1), the inverse that the second parity byte needs.
constexpr std::array<std::uint8_t, 256> kByThree = [] {
    std::array<std::uint8_t, 256> table{};
    for (unsigned value = 0; value < 256; ++value) table[Twice(value) ^ value] = static_cast<std::uint8_t>(value);
    return table;
}();

unsigned ByteAt(const RawSector& sector, std::size_t offset) { return std::to_integer<unsigned>(sector[offset]); }

void PutEdc(RawSector& sector, std::size_t first, std::size_t end) {
    std::uint32_t edc = 0;
    for (std::size_t at = first; at < end; ++at) edc = (edc >> 8) ^ kEdcTable[(edc ^ ByteAt(sector, at)) & 0xFF];
    for (std::size_t index = 0; index < 4; ++index) sector[end + index] = static_cast<std::byte>(edc >> (8 * index));
}

/// One kind of parity: `lines` code words of `length` bytes, which begin at every `start` (two bytes of a word apart)
/// and go on in steps, over the bytes from the header on.
void PutParity(RawSector& sector, std::size_t lines, std::size_t length, std::size_t start, std::size_t step,
               std::size_t target) {
    constexpr std::size_t kHeader = 12;
    const std::size_t total = lines * length;
    for (std::size_t line = 0; line < lines; ++line) {
        std::size_t at = line / 2 * start + line % 2;
        unsigned first = 0, sum = 0;
        for (std::size_t index = 0; index < length; ++index) {
            const unsigned value = ByteAt(sector, kHeader + at);
            first = Twice(first ^ value);
            sum ^= value;
            at += step;
            if (at >= total) at -= total;
        }
        const unsigned second = kByThree[Twice(first) ^ sum];
        sector[kHeader + target + line] = static_cast<std::byte>(second);
        sector[kHeader + target + lines + line] = static_cast<std::byte>(second ^ sum);
    }
}

std::byte Bcd(std::uint8_t value) { return static_cast<std::byte>(value / 10 << 4 | value % 10); }

void PutHeader(RawSector& sector, std::int32_t block, std::uint8_t mode) {
    std::fill_n(sector.begin(), 12, std::byte{0xFF});
    sector[0] = sector[11] = std::byte{0};
    const Msf time = ToMsf(Lba{block});
    sector[12] = Bcd(time.minute);
    sector[13] = Bcd(time.second);
    sector[14] = Bcd(time.frame);
    sector[15] = std::byte{mode};
}

}  // namespace

void CompleteSector(RawSector& sector, std::int32_t block, std::uint8_t mode, bool addsCodes) {
    PutHeader(sector, block, mode);
    if (!addsCodes) return;
    if (mode == 1) {
        PutEdc(sector, 0, 2064);
        std::fill_n(sector.begin() + 2068, 8, std::byte{0});
    } else {
        for (const std::size_t copy : {16, 20}) {
            std::fill_n(sector.begin() + static_cast<std::ptrdiff_t>(copy), 4, std::byte{0});
            sector[copy + 2] = std::byte{8};
        }
        PutEdc(sector, 16, 2072);
        // The codes of mode 2 are those of a header of zeros.
        std::fill_n(sector.begin() + 12, 4, std::byte{0});
    }
    PutParity(sector, 86, 24, 2, 86, 2064);         // P
    PutParity(sector, 52, 43, 86, 88, 2064 + 172);  // Q
    if (mode == 2) PutHeader(sector, block, mode);
}

void MakeEmptySectors(std::span<std::byte> target, std::int32_t block, std::uint8_t mode) {
    std::ranges::fill(target, std::byte{0});
    if (mode == 0) return;
    for (; target.size() >= kRawSectorBytes; target = target.subspan(kRawSectorBytes), ++block) {
        RawSector sector{};
        // Zeros are right as codes of mode 2, form 1 or none, which do not count the header in.
        CompleteSector(sector, block, mode, mode == 1);
        std::ranges::copy(sector, target.begin());
    }
}

}  // namespace tovlark
