#ifndef ZEL_REGIONS_H
#define ZEL_REGIONS_H

#include <cstddef>

// Memory for the blocks of pools and for permanent texts.
//
// Pieces are cut from regions of 2 MiB that begin at multiples of 2 MiB.  On Linux the system
// is asked to back all regions but the first four with large pages: whoever goes through a
// large tree in any order but that of its making then needs far fewer address translations.
// The first ones are left to small pages, so that a process with small trees pays for what it
// touches.
//
// A region goes back to the heap when its last piece does, but one such is kept.  Pieces that
// do not fit into a region have memory of their own.
//
// Threads: any.
namespace zel_regions {

// `bytes` bytes, a multiple of 4096, that begin at a multiple of 4096; null when the heap has
// none.
void* Take(std::size_t bytes) noexcept;

// Takes back what Take(bytes) returned.
void Return(void* memory, std::size_t bytes) noexcept;

}  // namespace zel_regions

#endif  // ZEL_REGIONS_H
