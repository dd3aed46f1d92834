#include "Client.h"

#include <new>
#include <string_view>

#include "CommandLine.h"
#include "Error.h"
#include "Load.h"
#include "Output.h"
#include "System.h"
#include "Terminal.h"
#include "Text.h"
#include "Zel/Zel_LogFile.h"
#include "commands/Commands.h"

namespace cfgtree {
namespace {

// The library's log: nothing at level 0, else one line per message on standard error.
void SetLog(int level) {
  ZelGLog.SetSink([](const Zel_LogRecord& record) {
    std::string_view text = record.text;
    if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    os::WriteError("log " + std::to_string(record.level) + ' ' + record.function + ": " +
                   Printable(text) + '\n');
  });
  ZelGLog.SetLevel(level);
}

void RunCommand(const Options& options, LoadedFile& file, Output& out) {
  const Style style = DetectStyle(options.color);
  switch (options.command) {
    case Command::kPrint:
      return RunPrint(options, file, style, out);
    case Command::kGet:
      return RunGet(options, file, style, out);
    case Command::kLs:
      return RunLs(options, file, style, out);
    case Command::kSearch:
      return RunSearch(options, file, style, out);
    case Command::kStats:
      return RunStats(options, file, style, out);
  }
}

void Run(const std::vector<std::string>& arguments) {
  const ParsedCommandLine parsed = ParseCommandLine(arguments);
  if (parsed.text) return os::WriteOutput(*parsed.text);

  SetLog(parsed.options.log_level);
  // Never released: the process ends with the command, and the system takes back a big
  // tree faster than its destructors could.
  static LoadedFile* file = nullptr;
  file = new LoadedFile(Load(parsed.options.file, parsed.options.format));
  Output out;
  RunCommand(parsed.options, *file, out);
  os::WriteOutput(out.Text());
}

void Complain(std::string_view what, std::string_view hint = "") {
  std::string line = "cfgtree: " + Printable(what);
  line += hint;
  line += '\n';
  os::WriteError(line);
}

}  // namespace

int RunClient(const std::vector<std::string>& arguments) {
  try {
    Run(arguments);
    return kExitDone;
  } catch (const UsageError& error) {
    Complain(error.what(), "; see cfgtree --help");
    return kExitUsage;
  } catch (const std::bad_alloc&) {
    Complain("out of memory");
  } catch (const std::exception& error) {
    Complain(error.what());
  }
  return kExitBadInput;
}

}  // namespace cfgtree
