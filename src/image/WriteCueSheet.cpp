#include <algorithm>

#include "base/Format.h"
#include "base/Msf.h"
#include "image/CueSheet.h"
#include "platform/Files.h"

namespace tovlark {

namespace {

/// The lines of a sheet; positions are minutes, seconds and frames.
class SheetText {
public:
    void line(TextView format, std::initializer_list<FormatArgument> arguments = {}) {
        text_ += FormatText(format, arguments);
        text_ += u"\r\n";
    }

    void positionLine(TextView start, std::uint32_t position) {
        const Msf time = SplitFrames(position);
        line(u"%s %02d:%02d:%02d", {start, time.minute, time.second, time.frame});
    }

    /// A quoted text; nothing for an empty one.
    void textLine(TextView keyword, Text value) {
        if (value.empty()) return;
        std::ranges::replace(value, u'"', u'\'');
        std::ranges::replace_if(
            value, [](char16_t unit) { return unit < u' '; }, u' ');
        line(u"%s \"%s\"", {keyword, value});
    }

    SystemError writeTo(const Text& path) const {
        NewFile file;
        if (const SystemError error = file.create(path); error.failed()) return error;
        const std::string bytes = ToUtf8(text_);
        if (const SystemError error = file.write(std::as_bytes(std::span(bytes))); error.failed()) return error;
        return file.commit();
    }

private:
    Text text_;
};

void AppendSessionLines(SheetText& sheet, const DiscLayout& layout, std::size_t session) {
    if (session > 0 && layout.sessions[session - 1].leadOut > 0)
        sheet.positionLine(u"  REM LEAD-OUT", layout.sessions[session - 1].leadOut);
    sheet.line(u"REM SESSION %02d", {session + 1});
}

void AppendTrackLines(SheetText& sheet, const DiscLayout& layout, const TrackLayout& track, std::uint16_t sectorSize) {
    if (track.isAudio()) {
        sheet.line(u"  TRACK %02d AUDIO", {track.number});
        sheet.textLine(u"    TITLE", track.text.title);
        sheet.textLine(u"    PERFORMER", track.text.performer);
        sheet.textLine(u"    ISRC", track.isrc);
        sheet.textLine(u"    SONGWRITER", track.text.songwriter);
        sheet.textLine(u"    COMPOSER", track.text.composer);
    } else {
        if (sectorSize == 0) sectorSize = track.sectorSize != 0 ? track.sectorSize : layout.sectorSize;
        sheet.line(u"  TRACK %02d %s/%d", {track.number, IsMode2(track.type) ? u"MODE2" : u"MODE1", sectorSize});
    }
    if (track.pregapStart) sheet.positionLine(u"    INDEX 00", *track.pregapStart);
    sheet.positionLine(u"    INDEX 01", track.start);
    for (std::size_t index = 0; index < track.furtherIndexes.size() && track.isAudio(); ++index)
        sheet.positionLine(FormatText(u"    INDEX %02d", {index + 2}), track.furtherIndexes[index]);
}

}  // namespace

SystemError WriteCueSheet(const Text& path, const DiscLayout& layout, CueFileType type, std::uint16_t sectorSize) {
    SheetText sheet;
    sheet.textLine(u"CATALOG", layout.catalog);
    sheet.textLine(u"PERFORMER", layout.text.performer);
    sheet.textLine(u"SONGWRITER", layout.text.songwriter);
    sheet.textLine(u"COMPOSER", layout.text.composer);
    sheet.textLine(u"TITLE", layout.text.title);
    sheet.line(type == CueFileType::Wave ? u"FILE \"%s\" WAVE" : u"FILE \"%s\" BINARY", {layout.files[0].name});
    std::optional<std::uint8_t> session;
    for (const TrackLayout& track : layout.tracks) {
        if (layout.sessions.size() > 1 && track.session != session) AppendSessionLines(sheet, layout, track.session);
        session = track.session;
        AppendTrackLines(sheet, layout, track, sectorSize);
    }
    return sheet.writeTo(path);
}

SystemError WriteRawImageSheet(const Text& path, TextView imageName) {
    SheetText sheet;
    sheet.line(u"FILE \"%s\" BINARY", {imageName});
    sheet.line(u"  TRACK 01 MODE1/2352");
    sheet.positionLine(u"    INDEX 01", 0);
    return sheet.writeTo(path);
}

}  // namespace tovlark
