#pragma once

#include <memory>

#include "World.h"

namespace Brindel::Host {

// The built-in test card: colour and grey gradients, one-pixel lines and
// checks, small lettering and partly transparent shapes, so that a blur's
// reach, edges and handling of alpha all show.
class TestCard {
public:
    static constexpr A_long kWidth = 640;
    static constexpr A_long kHeight = 360;

    static std::unique_ptr<World> Draw(A_long width = kWidth, A_long height = kHeight);
};

} // namespace Brindel::Host
