#ifndef TREE_TREE_ADDRESSHASH_H
#define TREE_TREE_ADDRESSHASH_H

#include <cstdint>

// A hash of an object's address, such as that of an interned name.  Its upper bits are the good
// ones: addresses differ in their middle bits, and multiplication carries them up.
inline std::uint64_t Tree_AddressHash(const void* object) noexcept {
  return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(object)) * 0x9E3779B97F4A7C15u;
}

#endif  // TREE_TREE_ADDRESSHASH_H
