// Splitting a loop over independent items between the machine's cores, for the few loops that run
// on every mouse move over data larger than the caches (the oblique image of an MPR): there the
// time goes in waiting on memory, and each core waits on its own reads.
#pragma once

#include <cstddef>
#include <functional>

// Calls `work(begin, end)` for consecutive ranges that together cover [0, count), each on its own
// thread (the last on the calling one), at most one range a core and none shorter than `leastPerRange`
// items but the only one; returns when all are done. `work` must be safe to run on several threads at
// once on different ranges. An exception thrown by `work` is thrown again here, after every range has
// ended; with several, the first range's. Throws std::system_error when no thread can be started.
void ParallelRanges(std::size_t count, std::size_t leastPerRange,
                    const std::function<void(std::size_t begin, std::size_t end)>& work);
