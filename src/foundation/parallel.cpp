#include "foundation/parallel.h"

#include <algorithm>
#include <exception>
#include <thread>
#include <vector>

void ParallelRanges(std::size_t count, std::size_t leastPerRange,
                    const std::function<void(std::size_t begin, std::size_t end)>& work) {
  const std::size_t cores = std::max<std::size_t>(1, std::thread::hardware_concurrency());
  const std::size_t ranges = std::clamp<std::size_t>(count / std::max<std::size_t>(1, leastPerRange), 1, cores);
  if (ranges == 1) {
    if (count > 0) work(0, count);
    return;
  }
  std::vector<std::exception_ptr> failures(ranges);
  const auto run = [&](std::size_t range) {
    try {
      work(range * count / ranges, (range + 1) * count / ranges);
    } catch (...) {
      failures[range] = std::current_exception();
    }
  };
  std::vector<std::thread> threads;
  threads.reserve(ranges - 1);
  try {
    for (std::size_t range = 0; range + 1 < ranges; ++range) threads.emplace_back(run, range);
  } catch (...) {
    for (std::thread& thread : threads) thread.join();
    throw;
  }
  run(ranges - 1);
  for (std::thread& thread : threads) thread.join();
  for (const std::exception_ptr& failure : failures)
    if (failure) std::rethrow_exception(failure);
}
