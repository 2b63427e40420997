#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "app/session/Task.h"
#include "base/Msf.h"
#include "burn/SectorSource.h"
#include "optical/Drive.h"

namespace tovlark {

/// Whether verification is to be broken off, asked once for all the drives that verify side by side: whoever comes
/// first asks, the others wait for the answer and follow it.
class AbortQuestion {
public:
    /// To be called between reads: true when all are to stop. Without a request to cancel nothing is asked.
    bool isAnsweredYes(Task& task);

private:
    std::mutex lock_;
    bool aborts_ = false;
};

/// What a written disc is compared with.
struct VerifyRequest {
    Drive drive;
    SectorSource source;  // the one that was burned: it is read once more
    Lba start{0};         // where its first sector is on the disc
    AbortQuestion& abortQuestion;
    std::vector<std::uint32_t> trackStarts = {};  // in the source, in order: no read of a CD goes from one to the next
};

enum class VerifyOutcome : std::uint8_t { Passed, WithErrors, Failed, Cancelled };

/// Reads the disc back from the medium and compares it with the source, sector by sector; padding behind the last
/// sector is not looked at. Differences are told and asked about, the files that they lie in are named, and the outcome
/// is reported: all but `Passed` and `Cancelled` set the error flag.
VerifyOutcome VerifyDisc(Task& task, const VerifyRequest& request);

}  // namespace tovlark
