#include "Load.h"
#include "commands/Commands.h"
#include "writers/Writer.h"

namespace cfgtree {

void RunExport(const Options& options) {
  LoadedFile& file = LoadForGood(options.files[0], options.format);
  WriteOptions writing = WriteOptionsLike(file, Format::kTree);
  writing.skip_name = options.skip;
  writing.header = options.header;
  Save(file.top, options.output, Format::kTree, writing);
}

}  // namespace cfgtree
