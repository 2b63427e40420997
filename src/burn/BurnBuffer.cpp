#include "burn/BurnBuffer.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

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
    buffer->prefill();
    if (!buffer->hasFailed()) return buffer;
    ReportFault(task, buffer->fault());
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

void BurnBuffer::prefill() {
    std::unique_lock guard(lock_);
    const auto isDone = [this] { return filled_ == capacity_ || !isRunning_; };
    while (!changed_.wait_for(guard, kPrefillWait, isDone))
        if (task_.flags.cancel) break;
    isPrefilling_ = false;
}

void BurnBuffer::produce() {
    bool hasDelivered = false;
    try {
        hasDelivered = source_.make != nullptr ? makeSectors() : fillSectors(source_.sectorCount);
    } catch (const std::bad_alloc&) {
        fault_.text = TextId::BurnOutOfMemory;
    } catch (const std::exception& failure) {
        fault_.details = FromUtf8(failure.what());
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
            if (!readChunk(chunk)) return false;
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

bool BurnBuffer::makeSectors() {
    const SectorIntake intake{this,
                              [](void* self, std::span<const std::byte> sectors) {
                                  return static_cast<BurnBuffer*>(self)->putSectors(sectors);
                              },
                              [](void* self, const Text& words) {
                                  auto& buffer = *static_cast<BurnBuffer*>(self);
                                  const std::lock_guard guard(buffer.lock_);
                                  buffer.warnings_.push_back(words);
                              }};
    return source_.make(source_.self, intake, fault_) && deliveredSectors_ == source_.sectorCount;
}

bool BurnBuffer::putSectors(std::span<const std::byte> sectors) {
    while (!sectors.empty()) {
        // More than was announced is not wanted.
        if (room_ == 0) room_ = waitForRoom(source_.sectorCount - deliveredSectors_);
        if (room_ == 0) return false;
        const auto left = static_cast<std::uint32_t>(sectors.size() / source_.sectorSize);
        const std::uint32_t chunk = std::min({room_, kChunk, left, capacity_ - writeIndex_});
        const std::size_t bytes = std::size_t{chunk} * source_.sectorSize;
        std::ranges::copy(sectors.first(bytes), slot(writeIndex_));
        room_ -= chunk;
        if (!deliver({slot(writeIndex_), bytes})) return false;
        sectors = sectors.subspan(bytes);
    }
    return true;
}

bool BurnBuffer::readChunk(std::uint32_t sectors) {
    const std::span target(slot(writeIndex_), std::size_t{sectors} * source_.sectorSize);
    return source_.read(source_.self, deliveredSectors_, target, fault_) && deliver(target);
}

bool BurnBuffer::deliver(std::span<const std::byte> stored) {
    const auto sectors = static_cast<std::uint32_t>(stored.size() / source_.sectorSize);
    digest_.add(stored);
    deliveredSectors_ += sectors;
    writeIndex_ = (writeIndex_ + sectors) % capacity_;
    const std::lock_guard guard(lock_);
    filled_ += sectors;
    if (filled_ == capacity_) changed_.notify_one();
    return !stopsProducer_;
}

std::vector<Text> BurnBuffer::takeWarnings() {
    const std::lock_guard guard(lock_);
    return std::exchange(warnings_, {});
}

std::uint32_t BurnBuffer::filled() const {
    const std::lock_guard guard(lock_);
    return filled_;
}

bool BurnBuffer::hasFinished() const {
    const std::lock_guard guard(lock_);
    return hasFinished_;
}

bool BurnBuffer::hasFailed() const {
    const std::lock_guard guard(lock_);
    return !isRunning_ && !hasFinished_;
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
