#include "support/compare.h"

#include <Eigen/Core>

#include <cstdio>
#include <cstdlib>

namespace bench {

void fail(const std::string& message) {
  std::fprintf(stderr, "nevrad_benchmark: %s\n", message.c_str());
  std::exit(EXIT_FAILURE);
}

void use_threads(int threads) {
  orv_set_thread_num(threads);
  omp_set_num_threads(threads);
  Eigen::setNbThreads(threads);
}

}  // namespace bench
