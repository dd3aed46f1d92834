#include "writers/Losses.h"

#include "Text.h"

namespace cfgtree {

void Losses::Count(const char* one, const char* many, std::uint64_t number) {
  if (number == 0) return;
  for (Entry& entry : m_entries) {
    if (entry.number > 0 && entry.one == one) {
      entry.number += number;
      return;
    }
  }
  m_entries.push_back({number, one, many});
}

void Losses::Say(std::string sentence) {
  m_entries.push_back({0, std::move(sentence), ""});
}

std::vector<std::string> Losses::Sentences() const {
  std::vector<std::string> sentences;
  for (const Entry& entry : m_entries) {
    sentences.push_back(entry.number == 0 ? entry.one
                                          : Counted(entry.number, entry.one, entry.many));
  }
  return sentences;
}

}  // namespace cfgtree
