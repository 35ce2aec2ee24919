#include "support/compare.h"

#include <cstdio>
#include <cstdlib>

namespace bench {

void fail(const std::string& message) {
  std::fprintf(stderr, "nevrad_benchmark: %s\n", message.c_str());
  std::exit(EXIT_FAILURE);
}

}  // namespace bench
