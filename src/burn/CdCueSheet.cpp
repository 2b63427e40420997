#include "burn/CdCueSheet.h"

#include <algorithm>
#include <initializer_list>

namespace tovlark {

namespace {

constexpr std::uint8_t kPosition = 1, kCatalog = 2, kIsrc = 3;  // ADR: what an entry is about
constexpr std::uint8_t kLeadOut = 0xAA;
constexpr std::uint8_t kLeadInTrack = 0;
constexpr std::uint32_t kMostFrames = 100 * 60 * kFramesPerSecond;  // behind 99:59:74
constexpr std::size_t kMostIndexes = 99;
constexpr std::size_t kEntryBytes = 8;

// Data forms (MMC-6 6.29.3.6).
constexpr std::uint8_t kAudioForm = 0x00, kMadeAudio = 0x01, kMadeByDrive = 0x04, kCdTextForm = 0x41;

struct FormRow {
    bool isMode2;
    std::uint16_t sectorSize;
    std::uint8_t form;
};
constexpr FormRow kForms[] = {{false, 2048, 0x10}, {false, 2352, 0x11}, {true, 2336, 0x30}, {true, 2352, 0x31}};

std::optional<std::uint8_t> FormOf(const CdTrack& track) {
    if (track.isAudio()) return track.sectorSize == kRawSectorSize ? std::optional(kAudioForm) : std::nullopt;
    for (const FormRow& row : kForms)
        if (row.isMode2 == IsMode2(track.type) && row.sectorSize == track.sectorSize) return row.form;
    return std::nullopt;
}

/// Data of lead-in and lead-out, which the drive makes: in the form of the track beside it.
std::uint8_t MadeFormOf(const CdTrack& track) {
    if (track.isAudio()) return kMadeAudio;
    return static_cast<std::uint8_t>((IsMode2(track.type) ? 0x30 : 0x10) | kMadeByDrive);
}

constexpr std::uint8_t Head(std::uint8_t control, std::uint8_t kind) {
    return static_cast<std::uint8_t>(control << 4 | kind);
}

/// The list as it grows; `frame` counts from 00:00:00, where the first track's pre-gap begins.
struct Sheet {
    std::vector<std::uint8_t> bytes;
    std::uint32_t frame = 0;

    void addPosition(std::uint8_t control, std::uint8_t track, std::uint8_t index, std::uint8_t form,
                     std::uint32_t at) {
        const Msf time = SplitFrames(at);
        bytes.insert(bytes.end(),
                     {Head(control, kPosition), track, index, form, 0, time.minute, time.second, time.frame});
    }

    /// A code goes into the ends of two entries, whose heads are alike; what it leaves of the second stays zero.
    void addCode(std::initializer_list<std::uint8_t> head, TextView code) {
        const std::size_t room = kEntryBytes - head.size();
        for (const TextView part : {code.substr(0, room), code.substr(room)}) {
            bytes.insert(bytes.end(), head);
            for (const char16_t unit : part) bytes.push_back(static_cast<std::uint8_t>(unit));
            bytes.resize((bytes.size() + kEntryBytes - 1) / kEntryBytes * kEntryBytes);
        }
    }
};

bool IsSound(const CdTrack& track) {
    if (track.sectors < kLeastTrackSectors || !FormOf(track)) return false;
    if (track.furtherIndexes.size() > kMostIndexes - 1) return false;
    std::uint32_t last = 0;
    for (const std::uint32_t index : track.furtherIndexes) {
        if (index <= last || index >= track.sectors) return false;
        last = index;
    }
    return true;
}

bool AddTrack(Sheet& sheet, const CdTrack& track, std::uint8_t number) {
    if (!IsSound(track)) return false;
    // Checked piece by piece, so that no sum overflows.
    if (track.pregap >= kMostFrames || track.sectors >= kMostFrames) return false;
    if (std::uint64_t{sheet.frame} + track.pregap + track.sectors >= kMostFrames) return false;
    const std::uint8_t control = ControlOf(track), form = *FormOf(track);
    if (IsIsrc(track.isrc)) sheet.addCode({Head(control, kIsrc), number}, track.isrc);
    if (track.pregap > 0) sheet.addPosition(control, number, 0, form, sheet.frame);
    sheet.frame += track.pregap;
    sheet.addPosition(control, number, 1, form, sheet.frame);
    std::uint8_t index = 2;
    for (const std::uint32_t offset : track.furtherIndexes)
        sheet.addPosition(control, number, index++, form, sheet.frame + offset);
    sheet.frame += track.sectors;
    return true;
}

}  // namespace

std::uint8_t ControlOf(const CdTrack& track) {
    constexpr std::uint8_t kPreEmphasis = 1, kCopyPermitted = 2, kData = 4, kFourChannels = 8;
    const std::uint8_t copies = track.copyPermitted ? kCopyPermitted : std::uint8_t{0};
    if (!track.isAudio()) return kData | copies;
    return static_cast<std::uint8_t>((track.preEmphasis ? kPreEmphasis : 0) | copies |
                                     (track.fourChannels ? kFourChannels : 0));
}

std::optional<std::vector<std::uint8_t>> BuildCueSheet(const CdSession& session) {
    const std::vector<CdTrack>& tracks = session.tracks;
    if (tracks.empty() || tracks.size() > kMaximumTracks || tracks.front().pregap < kPregapFrames) return std::nullopt;
    Sheet sheet;
    const std::uint8_t firstControl = ControlOf(tracks.front()), lastControl = ControlOf(tracks.back());
    if (IsCatalogNumber(session.catalog)) sheet.addCode({Head(firstControl, kCatalog)}, session.catalog);
    sheet.addPosition(firstControl, kLeadInTrack, 0, session.hasCdText ? kCdTextForm : MadeFormOf(tracks.front()), 0);
    std::uint8_t number = 0;
    for (const CdTrack& track : tracks)
        if (!AddTrack(sheet, track, ++number)) return std::nullopt;
    sheet.addPosition(lastControl, kLeadOut, 1, MadeFormOf(tracks.back()), sheet.frame);
    return sheet.bytes;
}

}  // namespace tovlark
