#include "Range.h"

#include <limits>
#include <type_traits>

namespace Brindel {
namespace GaussianBlur {

static_assert(std::is_trivially_copyable<Range>::value, "kit values are copied bit for bit");
static_assert(sizeof(int) == 4, "the range holds two 32-bit integers");

Range::Range(bool full) : first(0), second(full ? std::numeric_limits<int>::max() : 0) {}

Range::Range(int v) : first(v), second(0) {}

Range::Range(int a, int b) : first(a), second(b) {}

} // namespace GaussianBlur
} // namespace Brindel
