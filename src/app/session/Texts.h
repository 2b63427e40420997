#pragma once

#include <cstdint>
#include <initializer_list>

#include "app/session/LanguageFile.h"
#include "app/session/TextId.h"
#include "base/Format.h"
#include "base/Text.h"

namespace tovlark {

/// The numbered texts: built-in English, or a language file's wording where it has one that takes the same arguments.
class Texts {
public:
    /// Built-in English only.
    Texts() = default;
    explicit Texts(LanguageFile language) : language_(std::move(language)) {}

    TextView operator[](TextId id) const;
    Text format(TextId id, std::initializer_list<FormatArgument> arguments = {}) const;

private:
    LanguageFile language_;
};

/// The number that stands for the text in section "String" of a language file, and its built-in words.
std::uint32_t NumberOf(TextId id);
TextView BuiltInText(TextId id);

/// Writes a language file that holds every built-in text, for translators to start from.
Text LanguageTemplate();

}  // namespace tovlark
