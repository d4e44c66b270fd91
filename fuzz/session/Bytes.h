// The fuzzer's input read front to back, one decision at a time. Past the end
// every read gives 0, so any input, even an empty one, is a complete script.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sessionfuzz {

class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool done() const { return pos_ >= size_; }
    std::uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
    // A value in 0..n-1 (n > 0) from one byte.
    int pick(int n) { return n > 0 ? byte() % n : 0; }
    bool flag() { return byte() & 1; }

private:
    const std::uint8_t* data_; // the fuzzer's input, alive for one run
    std::size_t size_;
    std::size_t pos_ = 0;
};

} // namespace sessionfuzz
