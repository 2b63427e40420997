#pragma once

#include <cstdint>
#include <vector>

#include "app/session/Task.h"
#include "authoring/Compilation.h"

namespace tovlark {

/// The file systems that give names of their own, in the order in which they are told.
enum class NamingTree : std::uint8_t { Iso, Joliet, Udf, Count };

/// Counts the names that do not fit their file system: those that were cut or had to be numbered.
class NameReport {
public:
    void add(NamingTree tree, const CompilationNode& node);
    /// Says in one line how many names each file system changed, and logs the names; nothing when there are none.
    void tell(Task& task, const ImageBuildContext& context) const;

private:
    /// Nobody reads more of them, and a million must not take the log.
    static constexpr std::size_t kLogged = 1000;

    struct Changes {
        std::size_t count = 0;
        std::vector<const CompilationNode*> first;  // at most `kLogged`
    };
    Changes changes_[static_cast<std::size_t>(NamingTree::Count)];
};

}  // namespace tovlark
