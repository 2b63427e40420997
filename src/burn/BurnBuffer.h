#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "app/session/SettingsStore.h"
#include "app/session/Task.h"
#include "base/Checksum.h"
#include "burn/SectorSource.h"

namespace tovlark {

/// Memory between source and drive, in MB; what lies outside the range counts as 16.
inline constexpr IntSetting kBurnBufferOfWriter{u"BurnBuffer", 16, 16, 1024};

/// Sectors that a buffer of so many megabytes holds, whatever the size of a sector.
constexpr std::uint32_t BufferSectors(std::uint32_t megabytes) { return megabytes * 512; }
/// The same when there was not enough memory for so many.
constexpr std::uint32_t FewerSectors(std::uint32_t sectors) { return sectors / 8 < 4096 ? 4096 : sectors / 8; }

/// A ring of whole sectors between a source, which a thread of the buffer's reads, and the one thread that writes.
/// Destroying it waits until the source returns from what it is about.
class BurnBuffer {
public:
    /// Memory for a buffer, null if there is none of that size. `delete[]` gives it back.
    using Allocate = std::byte* (*)(std::size_t sizeBytes);

    ~BurnBuffer();
    BurnBuffer(const BurnBuffer&) = delete;

    /// `count` sectors that follow one another, valid until they are consumed: where they lie, or in `scratch`, which
    /// has room for them, if they wrap around the end of the buffer. Empty when the source ended, failed (`fault`) or
    /// the task is cancelled before there are so many.
    std::span<const std::byte> lookAhead(std::span<std::byte> scratch, std::uint32_t count);
    /// Gives the room of sectors that were looked at back to the source.
    void consume(std::uint32_t count);
    /// Both at once: true when `target`, which is whole sectors, was filled.
    bool takeSectors(std::span<std::byte> target);

    /// How many sectors wait to be taken, and for how many there is room at all.
    std::uint32_t filled() const;
    std::uint32_t capacity() const { return capacity_; }
    /// The source delivered everything; else it goes on, or ended for the reason in `fault`.
    bool hasFinished() const;
    /// The source ended short. What `lookAhead` did not give otherwise was given up when the task was cancelled.
    bool hasFailed() const;
    /// Why the source ended short. Only then.
    const SourceFault& fault() const { return fault_; }
    /// What the source warned of since the last call.
    std::vector<Text> takeWarnings();
    /// SHA-256 of all that the source delivered. Only once it has finished.
    Sha256Digest digest() const { return digest_.value(); }

private:
    friend std::unique_ptr<BurnBuffer> CreateBurnBuffer(Task&, const SectorSource&, Allocate);

    BurnBuffer(Task& task, const SectorSource& source) : task_(task), source_(source) {}
    bool reserve(std::uint32_t megabytes, Allocate allocate);
    /// Waits until the buffer is full, the source has ended or the task is cancelled.
    void prefill();

    // The producer's side.
    void produce();
    bool fillSectors(std::uint32_t count);
    bool makeSectors();
    /// Waits for room; how many sectors may be stored now, 0 when the buffer is torn down.
    std::uint32_t waitForRoom(std::uint32_t wanted);
    bool readChunk(std::uint32_t sectors);
    bool putSectors(std::span<const std::byte> sectors);
    /// Hands on what was stored behind the last sector; false when the buffer is torn down.
    bool deliver(std::span<const std::byte> stored);

    void waitForSource(std::uint32_t wanted);
    std::byte* slot(std::uint32_t index) const { return storage_.get() + std::size_t{index} * source_.sectorSize; }

    Task& task_;
    const SectorSource source_;
    std::uint32_t capacity_ = 0;
    std::unique_ptr<std::byte[]> storage_;
    std::uint32_t readIndex_ = 0;                          // the writer's
    std::uint32_t writeIndex_ = 0, deliveredSectors_ = 0;  // the producer's
    std::uint32_t room_ = 0;                               // the same: sectors that may be stored without waiting
    SourceFault fault_;                                    // the producer's while it runs
    Sha256Stream digest_;                                  // the same

    mutable std::mutex lock_;
    std::condition_variable wake_;     // the producer: room was made
    std::condition_variable changed_;  // whoever prefills
    // Under the lock:
    std::uint32_t filled_ = 0;
    bool isWoken_ = false, stopsProducer_ = false, isPrefilling_ = true;
    bool isRunning_ = false, hasFinished_ = false;
    std::vector<Text> warnings_;

    std::thread producer_;
};

std::byte* AllocateBuffer(std::size_t sizeBytes);

/// The buffer of a source, filled as far as it goes before the task is cancelled. Nothing, and the reason is reported,
/// when there is no memory or the source fails at once.
std::unique_ptr<BurnBuffer> CreateBurnBuffer(Task& task, const SectorSource& source,
                                             BurnBuffer::Allocate allocate = AllocateBuffer);

}  // namespace tovlark
