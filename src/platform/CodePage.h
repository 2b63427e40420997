#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/Text.h"

namespace tovlark {

/// A narrow code page: 1252 and other single-byte pages, 932, 936, 949, 950, as the system's own converter decodes
/// them. Immutable; copies share their tables, also between threads. Characters are mapped one to one (no best fit, no
/// private-use characters). The bytes 0x80-0x9F that a page leaves undefined stand for the control characters of the
/// same number; other undefined bytes decode to U+FFFD.
class CodePage {
public:
    /// Loads the tables of a Windows code-page number; one that is unknown, or is no page of one or two bytes a
    /// character over ASCII (65001), gives 1252.
    explicit CodePage(std::uint32_t number);

    std::uint32_t number() const;
    /// Appends the one or two bytes of a character; false (nothing appended) when the page does not have it.
    bool encode(char32_t character, std::string& bytes) const;
    /// Converts text; what the page does not have becomes `substitute`.
    std::string encode(TextView text, char substitute) const;
    /// A lead byte without a trail byte that fits decodes to U+FFFD alone.
    Text decode(std::string_view bytes) const;
    /// True for the first byte of two.
    bool isLeadByte(unsigned char byte) const;

private:
    struct Tables;
    std::shared_ptr<const Tables> tables_;
};

/// The narrow code page to use: Windows: the ANSI code page, unless that is UTF-8; else and elsewhere the usual page of
/// a Windows language identifier (1041 gives 932), 1252 when it is unknown or 0.
std::uint32_t NarrowCodePageNumber(std::uint32_t languageId);

}  // namespace tovlark
