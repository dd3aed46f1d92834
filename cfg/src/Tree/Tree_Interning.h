// The process-wide container of key names, values and paths.

#ifndef TREE_TREE_INTERNING_H
#define TREE_TREE_INTERNING_H

#include <atomic>
#include <cstddef>

#include "rw/RWCString.h"

namespace tree_interning {

// The one stored string that equals `text`; it is stored when there is none yet.
// Pointers are equal exactly when their strings are, and stay valid until the
// process ends.  Safe from any thread.
const RWCString* Intern(const RWCString& text);

// The string itself, for one that was interned before.  Interning it once more would yield
// the same, but for the lines that it may trace: they are written.
const RWCString* InternAgain(const RWCString* interned);

// The stored string with these bytes, null when there is none: then no node bears that
// name.  Stores nothing, logs nothing, takes no lock.
const RWCString* Find(const char* bytes, std::size_t length);
const RWCString* Find(const RWCString& text);

// Whether a name with a zero byte inside was ever given to a node.  Until then, two
// names are equal up to their first zero byte only when they are one stored string.
inline std::atomic<bool> any_name_has_zero_byte{false};
inline bool AnyNameHasZeroByte() {
  return any_name_has_zero_byte.load(std::memory_order_relaxed);
}

// To be called with every name that a node is given.
const RWCString* InternName(const RWCString& name);

}  // namespace tree_interning

#endif  // TREE_TREE_INTERNING_H
