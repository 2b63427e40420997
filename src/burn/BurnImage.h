#pragma once

#include <optional>

#include "app/session/Task.h"
#include "base/Status.h"
#include "burn/BurnCd.h"
#include "burn/DiscBurn.h"
#include "burn/SectorSource.h"
#include "optical/Drive.h"

namespace tovlark {

class AbortQuestion;

/// What is burned, and where. The drive is this process's alone.
struct BurnRequest {
    Drive drive;
    SectorSource source;
    BurnOptions options;
    std::optional<CdContent> cd = {};        // nothing: one track of data
    AbortQuestion* abortQuestion = nullptr;  // of the drives that burn side by side; null: alone
};

/// Burns the source on the disc in the drive, from its first block on; a rewritable disc that is not empty is erased if
/// the user agrees. Then it is verified, if the options say so. Each failure is reported, and so is the outcome. Once
/// the task is cancelled the disc is left as usable as its kind allows, and what state that is is said.
Status BurnImage(Task& task, const BurnRequest& request);

/// Checks that come before anything is done to the disc: whether it can be burned as the request says. Fills in the
/// medium and the blocks to write. False after a message.
[[nodiscard]] bool CheckDisc(DiscBurn& burn, const BurnRequest& request);

}  // namespace tovlark
