#ifndef CFGTREE_PROGRESS_H
#define CFGTREE_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace cfgtree {

// A Progress is the line on standard error that tells a waiting user how far a load
// has come.  It appears after a second, when standard error is a terminal, and is
// wiped away at the end.
class Progress {
 public:
  explicit Progress(std::string_view file);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Cheap enough to be called for every node: most calls only count.
  void At(std::string_view step, std::size_t done, std::size_t total) {
    if ((++m_calls & 0xFFF) == 0 && m_shown) Show(step, done, total);
  }

  // The same for a step that comes seldom, such as a block of a file.
  void Block(std::string_view step, std::size_t done, std::size_t total) {
    if (m_shown) Show(step, done, total);
  }

 private:
  using Clock = std::chrono::steady_clock;

  void Show(std::string_view step, std::size_t done, std::size_t total);

  std::string m_file;
  bool m_shown;
  bool m_visible = false;
  unsigned m_calls = 0;
  Clock::time_point m_next;
};

}  // namespace cfgtree

#endif  // CFGTREE_PROGRESS_H
