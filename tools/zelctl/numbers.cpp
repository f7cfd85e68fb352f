#include "numbers.h"

#include <bit>

namespace zelctl {

int64_t whole_number(const cJSON* number, int64_t least, int64_t most, bool* exact) {
  const double given = number->valuedouble;
  const auto whole = given <= static_cast<double>(least)  ? least
                     : given >= static_cast<double>(most) ? most
                                                          : static_cast<int64_t>(given);
  *exact = given == static_cast<double>(whole);
  return whole;
}

void clear_number(cJSON* number) {
  cJSON_SetNumberValue(number, 0);
}

uint64_t double_bits(const cJSON* number) {
  return std::bit_cast<uint64_t>(number->valuedouble);
}

cJSON* number_from_bits(uint64_t bits) {
  return cJSON_CreateNumber(std::bit_cast<double>(bits));
}

}  // namespace zelctl
