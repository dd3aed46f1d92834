#include "Progress.h"

#include "System.h"
#include "Text.h"

namespace cfgtree {
namespace {

constexpr std::chrono::milliseconds kFirst(1000);
constexpr std::chrono::milliseconds kBetween(100);
constexpr std::string_view kWipe = "\r\x1b[K";
constexpr std::size_t kWidth = 79;

}  // namespace

Progress::Progress(std::string_view file)
    : m_file(Printable(file)),
      m_shown(os::IsTerminal(os::Stream::kError)),
      m_next(Clock::now() + kFirst) {}

Progress::~Progress() {
  if (m_visible) os::WriteError(kWipe);
}

void Progress::Show(std::string_view step, std::size_t done, std::size_t total) {
  const Clock::time_point now = Clock::now();
  if (now < m_next) return;
  m_next = now + kBetween;
  m_visible = true;

  std::string line(step);
  line += ' ';
  line += m_file;
  line += ": ";
  line += total > 0 ? std::to_string(done * 100 / total) + "%" : ByteSize(done);
  os::WriteError(std::string(kWipe) + CutToWidth(line, kWidth));
}

}  // namespace cfgtree
