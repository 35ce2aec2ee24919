// What the demo draws: how the residual fell, and how near the products came to what the machine
// reads.
#pragma once

#include <string>
#include <vector>

namespace demo {

struct picture {
  struct fall {
    std::string title;
    std::vector<double> residuals;  // after each iteration, relative to the right-hand side
  };
  struct speed {
    int threads;
    double product;  // GB/s of the matrix product
    double limit;    // GB/s of reading as many bytes, in turns with it
  };
  std::string title;
  double tolerance = 0;
  std::vector<fall> falls;
  std::vector<speed> speeds;

  // Writes the picture to a file (.svg, .png) with gnuplot; throws std::runtime_error.
  void write(const std::string& file) const;
};

}  // namespace demo
