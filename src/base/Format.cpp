#include "base/Format.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <optional>
#include <string>

namespace tovlark {

namespace {

constexpr std::size_t kWidestField = 4096;

// Letters of one family take the same kind of argument.
enum class Family : std::uint8_t { None, Percent, Integer, Character, String, Real };

struct Conversion {
    bool left = false, zero = false, alternate = false, plus = false, blank = false;
    std::size_t width = 0;
    std::optional<std::size_t> precision;
    char16_t letter = 0;
    Family family = Family::None;
    std::size_t end = 0;  // position in the format after the conversion
};

Family FamilyOf(char16_t letter) {
    switch (letter) {
        case u'%': return Family::Percent;
        case u'd':
        case u'i':
        case u'u':
        case u'x':
        case u'X':
        case u'o': return Family::Integer;
        case u'c': return Family::Character;
        case u's': return Family::String;
        case u'f':
        case u'g':
        case u'e': return Family::Real;
        default: return Family::None;
    }
}

bool TakeFlag(char16_t unit, Conversion& conversion) {
    switch (unit) {
        case u'-': return conversion.left = true;
        case u'0': return conversion.zero = true;
        case u'#': return conversion.alternate = true;
        case u'+': return conversion.plus = true;
        case u' ': return conversion.blank = true;
        default: return false;
    }
}

std::size_t TakeNumber(TextView format, std::size_t& position) {
    std::size_t number = 0;
    for (; position < format.size() && format[position] >= u'0' && format[position] <= u'9'; ++position)
        number = std::min(number * 10 + (format[position] - u'0'), kWidestField);
    return number;
}

void SkipLength(TextView format, std::size_t& position) {
    for (const TextView word : {TextView(u"I64"), TextView(u"I32")}) {
        if (format.substr(position).starts_with(word)) {
            position += word.size();
            return;
        }
    }
    position = std::min(format.find_first_not_of(u"hlLqjztwI", position), format.size());
}

// Reads the conversion whose "%" stands at `position`. Family None: it is not one that is understood.
Conversion TakeConversion(TextView format, std::size_t position) {
    Conversion conversion;
    ++position;
    while (position < format.size() && TakeFlag(format[position], conversion)) ++position;
    conversion.width = TakeNumber(format, position);
    if (position < format.size() && format[position] == u'.') {
        ++position;
        conversion.precision = TakeNumber(format, position);
    }
    SkipLength(format, position);
    if (position < format.size()) {
        conversion.letter = format[position++];
        conversion.family = FamilyOf(conversion.letter);
    }
    conversion.end = position;
    return conversion;
}

// Calls `visit(literal)` for text that stands for itself and `take(conversion, itsOwnText)` for the rest.
template <typename Visit, typename Take>
void WalkFormat(TextView format, Visit visit, Take take) {
    for (std::size_t position = 0; position < format.size();) {
        const std::size_t percent = std::min(format.find(u'%', position), format.size());
        visit(format.substr(position, percent - position));
        if (percent == format.size()) return;
        const Conversion conversion = TakeConversion(format, percent);
        if (conversion.family == Family::None) {
            visit(format.substr(percent, 1));  // what follows may hold a conversion
            position = percent + 1;
        } else {
            take(conversion, format.substr(percent, conversion.end - percent));
            position = conversion.end;
        }
    }
}

// Appends sign or base prefix and body, filled up to the width.
void AppendField(Text& result, const Conversion& conversion, TextView prefix, TextView body, bool fillsWithZeros) {
    const std::size_t length = prefix.size() + body.size();
    const std::size_t fill = conversion.width > length ? conversion.width - length : 0;
    if (!conversion.left && !fillsWithZeros) result.append(fill, u' ');
    result.append(prefix);
    if (!conversion.left && fillsWithZeros) result.append(fill, u'0');
    result.append(body);
    if (conversion.left) result.append(fill, u' ');
}

Text ToText(const char* begin, const char* end) { return Text(begin, end); }

Text Digits(std::uint64_t value, int base) {
    char digits[24];
    return ToText(digits, std::to_chars(std::begin(digits), std::end(digits), value, base).ptr);
}

TextView SignOf(const Conversion& conversion, bool isNegative) {
    return isNegative ? u"-" : conversion.plus ? u"+" : conversion.blank ? u" " : u"";
}

void AppendInteger(Text& result, const Conversion& conversion, const FormatArgument& argument) {
    const bool isDecimal = conversion.letter == u'd' || conversion.letter == u'i';
    const bool isHex = conversion.letter == u'x' || conversion.letter == u'X';
    std::uint64_t value = argument.bits();
    TextView prefix;
    if (isDecimal) {
        prefix = SignOf(conversion, argument.isNegative());
        if (argument.isNegative()) value = 0 - value;
    } else if (argument.sizeBytes() < sizeof(value)) {
        value &= (std::uint64_t{1} << 8 * argument.sizeBytes()) - 1;
    }
    Text digits = Digits(value, isHex ? 16 : conversion.letter == u'o' ? 8 : 10);
    if (conversion.letter == u'X') digits = UpperCase(TextView(digits));
    if (conversion.precision) {
        if (*conversion.precision == 0 && value == 0) digits.clear();
        if (digits.size() < *conversion.precision) digits.insert(0, *conversion.precision - digits.size(), u'0');
    }
    if (conversion.alternate && isHex && value != 0) prefix = conversion.letter == u'x' ? u"0x" : u"0X";
    if (conversion.alternate && conversion.letter == u'o' && !digits.starts_with(u'0')) digits.insert(0, 1, u'0');
    AppendField(result, conversion, prefix, digits, conversion.zero && !conversion.precision);
}

void AppendReal(Text& result, const Conversion& conversion, double value) {
    const std::chars_format form = conversion.letter == u'f'   ? std::chars_format::fixed
                                   : conversion.letter == u'e' ? std::chars_format::scientific
                                                               : std::chars_format::general;
    constexpr std::size_t kLongestWhole = 310;
    std::string digits(kLongestWhole + kWidestField + 16, '\0');
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), std::fabs(value), form,
                                   static_cast<int>(conversion.precision.value_or(6)));
    AppendField(result, conversion, SignOf(conversion, std::signbit(value)), ToText(digits.data(), end.ptr),
                conversion.zero && std::isfinite(value));
}

// A cut never leaves half a surrogate pair behind.
TextView Cut(TextView text, std::size_t limit) {
    if (limit >= text.size()) return text;
    if (limit > 0 && IsHighSurrogate(text[limit - 1]) && IsLowSurrogate(text[limit])) --limit;
    return text.substr(0, limit);
}

Text NaturalForm(const FormatArgument& argument) {
    switch (argument.kind()) {
        case FormatArgument::Kind::Integer:
            return (argument.isNegative() ? u"-" : u"") +
                   Digits(argument.isNegative() ? 0 - argument.bits() : argument.bits(), 10);
        case FormatArgument::Kind::Real: {
            char digits[32];
            return ToText(digits, std::to_chars(std::begin(digits), std::end(digits), argument.real()).ptr);
        }
        case FormatArgument::Kind::String: break;
    }
    return Text(argument.text());
}

void AppendArgument(Text& result, const Conversion& conversion, const FormatArgument& argument) {
    const bool isInteger = argument.kind() == FormatArgument::Kind::Integer;
    if (conversion.family == Family::Integer && isInteger) {
        AppendInteger(result, conversion, argument);
    } else if (conversion.family == Family::Real && argument.kind() == FormatArgument::Kind::Real) {
        AppendReal(result, conversion, argument.real());
    } else if (conversion.family == Family::Character && isInteger && argument.bits() <= 0x10FFFF) {
        Text character;
        AppendCodePoint(character, static_cast<char32_t>(argument.bits()));
        AppendField(result, conversion, {}, character, false);
    } else if (conversion.family == Family::String && argument.kind() == FormatArgument::Kind::String) {
        AppendField(result, conversion, {}, Cut(argument.text(), conversion.precision.value_or(TextView::npos)), false);
    } else {
        AppendField(result, conversion, {}, NaturalForm(argument), false);
    }
}

std::u16string FamiliesOf(TextView format) {
    std::u16string families;
    WalkFormat(
        format, [](TextView) {},
        [&families](const Conversion& conversion, TextView) {
            if (conversion.family != Family::Percent) families.push_back(static_cast<char16_t>(conversion.family));
        });
    return families;
}

}  // namespace

Text FormatText(TextView format, std::initializer_list<FormatArgument> arguments) {
    Text result;
    const FormatArgument* next = arguments.begin();
    WalkFormat(
        format, [&result](TextView literal) { result.append(literal); },
        [&](const Conversion& conversion, TextView ownText) {
            if (conversion.family == Family::Percent)
                result.push_back(u'%');
            else if (next == arguments.end())
                result.append(ownText);
            else
                AppendArgument(result, conversion, *next++);
        });
    return result;
}

bool HaveSameConversions(TextView left, TextView right) { return FamiliesOf(left) == FamiliesOf(right); }

Text FormatGrouped(std::uint64_t value) {
    Text digits = Digits(value, 10);
    for (std::size_t position = digits.size(); position > 3;) digits.insert(position -= 3, 1, u',');
    return digits;
}

Text FormatSize(std::uint64_t sizeBytes) {
    constexpr TextView kUnits[] = {u"KB", u"MB", u"GB", u"TB", u"PB", u"EB"};
    if (sizeBytes < 1024) return FormatText(sizeBytes == 1 ? u"%u byte" : u"%u bytes", {sizeBytes});
    double value = static_cast<double>(sizeBytes) / 1024;
    const TextView* unit = kUnits;
    // What would round to 1024 of a unit is 1 of the next.
    for (; value >= 1023.5; value /= 1024) ++unit;
    const TextView format = value < 9.995 ? u"%.2f %s" : value < 99.95 ? u"%.1f %s" : u"%.0f %s";
    return FormatText(format, {value, *unit});
}

}  // namespace tovlark
