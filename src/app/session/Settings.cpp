#include "app/session/Settings.h"

#include <algorithm>
#include <vector>

#include "base/Format.h"
#include "base/Hex.h"
#include "base/IniText.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kAny = 0xFFFFFFFF;

constexpr SettingRow Number(const IntSetting& setting, TextView meaning) {
    return {setting.name, SettingKind::Number, setting.fallback, setting.minimum, setting.maximum, {}, 0, 0, meaning};
}

constexpr SettingRow String(const TextSetting& setting, TextView meaning) {
    return {setting.name, SettingKind::String, 0, 0, 0, setting.fallback, setting.minimumLength, 0, meaning};
}

constexpr SettingRow Binary(TextView name, std::uint32_t sizeBytes, TextView meaning) {
    return {name, SettingKind::Binary, 0, 0, 0, {}, 0, sizeBytes, meaning};
}

// Sample rates, channels and depths of 0 mean "as the source"; the rates' 0 is a default that lies outside the range.
constexpr SettingRow kSettings[] = {
    // Burning
    Number(kVerifyData, u"read the disc back and compare after burning"),
    Number(kEjectAfterBurn, u"open the tray after burning"),
    Number({u"FinalizeDisc", 0, 0, 1}, u"close the disc after burning, so that nothing can be added"),
    Number({u"SimulateBurn", 0, 0, 1}, u"go through the burn with the laser off"),
    Number({u"BurnCopies", 1, 1, 999}, u"how many discs to burn"),
    Number(kBurnBuffer, u"memory between the source and the drive, in MB"),
    Number({u"WriteCDText", 1, 0, 1}, u"write titles as CD-Text on Audio CDs"),
    Binary(u"EraseTime", 64, u"how long erasing took the last times, kept by the erase task"),
    // Disc images
    Number(kUseFileCreationTime, u"date files of new images by their creation instead of their last change"),
    Number(kTimeFixed, u"one date for every file of new images, in seconds since 1970 (0: each its own)"),
    Number({u"MediaType", 0, 0, 9}, u"medium that a compilation is meant for"),
    Number({u"MediaCapacity", 700, 10, 204800}, u"capacity of a medium of your own, in MB"),
    Number(kRockRidge, u"POSIX names, modes and links in images: 0 off, 1 on, 2 where nothing speaks against it"),
    Number(kRockRidgeRational, u"make everything in images owned by 0 and readable by all"),
    Number(kKeepSymbolicLinks, u"record symbolic links in images instead of leaving them out"),
    Number({u"UdfRevision", 258, 258, 513}, u"revision of UDF in new images: 258 (1.02) or 513 (2.01)"),
    Number(kAutoBootImage, u"make an image bootable when its tree holds a well-known boot image"),
    Number(kImplantChecksum, u"put a checksum into new images by which a disc can check itself"),
    Number({u"ShowMacFiles", 0, 0, 1}, u"show the Mac OS files of an image"),
    // Audio
    String(kAudioFileNameFormat, u"how ripped tracks are named: |# track, |t title"),
    Number({u"AudioOutputFormat", 3, 1, 6}, u"format of ripped tracks: 1 wav, 2 wma, 3 mp3, 4 ape, 5 flac, 6 ogg"),
    Number({u"AudioOutputMode", 0, 0, 1}, u"how audio is taken out of an image"),
    Number({u"AudioConverterOutput", 0, 0, 1}, u"1: converted audio goes to AudioConverterOutputFolder"),
    String({u"AudioConverterOutputFolder", u"", 0}, u"folder for converted audio"),
    Number({u"LoadCDDB", 1, 0, 1}, u"look Audio CDs up in the CDDB"),
    String({u"CddbUrl", u"http://localhost/~cddb/cddb.cgi?cmd=", 0}, u"address of the CDDB server"),
    Number({u"LameEncodeMode", 0, 0, 4}, u"MP3: 0 stereo, 1 joint stereo, 2 dual channel, 3 mono, 4 automatic"),
    Number({u"LameEncodeFormat", 0, 0, kAny}, u"MP3: code of the preset or bit rate"),
    Number({u"LameID3V1", 1, 0, 1}, u"MP3: write ID3 v1 tags"),
    Number({u"LameID3V2", 1, 0, 1}, u"MP3: write ID3 v2 tags"),
    Number({u"LameCopyright", 0, 0, 1}, u"MP3: set the copyright bit"),
    Number({u"LameOriginal", 0, 0, 1}, u"MP3: set the original bit"),
    Number({u"LameSampleRate", 0, 0, 48000}, u"MP3: samples a second (0: as the source)"),
    Number({u"LameVolume", 100, 1, 999}, u"MP3: volume in per cent"),
    Number({u"OggEncodeQuality", 1054576, 1048576, 3146228}, u"OGG: mode x 1048576 + quality or bit rate"),
    Number({u"OggChannels", 0, 0, 2}, u"OGG: channels (0: as the source)"),
    Number({u"OggSampleRate", 0, 8000, 48000}, u"OGG: samples a second (0: as the source)"),
    Number({u"OggVolume", 100, 1, 999}, u"OGG: volume in per cent"),
    Number({u"FlacCompressionLevel", 5, 0, 8}, u"FLAC: 0 is fast, 8 is small"),
    Number({u"FlacBitDepth", 0, 0, 32}, u"FLAC: bits a sample (0: as the source)"),
    Number({u"FlacChannels", 0, 0, 2}, u"FLAC: channels (0: as the source)"),
    Number({u"FlacSampleRate", 0, 8000, 48000}, u"FLAC: samples a second (0: as the source)"),
    Number({u"FlacVolume", 100, 1, 999}, u"FLAC: volume in per cent"),
    Number({u"ApeCompressionLevel", 2, 1, 5}, u"APE: 1 is fast, 5 is small"),
    Number({u"ApeBitDepth", 0, 0, 32}, u"APE: bits a sample (0: as the source)"),
    Number({u"ApeChannels", 0, 0, 2}, u"APE: channels (0: as the source)"),
    Number({u"ApeSampleRate", 0, 8000, 48000}, u"APE: samples a second (0: as the source)"),
    Number({u"ApeVolume", 100, 1, 999}, u"APE: volume in per cent"),
    Number({u"WavBitDepth", 0, 0, 32}, u"WAV: bits a sample (0: as the source)"),
    Number({u"WavChannels", 0, 0, 2}, u"WAV: channels (0: as the source)"),
    Number({u"WavSampleRate", 0, 8000, 48000}, u"WAV: samples a second (0: as the source)"),
    Number({u"WavVolume", 100, 1, 999}, u"WAV: volume in per cent"),
    Number({u"WmaChannels", 0, 0, 2}, u"WMA: channels (0: as the source)"),
    Number({u"WmaSampleRate", 0, 8000, 48000}, u"WMA: samples a second (0: as the source)"),
    Number({u"WmaVolume", 100, 1, 999}, u"WMA: volume in per cent"),
    // The program
    Number(kLanguage, u"Windows identifier of the language of messages (0: the system's; the console's is English)"),
    String({u"TempFolder", u"", 0}, u"folder for temporary files (empty: the system's)"),
    String(kMessageLogFile, u"file to which the message log is added after each run (empty: none)"),
    Number({u"EnableDarkMode", 0, 0, 1}, u"dark windows"),
    Number({u"RememberUiSettings", 1, 0, 1}, u"keep the layout of windows and lists"),
    Number({u"DefaultActionOnDrop", 0, 0, kAny},
           u"what to do with a dropped image: 0 ask, 1 burn, 2 browse, 3 edit, 4 convert, 5 write to USB, 6 nothing"),
    Number({u"DefaultFileType", 1, 0, 1}, u"file type that image dialogs offer first"),
    Number({u"Status", 5, 0, kAny}, u"option bits that several tasks share"),
    Number(kShellIntegration, u"bit 0: the shell extension is registered"),
    String({u"Status1", u"", 0}, u"what was chosen during installation"),
    Number({u"DmFlags", 0, 0, kAny}, u"flags kept with DmFileName"),
    String({u"DmFileName", u"", 0}, u"a file name kept with DmFlags"),
    Binary(kMainWindow, 0, u"place of the main window"),
};

}  // namespace

std::span<const SettingRow> AllSettings() { return kSettings; }

const SettingRow* FindSetting(TextView name) {
    const auto found =
        std::ranges::find_if(kSettings, [&](const SettingRow& row) { return EqualsIgnoringCase(row.name, name); });
    return found == std::end(kSettings) ? nullptr : found;
}

Text ReadAsText(const SettingsStore& settings, const SettingRow& row) {
    constexpr std::size_t kLargestBinary = 64 * 1024;
    if (row.kind == SettingKind::String) return settings.getString({row.name, row.textFallback, row.minimumLength});
    if (row.kind == SettingKind::Number)
        return FormatText(u"%u", {settings.getInt(row.name, row.fallback, row.minimum, row.maximum)});
    std::vector<std::byte> bytes(row.sizeBytes == 0 ? kLargestBinary : row.sizeBytes);
    bytes.resize(settings.getBinary(row.name, bytes));
    return ToHex(bytes);
}

bool IsAcceptable(const SettingRow& row, TextView text) {
    if (row.kind == SettingKind::String) return text.size() >= row.minimumLength;
    if (row.kind == SettingKind::Number) {
        const auto number = ParseWholeNumber(ToUtf8(text));
        return number && ((*number >= row.minimum && *number <= row.maximum) || *number == row.fallback);
    }
    const auto bytes = FromHex(text);
    return bytes && (row.sizeBytes == 0 || bytes->size() == row.sizeBytes);
}

bool WriteFromText(SettingsStore& settings, const SettingRow& row, TextView text) {
    if (!IsAcceptable(row, text)) return false;
    if (row.kind == SettingKind::String) return settings.setString(row.name, text);
    if (row.kind == SettingKind::Number)
        return settings.setInt(row.name, ParseWholeNumber(ToUtf8(text)).value_or(row.fallback));
    return settings.setBinary(row.name, FromHex(text).value_or(std::vector<std::byte>()));
}

}  // namespace tovlark
