#pragma once

#include <optional>

#include "platform/SettingsBacking.h"

namespace tovlark {

/// A store that holds nothing but text, an INI file: numbers in decimal, binary as upper-case hexadecimal. A text that
/// an INI line cannot keep exactly (line breaks, blanks or quotation marks at its ends, NUL) is refused.
class TextSettings : public SettingsBacking {
public:
    static constexpr std::uint64_t kMaximumBytes = 4 * 1024 * 1024;  // larger files are no settings files
    static constexpr TextView kRootSection = u"Settings";

    bool readNumber(TextView key, TextView name, std::uint32_t& value) final;
    bool readText(TextView key, TextView name, Text& value) final;
    bool readBinary(TextView key, TextView name, std::vector<std::byte>& value) final;
    bool writeNumber(TextView key, TextView name, std::uint32_t value) final;
    bool writeText(TextView key, TextView name, TextView value) final;
    bool writeBinary(TextView key, TextView name, const std::vector<std::byte>& value) final;

private:
    virtual std::optional<Text> find(const Text& section, const Text& name) = 0;
    /// What comes here reads back from an INI line exactly.
    virtual bool keep(const Text& section, const Text& name, const Text& value) = 0;
};

}  // namespace tovlark
