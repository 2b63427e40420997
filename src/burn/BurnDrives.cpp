#include "burn/BurnDrives.h"

#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "burn/Verify.h"
#include "optical/DiscSummary.h"

namespace tovlark {

namespace {

Text MarkOf(const Texts& texts, Drive drive) {
    const DriveIdentity identity = ReadDriveIdentity(drive);
    return texts.format(TextId::LogOfDrive, {identity.vendor + u' ' + identity.product, drive.record->letter});
}

void BurnOn(DriveTask& one, AbortQuestion& question) {
    Task& shared = one.task;
    DriveRecord& drive = *one.request.drive.record;
    MessageLog log(shared.log, MarkOf(shared.session.texts(), one.request.drive));
    MessageLog* const driveLog = drive.log;
    if (driveLog != nullptr) drive.log = &log;
    Task task{shared.session, shared.settings, log, shared.clock, shared.flags};
    one.request.abortQuestion = &question;
    try {
        one.status = BurnImage(task, one.request);
    } catch (const std::bad_alloc&) {
        ReportError(task, Text(task.session.texts()[TextId::BurnOutOfMemory]));
    }
    drive.log = driveLog;
}

}  // namespace

void BurnOnDrives(std::span<DriveTask> drives) {
    AbortQuestion question;
    std::vector<std::thread> threads;
    threads.reserve(drives.size());
    for (DriveTask& one : drives) {
        try {
            threads.emplace_back([&one, &question] { BurnOn(one, question); });
        } catch (const std::system_error&) {
            ReportError(one.task, Text(one.task.session.texts()[TextId::BurnOutOfMemory]));
        }
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace tovlark
