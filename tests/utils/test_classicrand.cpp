// The classic 15-bit rand(): the sequence a fresh process sees (seed 1), and
// restarting it.
#include "utils/classicrand.h"

#include <gtest/gtest.h>

using namespace basekit;

TEST(ClassicRand, TheFirstValuesOfSeedOneAndTheirRange)
{
    classicsrand(1);
    // The well-known opening of the 15-bit generator with its default seed.
    const int first[] = {41, 18467, 6334, 26500, 19169, 15724, 11478, 29358, 26962, 24464};
    for (int value : first) EXPECT_EQ(classicrand(), value);
    int low = classicrandmax, high = 0;
    for (int i = 0; i < 100000; ++i) {
        const int value = classicrand();
        low = std::min(low, value);
        high = std::max(high, value);
    }
    EXPECT_EQ(low, 0);
    EXPECT_EQ(high, 32767);
    classicsrand(1);
    EXPECT_EQ(classicrand(), 41);
}
