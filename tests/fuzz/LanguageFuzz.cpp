// The bytes are a language file: it is read without a fault, and whatever wording it has, every text still takes its
// own arguments.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "app/session/Texts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tovlark;
    std::string bytes(size, '\0');
    std::copy_n(data, size, bytes.begin());
    const Texts texts(LanguageFile::parse(bytes));
    for (std::uint16_t index = 0; index < static_cast<std::uint16_t>(TextId::Count); ++index) {
        const auto id = static_cast<TextId>(index);
        if (!HaveSameConversions(texts[id], BuiltInText(id))) std::abort();
        (void)texts.format(id, {u"one", 2, u"three", 4});
    }
    return 0;
}
