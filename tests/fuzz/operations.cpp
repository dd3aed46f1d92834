// Operations on a forest, each carried out by the library and by a naive model, which must
// agree on results, exceptions, log lines and everything that is in memory afterwards; see
// property/round.h.  The bytes of an input are the decisions of the round.

#include <cstddef>
#include <string>

#include "fuzz/Take.h"
#include "fuzz/targets.h"
#include "property/round.h"

namespace fuzz {
namespace {

class ByteChoices : public property::Choices {
 public:
  explicit ByteChoices(Take& take) : m_take(take) {}

  std::size_t Below(std::size_t n) override {
    // The operation that the end of the input falls into gets away quickly: a decision by
    // chance comes out as no.
    if (m_take.AtEnd()) return n - 1;
    std::size_t number = 0;
    for (std::size_t reach = n - 1; reach > 0; reach >>= 8) number = number << 8 | m_take.Byte();
    return number % n;
  }

  bool Spent() const override { return m_take.AtEnd(); }

 private:
  Take& m_take;
};

void Run(std::string_view bytes, bool zero_names) {
  using Pools = property::RoundOptions::Pools;
  Take take(bytes);
  const Pools kinds[] = {Pools::kStarved, Pools::kStarvedNowAndThen, Pools::kFed};
  const Pools pools = kinds[take.Byte() % 3];
  ByteChoices choices(take);
  // Nothing may be lost for good: a process runs many inputs.
  property::Round round(choices,
                        {.zero_names = zero_names, .pools = pools, .losses = 0, .steps = 300});
  try {
    round.Run();
  } catch (const property::Parted& parted) {
    throw Bug(parted.what + "\nThe last operations:\n" + round.Story());
  }
}

}  // namespace

void Operations(std::string_view bytes) {
  Run(bytes, false);
}
void OperationsZeroNames(std::string_view bytes) {
  Run(bytes, true);
}

}  // namespace fuzz
