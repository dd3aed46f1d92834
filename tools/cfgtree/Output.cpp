#include "Output.h"

#include "Error.h"

namespace cfgtree {

void Output::Fill(std::size_t count, char c) {
  RequireRoom(count);
  m_text.append(count, c);
}

void Output::ThrowTooLarge() {
  throw Error("standard output", "more than 1 GiB to print; ask for less");
}

}  // namespace cfgtree
