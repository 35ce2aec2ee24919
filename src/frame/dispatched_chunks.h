// A dispatch loop whose threads do the items of a chunk together.
#pragma once

#include "frame/regions.h"

namespace nevrad {

// The dynamic for_each_dispatched_on_team for items that are better done several at once:
// make_worker(thread) is called on each thread, and the worker(first, last) that it answers does
// items first to last - 1, `Chunk` of them, fewer at the end.
//
// A thread does a chunk before it draws the next. Drawn with nothing to do in between they make the
// runtime's stealing fail now and then, while others are on their way into the loop.
template <int Chunk, class MakeWorker>
void for_each_dispatched_chunk_on_team(int threads,
                                       std::int32_t count,
                                       const MakeWorker& make_worker) {
  const std::int32_t chunks = count / Chunk + (count % Chunk != 0 ? 1 : 0);
#pragma omp parallel num_threads(threads)
  {
    auto worker = make_worker(omp_get_thread_num());
    // The chunk is the item: as `dynamic, Chunk` over the items deals them out.
#pragma omp for schedule(nonmonotonic : dynamic, 1) nowait
    for (std::int32_t chunk = 0; chunk < chunks; ++chunk) {
      const std::int32_t first = chunk * Chunk;
      worker(first, count - first < Chunk ? count : first + Chunk);
    }
  }
}

}  // namespace nevrad
