#include "app/session/LanguageFile.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/IniText.h"
#include "base/TextFile.h"
#include "platform/Files.h"
#include "platform/Paths.h"

namespace tovlark {

namespace {

constexpr std::uint64_t kMaximumBytes = 4 * 1024 * 1024;
constexpr std::uint32_t kEnglish = 9;  // primary language identifiers are the low 10 bits
constexpr std::uint32_t kPrimaryMask = 0x3FF;

Text Unescaped(std::string_view value) {
    std::string plain;
    for (std::size_t index = 0; index < value.size(); ++index) {
        const char next = value[index] == '\\' && index + 1 < value.size() ? value[index + 1] : '\0';
        switch (next) {
            case 'r': plain += '\r'; break;
            case 'n': plain += '\n'; break;
            case 't': plain += '\t'; break;
            case '\\': plain += '\\'; break;
            default: plain += value[index]; continue;
        }
        ++index;
    }
    return FromUtf8(plain);
}

}  // namespace

LanguageFile::Place LanguageFile::placeOfSection(std::string_view name) {
    constexpr std::pair<std::string_view, Group> kNumbered[] = {{"DIALOG_", Group::Dialog}, {"MENU_", Group::Menu}};
    if (name == "String") return {Group::String, 0, 0};
    for (const auto& [prefix, group] : kNumbered) {
        if (!name.starts_with(prefix)) continue;
        if (const auto section = ParseWholeNumber(name.substr(prefix.size()))) return {group, *section, 0};
    }
    return {};
}

LanguageFile LanguageFile::parse(std::string_view bytes) {
    LanguageFile file;
    const std::string text = WithoutMark(bytes);
    Place place;
    bool isAboutLanguage = false;
    IniLine line;
    for (std::size_t position = 0; NextIniLine(text, position, line);) {
        if (line.kind == IniLine::Kind::Section) {
            place = placeOfSection(line.name);
            isAboutLanguage = line.name == "Language";
        }
        if (line.kind != IniLine::Kind::Entry || line.value.empty()) continue;
        const std::optional<std::uint32_t> number = ParseWholeNumber(line.name);
        if (isAboutLanguage && line.name == "Id") file.languageId_ = ParseWholeNumber(line.value).value_or(0);
        if (place.group == Group::None || !number) continue;
        place.number = *number;
        file.texts_.try_emplace(place, Unescaped(line.value));
    }
    return file;
}

TextView LanguageFile::string(std::uint32_t number) const { return find({Group::String, 0, number}); }

TextView LanguageFile::dialog(std::uint32_t dialogNumber, std::uint32_t itemNumber) const {
    return find({Group::Dialog, dialogNumber, itemNumber});
}

TextView LanguageFile::menu(std::uint32_t menuNumber, std::uint32_t itemNumber) const {
    return find({Group::Menu, menuNumber, itemNumber});
}

TextView LanguageFile::find(Place place) const {
    const auto found = texts_.find(place);
    return found == texts_.end() ? TextView() : TextView(found->second);
}

bool IsEnglish(std::uint32_t languageId) { return languageId == 0 || (languageId & kPrimaryMask) == kEnglish; }

LanguageFile LoadLanguage(std::uint32_t languageId) { return LoadLanguage(languageId, LanguageFolder()); }

LanguageFile LoadLanguage(std::uint32_t languageId, const Text& folder) {
    if (IsEnglish(languageId)) return {};
    std::vector<Text> names;
    const SystemError unreadable = ListFolder(folder, [&](const FolderEntry& entry) {
        if (EqualsIgnoringCase(ExtensionOf(entry.name), u"ini")) names.emplace_back(entry.name);
        return true;
    });
    if (unreadable.failed()) return {};
    std::sort(names.begin(), names.end());
    LanguageFile sameLanguage;
    for (const Text& name : names) {
        std::string bytes;
        if (ReadWholeFile(JoinPath(folder, name), kMaximumBytes, bytes).failed()) continue;
        LanguageFile file = LanguageFile::parse(bytes);
        if (file.languageId() == languageId) return file;
        const bool isRelated = file.languageId() != 0 && ((file.languageId() ^ languageId) & kPrimaryMask) == 0;
        if (isRelated && sameLanguage.languageId() == 0) sameLanguage = std::move(file);
    }
    return sameLanguage;
}

}  // namespace tovlark
