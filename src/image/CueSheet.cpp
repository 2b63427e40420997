#include "image/CueSheet.h"

#include <algorithm>

#include "base/Format.h"
#include "base/Msf.h"
#include "base/Sectors.h"
#include "base/TextFile.h"
#include "image/DataFiles.h"
#include "platform/Files.h"
#include "platform/Paths.h"

namespace tovlark {

namespace {

constexpr std::uint64_t kLargestSheet = 1024 * 1024;

/// The words of a line. A quotation mark opens a word that ends at the next one, or with the line.
class Line {
public:
    explicit Line(TextView text) : rest_(text) {}

    /// The next word, nothing at the end.
    std::optional<Text> word() {
        skipBlanks();
        if (rest_.empty()) return std::nullopt;
        const bool isQuoted = rest_.front() == u'"';
        if (isQuoted) rest_.remove_prefix(1);
        const std::size_t end = std::min(isQuoted ? rest_.find(u'"') : rest_.find_first_of(u" \t"), rest_.size());
        Text word(rest_.substr(0, end));
        rest_.remove_prefix(std::min(end + (isQuoted ? 1 : 0), rest_.size()));
        return word;
    }

    /// Everything up to the last quotation mark of the line, so that marks inside a text survive; without any mark the
    /// next word.
    std::optional<Text> text() {
        skipBlanks();
        const std::size_t last = rest_.rfind(u'"');
        if (!rest_.starts_with(u'"') || last == 0) return word();
        Text text(rest_.substr(1, last - 1));
        rest_.remove_prefix(last + 1);
        return text;
    }

    /// All that is left, without blanks around it and without a pair of quotation marks.
    Text remainder() {
        skipBlanks();
        const std::size_t last = rest_.find_last_not_of(u" \t");
        rest_ = rest_.substr(0, last == rest_.npos ? 0 : last + 1);
        if (rest_.size() >= 2 && rest_.front() == u'"' && rest_.back() == u'"')
            rest_ = rest_.substr(1, rest_.size() - 2);
        return Text(rest_);
    }

    bool atEnd() {
        skipBlanks();
        return rest_.empty();
    }

private:
    void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(u" \t"), rest_.size())); }

    TextView rest_;
};

/// A whole number of at most `digits` digits and nothing else.
std::optional<std::uint32_t> ParseNumber(TextView word, std::size_t digits) {
    if (word.empty() || word.size() > digits) return std::nullopt;
    std::uint32_t value = 0;
    for (const char16_t unit : word) {
        if (unit < u'0' || unit > u'9') return std::nullopt;
        value = value * 10 + (unit - u'0');
    }
    return value;
}

/// "mm:ss:ff" in sectors.
std::optional<std::uint32_t> ParsePosition(TextView word) {
    constexpr std::uint32_t kLimits[] = {99, 59, kFramesPerSecond - 1};
    std::uint8_t fields[3] = {};
    for (std::size_t index = 0; index < 3; ++index) {
        const std::size_t end = std::min(word.find(u':'), word.size());
        const auto value = ParseNumber(word.substr(0, end), 3);
        const bool isLast = index == 2;
        if (!value || *value > kLimits[index] || isLast != (end == word.size())) return std::nullopt;
        fields[index] = static_cast<std::uint8_t>(*value);
        word.remove_prefix(std::min(end + 1, word.size()));
    }
    return JoinFrames({fields[0], fields[1], fields[2]});
}

struct TrackTypeRow {
    TextView word;
    TrackType type;
    std::uint16_t sectorSize;
};

constexpr TrackTypeRow kTrackTypes[] = {
    {u"AUDIO", TrackType::Audio, kRawSectorSize},         {u"MODE1/2352", TrackType::Mode1Raw, kRawSectorSize},
    {u"MODE2/2352", TrackType::Mode2Raw, kRawSectorSize}, {u"MODE1/2048", TrackType::Mode1, kSectorSize},
    {u"MODE2/2336", TrackType::Mode2, kMode2SectorSize},  {u"MODE1/2336", TrackType::Mode1, kMode2SectorSize},
};

struct FileTypeRow {
    TextView word;
    DataFileKind kind;
};

constexpr FileTypeRow kFileTypes[] = {
    {u"BINARY", DataFileKind::Binary}, {u"MOTOROLA", DataFileKind::BigEndian}, {u"AIFF", DataFileKind::Aiff},
    {u"WAVE", DataFileKind::Wave},     {u"MP3", DataFileKind::Compressed},
};

template <typename Row, std::size_t count>
const Row* FindWord(const Row (&rows)[count], TextView word) {
    const auto found = std::ranges::find_if(rows, [&](const Row& row) { return EqualsIgnoringCase(row.word, word); });
    return found == std::end(rows) ? nullptr : &*found;
}

class CueParser {
public:
    CueParser(const Text& folder, ShortPregaps shortPregaps) : folder_(folder), shortPregaps_(shortPregaps) {}

    /// Reads one line; nothing when it is right.
    std::optional<CueFault> read(TextView text) {
        ++lineNumber_;
        Line line(text);
        const auto keyword = line.word();
        if (!keyword) return std::nullopt;
        const auto row = FindWord(kKeywords, *keyword);
        return row == nullptr ? std::nullopt : (this->*row->read)(line);
    }

    std::optional<CueFault> finish(DiscLayout& layout) {
        lineNumber_ = 0;
        if (layout_.tracks.empty()) return fault(TextId::CueNoTrack);
        if (const auto unfinished = endTrack()) return unfinished;
        if (layout_.sessions.empty()) layout_.sessions.emplace_back();
        layout = std::move(layout_);
        return std::nullopt;
    }

private:
    enum class State : std::uint8_t { NoTrack, AfterTrack, AfterIndex00, AfterIndex01 };
    struct KeywordRow {
        TextView word;
        std::optional<CueFault> (CueParser::*read)(Line& line);
    };
    static const KeywordRow kKeywords[13];

    std::optional<CueFault> fault(TextId text, Text word = {}) const {
        return CueFault{text, lineNumber_, std::move(word), {}};
    }

    TrackLayout& track() { return layout_.tracks.back(); }

    std::optional<CueFault> readFile(Line& line) {
        const auto name = line.text();
        if (!name || name->empty()) return fault(TextId::CueBadFile);
        const Text word = line.word().value_or(u"BINARY");
        const FileTypeRow* row = FindWord(kFileTypes, word);
        if (row == nullptr || !line.atEnd()) return fault(TextId::CueBadFile, word);
        if (layout_.files.size() >= kMaximumTracks) return fault(TextId::CueTooManyFiles);
        const bool isRaw = EqualsIgnoringCase(ExtensionOf(*name), u"bin") && row->kind != DataFileKind::BigEndian;
        layout_.files.push_back({*name, LocatePath(folder_, *name), isRaw ? DataFileKind::Binary : row->kind, 0, {}});
        lastPosition_.reset();
        return std::nullopt;
    }

    /// What the last track still lacks when the next one begins or the sheet ends.
    std::optional<CueFault> endTrack() {
        const bool isWhole = state_ == State::NoTrack || state_ == State::AfterIndex01;
        return isWhole ? std::nullopt : fault(TextId::CueNoStart, FormatText(u"%02d", {track().number}));
    }

    std::optional<CueFault> readTrack(Line& line) {
        const Text number = line.word().value_or(Text());
        if (const auto unfinished = endTrack()) return unfinished;
        if (layout_.files.empty()) return fault(TextId::CueNoFile);
        if (ParseNumber(number, 2) != layout_.tracks.size() + 1) return fault(TextId::CueTrackOrder, number);
        const Text word = line.word().value_or(Text());
        const TrackTypeRow* row = FindWord(kTrackTypes, word);
        if (row == nullptr) return fault(TextId::CueBadTrackType, word);
        if (!line.atEnd()) return fault(TextId::CueTooManyWords, line.remainder());

        const bool isCooked = row->sectorSize == kSectorSize || row->sectorSize == kMode2SectorSize;
        if (layout_.tracks.empty() || !isCooked) layout_.sectorSize = row->sectorSize;
        TrackLayout next;
        next.number = static_cast<std::uint8_t>(layout_.tracks.size() + 1);
        next.type = row->type;
        next.sectorSize = row->sectorSize;
        next.session = static_cast<std::uint8_t>(std::max<std::size_t>(layout_.sessions.size(), 1) - 1);
        layout_.tracks.push_back(std::move(next));
        state_ = State::AfterTrack;
        return std::nullopt;
    }

    std::optional<CueFault> readIndex(Line& line) {
        const Text number = line.word().value_or(Text());
        const auto index = ParseNumber(number, 2);
        if (!index || state_ == State::NoTrack || !isNext(*index)) return fault(TextId::CueIndexOrder, number);
        const Text word = line.word().value_or(Text());
        const auto position = ParsePosition(word);
        if (!position || (lastPosition_ && *position <= *lastPosition_)) return fault(TextId::CueBadPosition, word);
        if (!line.atEnd()) return fault(TextId::CueTooManyWords, line.remainder());
        lastPosition_ = *position;
        place(*index, *position);
        return std::nullopt;
    }

    /// Indexes of a track follow one another from 00 or 01 on.
    bool isNext(std::uint32_t index) {
        if (index == 0) return state_ == State::AfterTrack;
        if (index == 1) return state_ != State::AfterIndex01;
        return state_ == State::AfterIndex01 && index == lastIndex_ + 1;
    }

    void place(std::uint32_t index, std::uint32_t position) {
        lastIndex_ = index;
        TrackLayout& current = track();
        const auto file = static_cast<std::uint8_t>(layout_.files.size() - 1);
        if (index == 0) {
            current.pregapStart = position;
            current.file = file;
            state_ = State::AfterIndex00;
        } else if (index == 1) {
            current.pregapInFileBefore = current.pregapStart && current.file != file;
            current.file = file;
            current.start = position;
            const bool isShort =
                current.pregapStart && !current.pregapInFileBefore && position - *current.pregapStart < kPregapFrames;
            if (isShort && current.number != 1 && shortPregaps_ == ShortPregaps::Drop) current.pregapStart.reset();
            state_ = State::AfterIndex01;
        } else if (current.isAudio()) {
            current.furtherIndexes.push_back(position);
        }
    }

    std::optional<CueFault> readRemark(Line& line) {
        const Text kind = line.word().value_or(Text());
        const Text word = line.word().value_or(Text());
        if (EqualsIgnoringCase(kind, u"SESSION")) {
            if (ParseNumber(word, 2) != layout_.sessions.size() + 1) return fault(TextId::CueSessionOrder, word);
            layout_.sessions.emplace_back();
        } else if (EqualsIgnoringCase(kind, u"LEAD-OUT")) {
            const auto position = ParsePosition(word);
            if (!position) return fault(TextId::CueBadPosition, word);
            if (layout_.sessions.empty()) layout_.sessions.emplace_back();
            if (!lastPosition_ || *position > *lastPosition_) layout_.sessions.back().leadOut = *position;
        }
        return std::nullopt;
    }

    std::optional<CueFault> readFlags(Line& line) {
        if (state_ == State::NoTrack) return std::nullopt;
        while (const auto flag = line.word()) {
            if (EqualsIgnoringCase(*flag, u"DCP")) track().copyPermitted = true;
            if (EqualsIgnoringCase(*flag, u"PRE")) track().preEmphasis = true;
            if (EqualsIgnoringCase(*flag, u"4CH")) track().fourChannels = true;
            if (EqualsIgnoringCase(*flag, u"SCMS")) track().serialCopy = true;
        }
        return std::nullopt;
    }

    template <std::uint32_t TrackLayout::*field>
    std::optional<CueFault> readSilence(Line& line) {
        const Text word = line.word().value_or(Text());
        const auto length = ParsePosition(word);
        if (!length || state_ == State::NoTrack) return fault(TextId::CueBadPosition, word);
        track().*field = *length;
        return std::nullopt;
    }

    std::optional<CueFault> readCatalog(Line& line) {
        if (state_ == State::NoTrack) layout_.catalog = line.remainder();
        return std::nullopt;
    }

    std::optional<CueFault> readIsrc(Line& line) {
        if (state_ != State::NoTrack) track().isrc = line.remainder();
        return std::nullopt;
    }

    template <Text DiscText::*field>
    std::optional<CueFault> readText(Line& line) {
        (state_ == State::NoTrack ? layout_.text : track().text).*field = line.remainder();
        return std::nullopt;
    }

    const Text& folder_;
    const ShortPregaps shortPregaps_;
    DiscLayout layout_;
    State state_ = State::NoTrack;
    std::uint32_t lastIndex_ = 0;
    std::optional<std::uint32_t> lastPosition_;  // in the current data file
    std::uint32_t lineNumber_ = 0;
};

// What is not here is none of our business: other programs' own keywords are skipped.
constinit const CueParser::KeywordRow CueParser::kKeywords[13] = {
    {u"FILE", &CueParser::readFile},
    {u"TRACK", &CueParser::readTrack},
    {u"INDEX", &CueParser::readIndex},
    {u"REM", &CueParser::readRemark},
    {u"FLAGS", &CueParser::readFlags},
    {u"PREGAP", &CueParser::readSilence<&TrackLayout::silenceBefore>},
    {u"POSTGAP", &CueParser::readSilence<&TrackLayout::silenceAfter>},
    {u"CATALOG", &CueParser::readCatalog},
    {u"ISRC", &CueParser::readIsrc},
    {u"TITLE", &CueParser::readText<&DiscText::title>},
    {u"PERFORMER", &CueParser::readText<&DiscText::performer>},
    {u"SONGWRITER", &CueParser::readText<&DiscText::songwriter>},
    {u"COMPOSER", &CueParser::readText<&DiscText::composer>},
};

}  // namespace

Text DescribeFault(const Texts& texts, const Text& path, const CueFault& fault) {
    if (fault.systemError.failed()) return texts.format(fault.text, {path, DescribeError(fault.systemError)});
    const Text reason = texts.format(fault.text, {fault.word});
    return fault.line == 0 ? texts.format(TextId::CueFaultInSheet, {path, reason})
                           : texts.format(TextId::CueFaultInLine, {path, fault.line, reason});
}

std::optional<CueFault> ParseCueSheet(std::string_view bytes, const Text& folder, const CodePage& codePage,
                                      ShortPregaps shortPregaps, DiscLayout& layout) {
    const std::string utf8 = WithoutMark(bytes);
    const Text text = IsUtf8(utf8) ? FromUtf8(utf8) : codePage.decode(utf8);
    CueParser parser(folder, shortPregaps);
    for (TextView rest = text; !rest.empty();) {
        const std::size_t end = std::min(rest.find_first_of(u"\r\n"), rest.size());
        if (const auto fault = parser.read(rest.substr(0, end))) return fault;
        rest.remove_prefix(std::min(end + (rest.substr(end).starts_with(u"\r\n") ? 2 : 1), rest.size()));
    }
    return parser.finish(layout);
}

std::optional<CueFault> ReadCueSheet(const Text& path, const CodePage& codePage, ShortPregaps shortPregaps,
                                     DiscLayout& layout) {
    std::string bytes;
    if (const SystemError error = ReadWholeFile(path, kLargestSheet, bytes); error.failed())
        return CueFault{TextId::CueUnreadable, 0, path, error};
    DiscLayout sheet;
    if (const auto fault = ParseCueSheet(bytes, Text(FolderOf(path)), codePage, shortPregaps, sheet)) return fault;
    for (DataFile& file : sheet.files) MeasureDataFile(file);
    layout = std::move(sheet);
    return std::nullopt;
}

FirstPregap FirstPregapOf(const TrackLayout& track) {
    const std::uint32_t begin = std::min(track.pregapStart.value_or(track.start), track.start);
    const std::uint32_t inFile = track.start - begin;
    return {.silence = track.silenceBefore - std::min(track.silenceBefore, kPregapFrames),
            .inFile = inFile == kPregapFrames ? 0 : inFile};
}

std::uint64_t DataOffsetOf(const DiscLayout& layout, std::size_t trackIndex) {
    const TrackLayout& track = layout.tracks[trackIndex];
    std::uint64_t offset = layout.files[track.file].dataOffset;
    std::uint32_t position = 0;
    std::uint16_t sectorSize = 0;  // of the sectors at `position`
    for (const TrackLayout& before : layout.tracks) {
        if (before.file != track.file) continue;
        if (sectorSize == 0) sectorSize = before.sectorSize;
        // A pre-gap belongs to the track that follows it.
        const std::uint32_t begin =
            before.pregapInFileBefore ? before.start : before.pregapStart.value_or(before.start);
        offset += std::uint64_t{begin - position} * sectorSize;
        position = begin;
        sectorSize = before.sectorSize;
        if (&before == &track) break;
    }
    return offset + std::uint64_t{track.start - position} * sectorSize;
}

}  // namespace tovlark
