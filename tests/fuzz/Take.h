#ifndef TREE_TESTS_FUZZ_TAKE_H
#define TREE_TESTS_FUZZ_TAKE_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace fuzz {

// Takes an input to pieces from its start.  At the end there are zeros and empty texts.
class Take {
 public:
  explicit Take(std::string_view bytes) : m_bytes(bytes) {}

  bool AtEnd() const { return m_bytes.empty(); }

  unsigned Byte() {
    if (m_bytes.empty()) return 0;
    const unsigned byte = static_cast<unsigned char>(m_bytes.front());
    m_bytes.remove_prefix(1);
    return byte;
  }

  // At most `length` bytes.
  std::string Text(std::size_t length) {
    const std::string text(m_bytes.substr(0, length));
    m_bytes.remove_prefix(text.size());
    return text;
  }

  // All up to the next newline, which is taken and dropped.
  std::string Line() {
    const std::string text = Text(std::min(m_bytes.find('\n'), m_bytes.size()));
    Byte();
    return text;
  }

 private:
  std::string_view m_bytes;
};

}  // namespace fuzz

#endif  // TREE_TESTS_FUZZ_TAKE_H
