#include <langinfo.h>
#include <locale.h>
#include <string_view>
#include <time.h>

#include "platform/LocalTime.h"

namespace tovlark {

namespace {

// One conversion of `strftime` in the letters of a date pattern; "" when it is no part of a plain date.
TextView PatternLetters(char conversion) {
    switch (conversion) {
        case 'd':
        case 'e': return u"d";
        case 'm':
        case 'b':
        case 'B':
        case 'h': return u"m";
        case 'y':
        case 'Y':
        case 'G': return u"y";
        case 'F': return u"y-m-d";
        case 'D': return u"m/d/y";
        default: return {};
    }
}

}  // namespace

std::int32_t LocalOffsetAt(UnixSeconds when) {
    static const bool isZoneRead = (::tzset(), true);  // localtime_r need not do it
    const time_t instant = when;
    struct tm local {};
    return isZoneRead && ::localtime_r(&instant, &local) != nullptr ? static_cast<std::int32_t>(local.tm_gmtoff) : 0;
}

Text SystemDatePattern() {
    // The environment's locale, without making it the process's: texts and numbers are not to change with it.
    const locale_t locale = ::newlocale(LC_TIME_MASK | LC_CTYPE_MASK, "", nullptr);
    if (locale == nullptr) return {};
    const std::string format = ::nl_langinfo_l(D_FMT, locale);
    ::freelocale(locale);
    Text pattern;
    const Text text = FromUtf8(format);
    for (std::size_t position = 0; position < text.size(); ++position) {
        if (text[position] != u'%') {
            pattern.push_back(text[position]);
            continue;
        }
        // Flags and the modifiers E and O stand between the sign and the letter.
        position = text.find_first_not_of(u"%-_0^#EO", position);
        if (position == Text::npos) break;
        pattern.append(PatternLetters(static_cast<char>(text[position])));
    }
    return pattern;
}

}  // namespace tovlark
