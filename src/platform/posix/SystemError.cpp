#include "platform/SystemError.h"

#include <cerrno>
#include <cstring>

#include "base/Format.h"

namespace tovlark {

const SystemError kFileTooLarge{EFBIG}, kTooManyLinks{ELOOP}, kIsFolder{EISDIR};

Text DescribeError(SystemError error) {
    // This one is thread-safe and never translated.
    const char* words = ::strerrordesc_np(static_cast<int>(error.code));
    return words != nullptr ? FromUtf8(words) : FormatText(u"Unknown error %u", {error.code});
}

}  // namespace tovlark
