// The commands.  Each puts what it has to say into `out`, or throws an Error.

#ifndef CFGTREE_COMMANDS_COMMANDS_H
#define CFGTREE_COMMANDS_COMMANDS_H

#include "CommandLine.h"
#include "Load.h"
#include "Output.h"
#include "Terminal.h"

namespace cfgtree {

void RunPrint(const Options& options, LoadedFile& file, const Style& style, Output& out);
void RunGet(const Options& options, LoadedFile& file, const Style& style, Output& out);
void RunLs(const Options& options, LoadedFile& file, const Style& style, Output& out);
void RunSearch(const Options& options, LoadedFile& file, const Style& style, Output& out);
void RunStats(const Options& options, LoadedFile& file, const Style& style, Output& out);

}  // namespace cfgtree

#endif  // CFGTREE_COMMANDS_COMMANDS_H
