#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "authoring/Adding.h"
#include "support/FakeSession.h"
#include "support/TempFolder.h"

namespace tovlark {

/// A folder on the disk and a compilation to add it to.
struct AddingFixture {
    TempFolder disk;
    FakeSession fake;
    ImageBuildContext context;

    /// Adds what stands at a path below the folder on the disk; "." is that folder itself.
    AddResult add(const std::string& below, TextView target) {
        const Text path = below == "." ? disk.path().u16string() : disk.path().u16string() + u"/" + FromUtf8(below);
        return AddFromDisk(fake.task, context, path, *MakeFolders(fake.task, context, target));
    }

    /// The paths of all nodes in order, those of folders ending in '/'.
    std::vector<std::string> tree() const {
        std::vector<std::string> paths;
        list(*context.root, paths);
        std::sort(paths.begin(), paths.end());
        return paths;
    }

private:
    static void list(const CompilationNode& folder, std::vector<std::string>& paths) {
        for (const CompilationNode* child : folder.folder->children) {
            paths.push_back(ToUtf8(PathInImage(*child)) + (child->isFolder() ? "/" : ""));
            if (child->isFolder()) list(*child, paths);
        }
    }
};

}  // namespace tovlark
