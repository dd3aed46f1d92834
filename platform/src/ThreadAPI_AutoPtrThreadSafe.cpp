#include "ThreadAPI/ThreadAPI_AutoPtrThreadSafe.h"

#include <new>

#include "Zel/Zel_PoolAllocator.h"
#include "Zel/Zel_PoolReturns.h"

namespace {

// As many as the tree's nodes: one record goes with each.
constexpr int kRecordsPerBlock = 10000;

}  // namespace

Zel_PoolAllocator& autoptrthreadsafe_internal_data::Pool() {
  // Built in storage of its own and never destroyed: handles in static objects
  // return their records after this file's statics would be gone.
  alignas(Zel_PoolAllocator) static unsigned char storage[sizeof(Zel_PoolAllocator)];
  static Zel_PoolAllocator& pool = *new (storage) Zel_PoolAllocator(
      "autoptrthreadsafe_internal_data", sizeof(autoptrthreadsafe_internal_data), -1,
      kRecordsPerBlock, 8, true);
  return pool;
}

void* autoptrthreadsafe_internal_data::operator new(std::size_t size) {
  void* const record = Pool().Allocate();
  return record != nullptr ? record : ::operator new(size);
}

void autoptrthreadsafe_internal_data::operator delete(void* record) noexcept {
  if (!Pool().AddToFreeList(record)) ::operator delete(record);
}

void autoptrthreadsafe_internal_data::Delete(autoptrthreadsafe_internal_data* record,
                                             Zel_PoolReturns& returns) noexcept {
  record->~autoptrthreadsafe_internal_data();
  if (!returns.Add(record)) ::operator delete(record);
}

void autoptrthreadsafe_internal_data::IncreasePool(int elements, int expected_blocks) {
  if (Pool().GetCurrElementsInBlock() < elements) Pool().ResetBlockInfo(elements, expected_blocks);
}
