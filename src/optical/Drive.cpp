#include "optical/Drive.h"

#include <utility>

#include "optical/DriveStatusTable.h"

namespace tovlark {

OpenedDrive::OpenedDrive(DriveRecord record) : record_(std::make_unique<DriveRecord>(std::move(record))) {
    DriveStatuses().enter(get());
}

OpenedDrive& OpenedDrive::operator=(OpenedDrive&& other) noexcept {
    if (this != &other) {
        close();
        record_ = std::move(other.record_);
    }
    return *this;
}

OpenedDrive::~OpenedDrive() { close(); }

void OpenedDrive::close() {
    if (!record_) return;
    DriveStatuses().leave(get());
    if (record_->device.close != nullptr) record_->device.close(record_->device.self);
    record_.reset();
}

}  // namespace tovlark
