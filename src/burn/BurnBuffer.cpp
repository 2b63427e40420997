#include "burn/BurnBuffer.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <system_error>

namespace tovlark {

namespace {

constexpr std::uint32_t kDiscMegabytes = 32;  // at least, for a disc that is read while another is written
constexpr std::uint32_t kBurst = 2048;        // sectors that a buffer is refilled with at once
constexpr std::uint32_t kDiscChunk = 16;      // sectors that are read of a disc at once
constexpr std::uint32_t kChunk = 512;         // and of anything else, so that the writer sees them soon
constexpr std::uint32_t kWaitSteps = 50;      // of a millisecond, for an empty buffer to be refilled
constexpr auto kRoomWait = std::chrono::milliseconds(1000);
constexpr auto kPrefillWait = std::chrono::milliseconds(100);  // between looks at the cancel flag

}  // namespace

std::byte* AllocateBuffer(std::size_t sizeBytes) { return new (std::nothrow) std::byte[sizeBytes]; }

std::unique_ptr<BurnBuffer> CreateBurnBuffer(Task& task, const SectorSource& source, BurnBuffer::Allocate allocate) {
    std::uint32_t megabytes = task.settings.getInt(kBurnBufferOfWriter);
    if (source.isDisc) megabytes = std::max(megabytes, kDiscMegabytes);
    std::unique_ptr<BurnBuffer> buffer;
    try {
        buffer.reset(new BurnBuffer(task, source));
        if (!buffer->reserve(megabytes, allocate)) throw std::bad_alloc();
        buffer->isRunning_ = true;
        buffer->producer_ = std::thread([&made = *buffer] { made.produce(); });
    } catch (const std::exception&) {  // no memory, or no thread
        ReportError(task, Text(task.session.texts()[TextId::BurnOutOfMemory]));
        return nullptr;
    }
    if (buffer->prefill()) return buffer;
    if (!task.flags.cancel) ReportFault(task, buffer->fault());
    return nullptr;
}

bool BurnBuffer::reserve(std::uint32_t megabytes, Allocate allocate) {
    capacity_ = BufferSectors(megabytes);
    storage_.reset(allocate(std::size_t{capacity_} * source_.sectorSize));
    if (storage_ == nullptr) {
        capacity_ = FewerSectors(capacity_);
        storage_.reset(allocate(std::size_t{capacity_} * source_.sectorSize));
    }
    return storage_ != nullptr;
}

BurnBuffer::~BurnBuffer() {
    if (!producer_.joinable()) return;
    {
        const std::lock_guard guard(lock_);
        stopsProducer_ = isWoken_ = true;
    }
    wake_.notify_one();
    producer_.join();
}

bool BurnBuffer::prefill() {
    std::unique_lock guard(lock_);
    const auto isDone = [this] { return filled_ == capacity_ || !isRunning_; };
    while (!changed_.wait_for(guard, kPrefillWait, isDone))
        if (task_.flags.cancel) return false;
    isPrefilling_ = false;
    return isRunning_ || hasFinished_;
}

void BurnBuffer::produce() {
    bool hasDelivered = false;
    try {
        hasDelivered = fillSectors(source_.sectorCount);
    } catch (const std::bad_alloc&) {
        fault_.text = TextId::BurnOutOfMemory;
    }
    const std::lock_guard guard(lock_);
    hasFinished_ = hasDelivered;
    isRunning_ = false;
    changed_.notify_one();
}

bool BurnBuffer::fillSectors(std::uint32_t count) {
    while (count > 0) {
        std::uint32_t room = waitForRoom(count);
        if (room == 0) return false;
        count -= room;
        while (room > 0) {
            const std::uint32_t chunk = std::min({room, source_.isDisc ? kDiscChunk : kChunk, capacity_ - writeIndex_});
            if (!storeChunk(chunk)) return false;
            room -= chunk;
        }
    }
    return true;
}

std::uint32_t BurnBuffer::waitForRoom(std::uint32_t wanted) {
    std::unique_lock guard(lock_);
    while (!stopsProducer_) {
        const std::uint32_t free = capacity_ - filled_;
        const bool isEnough = free >= wanted || free >= capacity_ / 4 || (isPrefilling_ && free > 0) ||
                              (source_.isDisc && free >= kBurst);
        if (isEnough) return std::min(free, wanted);
        wake_.wait_for(guard, kRoomWait, [this] { return isWoken_; });
        isWoken_ = false;
    }
    return 0;
}

bool BurnBuffer::storeChunk(std::uint32_t sectors) {
    const std::span target(slot(writeIndex_), std::size_t{sectors} * source_.sectorSize);
    if (!source_.read(source_.self, deliveredSectors_, target, fault_)) return false;
    digest_.add(target);
    deliveredSectors_ += sectors;
    writeIndex_ = (writeIndex_ + sectors) % capacity_;
    const std::lock_guard guard(lock_);
    filled_ += sectors;
    if (filled_ == capacity_) changed_.notify_one();
    return !stopsProducer_;
}

std::uint32_t BurnBuffer::filled() const {
    const std::lock_guard guard(lock_);
    return filled_;
}

bool BurnBuffer::hasFinished() const {
    const std::lock_guard guard(lock_);
    return hasFinished_;
}

void BurnBuffer::waitForSource(std::uint32_t wanted) {
    const auto isRefilled = [this] {
        const std::lock_guard guard(lock_);
        return !isRunning_ || filled_ >= capacity_ - kBurst;
    };
    const Clock& clock = task_.clock;
    task_.log.append(
        task_.session.texts().format(TextId::LogBufferEmpty, {static_cast<std::int64_t>(filled()), wanted}));
    clock.sleep(clock.self, 1);
    for (std::uint32_t step = 0; step < kWaitSteps && !isRefilled(); ++step) clock.sleep(clock.self, 1);
}

std::span<const std::byte> BurnBuffer::lookAhead(std::span<std::byte> scratch, std::uint32_t count) {
    while (true) {
        {
            const std::lock_guard guard(lock_);
            if (filled_ >= count) break;
            if (!isRunning_) return {};
        }
        if (task_.flags.cancel) return {};
        waitForSource(count);
    }
    const std::size_t sectorSize = source_.sectorSize;
    const std::uint32_t tail = std::min(count, capacity_ - readIndex_);
    if (tail == count) return {slot(readIndex_), count * sectorSize};
    std::copy_n(slot(readIndex_), tail * sectorSize, scratch.begin());
    std::copy_n(slot(0), (count - tail) * sectorSize, scratch.subspan(tail * sectorSize).begin());
    return scratch.first(count * sectorSize);
}

void BurnBuffer::consume(std::uint32_t count) {
    {
        const std::lock_guard guard(lock_);
        readIndex_ = (readIndex_ + count) % capacity_;
        filled_ -= count;
        isWoken_ = true;
    }
    wake_.notify_one();
}

bool BurnBuffer::takeSectors(std::span<std::byte> target) {
    const auto count = static_cast<std::uint32_t>(target.size() / source_.sectorSize);
    const auto sectors = lookAhead(target, count);
    if (sectors.empty()) return false;
    if (sectors.data() != target.data()) std::ranges::copy(sectors, target.begin());
    consume(count);
    return true;
}

}  // namespace tovlark
