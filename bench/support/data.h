// Data: the names, strings and trees that are measured.
//
// All of it is made up from fixed seeds and is the same in every run and on every
// platform.  Tree shapes and name lengths are modelled on servers' configurations: some 300
// key names of 4 to 24 bytes that come again everywhere, values of which half are taken
// from a few hundred common ones (numbers, switches, addresses) and half occur once.

#ifndef BENCH_SUPPORT_DATA_H
#define BENCH_SUPPORT_DATA_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "rw/RWCString.h"

namespace bench {

// A small generator of random numbers (splitmix64).  Those of the standard library are
// the same everywhere too, but their distributions are not.
class Random {
 public:
  explicit Random(std::uint64_t seed) : m_state(seed) {}

  std::uint64_t Next() {
    std::uint64_t z = m_state += 0x9E3779B97F4A7C15u;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  std::size_t Below(std::size_t bound) { return static_cast<std::size_t>(Next() % bound); }

 private:
  std::uint64_t m_state;
};

template <class T>
void Shuffle(std::vector<T>& items, std::uint64_t seed) {
  Random random(seed);
  for (std::size_t i = items.size(); i > 1; --i) std::swap(items[i - 1], items[random.Below(i)]);
}

// The 300 key names.
const std::vector<std::string>& KeyNames();

// `count` different names of 4 to 24 bytes, in no particular order.
std::vector<std::string> DistinctNames(std::size_t count, std::uint64_t seed);

struct Entry {
  std::string path;
  std::string value;
};

// Services of 10 sections of 10 groups of 10 leaves each, `leaves` leaves in all (a
// multiple of 1,000), in order of their paths.  It is made once and kept.
const std::vector<Entry>& TypicalTree(std::size_t leaves);

// Strings of the library with representations of their own, whose hashes nobody has asked
// for yet: what a program has in hand that has just read them.
std::vector<RWCString> Fresh(const std::vector<std::string>& texts);

}  // namespace bench

#endif  // BENCH_SUPPORT_DATA_H
