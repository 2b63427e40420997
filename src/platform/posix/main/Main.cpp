#include "platform/Main.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

// A program started with a closed standard stream would get the number of that stream for the next file that it opens,
// and write its messages there.
void FillStandardDescriptors() {
    int opened = 0;
    do {
        opened = ::open("/dev/null", O_RDWR);
    } while (opened >= 0 && opened <= 2);
    if (opened > 2) ::close(opened);
}

}  // namespace

int main(int count, char** values) {
    FillStandardDescriptors();
    std::vector<tovlark::Text> words;
    for (int index = 0; index < count; ++index) words.push_back(tovlark::FromUtf8(values[index]));
    return tovlark::ProgramMain(words);
}
