#include "support/problem.h"

#include <cmath>

namespace bench {

namespace {

double conductivity(double x, double y, double z) {
  return std::exp(2 * std::sin(7 * x) * std::cos(5 * y + 1) * std::sin(6 * z + 2));
}

}  // namespace

problem make_diffusion(int side) {
  const double h = 1.0 / (side + 1);
  const int n = side * side * side;
  matrix<double> a(n, n);
  a.reserve(Eigen::VectorXi::Constant(n, 7));
  const auto at = [&](int x, int y, int z) {
    return conductivity((x + 1) * h, (y + 1) * h, (z + 1) * h);
  };
  const auto row_of = [side](int x, int y, int z) { return (z * side + y) * side + x; };
  const auto inside = [side](int c) { return c >= 0 && c < side; };
  // Neighbours in ascending order of row number, the point itself between them.
  constexpr int steps[7][3] = {{0, 0, -1}, {0, -1, 0}, {-1, 0, 0}, {0, 0, 0},
                               {1, 0, 0},  {0, 1, 0},  {0, 0, 1}};
  for (int z = 0; z < side; ++z) {
    for (int y = 0; y < side; ++y) {
      for (int x = 0; x < side; ++x) {
        const int row = row_of(x, y, z);
        const double here = at(x, y, z);
        double sum = 0;
        double flow[7] = {};
        for (int s = 0; s < 7; ++s) {
          if (s == 3) continue;
          const double there = at(x + steps[s][0], y + steps[s][1], z + steps[s][2]);
          // The harmonic mean keeps the flow through a face the same from both sides.
          flow[s] = 2 * here * there / (here + there);
          sum += flow[s];
        }
        for (int s = 0; s < 7; ++s) {
          const int c[3] = {x + steps[s][0], y + steps[s][1], z + steps[s][2]};
          if (!inside(c[0]) || !inside(c[1]) || !inside(c[2])) continue;
          a.insert(row, row_of(c[0], c[1], c[2])) = s == 3 ? sum : -flow[s];
        }
      }
    }
  }
  a.makeCompressed();
  const std::string points = std::to_string(side);
  return {"diffusion with variable coefficients on a grid of " + points + " x " + points + " x " +
              points + " points",
          std::move(a)};
}

}  // namespace bench
