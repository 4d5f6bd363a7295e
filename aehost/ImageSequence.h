#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Brindel::Host {

// A numbered sequence of image files named by a printf-style pattern, as
// ffmpeg and oiiotool take them: "frame.%04d.png" names frame.0007.png for
// frame 7. The pattern holds one %d, or %0Nd for N digits at least.
class ImageSequence {
public:
    // Throws std::invalid_argument for a pattern without exactly one number.
    explicit ImageSequence(const std::string& pattern);

    static bool IsPattern(const std::string& path);

    // The file name of `frame`.
    std::string name(long frame) const;

    // The frames `first` to `last`; without them, the frames whose files
    // exist, in order.
    std::vector<long> frames(std::optional<long> first, std::optional<long> last) const;

private:
    std::string mPrefix;
    std::string mSuffix;
    int mDigits = 0; // 0: as many as the number needs
};

} // namespace Brindel::Host
