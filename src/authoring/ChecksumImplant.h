#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "app/session/Task.h"
#include "base/Checksum.h"
#include "base/IsoBytes.h"
#include "base/Status.h"
#include "base/Text.h"

namespace tovlark {

/// Where the descriptor stands that the checksum goes into: sector 16 (ECMA-119 6.2.1).
constexpr std::uint64_t kPrimaryOffset = 16 * std::uint64_t{kSectorSize};

/// The checksum that an ISO 9660 image carries about itself, in the layout that programs for checking media read: all
/// of the volume but its last 15 sectors, the application-use area of the primary descriptor counted as blanks.
class ImageDigest {
public:
    /// Takes the image from its start on, in pieces of any length.
    void add(std::span<const std::byte> bytes);
    /// True when the image has a primary descriptor.
    bool hasPrimary() const { return hasPrimary_; }
    /// True when every sector that the descriptor counts was added.
    bool isComplete() const;
    /// The primary descriptor with the checksum; the image is complete.
    VolumeDescriptor implanted() const;

private:
    void takePrimary();
    void hash(std::span<const std::byte> bytes);

    Md5Stream md5_;
    std::string fragmentSums_;
    std::vector<std::byte> head_;  // the image up to the end of the primary descriptor, which tells what is hashed
    std::uint64_t addedBytes_ = 0, hashedBytes_ = 0;
    std::uint64_t wantedBytes_ = 0, fragmentBytes_ = 0;  // to hash
    std::uint64_t fragment_ = 0;
    VolumeDescriptor primary_;
    bool hasPrimary_ = false;
};

/// An image digest on a thread of its own, a bounded way behind the one thread that adds to it.
class DigestThread {
public:
    DigestThread();
    ~DigestThread();
    DigestThread(const DigestThread&) = delete;

    /// The bytes may go once it returns.
    void add(std::span<const std::byte> bytes);
    /// The digest of all that was added. Throws what computing it threw.
    const ImageDigest& finish();

private:
    void work();
    void stop();

    ImageDigest digest_;
    std::mutex mutex_;
    std::condition_variable filled_, emptied_;
    std::deque<std::vector<std::byte>> waiting_;
    std::vector<std::vector<std::byte>> unused_;
    std::exception_ptr failure_;
    bool isEnding_ = false;
    std::thread thread_;
};

/// Implants a checksum in an image file, in place; an older one is replaced. What cannot be done is reported and leaves
/// the file as it is.
Status ImplantChecksum(Task& task, const Text& path);

}  // namespace tovlark
