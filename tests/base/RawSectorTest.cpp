// The codes of raw sectors, checked against what ECMA-130 says of them and not against the way in which they are made.
#include <gtest/gtest.h>
#include <vector>

#include "base/RawSector.h"

namespace tovlark {

namespace {

unsigned At(const RawSector& sector, std::size_t offset) { return std::to_integer<unsigned>(sector[offset]); }

/// Product in GF(2^8) over x^8 + x^4 + x^3 + x^2 + 1 (annex A).
unsigned Multiply(unsigned a, unsigned b) {
    unsigned product = 0;
    for (; b != 0; b >>= 1, a = (a << 1) ^ ((a & 0x80) != 0 ? 0x11Du : 0u))
        if ((b & 1) != 0) product ^= a;
    return product;
}

/// Rows 1 1 ... 1 and a^(n-1) ... a 1 of the parity check matrix, times a vector.
bool IsCodeWord(const std::vector<unsigned>& word) {
    unsigned sum = 0, weighted = 0, power = 1;
    for (std::size_t at = word.size(); at-- > 0; power = Multiply(power, 2)) {
        sum ^= word[at];
        weighted ^= Multiply(power, word[at]);
    }
    return sum == 0 && weighted == 0;
}

/// Vectors of the bytes from the header on, of which word n has bytes 2n and 2n + 1 (annexes A.4 and A.5).
std::size_t CountWrongWords(const RawSector& sector) {
    constexpr std::size_t kHeader = 12;
    std::size_t wrong = 0;
    for (std::size_t plane = 0; plane < 2; ++plane) {
        const auto word = [&](std::size_t n) { return At(sector, kHeader + 2 * n + plane); };
        for (std::size_t column = 0; column < 43; ++column) {
            std::vector<unsigned> p;
            for (std::size_t row = 0; row < 26; ++row) p.push_back(word(43 * row + column));
            wrong += IsCodeWord(p) ? 0 : 1;
        }
        for (std::size_t diagonal = 0; diagonal < 26; ++diagonal) {
            std::vector<unsigned> q;
            for (std::size_t at = 0; at < 43; ++at) q.push_back(word((44 * at + 43 * diagonal) % 1118));
            q.push_back(word(43 * 26 + diagonal));
            q.push_back(word(44 * 26 + diagonal));
            wrong += IsCodeWord(q) ? 0 : 1;
        }
    }
    return wrong;
}

/// Remainder of the bits by (x^16 + x^15 + x^2 + 1)(x^16 + x^2 + x + 1), each byte's lowest bit first (14.3).
std::uint64_t EdcRemainder(const RawSector& sector, std::size_t first, std::size_t end) {
    std::uint64_t divisor = 0, remainder = 0;
    for (const unsigned power : {16, 15, 2, 0}) divisor ^= std::uint64_t{0x10007} << power;
    for (std::size_t at = first; at < end; ++at)
        for (unsigned bit = 0; bit < 8; ++bit) {
            remainder = remainder << 1 | (At(sector, at) >> bit & 1);
            if ((remainder >> 32 & 1) != 0) remainder ^= divisor;
        }
    return remainder;
}

TEST(RawSector, HasTheCodesOfTheStandard) {
    for (const std::int32_t block : {0, 16, 333000}) {
        RawSector mode1{}, form1{};
        unsigned value = 1;
        for (std::size_t at = 0; at < 2048; ++at) {
            value = value * 1103515245 + 12345;
            mode1[16 + at] = form1[24 + at] = static_cast<std::byte>(value >> 16);
        }
        CompleteSector(mode1, block, 1, true);
        EXPECT_EQ(EdcRemainder(mode1, 0, 2068), 0u) << block;
        EXPECT_EQ(CountWrongWords(mode1), 0u) << block;
        CompleteSector(form1, block, 2, true);
        EXPECT_EQ(EdcRemainder(form1, 16, 2076), 0u) << block;
        for (std::size_t at = 12; at < 16; ++at) form1[at] = std::byte{0};  // of form 1 the header counts as zeros
        EXPECT_EQ(CountWrongWords(form1), 0u) << block;
        mode1[1000] ^= std::byte{1};
        EXPECT_NE(EdcRemainder(mode1, 0, 2068), 0u);
        EXPECT_EQ(CountWrongWords(mode1), 2u) << "a P and a Q word";
    }
}

}  // namespace

}  // namespace tovlark
