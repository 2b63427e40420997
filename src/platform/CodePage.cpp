#include "platform/CodePage.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <span>
#include <vector>

#include "platform/SystemDecoder.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kDefaultPage = 1252;
constexpr char16_t kUndefined = 0xFFFD;  // also what undefined bytes decode to

struct LanguagePage {
    std::uint32_t language, page;
};

// Whole identifiers whose page is not their primary language's: traditional Chinese, Serbian and its neighbours,
// Azerbaijani and Uzbek in Cyrillic.
constexpr LanguagePage kExactPages[] = {{0x0404, 950},  {0x0C04, 950},  {0x1404, 950},  {0x7C04, 950},
                                        {0x0C1A, 1251}, {0x1C1A, 1251}, {0x201A, 1251}, {0x281A, 1251},
                                        {0x301A, 1251}, {0x6C1A, 1251}, {0x082C, 1251}, {0x0843, 1251}};
// Primary languages (the low ten bits) whose page is not 1252.
constexpr LanguagePage kPrimaryPages[] = {
    {0x01, 1256}, {0x02, 1251}, {0x04, 936},  {0x05, 1250}, {0x08, 1253}, {0x0D, 1255}, {0x0E, 1250},
    {0x11, 932},  {0x12, 949},  {0x15, 1250}, {0x18, 1250}, {0x19, 1251}, {0x1A, 1250}, {0x1B, 1250},
    {0x1C, 1250}, {0x1E, 874},  {0x1F, 1254}, {0x20, 1256}, {0x22, 1251}, {0x23, 1251}, {0x24, 1250},
    {0x25, 1257}, {0x26, 1257}, {0x27, 1257}, {0x28, 1251}, {0x29, 1256}, {0x2A, 1258}, {0x2C, 1254},
    {0x2F, 1251}, {0x3F, 1251}, {0x40, 1251}, {0x42, 1250}, {0x43, 1254}, {0x44, 1251}, {0x50, 1251}};

std::optional<std::uint32_t> PageIn(std::span<const LanguagePage> pages, std::uint32_t language) {
    const auto found = std::ranges::find(pages, language, &LanguagePage::language);
    return found != pages.end() ? std::optional(found->page) : std::nullopt;
}

char ToChar(unsigned value) { return static_cast<char>(static_cast<unsigned char>(value)); }

bool IsPrivateUse(char16_t unit) { return unit >= 0xE000 && unit <= 0xF8FF; }

char16_t DecodeOrUndefined(const CodePageDecoder& decode, std::string_view bytes) {
    const std::optional<char16_t> unit = decode(bytes);
    return unit && !IsPrivateUse(*unit) ? *unit : kUndefined;
}

}  // namespace

struct CodePage::Tables {
    struct Encoding {
        char16_t character;
        std::uint16_t bytes;  // lead byte, if any, in the high half
    };
    using Row = std::array<char16_t, 256>;

    std::uint32_t number = kDefaultPage;
    Row single;
    std::array<std::uint8_t, 256> rowOf{};  // 1 + index in `rows` for lead bytes
    std::vector<Row> rows;
    std::vector<Encoding> encodings;  // in ascending order of character

    bool load(const CodePageDecoder& decode);
    void loadRow(const CodePageDecoder& decode, unsigned lead);
    void addEncoding(char16_t character, unsigned bytes) {
        if (character != kUndefined) encodings.push_back({character, static_cast<std::uint16_t>(bytes)});
    }
};

// False when the page is not built over ASCII, one or two bytes a character.
bool CodePage::Tables::load(const CodePageDecoder& decode) {
    for (unsigned byte = 0; byte < single.size(); ++byte) {
        const char bytes[] = {ToChar(byte)};
        single[byte] = DecodeOrUndefined(decode, std::string_view(bytes, 1));
        if (byte < 0x80 && single[byte] != byte) return false;
        if (single[byte] == kUndefined) loadRow(decode, byte);
        if (single[byte] == kUndefined && rowOf[byte] == 0 && byte < 0xA0) single[byte] = static_cast<char16_t>(byte);
        addEncoding(single[byte], byte);
    }
    // The first encoding in the order single bytes, then pairs, is the one to write.
    for (unsigned lead = 0x80; lead < single.size(); ++lead) {
        // In page 932 these rows repeat later ones and are only read (JIS X 0208's place for them is taken).
        if (rowOf[lead] == 0 || (number == 932 && (lead == 0xED || lead == 0xEE))) continue;
        const Row& row = rows[rowOf[lead] - 1];
        for (unsigned trail = 0; trail < row.size(); ++trail) addEncoding(row[trail], lead << 8 | trail);
    }
    std::ranges::stable_sort(encodings, {}, &Encoding::character);
    const auto repeats = [](const Encoding& one, const Encoding& next) { return one.character == next.character; };
    encodings.erase(std::unique(encodings.begin(), encodings.end(), repeats), encodings.end());
    return true;
}

void CodePage::Tables::loadRow(const CodePageDecoder& decode, unsigned lead) {
    constexpr unsigned kFirstTrail = 0x40;
    Row row;
    row.fill(kUndefined);
    for (unsigned trail = kFirstTrail; trail < row.size(); ++trail) {
        const char bytes[] = {ToChar(lead), ToChar(trail)};
        row[trail] = DecodeOrUndefined(decode, std::string_view(bytes, 2));
    }
    if (std::ranges::all_of(row, [](char16_t unit) { return unit == kUndefined; })) return;
    rows.push_back(row);
    rowOf[lead] = static_cast<std::uint8_t>(rows.size());
}

CodePage::CodePage(std::uint32_t number) {
    for (const std::uint32_t page : {number, kDefaultPage}) {
        auto tables = std::make_shared<Tables>();
        tables->number = page;
        const CodePageDecoder decode = OpenDecoder(page);
        if (decode && tables->load(decode)) {
            tables_ = std::move(tables);
            return;
        }
    }
    // A system without even the default page still has ASCII.
    auto ascii = std::make_shared<Tables>();
    ascii->single.fill(kUndefined);
    for (unsigned byte = 0; byte < 0x80; ++byte) {
        ascii->single[byte] = static_cast<char16_t>(byte);
        ascii->addEncoding(ascii->single[byte], byte);
    }
    tables_ = std::move(ascii);
}

std::uint32_t CodePage::number() const { return tables_->number; }

bool CodePage::encode(char32_t character, std::string& bytes) const {
    if (character > 0xFFFF) return false;
    const auto found = std::ranges::lower_bound(tables_->encodings, static_cast<char16_t>(character), {},
                                                &Tables::Encoding::character);
    if (found == tables_->encodings.end() || found->character != character) return false;
    if (found->bytes > 0xFF) bytes.push_back(ToChar(found->bytes >> 8));
    bytes.push_back(ToChar(found->bytes & 0xFF));
    return true;
}

std::string CodePage::encode(TextView text, char substitute) const {
    std::string bytes;
    for (std::size_t position = 0; position < text.size();)
        if (!encode(NextCodePoint(text, position), bytes)) bytes.push_back(substitute);
    return bytes;
}

Text CodePage::decode(std::string_view bytes) const {
    Text text;
    for (std::size_t position = 0; position < bytes.size(); ++position) {
        const unsigned char byte = static_cast<unsigned char>(bytes[position]);
        char16_t unit = tables_->single[byte];
        if (isLeadByte(byte) && position + 1 < bytes.size()) {
            const unsigned char trail = static_cast<unsigned char>(bytes[position + 1]);
            unit = tables_->rows[tables_->rowOf[byte] - 1u][trail];
            if (unit != kUndefined) ++position;
        }
        text.push_back(unit);
    }
    return text;
}

bool CodePage::isLeadByte(unsigned char byte) const { return tables_->rowOf[byte] != 0; }

std::uint32_t NarrowCodePageNumber(std::uint32_t languageId) {
    constexpr std::uint32_t kPrimaryMask = 0x3FF;
    if (const std::uint32_t page = SystemCodePage(); page != 0) return page;
    return PageIn(kExactPages, languageId)
        .value_or(PageIn(kPrimaryPages, languageId & kPrimaryMask).value_or(kDefaultPage));
}

}  // namespace tovlark
