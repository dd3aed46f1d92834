// Settings of the random tests, taken from the environment.

#ifndef TREE_TESTS_PROPERTY_SETTINGS_H
#define TREE_TESTS_PROPERTY_SETTINGS_H

#include <cstdint>
#include <cstdlib>
#include <random>

namespace settings {

inline std::uint64_t Number(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr || *text == '\0' ? otherwise : std::strtoull(text, nullptr, 10);
}

// TREE_TEST_ROUNDS, so that a longer run is a number away.
inline std::uint64_t Rounds(std::uint64_t otherwise) {
  return Number("TREE_TEST_ROUNDS", otherwise);
}

// TREE_TEST_SEED, or a seed that is new in every process.  A test that is repeated gets
// the same seed again: it then interns nothing new.
inline std::uint64_t Seed() {
  static const std::uint64_t seed = Number("TREE_TEST_SEED", std::random_device()());
  return seed;
}

}  // namespace settings

#endif  // TREE_TESTS_PROPERTY_SETTINGS_H
