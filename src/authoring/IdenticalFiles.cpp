#include "authoring/IdenticalFiles.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>
#include <tuple>

#include "authoring/NodeData.h"
#include "authoring/ReadAhead.h"
#include "base/Checksum.h"
#include "base/Sectors.h"

namespace tovlark {

namespace {

constexpr std::size_t kChunkSize = 32768;      // files up to this size are fingerprinted whole
static_assert(5 * kSectorSize <= kChunkSize);  // the sample of a larger one fits as well
constexpr std::size_t kComparedAtOnce = 16;    // files open beside the one they are compared with
constexpr std::size_t kFilesABatch = 64;       // fingerprinted in one go

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

/// Reads a piece of a file whole; one that cannot be read never shares its data.
bool ReadPiece(const NodeData& data, CompilationNode& node, std::uint64_t offset, std::span<std::byte> bytes) {
    std::size_t readCount = 0;
    const SystemError error = data.readAt(offset, bytes, bytes.size(), readCount);
    if (!error.failed() && readCount == bytes.size()) return true;
    node.fingerprintState = FingerprintState::ReadFailed;
    return false;
}

void TakeFingerprint(const NodeData& data, CompilationNode& node, std::span<std::byte> chunk) {
    std::span<std::byte> sample = chunk.first(std::min<std::uint64_t>(node.sizeBytes, kChunkSize));
    if (node.sizeBytes <= kChunkSize) {
        if (!ReadPiece(data, node, 0, sample)) return;
    } else {
        const std::uint64_t count = SectorsFor(node.sizeBytes), half = count / 2, quarter = count / 4;
        std::size_t taken = 0;
        for (const std::uint64_t sector : {std::uint64_t{0}, quarter, half, half + quarter, count - 1}) {
            const std::uint64_t offset = sector * kSectorSize;
            const std::size_t length = std::min<std::uint64_t>(kSectorSize, node.sizeBytes - offset);
            if (!ReadPiece(data, node, offset, sample.subspan(taken, length))) return;
            taken += length;
        }
        sample = sample.first(taken);
    }
    node.fingerprint = Crc32(sample);
    node.fingerprintState = FingerprintState::Computed;
}

/// Where the data of a file of an edited image begin: with the size it tells one from another.
std::uint64_t OffsetOf(const CompilationNode& file) {
    return file.inImage->extents.empty() ? 0 : file.inImage->extents.front().offset;
}

/// What came of the fingerprints of some files: they stand in their nodes.
struct FingerprintBatch {
    std::vector<std::byte> chunk = std::vector<std::byte>(kChunkSize);
    const CompilationNode* unopened = nullptr;  // the first file that could not be opened; none behind it was tried
    SystemError error;
};

void FillBatch(std::span<CompilationNode* const> files, std::span<const std::uint32_t> indexes,
               FingerprintBatch& batch) {
    FolderCache folders;
    for (const std::uint32_t index : indexes) {
        CompilationNode& node = *files[index];
        NodeData data;
        batch.error = data.open(node, folders);
        if (batch.error.failed()) {
            batch.unopened = &node;
            return;
        }
        TakeFingerprint(data, node, batch.chunk);
    }
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
        std::vector<Run> runs;
        for (std::uint32_t first = 0; first < files_.size(); first = runs.back().end) runs.push_back(gather(first));
        session.beginStep(texts[TextId::ScanningFiles], candidates_.size() + files_.size(), ProgressUnit::Files);
        takeFingerprints();
        std::size_t doneCount = 0;
        for (const Run& run : runs) {
            if (run.endCandidate > run.firstCandidate && !stopped()) compareContents(run);
            if (context_.error != BuildError::None) break;
            doneCount = run.end;
            session.addProgress(run.end - run.first);
        }
        for (const std::uint32_t index : repeated_) leaders_[index] = leaders_[leaders_[index]];
        task_.log.append(texts.format(TextId::ScannedFiles, {files_.size(), doneCount}));
        if (context_.error != BuildError::None) return session.print(u"\r\n");
        session.finishStep();
        session.printDone();
    }

    Indexes takeLeaders() { return std::move(leaders_); }

private:
    /// Files of one size, and which of them are candidates.
    struct Run {
        std::uint32_t first, end;
        std::size_t firstCandidate, endCandidate;
    };
    struct OpenFile {
        std::uint32_t index;
        NodeData data;
    };

    bool stopped() {
        if (task_.flags.cancel) context_.error = BuildError::Cancelled;
        return context_.error != BuildError::None;
    }

    /// Gathers the candidates of the size of the file at `first`; what is in memory is compared at once.
    Run gather(std::uint32_t first) {
        Run run{first, first + 1, candidates_.size(), candidates_.size()};
        while (run.end < files_.size() && files_[run.end]->sizeBytes == files_[first]->sizeBytes) ++run.end;
        if (run.end - first == 1) return run;
        Indexes onDisk, inMemory;
        for (std::uint32_t index = first; index < run.end; ++index) {
            const CompilationNode& file = *files_[index];
            if (file.isSpecial()) continue;
            if (file.memory != nullptr)
                inMemory.push_back(index);
            else if (HasSource(file))
                onDisk.push_back(index);
        }
        compareMemory(inMemory);
        setAsideSameSources(onDisk);
        if (onDisk.size() > 1) candidates_.insert(candidates_.end(), onDisk.begin(), onDisk.end());
        run.endCandidate = candidates_.size();
        return run;
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

    /// Takes all but the first file of every source out of the list and makes that one their leader.
    void setAsideSameSources(Indexes& onDisk) {
        const auto sourceOf = [&](std::uint32_t index) {
            const CompilationNode& file = *files_[index];
            const auto* image = file.inImage != nullptr ? file.inImage->image : nullptr;
            return std::tuple(file.sourceFolder, file.sourceName, image, image != nullptr ? OffsetOf(file) : 0);
        };
        std::sort(onDisk.begin(), onDisk.end(), [&](std::uint32_t left, std::uint32_t right) {
            const auto leftSource = sourceOf(left), rightSource = sourceOf(right);
            return leftSource != rightSource ? leftSource < rightSource : left < right;
        });
        Indexes kept;
        for (const std::uint32_t index : onDisk) {
            if (!kept.empty() && sourceOf(kept.back()) == sourceOf(index)) {
                leaders_[index] = kept.back();
                repeated_.push_back(index);
            } else {
                kept.push_back(index);
            }
        }
        std::sort(kept.begin(), kept.end());
        onDisk = std::move(kept);
    }

    /// Reads the candidates folder after folder, and those of an image from its start on: the way they lie on the disk.
    void takeFingerprints() {
        const auto placeOf = [&](std::uint32_t index) {
            const CompilationNode& file = *files_[index];
            return std::pair(file.sourceFolder, file.inImage != nullptr ? OffsetOf(file) : 0);
        };
        Indexes order = candidates_;
        std::stable_sort(order.begin(), order.end(),
                         [&](std::uint32_t left, std::uint32_t right) { return placeOf(left) < placeOf(right); });
        const auto filesOf = [&](std::size_t batchNumber) {
            const std::size_t first = batchNumber * kFilesABatch;
            return std::span(order).subspan(first, std::min(kFilesABatch, order.size() - first));
        };
        const std::size_t batchCount = (order.size() + kFilesABatch - 1) / kFilesABatch;
        ReadAhead<FingerprintBatch> ahead(batchCount, [&](std::size_t number, FingerprintBatch& batch) {
            FillBatch(files_, filesOf(number), batch);
        });
        for (std::size_t number = 0; number < batchCount && !stopped(); ++number) {
            const FingerprintBatch& batch = ahead.take();
            if (batch.unopened != nullptr) return fail(*batch.unopened, batch.error);
            task_.session.addProgress(filesOf(number).size());
        }
    }

    void compareContents(const Run& run) {
        Indexes candidates(candidates_.begin() + static_cast<std::ptrdiff_t>(run.firstCandidate),
                           candidates_.begin() + static_cast<std::ptrdiff_t>(run.endCandidate));
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
        NodeData leaderData;
        if (!open(leader, leaderData)) return;
        std::vector<OpenFile> same(others.size());
        for (std::size_t place = 0; place < others.size(); ++place) {
            same[place].index = others[place];
            if (!open(others[place], same[place].data)) return;
        }
        const std::uint64_t sizeBytes = files_[leader]->sizeBytes;
        for (std::uint64_t offset = 0; offset < sizeBytes && !same.empty(); offset += kChunkSize) {
            if (stopped()) return;
            const std::size_t count = std::min<std::uint64_t>(kChunkSize, sizeBytes - offset);
            if (!ReadPiece(leaderData, *files_[leader], offset, std::span(leaderChunk_).first(count))) {
                for (const OpenFile& other : same) different.push_back(other.index);
                return;
            }
            std::erase_if(same, [&](const OpenFile& other) {
                const std::span<std::byte> chunk = std::span(chunk_).first(count);
                if (!ReadPiece(other.data, *files_[other.index], offset, chunk)) return true;
                if (std::memcmp(chunk.data(), leaderChunk_.data(), count) == 0) return false;
                different.push_back(other.index);
                return true;
            });
        }
        for (const OpenFile& other : same) leaders_[other.index] = leader;
    }

    bool open(std::uint32_t index, NodeData& data) {
        const SystemError error = data.open(*files_[index]);
        if (error.failed()) fail(*files_[index], error);
        return !error.failed();
    }

    void fail(const CompilationNode& node, SystemError error) {
        context_.error = BuildError::OpenFailed;
        context_.errorSubject = SourcePath(node);
        context_.systemError = error;
    }

    Task& task_;
    ImageBuildContext& context_;
    const std::vector<CompilationNode*>& files_;
    Indexes leaders_;
    Indexes candidates_;  // files to be read, run after run
    Indexes repeated_;    // files of a source that another has too
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
