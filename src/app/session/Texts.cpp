#include "app/session/Texts.h"

#include "app/session/TextRows.h"

namespace tovlark {

namespace {

const TextRow& RowOf(TextId id) { return AllTexts()[static_cast<std::size_t>(id)]; }

Text Escaped(TextView words) {
    Text escaped;
    for (const char16_t unit : words) {
        switch (unit) {
            case u'\r': escaped += u"\\r"; break;
            case u'\n': escaped += u"\\n"; break;
            case u'\t': escaped += u"\\t"; break;
            case u'\\': escaped += u"\\\\"; break;
            default: escaped += unit;
        }
    }
    const TextView ends = u" \"'";
    const bool needsQuotes = ends.find(words.front()) != ends.npos || ends.find(words.back()) != ends.npos;
    return needsQuotes ? u'"' + escaped + u'"' : escaped;
}

}  // namespace

std::uint32_t NumberOf(TextId id) { return RowOf(id).number; }

TextView BuiltInText(TextId id) { return RowOf(id).words; }

TextView Texts::operator[](TextId id) const {
    const TextRow& row = RowOf(id);
    const TextView translated = language_.string(row.number);
    return translated.data() != nullptr && HaveSameConversions(translated, row.words) ? translated : row.words;
}

Text Texts::format(TextId id, std::initializer_list<FormatArgument> arguments) const {
    return FormatText((*this)[id], arguments);
}

Text LanguageTemplate() {
    Text text =
        u"; Id is the Windows language identifier of the translation. Keep the % conversions of every text as they "
        u"are\r\n"
        u"; and in their order: a text whose conversions differ is not used. \\r, \\n, \\t and \\\\ are a line end, a "
        u"tab and\r\n"
        u"; a backslash. Save as UTF-8, or as UTF-16 with a byte order mark.\r\n"
        u"[Language]\r\nId=1033\r\nName=English\r\n\r\n[String]\r\n";
    for (const TextRow& row : AllTexts()) text += FormatText(u"%u=", {row.number}) + Escaped(row.words) + u"\r\n";
    return text;
}

}  // namespace tovlark
