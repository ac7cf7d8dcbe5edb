// The subcommands of the command-line host. Each has a name, a one-line summary for the overview, a
// help text of its own and a function that runs it. Exit codes are the same for all of them.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace ondrel::cli {

inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 1;  // the core failed or a file can't be written; the reason went to standard error
inline constexpr int kExitUsage = 2;    // the command line was wrong; the usage went to standard error

// Thrown by a command that finds its arguments wrong; main prints the message and the command's usage
// and exits with kExitUsage.
struct UsageError {
  std::string message;
};

// The arguments of a command shaped `NAME INPUT -o OUTPUT`: one input (`inputName` in messages, as
// "FILE") and -o or --output with its file (`outputName`, as "OUT.raw"). Throws UsageError naming the
// command for an unknown option, a second input, or a missing input or output.
struct InputAndOutput {
  std::string input;
  std::string output;
};
InputAndOutput ParseInputAndOutput(std::span<const std::string_view> args, std::string_view command,
                                   std::string_view inputName, std::string_view outputName);

struct Command {
  std::string_view name;
  std::string_view summary;  // one line for `ondrel --help`
  std::string_view usage;    // "ondrel NAME ARGS..."
  std::string_view help;     // what the command does, its options and its output
  int (*run)(std::span<const std::string_view> args);  // arguments after the command's name
  bool showsPixels = false;  // it loads images: its help says what the pixel warnings mean
  bool writesFiles = false;  // it writes files: its help says how they are written
  bool usesStorage = false;  // it may store: its help says which settings name the storage
};

// Every subcommand, in the order `ondrel --help` lists them.
std::span<const Command> Commands();
// The command of that name, or null.
const Command* FindCommand(std::string_view name);

// The full help of a command, as `ondrel help NAME` and `ondrel NAME --help` print it.
std::string CommandHelp(const Command& command);
// The overview `ondrel --help` prints.
std::string OverviewHelp();
std::string VersionText();

}  // namespace ondrel::cli
