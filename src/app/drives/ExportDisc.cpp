#include <algorithm>

#include "app/drives/Common.h"
#include "app/drives/Verbs.h"
#include "base/DiscLayout.h"
#include "base/Sectors.h"
#include "image/CdText.h"
#include "image/CueSheet.h"
#include "optical/SectorReader.h"
#include "platform/ConsoleStreams.h"
#include "platform/Files.h"
#include "platform/Paths.h"
#include "simdrive/DriveSource.h"

namespace tovlark {

namespace {

/// Blocks that have been written, and lie one after the other.
struct Range {
    std::uint32_t first = 0, count = 0;
};

/// Copies ranges of a disc, lowest first, to a file that begins with block 0.
class Exporter {
public:
    Exporter(Task& task, Drive drive, SectorForm form, NewFile& file)
        : task_(task), reader_{.drive = drive, .form = form}, file_(file) {}

    SystemError copy(const std::vector<Range>& ranges) {
        const std::uint32_t bytes = SectorBytes(reader_);
        const Range last = ranges.back();
        task_.session.beginStep(task_.session.texts()[TextId::ExportStep],
                                std::uint64_t{last.first + last.count} * bytes);
        for (const Range& range : ranges) {
            while (next_ < range.first && proceeds()) write(std::min(range.first - next_, piece()), false);
            const std::uint32_t end = range.first + range.count;
            while (next_ < end && proceeds()) write(std::min(end - next_, piece()), true);
        }
        if (proceeds()) {
            task_.session.finishStep();
            task_.session.printDone();
        } else {
            task_.session.print(u"\r\n");
        }
        return error_;
    }

    std::uint32_t blocks() const { return next_; }
    std::uint32_t unreadable() const { return unreadable_; }

private:
    std::uint32_t piece() const { return SectorsPerCommand(reader_); }
    bool proceeds() const { return !error_.failed() && !task_.flags.cancel; }

    void write(std::uint32_t count, bool isRead) {
        const std::uint32_t bytes = SectorBytes(reader_);
        buffer_.assign(std::size_t{count} * bytes, std::byte{0});
        if (isRead) read(count);
        error_ = file_.write(buffer_);
        next_ += count;
        task_.session.addProgress(buffer_.size());
    }

    /// One by one where they do not come together, so that one bad block costs no other.
    void read(std::uint32_t count) {
        const auto at = [this](std::uint32_t index) { return Lba{static_cast<std::int32_t>(next_ + index)}; };
        if (ReadSectors(reader_, at(0), count, buffer_)) return;
        const std::size_t bytes = SectorBytes(reader_);
        for (std::uint32_t index = 0; index < count; ++index) {
            const std::span<std::byte> place = std::span(buffer_).subspan(index * bytes, bytes);
            if (ReadSectors(reader_, at(index), 1, place)) continue;
            std::ranges::fill(place, std::byte{0});
            ++unreadable_;
        }
    }

    Task& task_;
    SectorReader reader_;
    NewFile& file_;
    std::vector<std::byte> buffer_;
    std::uint32_t next_ = 0, unreadable_ = 0;
    SystemError error_;
};

enum class PregapsToo : std::uint8_t { No, Yes };

/// What was written of each track, without the run-out blocks that nobody can read.
std::vector<Range> WrittenRanges(const DiscState& state, PregapsToo pregaps) {
    constexpr std::uint32_t kRunOutBlocks = 2;
    std::vector<Range> ranges;
    for (const DiscTrack& track : state.tracks) {
        const bool isClosed = track.state == TrackState::Complete;
        std::int64_t end = isClosed ? std::int64_t{track.first} + track.size : track.next;
        if (track.hasRunOut) end -= kRunOutBlocks;
        const std::int64_t first = track.first - (pregaps == PregapsToo::Yes ? std::int64_t{track.pregap} : 0);
        const std::int64_t begin = std::max<std::int64_t>(first, 0);
        if (track.state != TrackState::Blank && end > begin)
            ranges.push_back({static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end - begin)});
    }
    return ranges;
}

template <std::size_t count>
Text FieldText(const std::array<char, count>& field) {
    return FromUtf8(std::string_view(field.data(), field[0] == 0 ? 0 : count));
}

/// The sheet of a BIN file that begins with block 0.
DiscLayout LayoutOf(const DiscState& state, const Text& binary) {
    DiscLayout layout;
    layout.sessions.resize(1);
    layout.files.emplace_back();
    layout.files[0].name = FileName(binary);
    layout.files[0].path = binary;
    layout.catalog = FieldText(state.catalog);
    for (const DiscTrack& track : state.tracks) {
        if (track.state == TrackState::Blank) continue;
        TrackLayout out;
        out.number = track.number;
        out.type = track.isAudio() ? TrackType::Audio : track.mode == 2 ? TrackType::Mode2Raw : TrackType::Mode1Raw;
        out.start = static_cast<std::uint32_t>(track.first);
        if (out.start > 0 && track.pregap > 0) out.pregapStart = out.start - std::min(out.start, track.pregap);
        for (const std::uint32_t index : track.indexes) out.furtherIndexes.push_back(out.start + index);
        out.copyPermitted = (track.control & 2) != 0;
        out.preEmphasis = track.isAudio() && (track.control & 1) != 0;
        out.fourChannels = track.isAudio() && (track.control & 8) != 0;
        out.isrc = FieldText(track.isrc);
        layout.tracks.push_back(std::move(out));
    }
    const CdTexts texts = ReadCdText(state.cdText);
    layout.text = texts.disc;
    for (std::size_t index = 0; index < std::min(texts.tracks.size(), layout.tracks.size()); ++index)
        layout.tracks[index].text = texts.tracks[index];
    return layout;
}

/// The tables of a disc file; nothing, after words that say why, when it is none.
std::optional<DiscState> StateOf(Task& task, const Text& path) {
    Disc disc;
    DriveFileFault fault{path, {}, {}};
    fault.disc = disc.open(path, fault.error);
    if (!fault.failed()) return disc.state;
    WriteErrorLine(DescribeFault(task.session.texts(), fault));
    return std::nullopt;
}

/// Whether such an image can hold the disc; says why not.
bool Suits(Task& task, const DiscState& state, bool isBinary, const Text& disc) {
    const bool hasAudio = std::ranges::any_of(state.tracks, &DiscTrack::isAudio);
    if (isBinary && !state.rules->isCd())
        Complain(task, TextId::ExportNoCd, {disc});
    else if (!isBinary && state.rules->isCd() && hasAudio)
        Complain(task, TextId::ExportHasAudio, {disc});
    else
        return true;
    return false;
}

bool EndsWith(const Text& path, TextView suffix) {
    return path.size() > suffix.size() &&
           EqualsIgnoringCase(TextView(path).substr(path.size() - suffix.size()), suffix);
}

}  // namespace

Status ExportDisc(Task& task, const Text& disc, const Text& output) {
    const bool isBinary = EndsWith(output, u".bin");
    if (!isBinary && !EndsWith(output, u".iso")) return Refuse(task, TextId::ExportUnknownKind, {output});
    const auto state = StateOf(task, disc);
    if (!state || !Suits(task, *state, isBinary, disc)) return Status::Failed;
    const std::vector<Range> ranges = WrittenRanges(*state, isBinary ? PregapsToo::Yes : PregapsToo::No);
    if (ranges.empty()) return Refuse(task, TextId::ExportNothing, {disc});
    const Text sheet = output.substr(0, output.size() - 4) + u".cue";
    if (const auto reason = WhatKeepsFile(task, output)) return Refuse(task, *reason, {output});
    if (const auto reason = isBinary ? WhatKeepsFile(task, sheet) : std::nullopt) return Refuse(task, *reason, {sheet});

    DiscDevice device;
    if (const DriveFileFault fault = OpenDiscAlone(disc, task.clock, device); fault.failed()) {
        WriteErrorLine(DescribeFault(task.session.texts(), fault));
        return Status::Failed;
    }
    const OpenedDrive drive({.device = device, .clock = &task.clock, .path = disc});
    NewFile file;
    if (const SystemError error = file.create(output); error.failed())
        return Refuse(task, TextId::FileNotMade, {output, DescribeError(error)});
    Exporter exporter(task, drive.get(), isBinary ? SectorForm::Raw : SectorForm::Blocks, file);
    SystemError error = exporter.copy(ranges);
    if (task.flags.cancel) return Status::Failed;
    if (!error.failed()) error = file.commit();
    if (error.failed()) return Refuse(task, TextId::FileNotMade, {output, DescribeError(error)});
    if (isBinary) {
        error = WriteCueSheet(sheet, LayoutOf(*state, output), CueFileType::Binary, kRawSectorSize);
        if (error.failed()) return Refuse(task, TextId::FileNotMade, {sheet, DescribeError(error)});
    }
    Print(task, TextId::ExportDone, {output, FormatGrouped(exporter.blocks())});
    if (exporter.unreadable() > 0) Print(task, TextId::ExportZeros, {FormatGrouped(exporter.unreadable())});
    return Status::Ok;
}

}  // namespace tovlark
