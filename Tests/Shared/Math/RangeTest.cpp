#include "Range.h"

#include <gtest/gtest.h>

using Brindel::GaussianBlur::Range;

TEST(RangeTest, ConstructorsStoreTheirIntegersInOrder) {
    EXPECT_EQ(Range(true).first, 0);
    EXPECT_EQ(Range(true).second, 2147483647);
    EXPECT_EQ(Range(false).second, 0);
    EXPECT_EQ(Range(0).first, 0);
    EXPECT_EQ(Range(-7).first, -7);
    EXPECT_EQ(Range(-7).second, 0);
    Range r(3, -4);
    Range copy = r;
    EXPECT_EQ(copy.first, 3);
    EXPECT_EQ(copy.second, -4);
}
