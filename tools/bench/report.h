// What was measured, as a table, as JSON and as a roofline plot.
#pragma once

#include "measure.h"

#include <string>
#include <vector>

namespace tools {

struct subject {
  std::string title;
  long rows = 0;
  long cols = 0;
  long entries = 0;
};

std::string table(const std::vector<measurement>& all);
std::string json(const subject& what, const settings& how, const std::vector<measurement>& all);

// A script for gnuplot: GFLOP/s over flops a byte, one roof for each number of threads. Cases that
// compute nothing are left out.
std::string roofline(const subject& what, const std::vector<measurement>& all);

}  // namespace tools
