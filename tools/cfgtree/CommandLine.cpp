#include "CommandLine.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cassert>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

#include "Encoding.h"
#include "Error.h"

namespace cfgtree {
namespace {

constexpr int kNoLimit = std::numeric_limits<int>::max();

constexpr const char* kOverview =
    "Shows configuration files - JSON, XML, INI and Windows registry exports - as trees,\n"
    "compares them and lays them over each other.";

constexpr const char* kFooter =
    R"(FILE may be - for standard input.  A PATH is names joined by backslashes, relative to the
top, such as 'ports\http'; quote it for the shell.  name[2] is the second sibling of a name.
--json and --color are for what is printed: export, convert, merge and changes take neither.

Examples:
  cfgtree print settings.json
  cfgtree ls settings.xml 'server\ports'
  cfgtree get settings.reg 'HKEY_LOCAL_MACHINE\Software\Example\Port'

'cfgtree COMMAND --help' tells more.  Exit codes: 0 done, 1 bad input or no such path,
2 wrong usage.)";

constexpr const char* kPrintFooter =
    R"(As much is drawn as fits a screen; a last line says how much was left out.  --all draws
everything.  With --json the tree is complete unless a limit is given.

Examples:
  cfgtree print settings.json
  cfgtree print settings.json ports --depth 2
  cfgtree print settings.json --all | less -R
  cfgtree print settings.xml --json | jq .)";

constexpr const char* kGetFooter =
    R"(Prints the value and a line break.  On a terminal, control characters are shown as
escapes; to a file or pipe the value goes byte for byte.

Examples:
  cfgtree get settings.json 'ports\http'
  port=$(cfgtree get settings.ini 'server\port'))";

constexpr const char* kLsFooter =
    R"(One line per child: its name, its kind or how many entries it has, its value.  To a file
or pipe the fields are separated by tabs.  A name that came before has [N] behind it.

Examples:
  cfgtree ls settings.json
  cfgtree ls settings.json ports
  cfgtree ls settings.xml 'server\port[2]' --json)";

constexpr const char* kSearchFooter =
    R"(PATH is followed from every node of the tree; each place where it exists is printed, with
its value or how many entries it has.  No place at all is exit code 1.

Examples:
  cfgtree search settings.json port
  cfgtree search settings.xml 'server\@name' --limit 10
  cfgtree search settings.reg ImagePath --json)";

constexpr const char* kStatsFooter =
    R"(Names and values are interned: equal texts are stored once.  The figures show what that
saved, what the library's pools hold, and what reading cost.

Examples:
  cfgtree stats settings.json
  cfgtree stats settings.json --json | jq .nodes)";

constexpr const char* kExportFooter =
    R"(OUT is written as a whole or not at all.  What a serialized tree cannot carry is told.

Examples:
  cfgtree export settings.json -o settings.tree
  cfgtree export settings.reg -o settings.tree --skip HKEY_USERS --header)";

constexpr const char* kConvertFooter =
    R"(The endings of IN and OUT tell the formats: .json, .xml, .ini, .reg, .tree, and .txt for one
line per value.  A file that keeps its format keeps its layout.  OUT is written as a whole or not
at all.  What its format cannot carry is told.

Examples:
  cfgtree convert settings.reg settings.json
  cfgtree convert settings.tree - --to text | sort
  cfgtree convert - settings.reg --from tree <settings.tree)";

constexpr const char* kMergeFooter =
    R"(Each OVERRIDE is laid over what came before it: of two values of one name its own stays, and
sub-trees are merged at every depth.  The top bears the name of BASE.  Sub-trees that both sides
have move behind their siblings.  What the format of OUT cannot carry is told.

Examples:
  cfgtree merge base.json site.json -o merged.json
  cfgtree merge base.reg site.reg host.reg -o merged.tree
  cfgtree merge base.json site.json -o - --to text)";

constexpr const char* kExplainFooter =
    R"(Merges the files as 'cfgtree merge' does and tells for each of them, the last one first, what
it has at PATH and what became of that: supplies, overridden, hidden (and by what) or nothing.

Examples:
  cfgtree explain 'ports\http' base.json site.json host.json
  cfgtree explain ports base.json site.json --json)";

constexpr const char* kDiffFooter =
    R"(A line for each value that was changed (~), added (+) or removed (-), by path.  The order of
siblings and the names of the top nodes do not count.  To a file or pipe: mark, path, old and new
value, between tabs.

Exit codes: 0 no difference, 1 differences, 2 trouble of any kind.

Examples:
  cfgtree diff old.json new.json
  cfgtree diff old.reg new.reg | cut -f 2
  cfgtree diff old.xml new.xml --json | jq .changed)";

constexpr const char* kChangesFooter =
    R"(OUT gets the values of NEW that OLD lacks or has otherwise, below the sub-trees on their way.
What was removed cannot be carried; standard error tells how much that is.  When nothing is
changed or added, OUT is not written.

Examples:
  cfgtree changes old.reg new.reg -o changes.reg
  cfgtree changes old.json new.json -o - --to json)";

constexpr const char* kChecksumFooter =
    R"(The sum covers names and values from PATH down, not the order of siblings.  The name of the
node itself counts; a file's top node, which is called after the file, is called 'top' for the sum
unless --name tells another name.

Examples:
  cfgtree checksum settings.json
  cfgtree checksum settings.json ports
  cfgtree checksum settings.tree --name cfg)";

// Where several arguments may follow, CLI11 takes one in brackets for a list of them, and a
// lone ++ always for their end.  Here both are names like any other; a zero byte in front,
// which no argument can have, hides them from it until options receive their values.
std::string Hidden(const std::string& argument) {
  const bool special = StartsWith(argument, "[") || argument == "++";
  return special ? std::string(1, '\0') + argument : argument;
}
std::string Unhidden(std::string argument) {
  if (!argument.empty() && argument[0] == '\0') argument.erase(0, 1);
  return argument;
}

void DressHelp(CLI::App& app) {
  CLI::FormatterBase& formatter = *app.get_formatter();
  formatter.column_width(20);
  formatter.label("SUBCOMMAND", "COMMAND");
  formatter.label("Positionals", "Arguments");
}

// CLI11 keeps what it was given by name; these are turned into Options afterwards.
struct RawOptions {
  std::vector<std::string> files;
  std::string path;
  std::string output;
  std::string format;
  std::string to;
  std::string skip;
  std::string color = "auto";
  bool json = false;
  bool all = false;
  bool ascii = false;
  bool header = false;
  bool one_level = false;
  std::optional<std::string> name;
  int log_level = 0;
  int depth = -1;
  int children = -1;
  int lines = -1;
  int limit = -1;
};

CLI::Option* AddNumber(CLI::App& command, const char* name, int& value, int least, int most,
                       const char* help) {
  return command.add_option(name, value, help)
      ->check(CLI::Range(least, most))
      ->option_text("N")
      ->take_last();
}

void AddCommonOptions(CLI::App& command, RawOptions& raw) {
  // "convert --from reg --to json" reads better.
  const bool convert = command.get_name() == "convert";
  command
      .add_option(convert ? "--from,--format" : "--format", raw.format,
                  "Read json, xml, ini, reg or tree, whatever a file looks like")
      ->check(CLI::IsMember(FormatNames()))
      ->option_text("NAME")
      ->take_last();
  AddNumber(command, "--log", raw.log_level, 0, 7,
            "The library's log up to level N (3 errors, 7 everything) on standard error");
}

// How an answer on standard output looks.  To a command whose result is a file they mean
// nothing.
void AddPrintingOptions(CLI::App& command, RawOptions& raw) {
  command.add_flag("--json", raw.json, "Print JSON for scripts");
  command.add_option("--color", raw.color, "Colour and columns: auto, always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->option_text("WHEN")
      ->take_last();
}

bool WritesFile(const CLI::App& command) {
  const std::string& name = command.get_name();
  return name == "export" || name == "convert" || name == "merge" || name == "changes";
}

// One more file to read.  Positional arguments are taken in the order in which they are
// added here.
void AddFile(CLI::App& command, RawOptions& raw, const char* name, const char* help) {
  const auto take = [&raw](const std::string& file) { raw.files.push_back(file); };
  command.add_option_function<std::string>(name, take, help)->required()->option_text(" ");
}

CLI::App& AddCommand(CLI::App& app, RawOptions& raw, const char* name, const char* help,
                     const char* footer) {
  CLI::App& command = *app.add_subcommand(name, help);
  command.footer(footer);
  AddFile(command, raw, "FILE", "The file to read; - for standard input");
  return command;
}

CLI::Option* AddPath(CLI::App& command, RawOptions& raw, const char* help) {
  return command.add_option("PATH", raw.path, help)->option_text(" ");
}

void AddLimit(CLI::App& command, RawOptions& raw) {
  AddNumber(command, "--limit", raw.limit, 1, kNoLimit, "Show the first N only");
}

void AddTarget(CLI::App& command, RawOptions& raw) {
  command.add_option("-o,--output", raw.output, "The file to write; - for standard output")
      ->required()
      ->option_text("OUT")
      ->take_last();
}

void AddTargetFormat(CLI::App& command, RawOptions& raw) {
  command.add_option("--to", raw.to, "Write this format, whatever OUT is called")
      ->check(CLI::IsMember(WrittenFormatNames()))
      ->option_text("NAME")
      ->take_last();
}

void AddOutput(CLI::App& command, RawOptions& raw) {
  AddTarget(command, raw);
  AddTargetFormat(command, raw);
}

void AddWritingCommands(CLI::App& app, RawOptions& raw) {
  CLI::App& exports = AddCommand(app, raw, "export",
                                 "Write a serialized tree for the library's users", kExportFooter);
  AddTarget(exports, raw);
  exports.add_option("--skip", raw.skip, "Leave out this sub-tree of the top")
      ->option_text("NAME")
      ->take_last();
  exports.add_flag("--header", raw.header, "Write a header (of an empty path) if IN has none");

  CLI::App& convert = *app.add_subcommand("convert", "Write a file in another format");
  convert.footer(kConvertFooter);
  AddFile(convert, raw, "IN", "The file to read; - for standard input");
  convert.add_option("OUT", raw.output, "The file to write; - for standard output")
      ->required()
      ->option_text(" ");
  AddTargetFormat(convert, raw);
}

// Two files or more, each of which is laid over the ones before it.
void AddLayers(CLI::App& command, RawOptions& raw) {
  AddFile(command, raw, "BASE", "The lowest layer; - for standard input");
  const auto take = [&raw](const std::vector<std::string>& files) {
    raw.files.insert(raw.files.end(), files.begin(), files.end());
  };
  command
      .add_option_function<std::vector<std::string>>("OVERRIDE", take,
                                                     "What is laid over it, lowest first")
      ->required()
      ->option_text("...");
  command.add_flag("--one-level", raw.one_level,
                   "Merge the children of the top only; below, the last one stays whole");
}

void AddLayerCommands(CLI::App& app, RawOptions& raw) {
  CLI::App& merge = *app.add_subcommand("merge", "Lay files over each other");
  merge.footer(kMergeFooter);
  AddLayers(merge, raw);
  AddOutput(merge, raw);

  CLI::App& explain = *app.add_subcommand("explain", "Tell which file of a merge supplies a value");
  explain.footer(kExplainFooter);
  AddPath(explain, raw, "A value or sub-tree of the merged files")->required();
  AddLayers(explain, raw);
}

void AddComparisonCommands(CLI::App& app, RawOptions& raw) {
  CLI::App& diff = *app.add_subcommand("diff", "Show what two files differ in");
  diff.footer(kDiffFooter);
  CLI::App& changes = *app.add_subcommand("changes", "Extract what is new or changed in a file");
  changes.footer(kChangesFooter);
  for (CLI::App* command : {&diff, &changes}) {
    AddFile(*command, raw, "OLD", "The older file; - for standard input");
    AddFile(*command, raw, "NEW", "The newer file");
  }
  AddOutput(changes, raw);

  CLI::App& checksum =
      AddCommand(app, raw, "checksum", "Sum up names and values in 32 bits", kChecksumFooter);
  AddPath(checksum, raw, "Sum up from this node down");
  checksum.add_option("--name", raw.name, "What the node at PATH is called for the sum")
      ->option_text("NAME")
      ->take_last();
}

void AddCommands(CLI::App& app, RawOptions& raw) {
  CLI::App& print = AddCommand(app, raw, "print", "Draw the tree", kPrintFooter);
  AddPath(print, raw, "Draw from this node down");
  AddNumber(print, "--depth", raw.depth, 0, kNoLimit, "Levels below the start");
  AddNumber(print, "--children", raw.children, 1, kNoLimit, "Children of each node");
  AddNumber(print, "--lines", raw.lines, 1, kNoLimit, "Lines in all");
  print.add_flag("--all", raw.all, "No limits");
  print.add_flag("--ascii", raw.ascii, "Draw with ASCII characters");

  CLI::App& get = AddCommand(app, raw, "get", "Print one value", kGetFooter);
  AddPath(get, raw, "The value's path")->required();

  CLI::App& ls = AddCommand(app, raw, "ls", "List values and sub-trees of a node", kLsFooter);
  AddPath(ls, raw, "The node to list; the top when left out");
  AddLimit(ls, raw);

  CLI::App& search =
      AddCommand(app, raw, "search", "Find every place where a path exists", kSearchFooter);
  AddPath(search, raw, "One name, or several joined by backslashes")->required();
  AddLimit(search, raw);

  AddCommand(app, raw, "stats", "Count nodes, strings, memory and time", kStatsFooter);

  AddWritingCommands(app, raw);
  AddLayerCommands(app, raw);
  AddComparisonCommands(app, raw);

  // Options that many commands share may stand before the command, too.
  AddCommonOptions(app, raw);
  AddPrintingOptions(app, raw);
  for (CLI::Option* option : app.get_options()) option->transform(Unhidden);
  for (CLI::App* command : app.get_subcommands({})) {
    command->group("Commands");
    AddCommonOptions(*command, raw);
    if (!WritesFile(*command)) AddPrintingOptions(*command, raw);
    for (CLI::Option* option : command->get_options()) option->transform(Unhidden);
  }
}

std::optional<int> IfGiven(int value) {
  return value < 0 ? std::nullopt : std::optional<int>(value);
}

Command CommandByName(std::string_view name) {
  constexpr std::pair<std::string_view, Command> kCommands[] = {
      {"print", Command::kPrint},     {"get", Command::kGet},
      {"ls", Command::kLs},           {"search", Command::kSearch},
      {"stats", Command::kStats},     {"export", Command::kExport},
      {"convert", Command::kConvert}, {"merge", Command::kMerge},
      {"explain", Command::kExplain}, {"diff", Command::kDiff},
      {"changes", Command::kChanges}, {"checksum", Command::kChecksum},
  };
  for (const auto& [known, command] : kCommands) {
    if (known == name) return command;
  }
  assert(false);  // the parser lets no other name through
  return Command::kPrint;
}

Options ToOptions(const RawOptions& raw, std::string_view command) {
  Options options;
  options.command = CommandByName(command);
  options.files = raw.files;
  options.path = raw.path;
  options.output = raw.output;
  options.format = FormatByName(raw.format);
  options.json = raw.json;
  options.color = raw.color == "always"  ? ColorMode::kAlways
                  : raw.color == "never" ? ColorMode::kNever
                                         : ColorMode::kAuto;
  options.log_level = raw.log_level;
  options.depth = IfGiven(raw.depth);
  options.children = IfGiven(raw.children);
  options.lines = IfGiven(raw.lines);
  options.all = raw.all;
  options.ascii = raw.ascii;
  options.limit = IfGiven(raw.limit);
  options.to = WrittenFormatByName(raw.to);
  options.skip = raw.skip;
  options.header = raw.header;
  options.one_level = raw.one_level;
  options.name = raw.name;
  return options;
}

// Of an unknown command CLI11 would only say that it did not expect it.
void RequireCommand(const std::vector<std::string>& arguments, const CLI::App& app) {
  if (arguments.empty() || StartsWith(arguments[0], "-")) return;
  for (const CLI::App* command : app.get_subcommands({})) {
    if (command->get_name() == arguments[0]) return;
  }
  throw UsageError("unknown command " + arguments[0]);
}

// What stands before the command is read when it is not known yet which one follows.
void RequireOptionsOf(const CLI::App& command, const CLI::App& app) {
  for (const CLI::Option* option : app.get_options()) {
    const std::string name = option->get_name();
    if (option->count() > 0 && command.get_option_no_throw(name) == nullptr) {
      throw UsageError(command.get_name() + " takes no " + name);
    }
  }
}

// `left` are the arguments that the command did not take.
std::string ExplainExtras(const std::vector<std::string>& left) {
  std::string all;
  for (const std::string& argument : left) {
    // What stands behind it may be its value.
    if (StartsWith(argument, "-") && argument != "-") return "unknown option " + argument;
    if (!all.empty()) all += ' ';
    all += Unhidden(argument);
  }
  return "too many arguments: " + all;
}

std::string Explain(const CLI::ParseError& error, const CLI::App& app) {
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
    return ExplainExtras(app.remaining(true));
  }
  std::string text = error.what();
  // "--depth: 1 required INT missing"
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    return text.substr(0, text.find(':')) + " needs a value";
  }
  if (text == "A subcommand is required") return "no command given";
  return text;
}

}  // namespace

ParsedCommandLine ParseCommandLine(const std::vector<std::string>& arguments) {
  RawOptions raw;
  CLI::App app(kOverview, "cfgtree");
  app.set_version_flag("--version", "cfgtree " CFGTREE_VERSION, "Print the version and exit");
  app.require_subcommand(1);
  app.allow_windows_style_options(false);
  app.footer(kFooter);
  app.set_help_flag("-h,--help", "Print this help and exit");
  DressHelp(app);
  AddCommands(app, raw);

  ParsedCommandLine parsed;
  try {
    RequireCommand(arguments, app);
    // CLI11 takes the arguments from the back.
    std::vector<std::string> reversed;
    std::transform(arguments.rbegin(), arguments.rend(), std::back_inserter(reversed), Hidden);
    app.parse(std::move(reversed));
    const CLI::App& command = *app.get_subcommands().front();
    RequireOptionsOf(command, app);
    parsed.options = ToOptions(raw, command.get_name());
  } catch (const CLI::CallForHelp&) {
    parsed.text = app.help();
  } catch (const CLI::CallForVersion&) {
    parsed.text = app.version() + "\n";
  } catch (const CLI::ParseError& error) {
    throw UsageError(Explain(error, app));
  }
  return parsed;
}

}  // namespace cfgtree
