#include "Client.h"

#include <new>
#include <string_view>

#include "CommandLine.h"
#include "Error.h"
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

// The exit code of a command that came to its end.
int RunCommand(const Options& options, Output& out) {
  const Style style = DetectStyle(options.color);
  switch (options.command) {
    case Command::kPrint:
      RunPrint(options, style, out);
      break;
    case Command::kGet:
      RunGet(options, style, out);
      break;
    case Command::kLs:
      RunLs(options, style, out);
      break;
    case Command::kSearch:
      RunSearch(options, style, out);
      break;
    case Command::kStats:
      RunStats(options, style, out);
      break;
    case Command::kExport:
      RunExport(options);
      break;
    case Command::kConvert:
      RunConvert(options);
      break;
    case Command::kMerge:
      RunMerge(options);
      break;
    case Command::kExplain:
      RunExplain(options, style, out);
      break;
    case Command::kDiff:
      return RunDiff(options, style, out) ? kExitDifferent : kExitDone;
    case Command::kChanges:
      RunChanges(options);
      break;
    case Command::kChecksum:
      RunChecksum(options, style, out);
      break;
  }
  return kExitDone;
}

int Run(const ParsedCommandLine& parsed) {
  if (parsed.text) {
    os::WriteOutput(*parsed.text);
    return kExitDone;
  }

  SetLog(parsed.options.log_level);
  Output out;
  const int code = RunCommand(parsed.options, out);
  os::WriteOutput(out.Text());
  return code;
}

void Complain(std::string_view what, std::string_view hint = "") {
  std::string line = "cfgtree: " + Printable(what);
  line += hint;
  line += '\n';
  os::WriteError(line);
}

}  // namespace

int RunClient(const std::vector<std::string>& arguments) {
  ParsedCommandLine parsed;
  try {
    parsed = ParseCommandLine(arguments);
    return Run(parsed);
  } catch (const UsageError& error) {
    Complain(error.what(), "; see cfgtree --help");
    return kExitUsage;
  } catch (const std::bad_alloc&) {
    Complain("out of memory");
  } catch (const std::exception& error) {
    Complain(error.what());
  }
  return parsed.options.command == Command::kDiff ? kExitDiffFailed : kExitBadInput;
}

}  // namespace cfgtree
