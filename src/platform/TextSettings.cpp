#include "platform/TextSettings.h"

#include <string>

#include "base/Format.h"
#include "base/Hex.h"
#include "base/IniText.h"

namespace tovlark {

namespace {

Text SectionOf(TextView key) { return Text(key.empty() ? TextSettings::kRootSection : key); }

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
    const auto bytes = text ? FromHex(*text) : std::nullopt;
    value = bytes.value_or(value);
    return bytes.has_value();
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
    return writeText(key, name, ToHex(value));
}

}  // namespace tovlark
