#include <cstdio>
#include <gtest/gtest.h>
#include <string>

#include "base/Format.h"

namespace tovlark {
namespace {

// The C library is the judge of flags, widths and precisions; not every system's keeps to the standard.
TEST(FormatForms, AgreeWithTheCLibrary) {
    const auto check = [](const std::string& format, auto value) {
        char expected[512];
        std::snprintf(expected, sizeof(expected), format.c_str(), value);
        EXPECT_EQ(ToUtf8(FormatText(FromUtf8(format), {value})), expected) << format << " of " << value;
    };
    for (const char* flags : {"", "-", "0", "+", " ", "#", "-0", "0+", "0 ", "+-", "#0"}) {
        for (const char* width : {"", "1", "9"}) {
            for (const char* precision : {"", ".", ".0", ".4"}) {
                const std::string head = std::string("[%") + flags + width + precision;
                const bool isPlain = std::string_view(flags).find('#') == std::string_view::npos;
                for (const int value : {0, 7, -7, 123456}) {
                    if (isPlain) check(head + "d]", value);
                    for (const char* letter : {"x]", "X]", "o]"})
                        if (std::string_view(flags).find_first_of("+ ") == std::string_view::npos)
                            check(head + letter, static_cast<unsigned>(value));
                }
                for (const double value : {0.0, -0.0, 1.5, -2.0 / 3, 1e10, 12345.678})
                    for (const char* letter : {"f]", "e]", "g]"})
                        if (isPlain) check(head + letter, value);
            }
        }
    }
}

}  // namespace
}  // namespace tovlark
