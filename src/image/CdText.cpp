#include "image/CdText.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "base/Checksum.h"
#include "platform/CodePage.h"

namespace tovlark {

namespace {

constexpr std::size_t kHeadBytes = 4, kTextBytes = 12, kCheckedBytes = kHeadBytes + kTextBytes;
constexpr std::size_t kMostPacks = 256;
constexpr std::uint8_t kFirstType = 0x80, kCodes = 0x8E, kSizes = 0x8F;
constexpr std::uint8_t kSizePacks = 3, kEnglish = 0x09;

struct TextKind {
    std::uint8_t type;
    Text DiscText::*text;
};
constexpr TextKind kKinds[] = {
    {0x80, &DiscText::title}, {0x81, &DiscText::performer}, {0x82, &DiscText::songwriter}, {0x83, &DiscText::composer}};

struct Substitute {
    char16_t from;
    TextView to;
};
// In order. Letters of Latin scripts lose their marks, punctuation becomes that of typewriters.
constexpr Substitute kSubstitutes[] = {
    {0x0102, u"A"},  {0x0103, u"a"},  {0x0104, u"A"},   {0x0105, u"a"},  {0x0106, u"C"},  {0x0107, u"c"},
    {0x010C, u"C"},  {0x010D, u"c"},  {0x010E, u"D"},   {0x010F, u"d"},  {0x0110, u"D"},  {0x0111, u"d"},
    {0x0118, u"E"},  {0x0119, u"e"},  {0x011A, u"E"},   {0x011B, u"e"},  {0x011E, u"G"},  {0x011F, u"g"},
    {0x0130, u"I"},  {0x0131, u"i"},  {0x0141, u"L"},   {0x0142, u"l"},  {0x0143, u"N"},  {0x0144, u"n"},
    {0x0147, u"N"},  {0x0148, u"n"},  {0x0150, u"O"},   {0x0151, u"o"},  {0x0152, u"OE"}, {0x0153, u"oe"},
    {0x0158, u"R"},  {0x0159, u"r"},  {0x015A, u"S"},   {0x015B, u"s"},  {0x015E, u"S"},  {0x015F, u"s"},
    {0x0160, u"S"},  {0x0161, u"s"},  {0x0162, u"T"},   {0x0163, u"t"},  {0x0164, u"T"},  {0x0165, u"t"},
    {0x016E, u"U"},  {0x016F, u"u"},  {0x0170, u"U"},   {0x0171, u"u"},  {0x0178, u"Y"},  {0x0179, u"Z"},
    {0x017A, u"z"},  {0x017B, u"Z"},  {0x017C, u"z"},   {0x017D, u"Z"},  {0x017E, u"z"},  {0x0218, u"S"},
    {0x0219, u"s"},  {0x021A, u"T"},  {0x021B, u"t"},   {0x2010, u"-"},  {0x2011, u"-"},  {0x2012, u"-"},
    {0x2013, u"-"},  {0x2014, u"-"},  {0x2018, u"'"},   {0x2019, u"'"},  {0x201A, u","},  {0x201C, u"\""},
    {0x201D, u"\""}, {0x201E, u"\""}, {0x2026, u"..."}, {0x20AC, u"EUR"}};
static_assert(std::ranges::is_sorted(kSubstitutes, {}, &Substitute::from));

/// Tabs have a meaning of their own in packs ("the same as before") and controls have none.
constexpr bool IsPlain(char16_t unit) { return (unit >= 0x20 && unit < 0x7F) || (unit >= 0xA0 && unit <= 0xFF); }

/// One text of each track, the disc's first; false when none of them says anything.
using TextList = std::vector<Text>;
bool SaysAnything(const TextList& list) {
    return std::ranges::any_of(list, [](const Text& text) { return !text.empty(); });
}

void AddPack(std::vector<CdTextPack>& packs, std::uint8_t type, std::uint8_t track, std::uint8_t position,
             std::span<const std::uint8_t> text) {
    CdTextPack pack{type, track, static_cast<std::uint8_t>(packs.size()), position};
    std::ranges::copy(text.first(std::min(text.size(), kTextBytes)), pack.begin() + kHeadBytes);
    const auto check = static_cast<std::uint16_t>(~Crc16(std::as_bytes(std::span(pack)).first(kCheckedBytes)));
    pack[kCheckedBytes] = static_cast<std::uint8_t>(check >> 8);
    pack[kCheckedBytes + 1] = static_cast<std::uint8_t>(check);
    packs.push_back(pack);
}

/// The texts of one type one behind the other, a zero behind each. A pack tells whose text it begins with, and how many
/// characters of that went before.
void AddTexts(std::vector<CdTextPack>& packs, std::uint8_t type, const TextList& list) {
    constexpr std::size_t kMostPosition = 15;
    struct Place {
        std::uint8_t track;
        std::uint8_t position;
    };
    std::vector<std::uint8_t> bytes;
    std::vector<Place> places;
    for (std::size_t track = 0; track < list.size(); ++track)
        for (std::size_t at = 0; at <= list[track].size(); ++at) {
            bytes.push_back(at < list[track].size() ? static_cast<std::uint8_t>(list[track][at]) : std::uint8_t{0});
            places.push_back(
                {static_cast<std::uint8_t>(track), static_cast<std::uint8_t>(std::min(at, kMostPosition))});
        }
    for (std::size_t first = 0; first < bytes.size() && packs.size() <= kMostPacks; first += kTextBytes)
        AddPack(packs, type, places[first].track, places[first].position, std::span(bytes).subspan(first));
}

/// What the block holds; the last packs of it.
void AddSizes(std::vector<CdTextPack>& packs, std::size_t tracks) {
    constexpr std::size_t kCounts = 4, kLastPacks = 20, kLanguages = 28;
    std::array<std::uint8_t, kSizePacks * kTextBytes> sizes{};  // byte 0: character set 0, ISO 8859-1
    sizes[1] = 1;
    sizes[2] = static_cast<std::uint8_t>(tracks);
    for (const CdTextPack& pack : packs) ++sizes[kCounts + pack[0] - kFirstType];
    sizes[kCounts + kSizes - kFirstType] = kSizePacks;
    sizes[kLastPacks] = static_cast<std::uint8_t>(packs.size() + kSizePacks - 1);
    sizes[kLanguages] = kEnglish;
    for (std::uint8_t part = 0; part < kSizePacks; ++part)
        AddPack(packs, kSizes, part, 0, std::span(sizes).subspan(part * kTextBytes));
}

/// The text in ISO 8859-1, or nothing when a character has nothing that stands for it there.
std::optional<Text> ToCdTextCharacters(TextView text) {
    Text written;
    for (const char16_t unit : text) {
        if (IsPlain(unit)) {
            written += unit;
            continue;
        }
        const auto* found = std::ranges::lower_bound(kSubstitutes, unit, {}, &Substitute::from);
        if (found == std::end(kSubstitutes) || found->from != unit) return std::nullopt;
        written += found->to;
    }
    return written;
}

Text Written(const Text& text, std::vector<CdTextChange>& changes) {
    const Text written = ToCdTextCharacters(text).value_or(Text());
    if (written != text) changes.push_back({text, written});
    return written;
}

TextList ListOf(const CdTexts& texts, Text DiscText::*text, std::vector<CdTextChange>& changes) {
    TextList list{Written(texts.disc.*text, changes)};
    for (const DiscText& track : texts.tracks) list.push_back(Written(track.*text, changes));
    return list;
}

TextList CodesOf(const CdTexts& texts) {
    TextList list{IsCatalogNumber(texts.catalog) ? texts.catalog : Text()};
    for (std::size_t track = 0; track < texts.tracks.size(); ++track)
        list.push_back(track < texts.isrcs.size() && IsIsrc(texts.isrcs[track]) ? texts.isrcs[track] : Text());
    return list;
}

/// The texts of one type; a pack tells whose it begins with, so that one that is missing costs no other.
class TextReader {
public:
    explicit TextReader(bool isShiftJis) : isShiftJis_(isShiftJis) {}

    void add(std::span<const std::uint8_t, sizeof(CdTextPack)> pack) {
        const std::size_t width = (pack[3] & 0x80) != 0 ? 2 : 1;
        std::size_t track = pack[1] & 0x7F;
        for (std::size_t at = kHeadBytes; at + width <= kCheckedBytes && track < texts_.size(); at += width) {
            const auto character = pack.subspan(at, width);
            if (std::ranges::all_of(character, [](std::uint8_t byte) { return byte == 0; }))
                ++track;
            else
                texts_[track].append(character.begin(), character.end());
        }
    }

    void give(Text DiscText::*text, CdTexts& texts) const {
        texts.disc.*text = decoded(0);
        for (std::size_t track = 1; track < texts_.size(); ++track) {
            if (texts_[track].empty()) continue;
            if (texts.tracks.size() < track) texts.tracks.resize(track);
            texts.tracks[track - 1].*text = decoded(track);
        }
    }

private:
    /// A tab, or two, stands for the text of the track before.
    Text decoded(std::size_t track) const {
        constexpr std::uint32_t kShiftJis = 932;
        while (track > 0 && (texts_[track] == "\t" || texts_[track] == "\t\t")) --track;
        const std::string& bytes = texts_[track];
        if (isShiftJis_) return CodePage(kShiftJis).decode(bytes);
        Text text;
        for (const char byte : bytes) text += static_cast<unsigned char>(byte);
        return text;
    }

    const bool isShiftJis_;
    std::array<std::string, kMaximumTracks + 1> texts_;  // the disc's first
};

}  // namespace

std::optional<CdTextPacks> BuildCdText(const CdTexts& texts) {
    if (texts.tracks.empty() || texts.tracks.size() > kMaximumTracks) return std::nullopt;
    CdTextPacks made;
    for (const TextKind& kind : kKinds) {
        const TextList list = ListOf(texts, kind.text, made.changes);
        if (SaysAnything(list)) AddTexts(made.packs, kind.type, list);
    }
    if (made.packs.empty()) return made;
    if (const TextList codes = CodesOf(texts); SaysAnything(codes)) AddTexts(made.packs, kCodes, codes);
    if (made.packs.size() + kSizePacks > kMostPacks) return std::nullopt;
    AddSizes(made.packs, texts.tracks.size());
    return made;
}

CdTexts TextsOf(const DiscLayout& layout) {
    CdTexts texts{.disc = layout.text, .catalog = layout.catalog, .tracks = {}, .isrcs = {}};
    for (const TrackLayout& track : layout.tracks) {
        texts.tracks.push_back(track.text);
        texts.isrcs.push_back(track.isrc);
    }
    return texts;
}

CdTexts ReadCdText(std::span<const std::uint8_t> packs) {
    constexpr std::uint8_t kBlocks = 0x70, kShiftJis = 0x80;
    constexpr std::size_t kPackBytes = sizeof(CdTextPack);
    std::vector<std::span<const std::uint8_t, kPackBytes>> block;
    bool isShiftJis = false;
    for (; packs.size() >= kPackBytes; packs = packs.subspan(kPackBytes)) {
        const auto pack = packs.first<kPackBytes>();
        if ((pack[3] & kBlocks) != 0) continue;
        block.push_back(pack);
        if (pack[0] == kSizes && pack[1] == 0) isShiftJis = pack[kHeadBytes] == kShiftJis;
    }
    CdTexts texts;
    for (const TextKind& kind : kKinds) {
        TextReader reader(isShiftJis);
        for (const auto& pack : block)
            if (pack[0] == kind.type) reader.add(pack);
        reader.give(kind.text, texts);
    }
    return texts;
}

std::array<std::uint8_t, kCdTextSectorBytes> CdTextSector(std::span<const CdTextPack> packs, std::uint32_t sector) {
    constexpr std::size_t kPacks = 4;
    std::array<std::uint8_t, kCdTextSectorBytes> symbols{};
    auto symbol = symbols.begin();
    for (std::size_t index = 0; index < kPacks; ++index) {
        const CdTextPack& pack = packs[(std::size_t{sector} * kPacks + index) % packs.size()];
        // Three bytes are four symbols.
        for (std::size_t at = 0; at < pack.size(); at += 3) {
            const std::uint32_t bits = std::uint32_t{pack[at]} << 16 | std::uint32_t{pack[at + 1]} << 8 | pack[at + 2];
            for (const unsigned shift : {18u, 12u, 6u, 0u}) *symbol++ = static_cast<std::uint8_t>(bits >> shift & 0x3F);
        }
    }
    return symbols;
}

}  // namespace tovlark
