#include "platform/LocalTime.h"
#include "platform/win32/Native.h"
#include "platform/win32/Times.h"

namespace tovlark {

std::int32_t LocalOffsetAt(UnixSeconds when) {
    constexpr UnixSeconds kLast = 910'670'515'199;  // 30827-12-31, where SYSTEMTIME ends
    if (when < -kSecondsFrom1601 || when > kLast) return 0;
    const std::uint64_t ticks = static_cast<std::uint64_t>((when + kSecondsFrom1601) * kTicksPerSecond);
    const FILETIME instant{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    SYSTEMTIME utc, local;
    TIME_ZONE_INFORMATION zone;
    FILETIME localTime;
    // The rules of the instant's own year, not of this one.
    if (!::FileTimeToSystemTime(&instant, &utc) || !::GetTimeZoneInformationForYear(utc.wYear, nullptr, &zone) ||
        !::SystemTimeToTzSpecificLocalTime(&zone, &utc, &local) || !::SystemTimeToFileTime(&local, &localTime))
        return 0;
    const std::int64_t wholeSeconds = static_cast<std::int64_t>(ticks) / kTicksPerSecond;
    return static_cast<std::int32_t>(TicksOf(localTime) / kTicksPerSecond - wholeSeconds);
}

Text SystemDatePattern() {
    wchar_t pattern[128];
    const int length =
        ::GetLocaleInfoEx(LOCALE_NAME_USER_DEFAULT, LOCALE_SSHORTDATE, pattern, static_cast<int>(std::size(pattern)));
    if (length <= 0) return {};
    Text result;
    bool isQuoted = false;
    for (const wchar_t unit : std::wstring_view(pattern, static_cast<std::size_t>(length - 1))) {
        if (unit == L'\'') isQuoted = !isQuoted;
        if (unit != L'\'' && !isQuoted) result.push_back(static_cast<char16_t>(unit));
    }
    return result;
}

}  // namespace tovlark
