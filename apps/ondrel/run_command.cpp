#include "run_command.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>

#include "command_table.h"
#include "console_text.h"
#include "failure_text.h"
#include "foundation/exceptions.h"
#include "host_setup.h"
#include "script_host.h"
#include "script_methods.h"

namespace ondrel::cli {

int RunRun(std::span<const std::string_view> args) {
  if (args.size() == 1 && args[0] == "--methods") {
    std::cout << MethodsText();
    return kExitSuccess;
  }
  if (args.size() != 1) throw UsageError{"run takes one SCRIPT, or - for standard input"};
  const std::string name(args[0]);
  std::ifstream file;
  if (name != "-") {
    if (std::optional<std::string> unopened = CannotOpen(name)) throw Failure{*unopened, {}};
    file.open(name);
  }
  std::istream& in = name == "-" ? std::cin : file;
  const std::string folder = name == "-" ? "." : std::filesystem::path(name).parent_path().string();

  StartComponentHost();
  // Declared first so that it stops after the host has let go of the component and its windows.
  const GdiplusSession gdiplus;
  if (!Started(gdiplus)) return kExitFailure;
  ScriptHost host(folder.empty() ? "." : folder);
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    const std::string where = name + ":" + std::to_string(number) + ": ";
    try {
      host.RunLine(line, std::cout);
    } catch (const ScriptError& error) {
      std::cerr << "ondrel: " << where << error.message << "\n";
      return kExitUsage;
    } catch (const ExpectationFailed& failure) {
      std::cerr << "ondrel: " << where << "expected \"" << failure.expected << "\" in: " << host.LastOutput() << "\n";
      return kExitFailure;
    } catch (const Failure& failure) {
      Report(failure, where);
      return kExitFailure;
    } catch (const MyException& failure) {
      const std::string text = ToConsole(ReportText(failure));
      Report({CoreMessage(text), text}, where);
      return kExitFailure;
    }
  }
  return kExitSuccess;
}

}  // namespace ondrel::cli
