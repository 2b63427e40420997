#include "platform/TextSettings.h"

#include <string>

#include "base/Format.h"
#include "base/IniText.h"

namespace tovlark {

namespace {

Text SectionOf(TextView key) { return Text(key.empty() ? TextSettings::kRootSection : key); }

int DigitOf(char16_t digit) {
    if (digit >= u'0' && digit <= u'9') return digit - u'0';
    if (digit >= u'A' && digit <= u'F') return digit - u'A' + 10;
    if (digit >= u'a' && digit <= u'f') return digit - u'a' + 10;
    return -1;
}

}  // namespace

bool TextSettings::readNumber(TextView key, TextView name, std::uint32_t& value) {
    const std::optional<Text> text = find(SectionOf(key), Text(name));
    if (!text) return false;
    const std::optional<std::uint32_t> number = ParseWholeNumber(ToUtf8(*text));
    value = number.value_or(value);
    return number.has_value();
}

bool TextSettings::readText(TextView key, TextView name, Text& value) {
    const std::optional<Text> text = find(SectionOf(key), Text(name));
    value = text.value_or(value);
    return text.has_value();
}

bool TextSettings::readBinary(TextView key, TextView name, std::vector<std::byte>& value) {
    const std::optional<Text> text = find(SectionOf(key), Text(name));
    if (!text || text->size() % 2 != 0) return false;
    std::vector<std::byte> bytes;
    bytes.reserve(text->size() / 2);
    for (std::size_t index = 0; index < text->size(); index += 2) {
        const int high = DigitOf((*text)[index]), low = DigitOf((*text)[index + 1]);
        if (high < 0 || low < 0) return false;
        bytes.push_back(static_cast<std::byte>(high << 4 | low));
    }
    value = std::move(bytes);
    return true;
}

bool TextSettings::writeNumber(TextView key, TextView name, std::uint32_t value) {
    return writeText(key, name, FormatText(u"%u", {value}));
}

bool TextSettings::writeText(TextView key, TextView name, TextView value) {
    const Text section = SectionOf(key);
    const std::string bytes = ToUtf8(value);
    if (FromUtf8(bytes) != value || !WithIniValue({}, ToUtf8(section), ToUtf8(name), bytes)) return false;
    return keep(section, Text(name), Text(value));
}

bool TextSettings::writeBinary(TextView key, TextView name, const std::vector<std::byte>& value) {
    constexpr TextView kDigits = u"0123456789ABCDEF";
    Text text;
    text.reserve(value.size() * 2);
    for (const std::byte byte : value) {
        text += kDigits[std::to_integer<unsigned>(byte >> 4)];
        text += kDigits[std::to_integer<unsigned>(byte & std::byte{0x0F})];
    }
    return writeText(key, name, text);
}

}  // namespace tovlark
