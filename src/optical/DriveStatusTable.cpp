#include "optical/DriveStatusTable.h"

namespace tovlark {

void DriveStatusTable::enter(Drive drive) {
    for (Slot& slot : slots_) {
        const DriveRecord* expected = nullptr;
        if (slot.drive.compare_exchange_strong(expected, drive.record)) {
            slot.status = {};
            return;
        }
    }
}

void DriveStatusTable::leave(Drive drive) {
    for (Slot& slot : slots_) {
        const DriveRecord* expected = drive.record;
        if (slot.drive.compare_exchange_strong(expected, nullptr)) return;
    }
}

DriveStatus& DriveStatusTable::of(Drive drive) {
    for (Slot& slot : slots_)
        if (slot.drive.load(std::memory_order_acquire) == drive.record) return slot.status;
    return extra_;
}

DriveStatusTable& DriveStatuses() {
    static DriveStatusTable table;
    return table;
}

}  // namespace tovlark
