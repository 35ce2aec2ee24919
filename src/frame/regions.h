// Parallel regions, as drivers open them. The name of the helper tells which team is meant.
//
// A body receives the part that it is to do and never asks the runtime who it is: where a smaller
// team is granted than requested (inside a caller's own region, under OMP_DYNAMIC, under a device
// limit) the threads present take the remaining parts in turn, and the result has the same bits.
#pragma once

#include "frame/budget.h"
#include "frame/partition.h"

#include <omp.h>

namespace nevrad {

// Regions stand in functions of their own: in a function that holds one, the runtime is asked for
// the calling thread's number on entry, also where no region opens.
namespace region {

template <class Body>
[[gnu::noinline]] void parts_on_team(int parts, const Body& body) {
#pragma omp parallel num_threads(parts)
  {
    const int team = omp_get_num_threads();
    for (int part = omp_get_thread_num(); part < parts; part += team) body(part);
  }
}

template <class Body>
[[gnu::noinline]] void static_blocks_on_team(int threads, std::int32_t count, const Body& body) {
#pragma omp parallel num_threads(threads)
  {
    const static_block block = block_of(count, omp_get_num_threads(), omp_get_thread_num());
    body(block.first, block.last);
  }
}

}  // namespace region

// Runs body(part) for every part, on a team of `parts` threads: thread t runs part t. One part runs
// on the calling thread without the runtime, whose serialised region costs more than a small
// matrix.
template <class Body>
void for_each_part_on_team(int parts, const Body& body) {
  if (parts < 2) {
    body(0);
  } else {
    region::parts_on_team(parts, body);
  }
}

// Runs body(chunk) for every chunk on the runtime's default team, whatever the budget: the budget
// limits the number of chunks and not the team.
template <class Body>
void for_each_chunk_on_default_team(int chunks, const Body& body) {
#pragma omp parallel for schedule(static)
  for (int chunk = 0; chunk < chunks; ++chunk) body(chunk);
}

// Runs body(first, last) on a team of `threads` threads, each on its block of a static loop over
// `count` items.
template <class Body>
void for_static_blocks_on_team(int threads, std::int32_t count, const Body& body) {
  if (threads < 2) {
    body(0, count);
  } else {
    region::static_blocks_on_team(threads, count, body);
  }
}

// How items of uneven cost are handed out: in chunks that shrink with what remains, or of one size.
enum class dispatch : bool { guided, dynamic };

// Runs body(thread, i) for every item, on a team of `threads` threads that ask for chunks of at
// least (guided) or exactly (dynamic) `Chunk` items as they get free. `thread` is the index within
// the team granted, always below `threads`; in a smaller team the higher ones do not occur.
template <dispatch Kind, int Chunk, class Body>
void for_each_dispatched_on_team(int threads, std::int32_t count, const Body& body) {
  if (threads < 2) {
    for (std::int32_t i = 0; i < count; ++i) body(0, i);
    return;
  }
#pragma omp parallel num_threads(threads)
  {
    const int thread = omp_get_thread_num();
    // NOLINTNEXTLINE(bugprone-branch-clone): the pragmas differ
    if constexpr (Kind == dispatch::guided) {
#pragma omp for schedule(nonmonotonic : guided, Chunk) nowait
      for (std::int32_t i = 0; i < count; ++i) body(thread, i);
    } else {
#pragma omp for schedule(nonmonotonic : dynamic, Chunk) nowait
      for (std::int32_t i = 0; i < count; ++i) body(thread, i);
    }
  }
}

}  // namespace nevrad
