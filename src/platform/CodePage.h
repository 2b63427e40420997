#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/Text.h"

namespace tovlark {

/// A narrow code page: 1252 and other single-byte pages, 932, 936, 949, 950. Immutable; shared between threads.
/// Characters are mapped one to one (no best fit); the page's bytes that stand for nothing map to the control
/// characters of the same number.
class CodePage {
public:
    /// Loads the tables of a Windows code-page number; an unknown one gives 1252.
    explicit CodePage(std::uint32_t number);

    std::uint32_t number() const;
    /// Appends the one or two bytes of a character; false (nothing appended) when the page does not have it.
    bool encode(char32_t character, std::string& bytes) const;
    /// Converts text; what the page does not have becomes `substitute`.
    std::string encode(TextView text, char substitute) const;
    Text decode(std::string_view bytes) const;
    bool isLeadByte(unsigned char byte) const;

private:
    struct Tables;
    std::shared_ptr<const Tables> tables_;
};

/// The narrow code page to use: Windows: the ANSI code page; elsewhere the usual page of a Windows language
/// identifier (1041 gives 932), 1252 when it is unknown or 0.
std::uint32_t NarrowCodePageNumber(std::uint32_t languageId);

}  // namespace tovlark
