#include "platform/SystemError.h"

#include "base/Format.h"
#include "platform/win32/Native.h"

namespace tovlark {

namespace {

// ERROR_DIRECTORY_NOT_SUPPORTED: "An operation is not supported on a directory."
constexpr DWORD kDirectoryNotSupported = 336;

}  // namespace

const SystemError kFileTooLarge{ERROR_FILE_TOO_LARGE}, kTooManyLinks{ERROR_CANT_RESOLVE_FILENAME},
    kIsFolder{kDirectoryNotSupported};

Text DescribeError(SystemError error) {
    constexpr DWORD kFlags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
    constexpr DWORD kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), kAnyLanguage = 0;
    wchar_t words[1024];
    DWORD length = 0;
    for (const DWORD language : {kEnglish, kAnyLanguage}) {
        length = ::FormatMessageW(kFlags, nullptr, error.code, language, words, static_cast<DWORD>(std::size(words)),
                                  nullptr);
        if (length != 0) break;
    }
    Text text = FromWide(std::wstring_view(words, length));
    text.resize(text.find_last_not_of(u". \r\n") + 1);
    return text.empty() ? FormatText(u"Unknown error %u", {error.code}) : text;
}

}  // namespace tovlark
