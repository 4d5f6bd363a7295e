// Worlds over pixels the caller owns, as a host that renders into frames it
// was handed uses them.
#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "World.h"

using Brindel::Host::World;

TEST(World, ViewDescribesTheCallersPixelsAndRefusesRowsShorterThanThePixels) {
    std::vector<uint8_t> frame(3 * 20);
    World view(4, 3, PF_PixelFormat_ARGB32, 20, frame.data());
    EXPECT_EQ(view.row(2), frame.data() + 40);
    EXPECT_TRUE(view.effectWorld()->world_flags & PF_WorldFlag_WRITEABLE);

    EXPECT_THROW(World(4, 3, PF_PixelFormat_ARGB32, 15, frame.data()), std::invalid_argument);
    EXPECT_THROW(World(4, 3, PF_PixelFormat_ARGB32, -16, frame.data()), std::invalid_argument);
    EXPECT_THROW(World(1, 1, PF_PixelFormat_ARGB64, 4, frame.data()), std::invalid_argument);
}
