// A race in a region of the library's own making: a checker of races that does not find it would
// not find one in the kernels either.
#include "frame/regions.h"

#include <cstdio>

int main() {
  int shared = 0;
  nevrad::for_each_part_on_team(3, [&](int part) {
    for (int i = 0; i < 1000; ++i) shared += part;
  });
  std::printf("%d\n", shared);
  return 0;
}
