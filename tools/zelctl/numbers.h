// numbers.h: cJSON's numbers, which are doubles. No double is outside numbers.cpp (CMakeLists.txt has the reason).
#pragma once
#include <cjson/cJSON.h>

#include <cstdint>

namespace zelctl {

// The number without what is behind the point, or the limit that it is beyond. `exact` tells whether it is the same.
int64_t whole_number(const cJSON* number, int64_t least, int64_t most, bool* exact);

// Makes it a 0.
void clear_number(cJSON* number);

// A double as the bus carries it, and a number of such a one.
uint64_t double_bits(const cJSON* number);
cJSON* number_from_bits(uint64_t bits);

}  // namespace zelctl
