// A dispatch loop whose threads do the items of a chunk together.
#pragma once

#include "frame/regions.h"

namespace nevrad {

// The dynamic for_each_dispatched_on_team for items that are better done several at once, in chunks
// that the caller has cut: make_worker(thread) is called on each thread, and the worker(first,
// last) that it answers does items bounds[chunk] to bounds[chunk + 1] - 1.
//
// A thread does a chunk before it draws the next. Drawn with nothing to do in between they make the
// runtime's stealing fail now and then, while others are on their way into the loop.
template <class MakeWorker>
void for_each_dispatched_chunk_on_team(int threads,
                                       std::int32_t chunks,
                                       const std::int32_t* bounds,
                                       const MakeWorker& make_worker) {
#pragma omp parallel num_threads(threads)
  {
    auto worker = make_worker(omp_get_thread_num());
#pragma omp for schedule(nonmonotonic : dynamic, 1) nowait
    for (std::int32_t chunk = 0; chunk < chunks; ++chunk) worker(bounds[chunk], bounds[chunk + 1]);
  }
}

}  // namespace nevrad
