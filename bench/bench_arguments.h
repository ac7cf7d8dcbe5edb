// The one argument the benchmarks take besides Google Benchmark's flags: --data=DIR, their data.
#pragma once

#include <benchmark/benchmark.h>

#include <iostream>
#include <string>
#include <string_view>

// Lets Google Benchmark take its flags out of argv, then reads --data=DIR into `folder`, which keeps its
// default when the argument is not given. False, with the reason on standard error, for any other
// argument.
inline bool ReadBenchmarkArguments(int& argc, char** argv, std::string_view name, std::string& folder) {
  benchmark::Initialize(&argc, argv);
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (!argument.starts_with("--data=")) {
      std::cerr << name << ": unknown argument " << argument << "\n";
      return false;
    }
    folder = std::string(argument.substr(7));
  }
  return true;
}
