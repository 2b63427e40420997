#include "authoring/IdenticalFiles.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>
#include <tuple>

#include "base/Checksum.h"
#include "base/Sectors.h"
#include "platform/Files.h"

namespace tovlark {

namespace {

constexpr std::size_t kChunkSize = 32768;      // files up to this size are fingerprinted whole
static_assert(5 * kSectorSize <= kChunkSize);  // the sample of a larger one fits as well
constexpr std::size_t kComparedAtOnce = 16;    // files open beside the one they are compared with

std::vector<CompilationNode*> FilesBySize(const ImageBuildContext& context) {
    std::vector<CompilationNode*> files;
    std::vector<const CompilationNode*> pending{context.root};
    while (!pending.empty()) {
        const CompilationNode& folder = *pending.back();
        pending.pop_back();
        for (CompilationNode* child : folder.folder->children) {
            if (child->isFolder())
                pending.push_back(child);
            else if (child->kind == NodeKind::File && child->sizeBytes > 0)
                files.push_back(child);
        }
    }
    std::stable_sort(files.begin(), files.end(), [](const CompilationNode* left, const CompilationNode* right) {
        return left->sizeBytes < right->sizeBytes;
    });
    for (std::size_t index = 0; index < files.size(); ++index)
        files[index]->orderIndex = static_cast<std::uint32_t>(index);
    return files;
}

/// Finds the leader of every file. Files are known by their order index.
class FileComparer {
public:
    using Indexes = std::vector<std::uint32_t>;

    FileComparer(Task& task, ImageBuildContext& context, const std::vector<CompilationNode*>& files)
        : task_(task), context_(context), files_(files), leaders_(files.size()) {
        std::iota(leaders_.begin(), leaders_.end(), 0);
    }

    void run() {
        ConsoleSession& session = task_.session;
        const Texts& texts = session.texts();
        session.beginStep(texts[TextId::ScanningFiles], files_.size());
        std::size_t first = 0;
        while (first < files_.size() && context_.error == BuildError::None) {
            std::size_t end = first + 1;
            while (end < files_.size() && files_[end]->sizeBytes == files_[first]->sizeBytes) ++end;
            if (end - first > 1) compareRun(static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(end));
            if (context_.error == BuildError::None) session.addProgress(end - first);
            first = end;
        }
        task_.log.append(texts.format(TextId::ScannedFiles, {files_.size(), std::min(first, files_.size())}));
        if (context_.error != BuildError::None) return session.print(u"\r\n");
        session.finishStep();
        session.printDone();
    }

    Indexes takeLeaders() { return std::move(leaders_); }

private:
    struct OpenFile {
        std::uint32_t index;
        InputFile file;
    };

    bool stopped() {
        if (task_.flags.cancel) context_.error = BuildError::Cancelled;
        return context_.error != BuildError::None;
    }

    /// Files of one size.
    void compareRun(std::uint32_t first, std::uint32_t end) {
        Indexes onDisk, inMemory;
        for (std::uint32_t index = first; index < end; ++index) {
            const CompilationNode& file = *files_[index];
            if (file.isSpecial()) continue;
            if (file.memory != nullptr)
                inMemory.push_back(index);
            else if (file.sourceFolder != nullptr)
                onDisk.push_back(index);
        }
        compareMemory(inMemory);
        const Indexes repeated = setAsideSameSources(onDisk);
        if (onDisk.size() > 1) compareContents(onDisk);
        for (const std::uint32_t index : repeated) leaders_[index] = leaders_[leaders_[index]];
    }

    void compareMemory(const Indexes& inMemory) {
        Indexes distinct;
        for (const std::uint32_t index : inMemory) {
            const MemorySource& memory = *files_[index]->memory;
            const auto same = std::find_if(distinct.begin(), distinct.end(), [&](std::uint32_t other) {
                const MemorySource& earlier = *files_[other]->memory;
                return earlier.owner == memory.owner && std::ranges::equal(earlier.data, memory.data);
            });
            if (same == distinct.end())
                distinct.push_back(index);
            else
                leaders_[index] = *same;
        }
    }

    /// Takes all but the first file of every source path out of the list, makes that one their leader and returns
    /// them.
    Indexes setAsideSameSources(Indexes& onDisk) {
        const auto sourceOf = [&](std::uint32_t index) {
            return std::pair(files_[index]->sourceFolder, files_[index]->sourceName);
        };
        std::sort(onDisk.begin(), onDisk.end(), [&](std::uint32_t left, std::uint32_t right) {
            const auto [leftFolder, leftName] = sourceOf(left);
            const auto [rightFolder, rightName] = sourceOf(right);
            if (leftFolder != rightFolder) return std::less<>()(leftFolder, rightFolder);
            return std::tie(leftName, left) < std::tie(rightName, right);
        });
        Indexes kept, repeated;
        for (const std::uint32_t index : onDisk) {
            if (!kept.empty() && sourceOf(kept.back()) == sourceOf(index)) {
                leaders_[index] = kept.back();
                repeated.push_back(index);
            } else {
                kept.push_back(index);
            }
        }
        std::sort(kept.begin(), kept.end());
        onDisk = std::move(kept);
        return repeated;
    }

    void compareContents(Indexes& candidates) {
        for (const std::uint32_t index : candidates) {
            if (stopped()) return;
            takeFingerprint(*files_[index]);
        }
        if (stopped()) return;
        std::erase_if(candidates, [&](std::uint32_t index) {
            return files_[index]->fingerprintState != FingerprintState::Computed;
        });
        std::stable_sort(candidates.begin(), candidates.end(), [&](std::uint32_t left, std::uint32_t right) {
            return files_[left]->fingerprint < files_[right]->fingerprint;
        });
        for (auto first = candidates.begin(); first != candidates.end();) {
            const auto end = std::find_if(first, candidates.end(), [&](std::uint32_t index) {
                return files_[index]->fingerprint != files_[*first]->fingerprint;
            });
            compareGroup({first, end});
            first = end;
        }
    }

    /// Files of one fingerprint: each is compared with one file of every content that was found.
    void compareGroup(Indexes group) {
        while (group.size() > 1) {
            Indexes different;
            for (std::size_t start = 1; start < group.size(); start += kComparedAtOnce) {
                if (stopped()) return;
                const std::size_t count = std::min(kComparedAtOnce, group.size() - start);
                compareWith(group[0], std::span(group).subspan(start, count), different);
            }
            std::sort(different.begin(), different.end());
            group = std::move(different);
        }
    }

    /// Reads all the files side by side, so that each is read once, and only up to where it differs.
    void compareWith(std::uint32_t leader, std::span<const std::uint32_t> others, Indexes& different) {
        InputFile leaderFile;
        if (!open(leader, leaderFile)) return;
        std::vector<OpenFile> same(others.size());
        for (std::size_t place = 0; place < others.size(); ++place) {
            same[place].index = others[place];
            if (!open(others[place], same[place].file)) return;
        }
        const std::uint64_t sizeBytes = files_[leader]->sizeBytes;
        for (std::uint64_t offset = 0; offset < sizeBytes && !same.empty(); offset += kChunkSize) {
            if (stopped()) return;
            const std::size_t count = std::min<std::uint64_t>(kChunkSize, sizeBytes - offset);
            if (!read(leaderFile, leader, offset, std::span(leaderChunk_).first(count))) {
                for (const OpenFile& other : same) different.push_back(other.index);
                return;
            }
            std::erase_if(same, [&](const OpenFile& other) {
                const std::span<std::byte> chunk = std::span(chunk_).first(count);
                if (!read(other.file, other.index, offset, chunk)) return true;
                if (std::memcmp(chunk.data(), leaderChunk_.data(), count) == 0) return false;
                different.push_back(other.index);
                return true;
            });
        }
        for (const OpenFile& other : same) leaders_[other.index] = leader;
    }

    void takeFingerprint(CompilationNode& node) {
        InputFile file;
        if (!open(node.orderIndex, file)) return;
        std::span<std::byte> sample = std::span(chunk_).first(std::min<std::uint64_t>(node.sizeBytes, kChunkSize));
        if (node.sizeBytes <= kChunkSize) {
            if (!read(file, node.orderIndex, 0, sample)) return;
        } else {
            const std::uint64_t count = SectorsFor(node.sizeBytes), half = count / 2, quarter = count / 4;
            std::size_t taken = 0;
            for (const std::uint64_t sector : {std::uint64_t{0}, quarter, half, half + quarter, count - 1}) {
                const std::uint64_t offset = sector * kSectorSize;
                const std::size_t length = std::min<std::uint64_t>(kSectorSize, node.sizeBytes - offset);
                if (!read(file, node.orderIndex, offset, sample.subspan(taken, length))) return;
                taken += length;
            }
            sample = sample.first(taken);
        }
        node.fingerprint = Crc32(sample);
        node.fingerprintState = FingerprintState::Computed;
    }

    bool open(std::uint32_t index, InputFile& file) {
        const Text path = SourcePath(*files_[index]);
        const SystemError error = file.open(path);
        if (!error.failed()) return true;
        context_.error = BuildError::OpenFailed;
        context_.errorSubject = path;
        context_.systemError = error;
        return false;
    }

    bool read(const InputFile& file, std::uint32_t index, std::uint64_t offset, std::span<std::byte> bytes) {
        std::size_t readCount = 0;
        const SystemError error = file.readAt(offset, bytes, readCount);
        if (!error.failed() && readCount == bytes.size()) return true;
        files_[index]->fingerprintState = FingerprintState::ReadFailed;
        return false;
    }

    Task& task_;
    ImageBuildContext& context_;
    const std::vector<CompilationNode*>& files_;
    Indexes leaders_;
    std::vector<std::byte> leaderChunk_ = std::vector<std::byte>(kChunkSize);
    std::vector<std::byte> chunk_ = std::vector<std::byte>(kChunkSize);
};

}  // namespace

CompilationNode& IdenticalFiles::leaderOf(CompilationNode& file) const {
    const bool isListed = file.orderIndex < bySize_.size() && bySize_[file.orderIndex] == &file;
    return isListed ? *bySize_[leaderIndex_[file.orderIndex]] : file;
}

IdenticalFiles FindIdenticalFiles(Task& task, ImageBuildContext& context) {
    std::vector<CompilationNode*> files = FilesBySize(context);
    FileComparer comparer(task, context, files);
    if (context.optimisationEnabled && context.kind == ImageKind::Data && context.error == BuildError::None &&
        !files.empty())
        comparer.run();
    FileComparer::Indexes leaders = comparer.takeLeaders();
    return IdenticalFiles(std::move(files), std::move(leaders));
}

}  // namespace tovlark
