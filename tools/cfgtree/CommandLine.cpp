#include "CommandLine.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <limits>
#include <string_view>

#include "Encoding.h"
#include "Error.h"

namespace cfgtree {
namespace {

constexpr int kNoLimit = std::numeric_limits<int>::max();

constexpr const char* kOverview =
    "Shows configuration files - JSON, XML, INI and Windows registry exports - as trees.";

constexpr const char* kFooter =
    R"(FILE may be - for standard input.  A PATH is names joined by backslashes, relative to the
top, such as 'ports\http'; quote it for the shell.  name[2] is the second sibling of a name.

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

void DressHelp(CLI::App& app) {
  CLI::FormatterBase& formatter = *app.get_formatter();
  formatter.column_width(20);
  formatter.label("SUBCOMMAND", "COMMAND");
  formatter.label("Positionals", "Arguments");
}

// CLI11 keeps what it was given by name; these are turned into Options afterwards.
struct RawOptions {
  std::string file;
  std::string path;
  std::string format;
  std::string color = "auto";
  bool json = false;
  bool all = false;
  bool ascii = false;
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
  command
      .add_option("--format", raw.format,
                  "Read FILE as json, xml, ini or reg, whatever it looks like")
      ->check(CLI::IsMember(FormatNames()))
      ->option_text("NAME")
      ->take_last();
  command.add_flag("--json", raw.json, "Print JSON for scripts");
  command.add_option("--color", raw.color, "Colour and columns: auto, always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->option_text("WHEN")
      ->take_last();
  AddNumber(command, "--log", raw.log_level, 0, 7,
            "The library's log up to level N (3 errors, 7 everything) on standard error");
}

CLI::App& AddCommand(CLI::App& app, RawOptions& raw, const char* name, const char* help,
                     const char* footer) {
  CLI::App& command = *app.add_subcommand(name, help);
  command.footer(footer);
  command.add_option("FILE", raw.file, "The file to read; - for standard input")
      ->required()
      ->option_text(" ");
  return command;
}

CLI::Option* AddPath(CLI::App& command, RawOptions& raw, const char* help) {
  return command.add_option("PATH", raw.path, help)->option_text(" ");
}

void AddLimit(CLI::App& command, RawOptions& raw) {
  AddNumber(command, "--limit", raw.limit, 1, kNoLimit, "Show the first N only");
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

  // Options that all commands share may stand before the command, too.
  AddCommonOptions(app, raw);
  for (CLI::App* command : app.get_subcommands({})) {
    command->group("Commands");
    AddCommonOptions(*command, raw);
  }
}

std::optional<int> IfGiven(int value) {
  return value < 0 ? std::nullopt : std::optional<int>(value);
}

Command CommandByName(std::string_view name) {
  if (name == "print") return Command::kPrint;
  if (name == "get") return Command::kGet;
  if (name == "ls") return Command::kLs;
  if (name == "search") return Command::kSearch;
  return Command::kStats;
}

Options ToOptions(const RawOptions& raw, std::string_view command) {
  Options options;
  options.command = CommandByName(command);
  options.file = raw.file;
  options.path = raw.path;
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

std::string Explain(const CLI::ParseError& error) {
  std::string text = error.what();
  const std::string_view kNotExpected[] = {"The following argument was not expected: ",
                                           "The following arguments were not expected: "};
  for (const std::string_view prefix : kNotExpected) {
    if (!StartsWith(text, prefix)) continue;
    const std::string what = text.substr(prefix.size());
    return (StartsWith(what, "-") ? "unknown option " : "too many arguments: ") + what;
  }
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
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    parsed.options = ToOptions(raw, app.get_subcommands().front()->get_name());
  } catch (const CLI::CallForHelp&) {
    parsed.text = app.help();
  } catch (const CLI::CallForVersion&) {
    parsed.text = app.version() + "\n";
  } catch (const CLI::ParseError& error) {
    throw UsageError(Explain(error));
  }
  return parsed;
}

}  // namespace cfgtree
