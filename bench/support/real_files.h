// Real files: configuration-like data that nobody here wrote.

#ifndef BENCH_SUPPORT_REAL_FILES_H
#define BENCH_SUPPORT_REAL_FILES_H

#include <vector>

#include "support/data.h"

namespace bench {

// The files of iso-codes and shared-mime-info as paths and values, in order of the files.
// Empty when they are not installed.
std::vector<Entry> RealEntries();

}  // namespace bench

#endif  // BENCH_SUPPORT_REAL_FILES_H
