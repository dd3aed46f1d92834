// Declares as much of the standard library as the public headers need, for a compiler that
// has none at hand.  Nothing here is ever linked or run; names and shapes only.  A header that
// begins to use more of the standard library finds it missing here: declare it.

#ifndef TREE_TESTS_MSVC_STAND_IN_H
#define TREE_TESTS_MSVC_STAND_IN_H

#include <stddef.h>
#include <stdint.h>

void* operator new(size_t size, void* place) noexcept;

extern "C" {
int snprintf(char* to, size_t size, const char* format, ...);
void* calloc(size_t count, size_t size);
void free(void* memory);
int fprintf(void* file, const char* format, ...);
size_t strlen(const char* text);
void* memcpy(void* to, const void* from, size_t size);
void* memset(void* at, int value, size_t size);
int memcmp(const void* a, const void* b, size_t size);
const void* memchr(const void* at, int value, size_t size);
}

namespace std {

using ::calloc;
using ::free;
using ::int16_t;
using ::int32_t;
using ::int64_t;
using ::int8_t;
using ::intptr_t;
using ::memchr;
using ::memcmp;
using ::memcpy;
using ::memset;
using ::ptrdiff_t;
using ::size_t;
using ::snprintf;
using ::strlen;
using ::uint16_t;
using ::uint32_t;
using ::uint64_t;
using ::uint8_t;
using ::uintptr_t;
using nullptr_t = decltype(nullptr);

template <class T>
struct remove_reference {
  using type = T;
};
template <class T>
struct remove_reference<T&> {
  using type = T;
};
template <class T>
struct remove_reference<T&&> {
  using type = T;
};
template <class T>
constexpr typename remove_reference<T>::type&& move(T&& value) noexcept {
  return static_cast<typename remove_reference<T>::type&&>(value);
}
template <class T>
constexpr T&& forward(typename remove_reference<T>::type& value) noexcept {
  return static_cast<T&&>(value);
}
template <class T, class U>
T exchange(T& object, U&& value);
template <class T>
void swap(T& a, T& b);
template <class T>
const T& min(const T& a, const T& b);
template <class T>
const T& max(const T& a, const T& b);
template <class It, class T>
It upper_bound(It first, It last, const T& value);
template <class It, class T, class Less>
It upper_bound(It first, It last, const T& value, Less less);

template <class T>
struct numeric_limits {
  static constexpr T min() noexcept { return T(); }
  static constexpr T max() noexcept { return static_cast<T>(~T()); }
};

template <class In, class Out>
Out copy(In first, In last, Out to);
template <class In, class Out>
Out copy_n(In first, size_t count, Out to);
template <class In, class Out>
Out copy_backward(In first, In last, Out to);
template <class It, class T>
void fill(It first, It last, const T& value);
template <class It, class T>
It find(It first, It last, const T& value);
template <class It, class T>
It remove(It first, It last, const T& value);
template <class It>
It rotate(It first, It middle, It last);
template <class It, class T>
It lower_bound(It first, It last, const T& value);

enum memory_order {
  memory_order_relaxed,
  memory_order_acquire,
  memory_order_release,
  memory_order_acq_rel,
  memory_order_seq_cst
};

template <class T>
class atomic {
 public:
  constexpr atomic() noexcept = default;
  constexpr atomic(T value) noexcept : m_value(value) {}
  atomic(const atomic&) = delete;
  atomic& operator=(const atomic&) = delete;
  T load(memory_order order = memory_order_seq_cst) const noexcept;
  void store(T value, memory_order order = memory_order_seq_cst) noexcept;
  T exchange(T value, memory_order order = memory_order_seq_cst) noexcept;
  T fetch_add(T value, memory_order order = memory_order_seq_cst) noexcept;
  T fetch_sub(T value, memory_order order = memory_order_seq_cst) noexcept;
  T fetch_or(T value, memory_order order = memory_order_seq_cst) noexcept;
  bool compare_exchange_weak(T& expected, T value, memory_order order) noexcept;
  bool compare_exchange_strong(T& expected, T value, memory_order order) noexcept;
  bool compare_exchange_strong(T& expected, T value, memory_order success,
                               memory_order failure) noexcept;

 private:
  T m_value{};
};

template <class T, size_t N>
struct array {
  T elements[N];
  T& operator[](size_t i);
  constexpr const T& operator[](size_t i) const { return elements[i]; }
};

template <class T>
class allocator;

template <class T, class Allocator = allocator<T>>
class vector {
 public:
  using iterator = T*;
  using const_iterator = const T*;
  vector() noexcept;
  ~vector();
  size_t size() const noexcept;
  size_t capacity() const noexcept;
  bool empty() const noexcept;
  T& operator[](size_t i);
  const T& operator[](size_t i) const;
  T& back();
  iterator begin();
  iterator end();
  const_iterator begin() const;
  const_iterator end() const;
  void push_back(const T& value);
  void push_back(T&& value);
  iterator insert(const_iterator at, const T& value);
  iterator erase(const_iterator at);
  void clear() noexcept;
  void reserve(size_t count);
  void resize(size_t count);

 private:
  T* m_first;
  T* m_last;
  T* m_end;
};

template <class T>
class unique_ptr {
 public:
  explicit unique_ptr(T* object) noexcept;
  unique_ptr(unique_ptr&& other) noexcept;
  ~unique_ptr();
  T* get() const noexcept;
  T* operator->() const noexcept;
};
template <class T>
class unique_ptr<T[]> {
 public:
  unique_ptr() noexcept;
  explicit unique_ptr(T* array) noexcept;
  unique_ptr(unique_ptr&& other) noexcept;
  unique_ptr& operator=(unique_ptr&& other) noexcept;
  ~unique_ptr();
  T* get() const noexcept;
  T& operator[](size_t i) const;
};
template <class T, class... Arguments>
unique_ptr<T> make_unique(Arguments&&... arguments);
template <class T>
unique_ptr<T> make_unique(size_t count);

class string {
 public:
  string();
  string(const char* text);
  string(const string& other);
  ~string();
  const char* c_str() const noexcept;

 private:
  void* m_parts[4];
};

template <class Signature>
class function;
template <class Result, class... Arguments>
class function<Result(Arguments...)> {
 public:
  function() noexcept;
  template <class F>
  function(F callable);
  function(const function& other);
  ~function();
  Result operator()(Arguments... arguments) const;
  explicit operator bool() const noexcept;
};

template <class T>
struct traits;
template <class C, class Traits = traits<C>>
class basic_ostream;
using ostream = basic_ostream<char>;

class exception {
 public:
  exception() noexcept;
  virtual ~exception();
  virtual const char* what() const;
};
class logic_error : public exception {
 public:
  explicit logic_error(const char* text);
};
class out_of_range : public logic_error {
 public:
  explicit out_of_range(const char* text);
};
class length_error : public logic_error {
 public:
  explicit length_error(const char* text);
};
class bad_alloc : public exception {};

}  // namespace std

#endif  // TREE_TESTS_MSVC_STAND_IN_H
