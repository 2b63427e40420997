#include "burn/CueSource.h"

#include <algorithm>

#include "base/Sectors.h"
#include "image/CueSheet.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kMode1Data = 16;  // offset in a raw sector (ECMA-130 14.2)

bool IsMode1(const TrackLayout& track) { return track.type == TrackType::Mode1 || track.type == TrackType::Mode1Raw; }

class CueTracks {
public:
    CueTracks(const Texts& texts, const DiscLayout& layout, FileSource& source, CdContent& content)
        : texts_(texts), layout_(layout), source_(source), content_(content), sectorSize_(BurnSectorSize(layout)) {}

    std::optional<Text> add() {
        for (const DataFile& file : layout_.files)
            if (auto problem = open(file)) return problem;
        for (std::size_t index = 0; index < layout_.tracks.size(); ++index)
            if (auto problem = addTrack(index)) return problem;
        content_.session.catalog = layout_.catalog;
        content_.texts = TextsOf(layout_);
        return std::nullopt;
    }

private:
    std::optional<Text> open(const DataFile& file) {
        if (file.kind == DataFileKind::Compressed) return texts_.format(TextId::CueNeedsDecoding, {file.path});
        const InputFile* opened = nullptr;
        SystemError error = source_.open(file.path, opened);
        FileInfo info;
        if (!error.failed()) error = opened->examine(info);
        if (error.failed()) return texts_.format(TextId::CannotOpenImage, {file.path, DescribeError(error)});
        files_.push_back({opened, std::min(info.sizeBytes, file.dataOffset + file.dataBytes.value_or(info.sizeBytes))});
        return std::nullopt;
    }

    std::optional<Text> addTrack(std::size_t index) {
        const TrackLayout& track = layout_.tracks[index];
        const std::uint64_t begin = DataOffsetOf(layout_, index), end = endOf(index);
        if (end <= begin) return texts_.format(TextId::CueFileShort, {layout_.files[track.file].path, track.number});
        CdTrack made{.type = track.type,
                     .sectorSize = sectorSize_,
                     .furtherIndexes = track.furtherIndexes,
                     .copyPermitted = track.copyPermitted,
                     .preEmphasis = track.preEmphasis,
                     .fourChannels = track.fourChannels,
                     .isrc = track.isrc};
        for (std::uint32_t& position : made.furtherIndexes) position -= track.start;
        const std::uint32_t before = source_.sectorCount();
        // The first two seconds of a disc are no part of the source.
        const FirstPregap firstPregap = index == 0 ? FirstPregapOf(track) : FirstPregap{};
        addSilence(track, index == 0 ? firstPregap.silence : track.silenceBefore);
        if (index == 0) {
            addRange(track, track.file, begin - std::uint64_t{firstPregap.inFile} * track.sectorSize, begin);
        } else if (track.pregapInFileBefore) {
            const TrackLayout& last = layout_.tracks[index - 1];
            const std::uint64_t pregap =
                DataOffsetOf(layout_, index - 1) +
                std::uint64_t{track.pregapStart.value_or(last.start) - last.start} * last.sectorSize;
            addRange(track, last.file, pregap, files_[last.file].end);
        } else if (track.pregapStart) {
            addRange(track, track.file, begin - std::uint64_t{track.start - *track.pregapStart} * track.sectorSize,
                     begin);
        }
        made.pregap = (index == 0 ? kPregapFrames : 0) + source_.sectorCount() - before;
        const std::uint32_t first = source_.sectorCount();
        addRange(track, track.file, begin, end);
        addSilence(track, track.silenceAfter);
        made.sectors = source_.sectorCount() - first;
        content_.session.tracks.push_back(std::move(made));
        return std::nullopt;
    }

    /// Where the data of a track end in its file.
    std::uint64_t endOf(std::size_t index) const {
        const TrackLayout& track = layout_.tracks[index];
        const std::uint64_t fileEnd = files_[track.file].end;
        if (index + 1 == layout_.tracks.size()) return fileEnd;
        const TrackLayout& next = layout_.tracks[index + 1];
        if (next.file != track.file && !next.pregapInFileBefore) return fileEnd;
        const std::uint32_t position = next.pregapStart.value_or(next.start);
        if (position < track.start) return 0;
        return std::min(fileEnd,
                        DataOffsetOf(layout_, index) + std::uint64_t{position - track.start} * track.sectorSize);
    }

    /// Mode of the sectors around whose data something has to be made; 0: none.
    std::uint8_t madeModeOf(const TrackLayout& track) const {
        if (sectorSize_ != kRawSectorSize || track.isAudio()) return 0;
        return IsMode2(track.type) ? 2 : 1;
    }

    void addSilence(const TrackLayout& track, std::uint32_t sectors) {
        source_.add({.sectorCount = sectors, .madeMode = madeModeOf(track)});
    }

    void addRange(const TrackLayout& track, std::size_t file, std::uint64_t begin, std::uint64_t end) {
        if (end <= begin) return;
        const bool takesPart = sectorSize_ == kSectorSize && track.sectorSize == kRawSectorSize;
        const bool isMade = track.sectorSize < sectorSize_;
        const DataFileKind kind = layout_.files[file].kind;
        source_.add({.sectorCount = (end - begin + track.sectorSize - 1) / track.sectorSize,
                     .file = files_[file].file,
                     .offset = begin + (takesPart ? kMode1Data : 0),
                     .end = end,
                     .stride = track.sectorSize,
                     .taken = std::min(track.sectorSize, sectorSize_),
                     .swapsBytes = track.isAudio() && (kind == DataFileKind::BigEndian || kind == DataFileKind::Aiff),
                     .madeMode = isMade ? madeModeOf(track) : std::uint8_t{0}});
    }

    struct File {
        const InputFile* file;
        std::uint64_t end;
    };

    const Texts& texts_;
    const DiscLayout& layout_;
    FileSource& source_;
    CdContent& content_;
    const std::uint16_t sectorSize_;
    std::vector<File> files_;
};

}  // namespace

std::uint16_t BurnSectorSize(const DiscLayout& layout) {
    if (std::ranges::all_of(layout.tracks, IsMode1)) return kSectorSize;
    const auto isPlainMode2 = [](const TrackLayout& track) {
        return IsMode2(track.type) && track.sectorSize == kMode2SectorSize;
    };
    return std::ranges::all_of(layout.tracks, isPlainMode2) ? kMode2SectorSize : kRawSectorSize;
}

std::optional<Text> AddCueTracks(const Texts& texts, const Text& path, const DiscLayout& layout, FileSource& source,
                                 CdContent& content) {
    if (layout.sessions.size() > 1) return texts.format(TextId::CueSeveralSessions, {path});
    return CueTracks(texts, layout, source, content).add();
}

}  // namespace tovlark
