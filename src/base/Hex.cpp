#include "base/Hex.h"

namespace tovlark {

namespace {

int DigitOf(char16_t digit) {
    if (digit >= u'0' && digit <= u'9') return digit - u'0';
    if (digit >= u'A' && digit <= u'F') return digit - u'A' + 10;
    if (digit >= u'a' && digit <= u'f') return digit - u'a' + 10;
    return -1;
}

}  // namespace

Text ToHex(std::span<const std::byte> bytes) {
    constexpr TextView kDigits = u"0123456789ABCDEF";
    Text text;
    text.reserve(bytes.size() * 2);
    for (const std::byte byte : bytes) {
        text += kDigits[std::to_integer<unsigned>(byte >> 4)];
        text += kDigits[std::to_integer<unsigned>(byte & std::byte{0x0F})];
    }
    return text;
}

std::optional<std::vector<std::byte>> FromHex(TextView digits) {
    if (digits.size() % 2 != 0) return std::nullopt;
    std::vector<std::byte> bytes;
    bytes.reserve(digits.size() / 2);
    for (std::size_t index = 0; index < digits.size(); index += 2) {
        const int high = DigitOf(digits[index]), low = DigitOf(digits[index + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        bytes.push_back(static_cast<std::byte>(high << 4 | low));
    }
    return bytes;
}

}  // namespace tovlark
