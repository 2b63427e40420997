#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>

#include "base/Text.h"

namespace tovlark {

/// One argument of `FormatText`. It borrows text: it lives for the call only.
class FormatArgument {
public:
    enum class Kind : std::uint8_t { Integer, Real, String };

    template <std::integral Integer>
    FormatArgument(Integer value)
        : kind_(Kind::Integer),
          isNegative_(std::is_signed_v<Integer> && value < Integer{}),
          bits_(static_cast<std::uint64_t>(value)),
          sizeBytes_(sizeof(Integer)) {}
    FormatArgument(double value) : kind_(Kind::Real), real_(value) {}
    FormatArgument(TextView value) : kind_(Kind::String), text_(value) {}
    FormatArgument(const Text& value) : kind_(Kind::String), text_(value) {}
    FormatArgument(const char16_t* value) : kind_(Kind::String), text_(value) {}

    Kind kind() const { return kind_; }
    bool isNegative() const { return isNegative_; }
    /// The value in two's complement, sign-extended to 64 bits; `sizeBytes` tells the width it came with.
    std::uint64_t bits() const { return bits_; }
    unsigned sizeBytes() const { return sizeBytes_; }
    double real() const { return real_; }
    TextView text() const { return text_; }

private:
    Kind kind_;
    bool isNegative_ = false;
    std::uint64_t bits_ = 0;
    unsigned sizeBytes_ = 0;
    double real_ = 0;
    TextView text_;
};

/// Fills a `printf`-shaped text. Understood: %% and flags `-`, `0`, `#` (integers), `+`, blank; width; precision;
/// length letters (skipped); d i u x X o c s f g e. The argument, not the letter, decides what is read: x, o and u show
/// a negative integer in two's complement of the width it came with, d shows the value it has. A letter that does not
/// fit its argument prints the argument in its natural form, filled to the width; a conversion without an argument and
/// an unknown one are printed as they stand. Widths and precisions count UTF-16 units (a cut never splits a surrogate
/// pair); above 4096 they count as 4096. Independent of any locale. Never fails.
Text FormatText(TextView format, std::initializer_list<FormatArgument> arguments = {});

/// True when both texts take the same arguments in the same order (letters of one family count as equal).
/// Language files whose conversions differ from the built-in text's are not used.
bool HaveSameConversions(TextView left, TextView right);

/// A whole number with digit grouping: 1234567 gives "1,234,567".
Text FormatGrouped(std::uint64_t value);

/// A size for people: "512 bytes", "1.50 KB", "4.00 GB", "1023 MB"; three significant digits (all four of 1000 to
/// 1023), units of 1024.
Text FormatSize(std::uint64_t sizeBytes);

}  // namespace tovlark
