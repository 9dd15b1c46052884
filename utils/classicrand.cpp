// state = state * 214013 + 2531011 (mod 2^32); the value is bits 16 to 30.
#include "utils/classicrand.h"

#include <cstdint>

namespace basekit {

namespace {

std::uint32_t state = 1;

} // namespace

int classicrand()
{
    state = state * 214013u + 2531011u;
    return static_cast<int>((state >> 16) & 0x7fffu);
}

void classicsrand(unsigned seed)
{
    state = seed;
}

} // namespace basekit
