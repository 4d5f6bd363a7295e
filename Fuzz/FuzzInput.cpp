#include "FuzzInput.h"

#include <algorithm>

namespace Brindel::Fuzz {

int64_t FuzzInput::integer(int64_t min, int64_t max) {
    const uint64_t range = static_cast<uint64_t>(max) - static_cast<uint64_t>(min);
    // As few bytes as the range needs, so that the fuzzer's mutations stay local.
    uint64_t value = 0;
    for (uint64_t span = range; span != 0; span >>= 8) {
        value = (value << 8) | byte();
    }
    if (range != UINT64_MAX) {
        value %= range + 1;
    }
    return static_cast<int64_t>(static_cast<uint64_t>(min) + value);
}

std::string FuzzInput::rest() {
    const size_t from = std::min(mPos, mSize);
    mPos = mSize;
    return {reinterpret_cast<const char*>(mData + from), mSize - from};
}

} // namespace Brindel::Fuzz
