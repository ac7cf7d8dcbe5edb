// ondrel: the command-line host of the Ondrel image core.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <iostream>
#include <string_view>
#include <vector>

#include "command_table.h"
#include "console_text.h"
#include "failure_text.h"
#include "foundation/exceptions.h"
#include "ondrel/platform/hresult_exception.h"

namespace {

using namespace ondrel::cli;

bool IsHelpFlag(std::string_view arg) { return arg == "--help" || arg == "-h"; }

int Usage(const std::string& message, const Command* command) {
  std::cerr << "ondrel: " << message << "\n";
  if (command != nullptr)
    std::cerr << "Usage: " << command->usage << "\nTry 'ondrel " << command->name << " --help'.\n";
  else
    std::cerr << "Try 'ondrel --help'.\n";
  return kExitUsage;
}

int Run(const std::vector<std::string_view>& args) {
  if (args.empty()) return Usage("no command given", nullptr);
  if (IsHelpFlag(args[0])) {
    std::cout << OverviewHelp();
    return kExitSuccess;
  }
  if (args[0] == "--version") {
    std::cout << VersionText();
    return kExitSuccess;
  }
  const Command* command = FindCommand(args[0]);
  if (command == nullptr) return Usage("unknown command '" + std::string(args[0]) + "'", nullptr);
  const std::span<const std::string_view> rest(args.begin() + 1, args.end());
  if (!rest.empty() && IsHelpFlag(rest[0])) {
    std::cout << CommandHelp(*command);
    return kExitSuccess;
  }
  try {
    return command->run(rest);
  } catch (const UsageError& error) {
    return Usage(error.message, command);
  }
}

// What the command printed must reach standard output: a full disk there is a failure too. The
// system's reason is known when the last flush fails; a write that failed earlier has left none.
int Flushed(int code) {
  const bool writtenSoFar = static_cast<bool>(std::cout);
  errno = 0;
  std::cout.flush();
  if (std::cout) return code;
  Report({std::string("cannot write standard output: ") +
              (writtenSoFar && errno != 0 ? std::strerror(errno) : "a write failed"),
          {}});
  return kExitFailure;
}

}  // namespace

int main(int argc, char** argv) {
#ifdef SIGXFSZ
  // A write past the file-size limit then fails with EFBIG, which the command reports, instead of
  // killing the process with a partial file left behind.
  std::signal(SIGXFSZ, SIG_IGN);
#endif
  std::vector<std::string_view> args(argv + 1, argv + argc);
  const auto verbose = std::remove(args.begin(), args.end(), std::string_view("--verbose"));
  SetVerbose(verbose != args.end());
  args.erase(verbose, args.end());
  try {
    return Flushed(Run(args));
  } catch (const Failure& failure) {
    Report(failure);
  } catch (const MyException& exception) {
    const std::string text = ToConsole(ReportText(exception));
    Report({CoreMessage(text), text});
  } catch (const ondrel::platform::HResultException& exception) {
    std::cerr << "ondrel: the platform failed with HRESULT 0x" << std::hex
              << static_cast<std::uint32_t>(exception.Result()) << "\n";
  } catch (const std::exception& exception) {
    std::cerr << "ondrel: " << exception.what() << "\n";
  }
  return Flushed(kExitFailure);
}
