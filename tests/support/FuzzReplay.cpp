// Stands in for libFuzzer where a seed corpus runs as an ordinary test: gives every file of the folders on the command
// line to the target once, in a buffer of exactly its size so that a sanitizer sees a read past the end.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool Replay(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        std::fprintf(stderr, "cannot read %s\n", file.string().c_str());
        return false;
    }
    const std::vector<char> read{std::istreambuf_iterator<char>(stream), {}};
    std::vector<std::uint8_t> bytes(read.size());
    std::copy(read.begin(), read.end(), bytes.begin());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return true;
}

}  // namespace

int main(int count, char** words) {
    int replayed = 0;
    for (int index = 1; index < count; ++index) {
        for (const auto& entry : std::filesystem::directory_iterator(words[index])) {
            if (!Replay(entry.path())) return 1;
            ++replayed;
        }
    }
    std::printf("%d inputs\n", replayed);
    return replayed > 0 ? 0 : 1;
}
