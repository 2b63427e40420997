#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace tovlark {

/// Fills batches number 0 to `batchCount - 1` on a few threads, a bounded way ahead of the one thread that takes them
/// in order. Batches are used again and again, so `fill` starts from whatever the one before left in it; it runs on
/// several threads at once, each with a batch of its own. Destroying it waits for the batches being filled, and for no
/// more.
template <typename Batch>
class ReadAhead {
public:
    using Fill = std::function<void(std::size_t number, Batch& batch)>;

    ReadAhead(std::size_t batchCount, Fill fill)
        : batchCount_(batchCount), fill_(std::move(fill)), places_(std::min(batchCount, kPlaces)) {
        // The taker fills what nobody has begun, so that it gets on with fewer threads, or none.
        try {
            for (std::size_t count = 0; count < kThreads && count + 1 < batchCount; ++count)
                threads_.emplace_back([this] { work(); });
        } catch (const std::system_error&) {
        }
    }
    ~ReadAhead() {
        {
            const std::lock_guard lock(mutex_);
            isEnding_ = true;
        }
        placeFreed_.notify_all();
        for (std::thread& thread : threads_) thread.join();
    }
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    /// The next batch, valid until the one after it is taken. Throws what filling it threw.
    Batch& take() {
        std::unique_lock lock(mutex_);
        freedCount_ = takenCount_;
        const std::size_t number = takenCount_++;
        Place& place = placeOf(number);
        if (begunCount_ == number) {
            ++begunCount_;
            lock.unlock();
            placeFreed_.notify_one();
            fill_(number, place.batch);
            return place.batch;
        }
        placeFreed_.notify_one();
        placeFilled_.wait(lock, [&] { return place.isFilled; });
        place.isFilled = false;
        if (place.failure) std::rethrow_exception(place.failure);
        return place.batch;
    }

private:
    static constexpr std::size_t kThreads = 2, kPlaces = 8;

    struct Place {
        Batch batch;
        std::exception_ptr failure;
        bool isFilled = false;
    };

    Place& placeOf(std::size_t number) { return places_[number % places_.size()]; }

    void work() {
        std::unique_lock lock(mutex_);
        while (true) {
            placeFreed_.wait(lock, [this] {
                return isEnding_ || begunCount_ == batchCount_ || begunCount_ < freedCount_ + places_.size();
            });
            if (isEnding_ || begunCount_ == batchCount_) return;
            const std::size_t number = begunCount_++;
            Place& place = placeOf(number);
            lock.unlock();
            try {
                fill_(number, place.batch);
            } catch (...) {
                place.failure = std::current_exception();
            }
            lock.lock();
            place.isFilled = true;
            placeFilled_.notify_one();
        }
    }

    const std::size_t batchCount_;
    const Fill fill_;
    std::mutex mutex_;
    std::condition_variable placeFreed_, placeFilled_;
    // Of the batches: begun to be filled, taken, and taken and done with.
    std::size_t begunCount_ = 0, takenCount_ = 0, freedCount_ = 0;
    bool isEnding_ = false;
    std::vector<Place> places_;
    std::vector<std::thread> threads_;
};

}  // namespace tovlark
