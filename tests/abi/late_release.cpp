// The client of load_client.cpp, linked to the library: its static objects go when the
// process ends.

#include <cstdio>

extern "C" void RunClient(void (*when_gone)());

namespace {

void SayGone() {
  std::puts("load_client: ended cleanly");
  std::fflush(stdout);
}

}  // namespace

int main() {
  RunClient(SayGone);
  return 0;
}
