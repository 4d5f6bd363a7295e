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
    bool flag() { return (byte() & 1) != 0; }

    // A whole number from `min` to `max`, both included, read from as few bytes as the range
    // needs, so that the fuzzer's mutations stay local.
    int64_t integer(int64_t min, int64_t max) {
        const uint64_t range = static_cast<uint64_t>(max) - static_cast<uint64_t>(min);
        uint64_t value = 0;
        for (uint64_t span = range; span != 0; span >>= 8) {
            value = (value << 8) | byte();
        }
        if (range != UINT64_MAX) {
            value %= range + 1;
        }
        return static_cast<int64_t>(static_cast<uint64_t>(min) + value);
    }

    // Whatever is left.
    std::string rest() {
        std::string left(reinterpret_cast<const char*>(mData) + mPos, mSize - mPos);
        mPos = mSize;
        return left;
    }

private:
    const uint8_t* mData;
    size_t mSize;
    size_t mPos = 0;
};

} // namespace Brindel::Fuzz
