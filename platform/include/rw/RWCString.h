#ifndef RW_RWCSTRING_H
#define RW_RWCSTRING_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>

#include "TreePlatform_Export.h"

// "No such position": what a search yields that finds nothing.
inline constexpr std::size_t RW_NPOS = static_cast<std::size_t>(-1);

// A string of bytes, zero bytes allowed inside.
//
// Ownership: a string is one pointer to a representation that copies share
// until one of them is changed, so copying costs one atomic increment at most
// (a.data() == b.data() after a copy).  data() stays valid until the string is
// changed or destroyed.
//
// Threads: distinct strings may be used from different threads, also when they
// share a representation.  One and the same string is like any variable.
//
// Errors: a bad position throws RWBoundsErr, a length beyond 2^32 - 17 throws
// std::length_error, and allocation throws std::bad_alloc; the string is then
// as it was.  A null `const char*` is the empty text everywhere.
//
// Arguments may be the string itself or point into it.
class TREE_PLATFORM_API RWCString {
 public:
  enum StripType { leading = 1, trailing = 2, both = 3 };

  RWCString() noexcept : m_rep(s_empty) {}
  RWCString(const char* text);
  RWCString(const char* bytes, std::size_t length);
  RWCString(const RWCString& other) noexcept : m_rep(other.m_rep) { Share(m_rep); }
  RWCString(RWCString&& other) noexcept : m_rep(other.m_rep) { other.m_rep = s_empty; }
  ~RWCString() { Release(m_rep); }

  RWCString& operator=(const RWCString& other) noexcept {
    Rep* const old = m_rep;
    Share(other.m_rep);
    m_rep = other.m_rep;
    Release(old);
    return *this;
  }
  // Leaves `other` empty.
  RWCString& operator=(RWCString&& other) noexcept {
    Rep* const taken = other.m_rep;
    other.m_rep = s_empty;
    Release(m_rep);
    m_rep = taken;
    return *this;
  }
  RWCString& operator=(const char* text) { return *this = RWCString(text); }

  // The bytes, always followed by a zero byte.
  const char* data() const noexcept { return m_rep->Bytes(); }
  std::size_t length() const noexcept { return m_rep->length; }
  // Whether the string is empty.
  bool isNull() const noexcept { return m_rep->length == 0; }

  // The byte at `i`, which must be below length().  The second form gives the
  // string a representation of its own; write through the reference before
  // the string is used for anything else.
  char operator[](std::size_t i) const { return data()[Checked(i)]; }
  char& operator[](std::size_t i);

  // A copy of `length` bytes from `pos` on, fewer when the string ends before.
  // `pos` may be length() at most.
  RWCString operator()(std::size_t pos, std::size_t length) const;

  // All append at the end and return this string.  A string that is appended
  // to again and again grows in steps that keep the cost per byte constant.
  RWCString& append(const RWCString& text) { return append(text.data(), text.length()); }
  RWCString& append(const char* text) { return append(text, LengthOf(text)); }
  RWCString& append(const char* bytes, std::size_t length);
  RWCString& append(char c, std::size_t count = 1);
  RWCString& operator+=(const RWCString& text) { return append(text); }
  RWCString& operator+=(const char* text) { return append(text); }
  RWCString& operator+=(char c) { return append(c); }

  // Puts `text` in the place of `length` bytes from `pos` on (of fewer when
  // the string ends before).  `pos` may be length() at most.
  RWCString& replace(std::size_t pos, std::size_t length, const RWCString& text) {
    return replace(pos, length, text.data(), text.length());
  }
  RWCString& replace(std::size_t pos, std::size_t length, const char* text) {
    return replace(pos, length, text, LengthOf(text));
  }
  RWCString& replace(std::size_t pos, std::size_t length, const char* bytes,
                     std::size_t text_length);

  // Cuts the string to `length` bytes, or fills it up to them with blanks.
  void resize(std::size_t length);
  void clear() noexcept { *this = RWCString(); }

  // This string without the `c`s at its start, its end or both.
  RWCString strip(StripType where = trailing, char c = ' ') const;

  // The first position at or after `start` where the text or byte occurs,
  // RW_NPOS when there is none.  An empty text occurs everywhere up to and
  // including length().
  std::size_t index(char c, std::size_t start = 0) const noexcept;
  std::size_t index(const char* text, std::size_t start = 0) const noexcept {
    return Find(text, LengthOf(text), start);
  }
  std::size_t index(const RWCString& text, std::size_t start = 0) const noexcept {
    return Find(text.data(), text.length(), start);
  }
  // The last position where the byte or text occurs, RW_NPOS when none.
  std::size_t last(char c) const noexcept;
  std::size_t last(const char* text) const noexcept { return FindLast(text, LengthOf(text)); }
  std::size_t last(const RWCString& text) const noexcept {
    return FindLast(text.data(), text.length());
  }

  // Negative, 0 or positive: bytes are compared as unsigned numbers, and of
  // two strings where one begins with the other the shorter comes first.
  int compareTo(const RWCString& other) const noexcept {
    return Compare(data(), length(), other.data(), other.length());
  }
  int compareTo(const char* other) const noexcept {
    return Compare(data(), length(), NotNull(other), LengthOf(other));
  }

  // Whether the string is exactly these bytes.
  bool equals(const char* bytes, std::size_t length) const noexcept {
    return this->length() == length && AreEqual(data(), bytes, length);
  }

  // A hash of the contents, kept with the representation once computed.  The
  // same in all strings of equal contents within one run of a program, but not
  // from run to run, so that nobody can choose strings that share one.
  unsigned hash() const noexcept {
    const std::uint32_t known = m_rep->hash.load(std::memory_order_relaxed);
    return known != 0 ? known : ComputeHash();
  }
  // The hash that a string of these bytes has, without making the string.
  static unsigned hash(const char* bytes, std::size_t length) noexcept;

  // A string of equal contents whose representation is never freed and never
  // counted: copying it writes no memory that other threads read.  A changed
  // copy gets a representation of its own, as ever.  For texts that are kept
  // to the end of the process anyway, such as interned ones; every call with
  // a string that is not permanent already takes new memory.
  static RWCString Permanent(const RWCString& text);

  // The same as an object that lives as long.  Object and bytes stand side by side, so that
  // whoever comes from elsewhere waits for memory once.
  static const RWCString* PermanentObject(const RWCString& text);

  // For an object of PermanentObject that turns out not to be needed, of which there is no
  // copy.  Its memory serves for the next when this thread has made no other permanent
  // string since; otherwise it is lost.
  static void DropPermanentObject(const RWCString* object) noexcept;

 private:
  // The header of a shared representation; the bytes and a zero byte follow.  What is
  // counted stands in a CountedRep.
  struct Rep {
    // Bit 31 marks a representation that is not counted.  2^31 copies of one
    // counted string would set it: the representation is then never freed.
    std::atomic<std::uint32_t> count;
    std::uint32_t length;
    std::atomic<std::uint32_t> hash;  // 0 while it isn't known

    char* Bytes() noexcept { return reinterpret_cast<char*>(this + 1); }
  };
  struct CountedRep {
    std::uint32_t capacity;  // bytes it has room for, without the zero
    Rep rep;
  };
  struct PermanentText;
  static constexpr std::uint32_t kUncounted = 0x80000000u;
  static constexpr std::size_t kMaxLength = 0xFFFFFFFFu - 16u;

  // The tag keeps RWCString(nullptr) meaning a null text.
  enum class Adopt { kRep };
  RWCString(Rep* rep, Adopt) noexcept : m_rep(rep) {}

  static void Share(Rep* rep) noexcept {
    if (!IsPermanent(rep)) rep->count.fetch_add(1, std::memory_order_relaxed);
  }
  static void Release(Rep* rep) noexcept {
    if (!IsPermanent(rep)) ReleaseCounted(rep);
  }
  static void ReleaseCounted(Rep* rep) noexcept;

  static const char* NotNull(const char* text) noexcept { return text == nullptr ? "" : text; }
  static std::size_t LengthOf(const char* text) noexcept {
    return text == nullptr ? 0 : std::strlen(text);
  }
  static int Compare(const char* a, std::size_t a_length, const char* b,
                     std::size_t b_length) noexcept {
    const int order = std::memcmp(a, b, a_length < b_length ? a_length : b_length);
    if (order != 0) return order;
    return a_length < b_length ? -1 : (a_length > b_length ? 1 : 0);
  }

  // Most texts are short, and so is the way to their answer: the last bytes are read as a
  // word that overlaps what was read before, and nothing is called.
  static bool AreEqual(const char* a, const char* b, std::size_t length) noexcept {
    for (; length > 32; a += 16, b += 16, length -= 16) {
      if (!AreEndsEqual<std::uint64_t>(a, b, 16)) return false;
    }
    if (length > 16) {
      return AreEndsEqual<std::uint64_t>(a, b, 16) &&
             AreEndsEqual<std::uint64_t>(a + length - 16, b + length - 16, 16);
    }
    if (length >= 8) return AreEndsEqual<std::uint64_t>(a, b, length);
    if (length >= 4) return AreEndsEqual<std::uint32_t>(a, b, length);
    for (std::size_t i = 0; i < length; ++i) {
      if (a[i] != b[i]) return false;
    }
    return true;
  }
  template <class Unsigned>
  static bool AreEndsEqual(const char* a, const char* b, std::size_t length) noexcept {
    const std::size_t last = length - sizeof(Unsigned);
    return ((Word<Unsigned>(a) ^ Word<Unsigned>(b)) |
            (Word<Unsigned>(a + last) ^ Word<Unsigned>(b + last))) == 0;
  }
  template <class Unsigned>
  static Unsigned Word(const char* bytes) noexcept {
    Unsigned word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
  }

  std::size_t Checked(std::size_t i) const {
    if (i >= length()) ThrowBounds(i, length());
    return i;
  }
  [[noreturn]] static void ThrowBounds(std::size_t i, std::size_t count);
  [[noreturn]] static void ThrowLength();

  static Rep* NewRep(std::size_t length, std::size_t capacity);
  static Rep* RepOf(const char* bytes, std::size_t length);
  static CountedRep* Counted(Rep* rep) noexcept;
  static bool IsPermanent(const Rep* rep) noexcept {
    return (rep->count.load(std::memory_order_relaxed) & kUncounted) != 0;
  }
  static Rep* MakePermanent(void* memory, const RWCString& text);
  bool IsAlone() const noexcept;
  std::size_t GrownCapacity(std::size_t length) const noexcept;
  char* OpenGap(std::size_t pos, std::size_t removed, std::size_t added, RWCString& former);
  std::size_t Find(const char* text, std::size_t text_length, std::size_t start) const noexcept;
  std::size_t FindLast(const char* text, std::size_t text_length) const noexcept;
  unsigned ComputeHash() const noexcept;

  // The representation of the empty string.  Its zero byte is the first byte
  // of the second, all-zero element.
  static Rep s_empty[2];

  Rep* m_rep;
};

inline bool operator==(const RWCString& a, const RWCString& b) noexcept {
  return a.data() == b.data() || a.equals(b.data(), b.length());
}
inline bool operator!=(const RWCString& a, const RWCString& b) noexcept {
  return !(a == b);
}
inline bool operator<(const RWCString& a, const RWCString& b) noexcept {
  return a.compareTo(b) < 0;
}

// Against a `const char*` the whole contents are compared with the whole text:
// a string with a zero byte inside equals no such text.
inline bool operator==(const RWCString& a, const char* b) noexcept {
  return a.compareTo(b) == 0;
}
inline bool operator==(const char* a, const RWCString& b) noexcept {
  return b.compareTo(a) == 0;
}
inline bool operator!=(const RWCString& a, const char* b) noexcept {
  return a.compareTo(b) != 0;
}
inline bool operator!=(const char* a, const RWCString& b) noexcept {
  return b.compareTo(a) != 0;
}
inline bool operator<(const RWCString& a, const char* b) noexcept {
  return a.compareTo(b) < 0;
}
inline bool operator<(const char* a, const RWCString& b) noexcept {
  return b.compareTo(a) > 0;
}

TREE_PLATFORM_API RWCString operator+(const RWCString& a, const RWCString& b);
TREE_PLATFORM_API RWCString operator+(const RWCString& a, const char* b);
TREE_PLATFORM_API RWCString operator+(const char* a, const RWCString& b);
TREE_PLATFORM_API RWCString operator+(const RWCString& a, char b);
TREE_PLATFORM_API RWCString operator+(char a, const RWCString& b);

// Chains of + append to the first result instead of copying it each time.
inline RWCString operator+(RWCString&& a, const RWCString& b) {
  return static_cast<RWCString&&>(a.append(b));
}
inline RWCString operator+(RWCString&& a, const char* b) {
  return static_cast<RWCString&&>(a.append(b));
}
inline RWCString operator+(RWCString&& a, char b) {
  return static_cast<RWCString&&>(a.append(b));
}

// Writes the bytes as they are.
TREE_PLATFORM_API std::ostream& operator<<(std::ostream& out, const RWCString& text);

#endif  // RW_RWCSTRING_H
