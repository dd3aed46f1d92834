#include "rw/RWCString.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <functional>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string_view>

#include "RWCString_Memory.h"
#include "rw/RWBoundsErr.h"

#if defined(_MSC_VER) && defined(_M_X64)
#include <intrin.h>
#endif

#if defined(__GNUC__)
#define RW_NOT_INLINED __attribute__((noinline))
#else
#define RW_NOT_INLINED
#endif

namespace {

// ---------------------------------------------------------------- Hashing
//
// Sixteen bytes per step: both halves are mixed with a secret and the state,
// multiplied to 128 bits, and the product's halves are folded together.  The
// names and values that trees intern are mostly 3 to 30 bytes long, so most
// strings take one or two multiplications; the last 16 bytes are read as
// such, overlapping what was read before, instead of byte by byte.  Long texts
// go through three such chains side by side, since each multiplication has to
// wait for the one before it in its chain.
//
// Lengths come in no order, so each test of one is a guess that the processor gets
// wrong half of the time.  There is one for all texts from 4 to 16 bytes.
//
// Whoever knows all secrets can choose texts that share one hash, such as those for which a
// factor is zero, and make look-ups among them as slow as he likes.  One part is therefore the
// address at which the library was loaded, which systems choose anew for each run, or on
// Windows each time they start.  Both factors of every product depend on it.

constexpr std::uint64_t kSecret0 = 0xA0761D6478BD642Full;
constexpr std::uint64_t kSecret1 = 0xE7037ED1A0B428DBull;
constexpr std::uint64_t kSecret2 = 0x8EBC6AF09C88C6E3ull;
constexpr std::uint64_t kSecret3 = 0x589965CC75374CC3ull;

constexpr char kLoadedHere = 0;

inline std::uint64_t Seed() noexcept {
  return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(&kLoadedHere)) *
         0x9E3779B97F4A7C15u;
}

inline std::uint64_t MultiplyAndFold(std::uint64_t a, std::uint64_t b) noexcept {
#if defined(__SIZEOF_INT128__)
  __extension__ using Product = unsigned __int128;
  const Product product = static_cast<Product>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
#elif defined(_MSC_VER) && defined(_M_X64)
  std::uint64_t high;
  const std::uint64_t low = _umul128(a, b, &high);
  return low ^ high;
#else
  const std::uint64_t a_low = a & 0xFFFFFFFFu, a_high = a >> 32;
  const std::uint64_t b_low = b & 0xFFFFFFFFu, b_high = b >> 32;
  const std::uint64_t cross = a_high * b_low + ((a_low * b_low) >> 32);
  const std::uint64_t middle = a_low * b_high + (cross & 0xFFFFFFFFu);
  return (a * b) ^ (a_high * b_high + (cross >> 32) + (middle >> 32));
#endif
}

inline std::uint64_t Read64(const char* bytes) noexcept {
  std::uint64_t value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

inline std::uint64_t Read32(const char* bytes) noexcept {
  std::uint32_t value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

// 1 to 3 bytes: the first, the middle and the last, which is all of them.
inline std::uint64_t ReadUpTo3(const char* bytes, std::size_t length) noexcept {
  const auto at = [bytes](std::size_t i) {
    return static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[i]));
  };
  return (at(0) << 16) | (at(length / 2) << 8) | at(length - 1);
}

// Texts of more than 16 bytes.
std::uint64_t HashLong(const char* bytes, std::size_t length) noexcept {
  const std::uint64_t seed = Seed();
  const std::uint64_t secret1 = kSecret1 ^ seed;
  std::uint64_t state = kSecret0 ^ std::rotl(seed, 32) ^ length;
  std::size_t left = length;
  if (left > 48) {
    std::uint64_t state1 = state;
    std::uint64_t state2 = state;
    for (; left > 48; bytes += 48, left -= 48) {
      state = MultiplyAndFold(Read64(bytes) ^ secret1, Read64(bytes + 8) ^ state);
      state1 = MultiplyAndFold(Read64(bytes + 16) ^ kSecret2 ^ seed, Read64(bytes + 24) ^ state1);
      state2 = MultiplyAndFold(Read64(bytes + 32) ^ kSecret3 ^ seed, Read64(bytes + 40) ^ state2);
    }
    state ^= state1 ^ state2;
  }
  for (; left > 16; bytes += 16, left -= 16) {
    state = MultiplyAndFold(Read64(bytes) ^ secret1, Read64(bytes + 8) ^ state);
  }
  const char* const end = bytes + left;
  return MultiplyAndFold(Read64(end - 16) ^ secret1, Read64(end - 8) ^ state);
}

inline std::uint64_t Hash64(const char* bytes, std::size_t length) noexcept {
  if (length > 16) return HashLong(bytes, length);
  std::uint64_t a = 0;
  std::uint64_t b = 0;
  if (length >= 4) {
    // Four pieces of 4 bytes: two from the front and two from the end, which are the same
    // where there is no room for more.
    const char* const last = bytes + length - 4;
    const std::size_t step = length / 8 * 4;
    a = Read32(bytes) << 32 | Read32(bytes + step);
    b = Read32(last) << 32 | Read32(last - step);
  } else if (length > 0) {
    a = ReadUpTo3(bytes, length);
  }
  const std::uint64_t seed = Seed();
  return MultiplyAndFold(a ^ kSecret1 ^ seed, b ^ kSecret0 ^ std::rotl(seed, 32) ^ length);
}

// ------------------------------------------------------------- Eight bytes at once

constexpr std::uint64_t kLowBits = 0x7F7F7F7F7F7F7F7Fu;

// The highest bit of each byte that is zero in `word`, and no other bit.
inline std::uint64_t ZeroBytes(std::uint64_t word) noexcept {
  return ~(((word & kLowBits) + kLowBits) | word | kLowBits);
}

inline std::uint64_t EightTimes(char c) noexcept {
  return 0x0101010101010101u * static_cast<unsigned char>(c);
}

// The position, in memory, of the last byte that is marked; one must be.
inline std::size_t LastMarked(std::uint64_t marks) noexcept {
  const int behind = std::endian::native == std::endian::little ? std::countl_zero(marks)
                                                                : std::countr_zero(marks);
  return 7 - static_cast<std::size_t>(behind) / 8;
}

}  // namespace

// ------------------------------------------------------- Representations

constinit RWCString::Rep RWCString::s_empty[2] = {{{kUncounted}, 0, {0}}, {{0}, 0, {0}}};

inline RWCString::CountedRep* RWCString::Counted(Rep* rep) noexcept {
  return reinterpret_cast<CountedRep*>(reinterpret_cast<char*>(rep) - offsetof(CountedRep, rep));
}

// A counted representation for `length` bytes, with room for `capacity` at
// least; the caller fills in the bytes, the zero behind them is there.
RWCString::Rep* RWCString::NewRep(std::size_t length, std::size_t capacity) {
  if (length > kMaxLength) ThrowLength();
  // What a piece of memory has beyond the need is usable room.
  const std::size_t size = rwcstring_memory::GoodSize(sizeof(CountedRep) + capacity + 1);
  const std::size_t room = std::min(size - sizeof(CountedRep) - 1, kMaxLength);
  CountedRep* const whole = new (rwcstring_memory::Take(size))
      CountedRep{static_cast<std::uint32_t>(room), {{1}, static_cast<std::uint32_t>(length), {0}}};
  Rep* const rep = &whole->rep;
  rep->Bytes()[length] = '\0';
  return rep;
}

// A counted representation of these bytes, of which there must be some.
inline RWCString::Rep* RWCString::RepOf(const char* bytes, std::size_t length) {
  Rep* const rep = NewRep(length, length);
  std::memcpy(rep->Bytes(), bytes, length);
  return rep;
}

// Never inlined: a compiler that sees a string go out of scope that it knows
// to be empty would warn that the static empty representation is freed here,
// not knowing that it is never counted.
RW_NOT_INLINED void RWCString::ReleaseCounted(Rep* rep) noexcept {
  // The last owner needs no locked instruction: nobody else can raise the
  // count of a representation that nobody else holds.
  if (rep->count.load(std::memory_order_acquire) == 1 ||
      rep->count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    CountedRep* const whole = Counted(rep);
    rwcstring_memory::GiveBack(
        whole, rwcstring_memory::GoodSize(sizeof(CountedRep) + whole->capacity + std::size_t{1}));
  }
}

// Whether the representation is this string's alone and may be changed.  The
// load orders the change behind the last use by whoever shared it before.
bool RWCString::IsAlone() const noexcept {
  return m_rep->count.load(std::memory_order_acquire) == 1;
}

// Room for a string that grows to `length`: twice what it has, so that the
// copying of a text appended byte by byte adds up to its length.
std::size_t RWCString::GrownCapacity(std::size_t length) const noexcept {
  const std::size_t doubled = std::min<std::size_t>(kMaxLength, m_rep->length * std::size_t{2});
  return std::max(length, doubled);
}

void RWCString::ThrowLength() {
  throw std::length_error("RWCString: beyond 2^32 - 17 bytes");
}

void RWCString::ThrowBounds(std::size_t i, std::size_t count) {
  RWBoundsErr::Raise(static_cast<long long>(i), count);
}

// ---------------------------------------------------------- Construction

RWCString::RWCString(const char* text) : RWCString(text, LengthOf(text)) {}

RWCString::RWCString(const char* bytes, std::size_t length) : m_rep(s_empty) {
  if (bytes != nullptr && length != 0) m_rep = RepOf(bytes, length);
}

// The hash is computed now, so that the representation is never written again.
inline RWCString::Rep* RWCString::MakePermanent(void* memory, const RWCString& text) {
  const std::size_t length = text.length();
  Rep* const rep =
      new (memory) Rep{{kUncounted}, static_cast<std::uint32_t>(length), {text.hash()}};
  std::memcpy(rep->Bytes(), text.data(), length + 1);
  return rep;
}

RWCString RWCString::Permanent(const RWCString& text) {
  if (text.isNull()) return RWCString();
  if (IsPermanent(text.m_rep)) return text;
  void* const memory =
      rwcstring_memory::TakePermanent(sizeof(Rep) + text.length() + 1, alignof(Rep));
  return RWCString(MakePermanent(memory, text), Adopt::kRep);
}

struct RWCString::PermanentText {
  RWCString object;
  Rep rep;
};

const RWCString* RWCString::PermanentObject(const RWCString& text) {
  if (text.isNull() || IsPermanent(text.m_rep)) {
    return new (rwcstring_memory::TakePermanent(sizeof(RWCString), alignof(RWCString)))
        RWCString(Permanent(text));
  }
  // The bytes begin where the header ends, not behind the padding of the whole.
  char* const memory = static_cast<char*>(rwcstring_memory::TakePermanent(
      offsetof(PermanentText, rep) + sizeof(Rep) + text.length() + 1, alignof(PermanentText)));
  Rep* const rep = MakePermanent(memory + offsetof(PermanentText, rep), text);
  return new (memory) RWCString(rep, Adopt::kRep);
}

void RWCString::DropPermanentObject(const RWCString* object) noexcept {
  char* const memory = reinterpret_cast<char*>(const_cast<RWCString*>(object));
  const bool has_bytes = object->data() == memory + offsetof(PermanentText, rep) + sizeof(Rep);
  rwcstring_memory::ReturnPermanent(
      memory, has_bytes ? offsetof(PermanentText, rep) + sizeof(Rep) + object->length() + 1
                        : sizeof(RWCString));
}

// --------------------------------------------------------------- Changes

// Makes this string its representation's only owner, `added - removed` bytes
// longer, and answers where the `added` bytes at `pos` belong.  They are
// undefined; everything else is in place.  A representation that was left goes
// to `former`, which the caller keeps until it has copied the new bytes: they
// may be part of it.
char* RWCString::OpenGap(std::size_t pos, std::size_t removed, std::size_t added,
                         RWCString& former) {
  const std::size_t old_length = length();
  const std::size_t rest = old_length - pos - removed;
  if (added > kMaxLength - pos - rest) ThrowLength();
  const std::size_t new_length = pos + added + rest;
  if (IsAlone() && new_length <= Counted(m_rep)->capacity) {
    char* const bytes = m_rep->Bytes();
    std::memmove(bytes + pos + added, bytes + pos + removed, rest);
    bytes[new_length] = '\0';
    m_rep->length = static_cast<std::uint32_t>(new_length);
    m_rep->hash.store(0, std::memory_order_relaxed);
    return bytes + pos;
  }
  const std::size_t capacity = new_length > old_length ? GrownCapacity(new_length) : new_length;
  Rep* const rep = NewRep(new_length, capacity);
  std::memcpy(rep->Bytes(), data(), pos);
  std::memcpy(rep->Bytes() + pos + added, data() + pos + removed, rest);
  former.m_rep = m_rep;
  m_rep = rep;
  return rep->Bytes() + pos;
}

char& RWCString::operator[](std::size_t i) {
  Checked(i);
  if (!IsAlone()) *this = RWCString(data(), length());
  m_rep->hash.store(0, std::memory_order_relaxed);
  return m_rep->Bytes()[i];
}

RWCString& RWCString::append(const char* bytes, std::size_t length) {
  if (bytes == nullptr || length == 0) return *this;
  RWCString former;
  // The bytes may be our own: growing in place leaves them where they are.
  std::memmove(OpenGap(this->length(), 0, length, former), bytes, length);
  return *this;
}

RWCString& RWCString::append(char c, std::size_t count) {
  if (count == 0) return *this;
  RWCString former;
  std::memset(OpenGap(length(), 0, count, former), c, count);
  return *this;
}

RWCString& RWCString::replace(std::size_t pos, std::size_t length, const char* bytes,
                              std::size_t text_length) {
  if (pos > this->length()) ThrowBounds(pos, this->length());
  const std::size_t removed = std::min(length, this->length() - pos);
  const std::size_t added = bytes == nullptr ? 0 : text_length;
  if (removed == 0 && added == 0) return *this;
  // A text of our own moves when the gap is opened in place.
  const std::less<const char*> before;
  const bool is_ours =
      added > 0 && !before(bytes, data()) && before(bytes, data() + this->length());
  const RWCString copy = is_ours ? RWCString(bytes, added) : RWCString();
  RWCString former;
  char* const gap = OpenGap(pos, removed, added, former);
  if (added > 0) std::memcpy(gap, is_ours ? copy.data() : bytes, added);
  return *this;
}

void RWCString::resize(std::size_t length) {
  const std::size_t old_length = this->length();
  if (length > old_length) {
    append(' ', length - old_length);
  } else {
    replace(length, old_length - length, nullptr, 0);
  }
}

RWCString operator+(const RWCString& a, const RWCString& b) {
  return RWCString(a).append(b);
}
RWCString operator+(const RWCString& a, const char* b) {
  return RWCString(a).append(b);
}
RWCString operator+(const char* a, const RWCString& b) {
  return RWCString(a).append(b);
}
RWCString operator+(const RWCString& a, char b) {
  return RWCString(a).append(b);
}
RWCString operator+(char a, const RWCString& b) {
  return RWCString(&a, 1).append(b);
}

// -------------------------------------------------------------- Sub-strings

RWCString RWCString::operator()(std::size_t pos, std::size_t length) const {
  const std::size_t whole = this->length();
  if (pos > whole) ThrowBounds(pos, whole);
  const std::size_t taken = std::min(length, whole - pos);
  if (taken == whole) return *this;
  return taken == 0 ? RWCString() : RWCString(RepOf(data() + pos, taken), Adopt::kRep);
}

RWCString RWCString::strip(StripType where, char c) const {
  std::size_t begin = 0;
  std::size_t end = length();
  if ((where & leading) != 0) {
    while (begin < end && data()[begin] == c) ++begin;
  }
  if ((where & trailing) != 0) {
    while (end > begin && data()[end - 1] == c) --end;
  }
  return (*this)(begin, end - begin);
}

// ----------------------------------------------------------------- Searches

std::size_t RWCString::index(char c, std::size_t start) const noexcept {
  if (start >= length()) return RW_NPOS;
  const void* const found = std::memchr(data() + start, c, length() - start);
  if (found == nullptr) return RW_NPOS;
  return static_cast<std::size_t>(static_cast<const char*>(found) - data());
}

std::size_t RWCString::last(char c) const noexcept {
  const char* const bytes = data();
  std::size_t end = length();
  for (; end >= 8; end -= 8) {
    const std::uint64_t marks = ZeroBytes(Read64(bytes + end - 8) ^ EightTimes(c));
    if (marks != 0) return end - 8 + LastMarked(marks);
  }
  for (; end > 0; --end) {
    if (bytes[end - 1] == c) return end - 1;
  }
  return RW_NPOS;
}

std::size_t RWCString::Find(const char* text, std::size_t text_length,
                            std::size_t start) const noexcept {
  return std::string_view(data(), length())
      .find(std::string_view(NotNull(text), text_length), start);
}

std::size_t RWCString::FindLast(const char* text, std::size_t text_length) const noexcept {
  return std::string_view(data(), length()).rfind(std::string_view(NotNull(text), text_length));
}

static_assert(RW_NPOS == std::string_view::npos, "searches hand on the view's answer");

// -------------------------------------------------------------------- Hash

unsigned RWCString::hash(const char* bytes, std::size_t length) noexcept {
  const std::uint64_t wide = Hash64(bytes, length);
  const auto folded = static_cast<std::uint32_t>(wide ^ (wide >> 32));
  // 0 means "not known" in a representation.
  return folded != 0 ? folded : 1;
}

unsigned RWCString::ComputeHash() const noexcept {
  const unsigned computed = hash(data(), length());
  // Several threads may get here at once; they store the same number.
  m_rep->hash.store(computed, std::memory_order_relaxed);
  return computed;
}

std::ostream& operator<<(std::ostream& out, const RWCString& text) {
  return out.write(text.data(), static_cast<std::streamsize>(text.length()));
}
