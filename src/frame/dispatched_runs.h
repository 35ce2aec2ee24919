// A dispatch loop whose threads do several items at once.
#pragma once

#include "frame/regions.h"

namespace nevrad {

// for_each_dispatched_on_team for items that are best done several at once: make_worker(thread) is
// called on each thread, and the worker(first, last) that it answers does items that the thread was
// handed one after the other, a few at most.
template <dispatch Kind, int Chunk, class MakeWorker>
void for_each_dispatched_run_on_team(int threads,
                                     std::int32_t count,
                                     const MakeWorker& make_worker) {
  if (threads < 2) {
    auto worker = make_worker(0);
    worker(0, count);
    return;
  }
  // So few that what a thread has taken but not done yet leaves none of the others without work,
  // even where all that is heavy lies together.
  constexpr std::int32_t most = 8;
  const std::int32_t share = count / (16 * threads);
  const std::int32_t together = share < Chunk ? Chunk : (share < most ? share : most);
#pragma omp parallel num_threads(threads)
  {
    auto worker = make_worker(omp_get_thread_num());
    std::int32_t first = 0;
    std::int32_t last = 0;
    const auto take = [&](std::int32_t i) {
      if (i != last || last - first >= together) {
        if (first < last) worker(first, last);
        first = i;
      }
      last = i + 1;
    };
    // NOLINTNEXTLINE(bugprone-branch-clone): the pragmas differ
    if constexpr (Kind == dispatch::guided) {
#pragma omp for schedule(nonmonotonic : guided, Chunk) nowait
      for (std::int32_t i = 0; i < count; ++i) take(i);
    } else {
#pragma omp for schedule(nonmonotonic : dynamic, Chunk) nowait
      for (std::int32_t i = 0; i < count; ++i) take(i);
    }
    if (first < last) worker(first, last);
  }
}

}  // namespace nevrad
