#include "authoring/ChecksumImplant.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>
#include <system_error>

#include "base/Format.h"
#include "platform/Files.h"

namespace tovlark {

namespace {

constexpr std::uint64_t kChunk = 32768;
constexpr std::uint32_t kSkippedSectors = 15, kFragments = 20;
constexpr std::size_t kDigitsPerFragment = 3;
constexpr std::size_t kQueuedPieces = 8, kQueuedPiece = 1 << 18;
constexpr std::size_t kHeadBytes = kPrimaryOffset + kSectorSize;

constexpr char kDigits[] = "0123456789abcdef";

std::string ToText(const Md5Digest& digest) {
    std::string text;
    for (const std::uint8_t byte : digest) text.append({kDigits[byte >> 4], kDigits[byte & 15]});
    return text;
}

/// The first digit of a number that is written without leading zeros.
char LeadingDigit(std::uint8_t byte) { return kDigits[byte < 16 ? byte : byte >> 4]; }

}  // namespace

void ImageDigest::add(std::span<const std::byte> bytes) {
    addedBytes_ += bytes.size();
    if (head_.size() < kHeadBytes) {
        const std::span<const std::byte> piece = bytes.first(std::min(bytes.size(), kHeadBytes - head_.size()));
        head_.insert(head_.end(), piece.begin(), piece.end());
        bytes = bytes.subspan(piece.size());
        if (head_.size() == kHeadBytes) takePrimary();
    }
    hash(bytes);
}

void ImageDigest::takePrimary() {
    const std::span<std::byte> place = std::span(head_).subspan(kPrimaryOffset);
    std::memcpy(&primary_, place.data(), sizeof(primary_));
    hasPrimary_ = primary_.type == VolumeDescriptor::kPrimary &&
                  std::string_view(primary_.identifier, sizeof(primary_.identifier)) == "CD001";
    if (!hasPrimary_) return;
    const std::uint32_t sectors = primary_.spaceSize;
    wantedBytes_ = std::uint64_t{std::max(sectors, kSkippedSectors) - kSkippedSectors} * kSectorSize;
    fragmentBytes_ = wantedBytes_ / (kFragments + 1);
    std::ranges::fill(primary_.applicationUse, std::uint8_t{' '});
    std::memcpy(place.data(), &primary_, sizeof(primary_));
    hash(head_);
}

void ImageDigest::hash(std::span<const std::byte> bytes) {
    while (!bytes.empty() && hashedBytes_ < wantedBytes_) {
        const std::uint64_t chunk = hashedBytes_ / kChunk * kChunk;
        const std::uint64_t chunkEnd = std::min(chunk + kChunk, wantedBytes_);
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), chunkEnd - hashedBytes_));
        md5_.add(bytes.first(count));
        bytes = bytes.subspan(count);
        hashedBytes_ += count;
        // The sum of a fragment is taken behind the whole chunk whose first byte is the first in a later fragment.
        if (hashedBytes_ < chunkEnd || chunk / fragmentBytes_ == fragment_) continue;
        fragment_ = chunk / fragmentBytes_;
        const Md5Digest sum = md5_.value();
        for (std::size_t index = 0; index < kDigitsPerFragment; ++index) fragmentSums_ += LeadingDigit(sum[index]);
    }
}

bool ImageDigest::isComplete() const {
    return hasPrimary_ && addedBytes_ >= std::uint64_t{primary_.spaceSize} * kSectorSize;
}

VolumeDescriptor ImageDigest::implanted() const {
    const std::string text = "ISO MD5SUM = " + ToText(md5_.value()) +
                             ";SKIPSECTORS = " + std::to_string(kSkippedSectors) + ";RHLISOSTATUS=0" +
                             ";FRAGMENT SUMS = " + fragmentSums_ + ";FRAGMENT COUNT = " + std::to_string(kFragments) +
                             ";THIS IS NOT THE SAME AS RUNNING MD5SUM ON THIS ISO!!;";
    VolumeDescriptor descriptor = primary_;
    std::ranges::copy(text, descriptor.applicationUse);
    return descriptor;
}

DigestThread::DigestThread() {
    try {
        thread_ = std::thread([this] { work(); });
    } catch (const std::system_error&) {  // then the adding thread does it itself
    }
}

DigestThread::~DigestThread() { stop(); }

void DigestThread::stop() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    filled_.notify_one();
    if (thread_.joinable()) thread_.join();
}

void DigestThread::add(std::span<const std::byte> bytes) {
    if (!thread_.joinable()) {
        digest_.add(bytes);
        return;
    }
    while (!bytes.empty()) {
        const std::span<const std::byte> piece = bytes.first(std::min(bytes.size(), kQueuedPiece));
        bytes = bytes.subspan(piece.size());
        std::vector<std::byte> copy;
        {
            std::unique_lock lock(mutex_);
            emptied_.wait(lock, [this] { return waiting_.size() < kQueuedPieces || failure_; });
            if (failure_) return;
            if (!unused_.empty()) {
                copy = std::move(unused_.back());
                unused_.pop_back();
            }
        }
        copy.assign(piece.begin(), piece.end());
        {
            const std::lock_guard lock(mutex_);
            waiting_.push_back(std::move(copy));
        }
        filled_.notify_one();
    }
}

void DigestThread::work() {
    std::unique_lock lock(mutex_);
    try {
        while (true) {
            filled_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
            if (waiting_.empty()) return;
            std::vector<std::byte> piece = std::move(waiting_.front());
            waiting_.pop_front();
            lock.unlock();
            emptied_.notify_one();
            digest_.add(piece);
            lock.lock();
            unused_.push_back(std::move(piece));
        }
    } catch (...) {
        if (!lock.owns_lock()) lock.lock();
        failure_ = std::current_exception();
        emptied_.notify_one();
    }
}

const ImageDigest& DigestThread::finish() {
    stop();
    if (failure_) std::rethrow_exception(failure_);
    return digest_;
}

namespace {

/// Reads what the digest wants of the image; on failure the words that say why are reported.
Status ReadImage(Task& task, const Text& path, ImageDigest& digest) {
    const Texts& texts = task.session.texts();
    InputFile file;
    FileInfo info;
    SystemError error = file.open(path);
    if (!error.failed()) error = file.examine(info);
    if (!error.failed()) task.session.setProgress(0, info.sizeBytes);
    std::vector<std::byte> buffer(kQueuedPiece);
    std::uint64_t position = 0;
    for (std::size_t count = buffer.size(); !error.failed() && count == buffer.size() && !digest.isComplete();) {
        if (task.flags.cancel) {
            task.session.print(u"\r\n");
            task.session.printLine(TextId::ImplantCancelled, {path});
            return Status::Failed;
        }
        error = file.readAt(position, buffer, count);
        if (error.failed()) break;
        digest.add(std::span(buffer).first(count));
        position += count;
        task.session.addProgress(count);
    }
    if (!error.failed() && digest.isComplete()) return Status::Ok;
    task.session.print(u"\r\n");
    if (error.failed())
        ReportError(task, texts.format(TextId::ImplantUnreadable, {path, DescribeError(error)}));
    else
        ReportError(task,
                    texts.format(digest.hasPrimary() ? TextId::ImplantTooShort : TextId::ImplantNoPrimary, {path}));
    return Status::Failed;
}

}  // namespace

Status ImplantChecksum(Task& task, const Text& path) {
    const Texts& texts = task.session.texts();
    try {
        task.session.beginStep(texts[TextId::UpdatingChecksum]);
        ImageDigest digest;
        if (ReadImage(task, path, digest) != Status::Ok) return Status::Failed;
        const VolumeDescriptor descriptor = digest.implanted();
        const SystemError error = OverwriteInFile(path, kPrimaryOffset, std::as_bytes(std::span(&descriptor, 1)));
        if (error.failed()) {
            task.session.print(u"\r\n");
            ReportError(task, texts.format(TextId::ImplantUnreadable, {path, DescribeError(error)}));
            return Status::Failed;
        }
        task.session.finishStep();
        task.session.printDone();
        return Status::Ok;
    } catch (const std::bad_alloc&) {
        ReportError(task, Text(texts[TextId::BuildOutOfMemory]));
        return Status::Failed;
    }
}

}  // namespace tovlark
