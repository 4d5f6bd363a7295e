#pragma once

namespace Brindel {
namespace GaussianBlur {

// A pair of integers.
class Range {
public:
    int first;
    int second;

    // (0, the largest int) when true, (0, 0) when false.
    explicit Range(bool full);
    explicit Range(int v);
    Range(int a, int b);
    Range(Range const&) = default;
    Range& operator=(Range const&) = default;
};

} // namespace GaussianBlur
} // namespace Brindel
