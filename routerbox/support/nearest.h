// nearest.h: the word somebody meant.
#pragma once
#include <algorithm>
#include <cctype>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

namespace routerbox {

// Whether a letter is a capital is a small slip, and none here.
inline bool same_letter(char one, char other) {
  return std::tolower(static_cast<unsigned char>(one)) == std::tolower(static_cast<unsigned char>(other));
}

// How many letters must be put in, left out, replaced or swapped with their neighbour to make one the other.
inline size_t distance(std::string_view one, std::string_view other) {
  std::vector<std::vector<size_t>> cost(one.size() + 1, std::vector<size_t>(other.size() + 1));
  for (size_t i = 0; i <= one.size(); ++i) cost[i][0] = i;
  std::iota(cost[0].begin(), cost[0].end(), size_t{0});
  for (size_t i = 1; i <= one.size(); ++i)
    for (size_t k = 1; k <= other.size(); ++k) {
      const size_t replaced = cost[i - 1][k - 1] + (same_letter(one[i - 1], other[k - 1]) ? 0 : 1);
      cost[i][k] = std::min({replaced, cost[i - 1][k] + 1, cost[i][k - 1] + 1});
      if (i > 1 && k > 1 && one[i - 1] == other[k - 2] && one[i - 2] == other[k - 1])
        cost[i][k] = std::min(cost[i][k], cost[i - 2][k - 2] + 1);
    }
  return cost[one.size()][other.size()];
}

// Those near enough to be meant, the nearest first: a third of the letters may be wrong, or one word is the
// beginning or the end of the other.
inline std::vector<std::string> near_ones(const std::string& word, std::vector<std::string> known) {
  if (word.size() > 100) return {};
  const auto cost = [&](const std::string& other) {
    const std::string_view one = word.size() < other.size() ? word : other;
    const std::string_view whole = word.size() < other.size() ? other : word;
    const bool part = one.size() > 2 && (whole.starts_with(one) || whole.ends_with(one));
    return part ? 1 : distance(word, other);
  };
  std::erase_if(known, [&](const std::string& other) {
    return cost(other) > std::max<size_t>(1, std::max(word.size(), other.size()) / 3);
  });
  std::stable_sort(known.begin(), known.end(),
                   [&](const std::string& one, const std::string& other) { return cost(one) < cost(other); });
  return known;
}

// "a, b, c"
inline std::string list_words(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

// For the end of a message about an unknown word: "; did you mean a?", and where nothing is near, all there is.
inline std::string advice_for(const std::string& word, const std::vector<std::string>& known) {
  std::vector<std::string> near = near_ones(word, known);
  if (near.empty()) return "; there is " + list_words(known);
  near.resize(std::min<size_t>(near.size(), 3));
  return "; did you mean " + list_words(near) + "?";
}

}  // namespace routerbox
