// What the allocation services ask of the C library, and what their owners do with it.
#include "frame/memory.h"

#include "support/allocator.h"

#include <utility>

namespace nevrad_test {
namespace {

TEST(memory, refusals_come_back_as_null) {
  const allocator_scope none(failing::from_then_on, 1);
  EXPECT_EQ(nevrad::rounded_aligned_alloc(64, 1), nullptr);
  EXPECT_EQ(nevrad::zeroed_aligned_alloc(64, 1), nullptr);
  EXPECT_EQ(nevrad::plain_alloc(1), nullptr);
  EXPECT_EQ(nevrad::plain_zeroed_alloc(1, 1), nullptr);
  EXPECT_EQ(none.refused(), 4);
  EXPECT_EQ(nevrad::rounded_aligned_alloc(0, 1), nullptr);
  EXPECT_EQ(none.calls(), 4) << "an alignment of 0 never reaches the allocator";
}

TEST(memory, scratch_gives_back_on_every_way_out) {
  using scratch = nevrad::scratch<int>;
  const allocator_scope memory;
  {
    scratch a(nevrad::plain_alloc(40));
    scratch b(std::move(a));
    EXPECT_FALSE(a);  // NOLINT(bugprone-use-after-move): moved-from owners are empty
    EXPECT_EQ(memory.live(), 1);
    b = scratch(nevrad::plain_alloc(80));
    EXPECT_EQ(memory.live(), 1) << "the old array goes when a new one comes";
    scratch empty;
    empty = std::move(b);
    EXPECT_EQ(memory.live(), 1);
  }
  EXPECT_EQ(memory.live(), 0);
  int* handed_out = nullptr;
  {
    scratch a(nevrad::plain_zeroed_alloc(10, 4));
    handed_out = a.release();
  }
  EXPECT_EQ(memory.live(), 1);
  nevrad::release_memory(handed_out);
  EXPECT_EQ(memory.live(), 0);
}

}  // namespace
}  // namespace nevrad_test
