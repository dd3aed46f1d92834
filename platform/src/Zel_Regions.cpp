#include "Zel_Regions.h"

#include <cstdint>
#include <new>

#include "ThreadAPI/Mutex.h"
#include "ThreadAPI/ThreadAPI_LockGuard.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace zel_regions {

namespace {

constexpr std::size_t kPageBytes = 4096;
constexpr std::size_t kRegionBytes = std::size_t{2} << 20;
constexpr std::size_t kPages = kRegionBytes / kPageBytes;
constexpr std::size_t kLargestPiece = kRegionBytes - kPageBytes;
// A region with fewer free pages than that is left alone until some come back.
constexpr std::size_t kWorthALook = 8;
constexpr int kRegionsInSmallPages = 4;

// Stands in the first page of its region.
struct Region {
  bool used[kPages] = {true};  // a page each
  std::size_t free_pages = kPages - 1;
  bool is_listed = false;
  Region* previous = nullptr;
  Region* next = nullptr;
};
static_assert(sizeof(Region) <= kPageBytes);

constinit Mutex g_mutex;
constinit Region* g_listed = nullptr;  // those that are worth a look, the youngest first
constinit Region* g_spare = nullptr;   // listed, and without any piece
constinit int g_regions_made = 0;      // up to kRegionsInSmallPages

void List(Region* region) noexcept {
  region->is_listed = true;
  region->previous = nullptr;
  region->next = g_listed;
  if (g_listed != nullptr) g_listed->previous = region;
  g_listed = region;
}

void Unlist(Region* region) noexcept {
  region->is_listed = false;
  (region->previous == nullptr ? g_listed : region->previous->next) = region->next;
  if (region->next != nullptr) region->next->previous = region->previous;
}

// Memory of the heap that begins where a large page can.
void* NewMemory(std::size_t bytes, bool in_large_pages) noexcept {
  void* const memory = ::operator new (bytes, std::align_val_t{kRegionBytes}, std::nothrow);
#if defined(__linux__)
  // A wish; where it is not granted nothing else changes.
  if (memory != nullptr && in_large_pages) madvise(memory, bytes, MADV_HUGEPAGE);
#else
  static_cast<void>(in_large_pages);
#endif
  return memory;
}

void FreeMemory(void* memory) noexcept {
  ::operator delete (memory, std::align_val_t{kRegionBytes});
}

Region* NewRegion() noexcept {
  const bool in_large_pages = g_regions_made == kRegionsInSmallPages;
  void* const memory = NewMemory(kRegionBytes, in_large_pages);
  if (memory == nullptr) return nullptr;
  if (!in_large_pages) ++g_regions_made;
  Region* const region = ::new (memory) Region;
  List(region);
  return region;
}

// The first of `pages` free pages in a row, 0 when there is no such row.
std::size_t FindRow(const Region& region, std::size_t pages) noexcept {
  std::size_t row = 0;
  for (std::size_t page = 1; page < kPages; ++page) {
    row = region.used[page] ? 0 : row + 1;
    if (row == pages) return page + 1 - pages;
  }
  return 0;
}

void* TakeFrom(Region* region, std::size_t pages) noexcept {
  if (region->free_pages < pages) return nullptr;
  const std::size_t first = FindRow(*region, pages);
  if (first == 0) return nullptr;
  for (std::size_t i = 0; i < pages; ++i) region->used[first + i] = true;
  region->free_pages -= pages;
  if (region == g_spare) g_spare = nullptr;
  if (region->free_pages < kWorthALook) Unlist(region);
  return reinterpret_cast<char*>(region) + first * kPageBytes;
}

}  // namespace

void* Take(std::size_t bytes) noexcept {
  if (bytes > kLargestPiece) return NewMemory(bytes, true);
  const std::size_t pages = bytes / kPageBytes;
  ThreadAPI_LockGuard guard(g_mutex);
  for (Region* region = g_listed; region != nullptr; region = region->next) {
    if (void* const memory = TakeFrom(region, pages)) return memory;
  }
  Region* const fresh = NewRegion();
  return fresh == nullptr ? nullptr : TakeFrom(fresh, pages);
}

void Return(void* memory, std::size_t bytes) noexcept {
  if (bytes > kLargestPiece) return FreeMemory(memory);
  const auto address = reinterpret_cast<std::uintptr_t>(memory);
  auto* const region = reinterpret_cast<Region*>(address & ~(kRegionBytes - 1));
  const std::size_t first = (address & (kRegionBytes - 1)) / kPageBytes;
  const std::size_t pages = bytes / kPageBytes;
  ThreadAPI_LockGuard guard(g_mutex);
  for (std::size_t i = 0; i < pages; ++i) region->used[first + i] = false;
  region->free_pages += pages;
  if (!region->is_listed && region->free_pages >= kWorthALook) List(region);
  if (region->free_pages != kPages - 1) return;
  if (g_spare == nullptr) {
    g_spare = region;
  } else {
    Unlist(region);
    FreeMemory(region);
  }
}

}  // namespace zel_regions
