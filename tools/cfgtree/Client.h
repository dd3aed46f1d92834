// The program from its arguments to its exit code.

#ifndef CFGTREE_CLIENT_H
#define CFGTREE_CLIENT_H

#include <string>
#include <vector>

namespace cfgtree {

inline constexpr int kExitDone = 0;
inline constexpr int kExitBadInput = 1;
inline constexpr int kExitUsage = 2;

// As diff(1) has it: 1 says that the files differ, so whatever goes wrong is 2.
inline constexpr int kExitDifferent = 1;
inline constexpr int kExitDiffFailed = 2;

// Runs one command.  Whatever goes wrong becomes one line on standard error and an exit
// code; standard output then stays empty.
int RunClient(const std::vector<std::string>& arguments);

}  // namespace cfgtree

#endif  // CFGTREE_CLIENT_H
