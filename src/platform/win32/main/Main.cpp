#include "platform/Main.h"

#include <windows.h>

#include "platform/win32/Wide.h"

// Programs without a console of their own start here too: the runtime library calls it from `wWinMain`.
int wmain(int count, wchar_t** values) {
    std::vector<tovlark::Text> words;
    for (int index = 0; index < count; ++index) words.push_back(tovlark::FromWide(values[index]));
    return tovlark::ProgramMain(words);
}
