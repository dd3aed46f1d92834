#include "Tree/Tree_Interning.h"

#include <atomic>
#include <cstdlib>

#include "ThreadAPI/ThreadAPI_LockGuard.h"
#include "Tree/Tree_Bytes.h"
#include "Tree/Tree_Log.h"
#include "Tree/Tree_Statics.h"
#include "Zel/Zel_Flyweight.h"

namespace tree_interning {

namespace {

using Container = Zel_FlyweightContainer<RWCString>;

constexpr std::size_t kFlySize = 40000;

std::atomic<Container*> instance{nullptr};

void DestroyInstance() {
  delete instance.exchange(nullptr);
}

Container& MakeInstance() {
  ThreadAPI_LockGuard guard(tree_statics::interning_mutex);
  if (Container* made = instance.load(std::memory_order_acquire)) return *made;
  Container* const made = new Container(true, kFlySize, Container::Texts::kPermanent);
  instance.store(made, std::memory_order_release);
  std::atexit(DestroyInstance);
  return *made;
}

// Made by whoever interns first, destroyed when the process ends.  A client's static
// destructor that interns after that gets a fresh one.
inline Container& Instance() {
  if (Container* made = instance.load(std::memory_order_acquire)) return *made;
  return MakeInstance();
}

}  // namespace

const RWCString* Intern(const RWCString& text) {
  return Instance().GetValue(text, true);
}

const RWCString* InternAgain(const RWCString* interned) {
  return ZelGLog.GetLevel() < tree_log::kTrace ? interned : Intern(*interned);
}

const RWCString* Find(const char* bytes, std::size_t length) {
  const Container* const container = instance.load(std::memory_order_acquire);
  return container == nullptr ? nullptr : container->Find(bytes, length);
}

const RWCString* Find(const RWCString& text) {
  return Find(text.data(), text.length());
}

const RWCString* InternName(const RWCString& name) {
  const RWCString* const interned = Intern(name);
  if (tree_bytes::HasZeroByte(name.data(), name.length())) {
    any_name_has_zero_byte.store(true, std::memory_order_relaxed);
  }
  return interned;
}

}  // namespace tree_interning
