// The commands.  Each loads its files itself (LoadForGood) and puts what it has to say into
// `out`, or throws an Error.

#ifndef CFGTREE_COMMANDS_COMMANDS_H
#define CFGTREE_COMMANDS_COMMANDS_H

#include "CommandLine.h"
#include "Load.h"
#include "Output.h"
#include "Terminal.h"

namespace cfgtree {

void RunPrint(const Options& options, const Style& style, Output& out);
void RunGet(const Options& options, const Style& style, Output& out);
void RunLs(const Options& options, const Style& style, Output& out);
void RunSearch(const Options& options, const Style& style, Output& out);
void RunStats(const Options& options, const Style& style, Output& out);
void RunExplain(const Options& options, const Style& style, Output& out);
void RunChecksum(const Options& options, const Style& style, Output& out);

// Whether the two files differ.
bool RunDiff(const Options& options, const Style& style, Output& out);

// Writes a file and says on standard error what it holds.
void RunChanges(const Options& options);

// These write a file and say nothing but what its format cannot carry.
void RunExport(const Options& options);
void RunConvert(const Options& options);
void RunMerge(const Options& options);

}  // namespace cfgtree

#endif  // CFGTREE_COMMANDS_COMMANDS_H
