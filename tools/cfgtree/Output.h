#ifndef CFGTREE_OUTPUT_H
#define CFGTREE_OUTPUT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace cfgtree {

// An Output collects what a command prints.  It is written in one go when the command
// has succeeded, so that a failure leaves nothing half-written behind.
//
// Errors: throws an Error when a command asks for an absurd amount (the drawing of a
// very deep tree is quadratic in its depth).
class Output {
 public:
  static constexpr std::size_t kMaxSize = std::size_t{1} << 30;

  // Takes `most` bytes.
  explicit Output(std::size_t most = kMaxSize) : m_most(most) {}

  Output& operator<<(std::string_view text) {
    RequireRoom(text.size());
    m_text += text;
    return *this;
  }
  Output& operator<<(char c) { return *this << std::string_view(&c, 1); }

  // Throws the same Error when `bytes` more would be too much.  For commands that know
  // beforehand, so that nobody waits for an answer that cannot be given.
  void RequireRoom(std::size_t bytes) const {
    if (bytes > m_most - m_text.size()) ThrowTooLarge();
  }

  // `count` times the same character.
  void Fill(std::size_t count, char c);

  const std::string& Text() const { return m_text; }

 private:
  [[noreturn]] static void ThrowTooLarge();

  std::size_t m_most;
  std::string m_text;
};

}  // namespace cfgtree

#endif  // CFGTREE_OUTPUT_H
