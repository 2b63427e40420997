#pragma once

#include <cstdint>
#include <span>

#include "app/session/SettingsStore.h"
#include "base/Text.h"

namespace tovlark {

// The settings that code reads, as constants; Settings.cpp holds the table of all.
inline constexpr IntSetting kVerifyData{u"VerifyData", 1, 0, 1};
inline constexpr IntSetting kEjectAfterBurn{u"EjectAfterBurn", 1, 0, 1};
inline constexpr IntSetting kBurnBuffer{u"BurnBuffer", 8, 8, 1024};
inline constexpr IntSetting kLanguage{u"Language", 0, 0, 0xFFFFFFFF};
inline constexpr IntSetting kUseFileCreationTime{u"UseFileCreationTime", 0, 0, 1};
inline constexpr IntSetting kTimeFixed{u"TimeFixed", 0, 0, 0xFFFFFFFF};
inline constexpr IntSetting kUdfRevision{u"UdfRevision", 258, 258, 513};
inline constexpr IntSetting kRockRidge{u"RockRidge", 2, 0, 2};
inline constexpr IntSetting kRockRidgeRational{u"RockRidgeRational", 0, 0, 1};
inline constexpr IntSetting kKeepSymbolicLinks{u"KeepSymbolicLinks", 0, 0, 1};
inline constexpr IntSetting kAutoBootImage{u"AutoBootImage", 1, 0, 1};
inline constexpr IntSetting kImplantChecksum{u"ImplantChecksum", 0, 0, 1};
inline constexpr IntSetting kShellIntegration{u"ShellIntegration", 0, 0, 0xFFFFFFFF};
inline constexpr TextSetting kAudioFileNameFormat{u"AudioFileNameFormat", u"|#-|t", 2};
inline constexpr TextSetting kMessageLogFile{u"MessageLogFile", u"", 0};
inline constexpr TextView kMainWindow = u"MainWindow";

enum class SettingKind : std::uint8_t { Number, String, Binary };

/// One row of the table of all settings.
struct SettingRow {
    TextView name;
    SettingKind kind;
    std::uint32_t fallback, minimum, maximum;  // numbers; may lie outside the range: "as the source", for one
    TextView textFallback;                     // texts
    std::size_t minimumLength;                 // texts: what is shorter counts as missing
    std::uint32_t sizeBytes;                   // binary; 0: any length
    TextView meaning;
};

std::span<const SettingRow> AllSettings();
/// The row of a name, without regard to case; null when there is none.
const SettingRow* FindSetting(TextView name);

/// What programs read for a row, as text: decimal, the text itself, or hexadecimal.
Text ReadAsText(const SettingsStore& settings, const SettingRow& row);
/// True when text in that form is a value that programs would read as it stands.
bool IsAcceptable(const SettingRow& row, TextView text);
/// Writes an acceptable text; false when the store did not keep it.
bool WriteFromText(SettingsStore& settings, const SettingRow& row, TextView text);

}  // namespace tovlark
