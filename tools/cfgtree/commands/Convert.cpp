#include "Load.h"
#include "commands/Commands.h"
#include "writers/Writer.h"

namespace cfgtree {

void RunConvert(const Options& options) {
  // Before anything is read: a wrong name for the result is wrong usage.
  const Format to = options.to ? *options.to : OutputFormat(options.output);
  LoadedFile& file = LoadForGood(options.files[0], options.format);
  Save(file.top, options.output, to, WriteOptionsLike(file, to));
}

}  // namespace cfgtree
