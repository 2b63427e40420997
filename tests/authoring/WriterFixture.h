#pragma once

#include <cstring>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <string>

#include "authoring/Compilation.h"
#include "authoring/ImageWriter.h"
#include "authoring/IsoReader.h"
#include "support/FakeSession.h"
#include "support/TempFolder.h"

namespace tovlark {

/// A compilation of generated nodes, written to memory.
class WriterFixture : public testing::Test {
protected:
    WriterFixture() { InitialiseCompilation(fake_.task, context_); }

    CompilationNode& folder(CompilationNode& parent, TextView name) {
        return context_.newNode(NodeKind::Folder, parent, name);
    }
    CompilationNode& file(CompilationNode& parent, TextView name, std::string contents) {
        CompilationNode& node = context_.newNode(NodeKind::File, parent, name);
        const std::string& kept = contents_.emplace_back(std::move(contents));
        node.sizeBytes = kept.size();
        node.memory = &memory_.emplace_back(MemorySource{&kept, std::as_bytes(std::span(kept))});
        return node;
    }
    /// A node for a file on disk, as it is now.
    CompilationNode& source(CompilationNode& parent, const std::filesystem::path& path) {
        CompilationNode& node = context_.newNode(NodeKind::File, parent, path.filename().u16string());
        node.sourceFolder = &context_.sourceFolder(path.parent_path().u16string());
        node.sourceName = context_.store(TextView(node.longName));
        node.sizeBytes = std::filesystem::file_size(path);
        return node;
    }
    CompilationNode& link(CompilationNode& parent, TextView name, TextView target) {
        CompilationNode& node = context_.newNode(NodeKind::SymbolicLink, parent, name);
        node.linkTarget = context_.store(target);
        return node;
    }

    /// Writes the compilation to `image_`, or another one to its own image.
    Status write() {
        image_.clear();
        return write(context_, image_);
    }
    Status write(ImageBuildContext& context, std::string& image) {
        MemorySink memory{*this, image};
        return WriteImage(fake_.task, context, {&memory, AcceptSectors, nullptr});
    }
    IsoReader::Tree readIso(bool hasRockRidge = true) { return IsoReader(image_).read(16, hasRockRidge); }
    IsoReader::Tree readJoliet() { return IsoReader(image_).read(17, false); }

    FakeSession fake_;
    ImageBuildContext context_;
    std::deque<std::string> contents_;
    std::deque<MemorySource> memory_;
    std::string image_;
    std::uint32_t acceptCount_ = 0;
    std::function<bool()> beforeAccept_ = [] { return true; };  // false: the sink takes nothing

private:
    struct MemorySink {
        WriterFixture& fixture;
        std::string& image;
    };
    static std::uint32_t AcceptSectors(void* self, std::uint32_t first, std::span<const std::byte> sectors) {
        auto& [fixture, image] = *static_cast<MemorySink*>(self);
        EXPECT_EQ(image.size(), std::uint64_t{first} * 2048);
        EXPECT_EQ(sectors.size() % 2048, 0u);
        ++fixture.acceptCount_;
        if (!fixture.beforeAccept_()) return 0;
        image.resize(image.size() + sectors.size());
        std::memcpy(image.data() + image.size() - sectors.size(), sectors.data(), sectors.size());
        return static_cast<std::uint32_t>(sectors.size() / 2048);
    }
};

}  // namespace tovlark
