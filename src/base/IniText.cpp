#include "base/IniText.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace tovlark {

namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string_view Unquoted(std::string_view text) {
    const bool isQuoted =
        text.size() >= 2 && text.front() == text.back() && (text.front() == '"' || text.front() == '\'');
    return isQuoted ? text.substr(1, text.size() - 2) : text;
}

bool EqualsIgnoringAsciiCase(std::string_view left, std::string_view right) {
    const auto lower = [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [&](char one, char other) { return lower(one) == lower(other); });
}

struct Place {
    std::optional<IniLine> entry;    // the line that holds the value
    std::optional<std::size_t> gap;  // where a new entry of the section belongs
};

Place FindPlace(std::string_view bytes, std::string_view section, std::string_view name) {
    Place place;
    IniLine line;
    bool isInside = false, isFirst = true;
    for (std::size_t position = 0; NextIniLine(bytes, position, line);) {
        if (line.kind == IniLine::Kind::Section) {
            if (isInside) isFirst = false;
            isInside = EqualsIgnoringAsciiCase(line.name, section);
        }
        if (!isInside || line.kind == IniLine::Kind::Other) continue;
        if (isFirst) place.gap = line.end;
        if (line.kind == IniLine::Kind::Entry && EqualsIgnoringAsciiCase(line.name, name)) {
            place.entry = line;
            return place;
        }
    }
    return place;
}

}  // namespace

bool NextIniLine(std::string_view bytes, std::size_t& position, IniLine& line) {
    if (position >= bytes.size()) return false;
    line = {};
    line.first = position;
    line.end = std::min(bytes.find('\n', position), bytes.size() - 1) + 1;
    position = line.end;
    std::string_view text = bytes.substr(line.first, line.end - line.first);
    if (line.first == 0 && text.starts_with(kUtf8Mark)) text.remove_prefix(kUtf8Mark.size());
    if (text.ends_with('\n')) text.remove_suffix(1);
    if (text.ends_with('\r')) text.remove_suffix(1);
    text = Trimmed(text);
    if (text.empty() || text.front() == ';') return true;
    if (text.front() == '[') {
        const std::size_t close = text.find(']');
        if (close == text.npos) return true;
        line.kind = IniLine::Kind::Section;
        line.name = text.substr(1, close - 1);
        return true;
    }
    const std::size_t equals = text.find('=');
    if (equals == text.npos) return true;
    line.kind = IniLine::Kind::Entry;
    line.name = Trimmed(text.substr(0, equals));
    line.value = Unquoted(Trimmed(text.substr(equals + 1)));
    return true;
}

std::optional<std::string_view> FindIniValue(std::string_view bytes, std::string_view section, std::string_view name) {
    const Place place = FindPlace(bytes, section, name);
    if (!place.entry) return std::nullopt;
    return place.entry->value;
}

std::optional<std::string> WithIniValue(std::string_view bytes, std::string_view section, std::string_view name,
                                        std::string_view value) {
    if (name.empty()) return std::nullopt;
    for (const std::string_view part : {section, name, value})
        if (part.find_first_of(std::string_view("\r\n\0", 3)) != part.npos) return std::nullopt;

    const std::size_t firstEnd = bytes.find('\n');
    const bool hasCarriageReturns = firstEnd != bytes.npos && firstEnd > 0 && bytes[firstEnd - 1] == '\r';
    const std::string lineEnd = hasCarriageReturns ? "\r\n" : "\n";
    std::string entry(name);
    entry.append("=").append(value).append(lineEnd);

    const Place place = FindPlace(bytes, section, name);
    const std::size_t first = place.entry ? place.entry->first : place.gap.value_or(bytes.size());
    const std::size_t end = place.entry ? place.entry->end : first;
    std::string result(bytes.substr(0, first));
    if (place.entry && first == 0 && bytes.starts_with(kUtf8Mark)) result = kUtf8Mark;
    // A CR at the very end is the first half of a line end already.
    if (!result.empty() && result != kUtf8Mark && !result.ends_with('\n'))
        result += result.ends_with('\r') ? "\n" : lineEnd;
    if (!place.entry && !place.gap) result.append("[").append(section).append("]").append(lineEnd);
    result.append(entry).append(bytes.substr(end));
    if (FindIniValue(result, section, name) != value) return std::nullopt;
    return result;
}

std::optional<std::uint32_t> ParseWholeNumber(std::string_view word) {
    std::uint32_t value = 0;
    if (word.empty() || word.front() < '0' || word.front() > '9') return std::nullopt;
    const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc() || stop != word.data() + word.size()) return std::nullopt;
    return value;
}

}  // namespace tovlark
