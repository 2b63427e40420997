#include "app/start/Start.h"

#include "app/command/Command.h"
#include "app/session/Settings.h"

namespace tovlark {

namespace {

constexpr TextView kInternalStart1 = u"-ii1", kInternalStart2 = u"-ii2";
constexpr TextView kToolVerbs[] = {u"-vwudisk", u"-vcudisk", u"-vwintogo"};
constexpr TextView kSleep = u"/sleep=";
constexpr std::uint32_t kLongestSleep = 60000;
constexpr TextView kProduct = u"Tovlark", kVersion = u"6.4";
constexpr int kFailed = -1, kCancelled = -2;

bool IsInternalStart(const std::vector<Text>& words) {
    return words.size() > 2 && (words[1] == kInternalStart1 || words[1] == kInternalStart2);
}

void PrintBanner(ConsoleSession& session) {
    session.print(FormatText(u"\r\n%s %s %s\r\n            Type tvcmd -? for help\r\n\r\n",
                             {kProduct, session.texts()[TextId::Version], kVersion}));
}

}  // namespace

StartKind KindOfStart(const std::vector<Text>& words) {
    if (words.size() < 3 || !EqualsIgnoringCase(words[1], kInternalStart1)) return StartKind::Console;
    if (words.size() == 4 && EqualsIgnoringCase(words[2], u"-extract_plugin")) return StartKind::ExtractPlugin;
    for (const TextView verb : kToolVerbs)
        if (EqualsIgnoringCase(words[2], verb)) return StartKind::DriveTool;
    return StartKind::Console;
}

std::uint32_t StartDelay(const std::vector<Text>& words) {
    if (words.size() < 2 || !words[1].starts_with(kSleep)) return 0;
    std::uint32_t delay = 0;
    for (const char16_t unit : TextView(words[1]).substr(kSleep.size())) {
        if (unit < u'0' || unit > u'9') return 0;
        delay = std::min(delay * 10 + (unit - u'0'), kLongestSleep);
    }
    return delay;
}

}  // namespace tovlark
