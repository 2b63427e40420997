#pragma once

#include <cstdint>
#include <span>

#include "app/session/SettingsStore.h"
#include "base/Text.h"

namespace tovlark {

// The settings that code reads, as constants; the whole table for tools stands in Settings.cpp.
inline constexpr IntSetting kLanguage{u"Language", 0, 0, 0xFFFFFFFF};
inline constexpr IntSetting kUseFileCreationTime{u"UseFileCreationTime", 0, 0, 1};
inline constexpr IntSetting kTimeFixed{u"TimeFixed", 0, 0, 0xFFFFFFFF};
inline constexpr IntSetting kRockRidge{u"RockRidge", 2, 0, 2};
inline constexpr IntSetting kRockRidgeRational{u"RockRidgeRational", 0, 0, 1};
inline constexpr IntSetting kKeepSymbolicLinks{u"KeepSymbolicLinks", 0, 0, 1};
inline constexpr IntSetting kBurnBuffer{u"BurnBuffer", 8, 8, 1024};

enum class SettingKind : std::uint8_t { Number, String, Binary };

/// One row of the table of all settings.
struct SettingRow {
    TextView name;
    SettingKind kind;
    std::uint32_t fallback, minimum, maximum;  // numbers only
    TextView textFallback;                     // texts only
    std::uint32_t sizeBytes;                   // binary only; 0: any length
    TextView meaning;
};

std::span<const SettingRow> AllSettings();
const SettingRow* FindSetting(TextView name);

}  // namespace tovlark
