// Random choices for tests that make random trees.

#ifndef TESTS_SUPPORT_RANDOM_H
#define TESTS_SUPPORT_RANDOM_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

class Random {
 public:
  explicit Random(std::uint32_t seed) : m_engine(seed) {}

  // From 0 to n - 1; 0 when n is not positive.
  int Below(int n) {
    return n <= 0 ? 0 : static_cast<int>(m_engine() % static_cast<std::uint32_t>(n));
  }
  bool OneIn(int n) { return Below(n) == 0; }

  template <class T>
  const T& Of(const std::vector<T>& from) {
    return from[static_cast<std::size_t>(Below(static_cast<int>(from.size())))];
  }

 private:
  std::mt19937 m_engine;
};

#endif  // TESTS_SUPPORT_RANDOM_H
