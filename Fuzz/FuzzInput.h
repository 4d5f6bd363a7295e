#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Brindel::Fuzz {

// Takes a fuzzer's bytes apart into the values a target needs. Once the bytes run out every
// value is its minimum, so that any input, however short, is a whole case.
class FuzzInput {
public:
    FuzzInput(const uint8_t* data, size_t size) : mData(data), mSize(size) {}

    bool empty() const { return mPos >= mSize; }
    uint8_t byte() { return empty() ? 0 : mData[mPos++]; }
    // A whole number from `min` to `max`, both included.
    int64_t integer(int64_t min, int64_t max);
    bool flag() { return (byte() & 1) != 0; }
    // Whatever is left.
    std::string rest();

private:
    const uint8_t* mData;
    size_t mSize;
    size_t mPos = 0;
};

} // namespace Brindel::Fuzz
