#include "app/command/Grammars.h"

#include <charconv>
#include <limits>
#include <span>
#include <string>

#include "base/IniText.h"
#include "platform/Paths.h"

namespace tovlark {

namespace {

constexpr std::uint64_t kSmallestVolume = 128 * 1024;
constexpr std::uint64_t kLargestVolume = std::uint64_t{8} << 40;
constexpr std::uint64_t kUnlimitedVolume = std::numeric_limits<std::uint64_t>::max();
constexpr std::size_t kWindowHandleDigits = 8;

constexpr bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }
constexpr bool IsBlank(char16_t unit) { return unit == u' ' || unit == u'\t'; }

TextView Trim(TextView text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

/// False when the product does not fit.
bool MultiplyAdd(std::uint64_t& value, std::uint64_t factor, std::uint64_t summand) {
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
    if (value > (kLargest - summand) / factor) return false;
    value = value * factor + summand;
    return true;
}

/// The decimal number that the text begins with, 0 when there is none or it is out of range. The conversion only ever
/// sees digits and one point, whatever the locale.
double LeadingDecimal(TextView text) {
    std::string digits;
    bool hasPoint = false;
    for (const char16_t unit : text) {
        if (!IsDigit(unit) && (unit != u'.' || hasPoint)) break;
        hasPoint = hasPoint || unit == u'.';
        digits += static_cast<char>(unit);
    }
    double value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed);
    return result.ec == std::errc{} ? value : 0;
}

std::uint32_t VolumeUnit(char16_t suffix) {
    switch (suffix) {
        case u'K': return 1u << 10;
        case u'M': return 1u << 20;
        case u'G': return 1u << 30;
        default: return 1;
    }
}

/// Half a byte of a window handle. The distance from lower-case "a" is also taken for upper-case letters.
std::optional<unsigned> HandleDigit(char16_t unit) {
    if (IsDigit(unit)) return unit - u'0';
    const bool isLower = unit >= u'a' && unit <= u'f', isUpper = unit >= u'A' && unit <= u'F';
    if (!isLower && !isUpper) return std::nullopt;
    return static_cast<unsigned>(unit) - u'a' + 10;
}

template <typename Value>
struct Word {
    TextView word;
    Value value;
};

template <typename Value>
std::optional<Value> FindWord(std::span<const Word<Value>> rows, TextView word) {
    for (const Word<Value>& row : rows)
        if (EqualsIgnoringCase(row.word, word)) return row.value;
    return std::nullopt;
}

constexpr Word<OutputType> kOutputTypes[] = {
    {u"iso", OutputType::Iso}, {u"bin", OutputType::Bin},   {u"psa", OutputType::Psa},
    {u"mp3", OutputType::Mp3}, {u"flac", OutputType::Flac}, {u"ape", OutputType::Ape},
    {u"wma", OutputType::Wma}, {u"wav", OutputType::Wav},   {u"ogg", OutputType::Ogg},
};

struct BootWord {
    TextView word;
    BootMode mode;
    PartitionStyle style;
    BootSystem system;
};
constexpr BootWord kBootWords[] = {
    {u"BIOS", BootMode::Bios, PartitionStyle::Mbr, BootSystem::None},
    {u"UEFI", BootMode::Uefi, PartitionStyle::Gpt, BootSystem::None},
    {u"RAW", BootMode::Raw, {}, BootSystem::None},
    {u"FREEDOS", BootMode::Bios, PartitionStyle::Mbr, BootSystem::FreeDos},
    {u"MSDOS", BootMode::Bios, PartitionStyle::Mbr, BootSystem::MsDos},
};

constexpr Word<PartitionStyle> kPartitionStyles[] = {{u"GPT", PartitionStyle::Gpt}, {u"MBR", PartitionStyle::Mbr}};
constexpr Word<PartitionType> kPartitionTypes[] = {
    {u"NTFS", PartitionType::Ntfs},   {u"FAT12", PartitionType::Fat12}, {u"FAT16", PartitionType::Fat16},
    {u"FAT32", PartitionType::Fat32}, {u"FAT", PartitionType::Fat32},
};

}  // namespace

std::optional<Speed> ParseSpeed(TextView word) {
    struct Prefix {
        TextView word;
        SpeedMedia media;
    };
    constexpr Prefix kPrefixes[] = {{u"CD", SpeedMedia::Cd}, {u"DVD", SpeedMedia::Dvd}, {u"BD", SpeedMedia::Bd}};
    const Text upper = UpperCase(word);
    if (upper.size() < 4 || upper.back() != u'X') return std::nullopt;
    for (const Prefix& prefix : kPrefixes) {
        if (!upper.starts_with(prefix.word)) continue;
        const double factor = LeadingDecimal(TextView(upper).substr(prefix.word.size()));
        if (factor > 0) return Speed{prefix.media, factor};
    }
    return std::nullopt;
}

std::optional<std::uint64_t> ParseVolumeSize(TextView word) {
    TextView number = Trim(word);
    number = number.substr(0, number.find(u'-'));
    if (number.empty()) return std::nullopt;
    const char16_t last = UpperCase(number.substr(number.size() - 1)).front();
    const std::uint32_t unit = VolumeUnit(last);
    if (unit > 1) number.remove_suffix(1);
    if (unit == 1 && !IsDigit(last) && last != u',') return std::nullopt;

    std::uint64_t value = 0;
    bool hasDigit = false;
    for (const char16_t character : number) {
        if (character == u',' || IsBlank(character)) continue;
        if (!IsDigit(character) || !MultiplyAdd(value, 10, character - u'0')) return std::nullopt;
        hasDigit = true;
    }
    if (!hasDigit || !MultiplyAdd(value, unit, 0)) return std::nullopt;
    const bool isAccepted = (value >= kSmallestVolume && value <= kLargestVolume) || value == kUnlimitedVolume;
    return isAccepted ? std::optional(value) : std::nullopt;
}

std::optional<std::uint32_t> ParseWindowHandle(TextView word) {
    if (word.size() != kWindowHandleDigits) return std::nullopt;
    std::uint32_t value = 0;
    for (std::size_t index = 0; index < kWindowHandleDigits; index += 2) {
        const auto high = HandleDigit(word[index]), low = HandleDigit(word[index + 1]);
        if (!high || !low) return std::nullopt;
        value |= ((*high * 16 + *low) & 0xFF) << (4 * index);
    }
    return value;
}

std::uint32_t ParseLeadingNumber(TextView word) {
    std::size_t count = 0;
    while (count < word.size() && IsDigit(word[count])) ++count;
    if (count == 0) return 0;
    return ParseWholeNumber(ToUtf8(word.substr(0, count))).value_or(std::numeric_limits<std::uint32_t>::max());
}

std::optional<OutputType> ParseOutputType(TextView word) { return FindWord<OutputType>(kOutputTypes, word); }

std::vector<Text> OutputTypeWords() {
    std::vector<Text> words;
    for (const auto& row : kOutputTypes) words.emplace_back(row.word);
    return words;
}

Text ImageFormatWords() {
    Text words;
    for (const auto& row : kOutputTypes)
        if (!IsAudio(row.value)) words.append(words.empty() ? u"" : u", ").append(row.word);
    return words;
}

std::optional<OutputType> OutputTypeOfSuffix(TextView path) { return ParseOutputType(ExtensionOf(path)); }

bool ApplyBootMode(TextView word, UsbBootOptions& options) {
    for (const BootWord& row : kBootWords) {
        if (!EqualsIgnoringCase(row.word, word)) continue;
        options.mode = row.mode;
        options.system = row.system;
        if (row.mode == BootMode::Raw) return true;
        options.style = row.style;
        options.type = PartitionType::Fat32;
        return true;
    }
    return false;
}

std::optional<PartitionStyle> ParsePartitionStyle(TextView word) {
    return FindWord<PartitionStyle>(kPartitionStyles, word);
}

std::optional<PartitionType> ParsePartitionType(TextView word) {
    return FindWord<PartitionType>(kPartitionTypes, word);
}

Text ToPathInImage(TextView word) {
    Text path(word);
    for (char16_t& unit : path)
        if (unit == u'\\') unit = u'/';
    return path;
}

Text ToLocalSource(TextView word) {
    Text path(word);
    bool isPlainName = !path.empty();
    for (char16_t& unit : path) {
        if (IsPathSeparator(unit)) unit = kPathSeparator;
        if (unit == kPathSeparator || unit == u':') isPlainName = false;
    }
    return isPlainName ? JoinPath(u".", path) : path;
}

}  // namespace tovlark
