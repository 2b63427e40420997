#pragma once

#include <cstdint>
#include <map>

#include "base/Text.h"

namespace tovlark {

/// One language file (`Lang/*.ini`): section "Language" (`Id`, `Name`), "String", "DIALOG_%d", "MENU_%d", each with
/// number = text rows. `\r`, `\n`, `\t` and `\\` in a text are escapes; quotation marks around it keep blanks at its
/// ends. An empty text counts as missing, the first of several of one number counts. UTF-8, or UTF-16 with a mark.
class LanguageFile {
public:
    /// An empty file: every look-up falls back to the built-in text.
    LanguageFile() = default;

    /// Parses the bytes of a file; nonsense is skipped, never fatal.
    static LanguageFile parse(std::string_view bytes);

    /// Windows language identifier from section "Language", 0 when there is none.
    std::uint32_t languageId() const { return languageId_; }
    /// The text of a number, or nothing (a view without data).
    TextView string(std::uint32_t number) const;
    TextView dialog(std::uint32_t dialogNumber, std::uint32_t itemNumber) const;
    TextView menu(std::uint32_t menuNumber, std::uint32_t itemNumber) const;

private:
    enum class Group : std::uint8_t { None, String, Dialog, Menu };
    struct Place {
        Group group = Group::None;
        std::uint32_t section = 0, number = 0;
        auto operator<=>(const Place&) const = default;
    };
    static Place placeOfSection(std::string_view name);
    TextView find(Place place) const;

    std::uint32_t languageId_ = 0;
    std::map<Place, Text> texts_;
};

/// True for the language identifiers whose texts are built in, 0 among them.
bool IsEnglish(std::uint32_t languageId);

/// Finds the language file for an identifier in the language folder: exact match first, then the same primary
/// language. Empty when there is none, and for 0 and English.
LanguageFile LoadLanguage(std::uint32_t languageId);
LanguageFile LoadLanguage(std::uint32_t languageId, const Text& folder);

}  // namespace tovlark
