#include "readers/TreeWalk.h"

#include <algorithm>
#include <map>
#include <utility>

namespace tovlark {

namespace {

constexpr std::size_t kMostFolders = 1u << 20;  // waiting at one time
constexpr std::uint64_t kMostItems = 1u << 24;

/// Ranges of bytes, none of which overlaps another.
class RangeSet {
public:
    /// Adds all extents, or none when one overlaps what is there.
    bool add(const std::vector<DataExtent>& extents) {
        for (std::size_t index = 0; index < extents.size(); ++index) {
            const DataExtent& extent = extents[index];
            if (extent.offset == DataExtent::kZeros || extent.sizeBytes == 0) continue;
            if (addOne(extent.offset, extent.offset + extent.sizeBytes)) continue;
            for (std::size_t added = 0; added < index; ++added) {
                if (extents[added].sizeBytes > 0) ends_.erase(extents[added].offset);
            }
            return false;
        }
        return true;
    }

private:
    bool addOne(std::uint64_t begin, std::uint64_t end) {
        const auto next = ends_.lower_bound(begin);
        if (next != ends_.end() && next->first < end) return false;
        if (next != ends_.begin() && std::prev(next)->second > begin) return false;
        ends_.emplace_hint(next, begin, end);
        return true;
    }

    std::map<std::uint64_t, std::uint64_t> ends_;  // by begin
};

class TreeWalk {
public:
    TreeWalk(Volume& volume, const TreeVisitor& visitor) : volume_(volume), visitor_(visitor) {}

    bool run(const WalkedFolder& start) {
        waiting_.push_back(start);
        while (!waiting_.empty()) {
            const WalkedFolder folder = std::move(waiting_.back());
            waiting_.pop_back();
            if (!walk(folder)) return false;
        }
        return true;
    }

private:
    bool tell(const std::optional<VolumeFault>& fault, const WalkedFolder& folder) {
        if (!fault || !visitor_.fault) return true;
        VolumeFault told = *fault;
        if (told.subject == folder.entry.name) told.subject = folder.path;
        return visitor_.fault(told);
    }

    bool walk(const WalkedFolder& folder) {
        std::vector<DataExtent> extents;
        const auto placeFault = volume_.locate(folder.entry, extents);
        if (!tell(placeFault, folder)) return false;
        if (placeFault && extents.empty()) return true;
        if (!entered_.add(extents)) return tell(VolumeFault{TextId::FolderShared, folder.path, {}}, folder);
        if (visitor_.enter && !visitor_.enter(folder)) return false;

        const std::size_t firstBelow = waiting_.size();
        bool goesOn = true, hasTooMany = false;
        const auto fault = volume_.list(folder.entry, [&](const VolumeEntry& entry) {
            hasTooMany = ++itemCount_ > kMostItems || waiting_.size() >= kMostFolders;
            if (hasTooMany) return false;
            std::uint64_t tag = 0;
            bool isEntered = true;
            goesOn = visitor_.item(folder, entry, tag, isEntered);
            if (goesOn && isEntered && entry.kind == EntryKind::Folder)
                waiting_.push_back({(folder.path == u"/" ? Text() : folder.path) + u'/' + entry.name, entry, tag});
            return goesOn;
        });
        if (!goesOn) return false;
        std::reverse(waiting_.begin() + static_cast<std::ptrdiff_t>(firstBelow), waiting_.end());
        if (!placeFault && !tell(fault, folder)) return false;
        if (hasTooMany) {
            waiting_.clear();
            if (!tell(VolumeFault{TextId::TooManyEntries, folder.path, {}}, folder)) return false;
        }
        return !visitor_.leave || visitor_.leave(folder);
    }

    Volume& volume_;
    const TreeVisitor& visitor_;
    RangeSet entered_;
    std::vector<WalkedFolder> waiting_;  // the next one last
    std::uint64_t itemCount_ = 0;
};

}  // namespace

bool WalkTree(Volume& volume, const WalkedFolder& start, const TreeVisitor& visitor) {
    return TreeWalk(volume, visitor).run(start);
}

}  // namespace tovlark
