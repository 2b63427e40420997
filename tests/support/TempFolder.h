#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tovlark {

/// A new empty folder that is removed with everything in it at the end. Failing to set one up throws, which fails the
/// test.
class TempFolder {
public:
    TempFolder() {
        std::random_device random;
        do {
            path_ = std::filesystem::temp_directory_path() / ("tovlark-test-" + std::to_string(random()));
        } while (!std::filesystem::create_directory(path_));
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& below) const { return path_ / below; }

    /// Makes the file (and the folders above it) with these bytes; returns its full path.
    std::filesystem::path write(const std::filesystem::path& below, std::string_view bytes) const {
        const std::filesystem::path file = path_ / below;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream stream(file, std::ios::binary);
        stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        stream.close();
        if (!stream) throw std::runtime_error("cannot write " + file.string());
        return file;
    }

    /// All bytes of a file below.
    std::string read(const std::filesystem::path& below) const {
        std::ifstream stream(path_ / below, std::ios::binary);
        if (!stream) throw std::runtime_error("cannot read " + (path_ / below).string());
        return {std::istreambuf_iterator<char>(stream), {}};
    }

private:
    std::filesystem::path path_;
};

}  // namespace tovlark
