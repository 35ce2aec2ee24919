// An allocator that fails on demand, and that notices what is not given back and what is written
// behind the end of a block.
//
// For the programs built of *_alloc_test.cpp, which are linked with --wrap: calls of malloc,
// calloc, aligned_alloc and free from the library's objects come here. Those of libomp and of the
// C++ library do not, so a planned failure hits nobody else.
#pragma once

#include "frame/status.h"

#include <gtest/gtest.h>

namespace nevrad_test {

enum class failing { never, once, from_then_on, large };

// Counts allocations within its scope. The n-th (from 1) fails, or the n-th and every later one, or
// each of more than 1 GiB.
class allocator_scope {
 public:
  explicit allocator_scope(failing mode = failing::never, int n = 0);
  allocator_scope(const allocator_scope&) = delete;
  allocator_scope& operator=(const allocator_scope&) = delete;
  ~allocator_scope();

  int calls() const;              // allocations asked for
  int refused() const;            // of these, made to fail
  int live() const;               // given out in this scope and not yet back
  std::uint64_t largest() const;  // bytes asked for at once
  std::uint64_t peak() const;     // bytes given out at a time
};

// Runs call() once for each allocation that it makes, with that allocation failing, and with that
// one and all later ones failing, until a run in which nothing failed. Every failing run must
// answer 2 and give back what it took; the last one must answer 0. Returns the number of
// allocations of the undisturbed run.
template <class Call>
int expect_clean_failures(const Call& call) {
  for (const failing mode : {failing::once, failing::from_then_on}) {
    for (int n = 1;; ++n) {
      SCOPED_TRACE(testing::Message() << "allocation " << n << " fails"
                                      << (mode == failing::once ? "" : ", and all later ones"));
      nevrad::status result = 0;
      bool failed = false;
      int live = 0;
      int calls = 0;
      {
        const allocator_scope memory(mode, n);
        result = call();
        failed = memory.refused() > 0;
        live = memory.live();
        calls = memory.calls();
      }
      EXPECT_EQ(live, 0) << "blocks not given back";
      if (!failed) {
        EXPECT_EQ(result, ORV_SPARSE_STATUS_SUCCESS);
        if (mode == failing::from_then_on) return calls;
        break;
      }
      EXPECT_EQ(result, ORV_SPARSE_STATUS_ALLOC_FAILED);
      if (n > 1000) {
        ADD_FAILURE() << "no end of allocations";
        return n;
      }
    }
  }
  return 0;
}

}  // namespace nevrad_test
