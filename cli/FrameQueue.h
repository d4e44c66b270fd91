// A bounded queue between the render command's threads (decoding,
// rendering, encoding): push blocks while it is full, pop while it is empty;
// close() ends it for both sides.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>

namespace glfxcli {

template <typename T>
class FrameQueue {
public:
    explicit FrameQueue(size_t capacity) : capacity_(capacity) {}

    // False when the queue was closed (the item is not queued).
    bool push(T item)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        notFull_.wait(lock, [&] { return closed_ || items_.size() < capacity_; });
        if (closed_)
            return false;
        items_.push_back(std::move(item));
        notEmpty_.notify_one();
        return true;
    }
    // False when the queue is closed and empty.
    bool pop(T& item)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        notEmpty_.wait(lock, [&] { return closed_ || !items_.empty(); });
        if (items_.empty())
            return false;
        item = std::move(items_.front());
        items_.pop_front();
        notFull_.notify_one();
        return true;
    }
    // No more pushes; pops drain what is queued, then fail.
    void close()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        closed_ = true;
        notEmpty_.notify_all();
        notFull_.notify_all();
    }

private:
    size_t capacity_;
    std::mutex mutex_; // guards items_ and closed_
    std::condition_variable notFull_, notEmpty_;
    std::deque<T> items_; // owned by the queue between push and pop
    bool closed_ = false;
};

} // namespace glfxcli
