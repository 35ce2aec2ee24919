#include "picture.h"

#include "support/gnuplot.h"

#include <algorithm>
#include <cstdio>

namespace demo {

namespace {

std::string text_of(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", number);
  return text;
}

// Of the colours that people of any colour vision tell apart.
constexpr const char* colours[] = {"#0072b2", "#d55e00", "#009e73"};

// A block of data for each curve, and the plot of them.
std::string draw_falls(const picture& p) {
  std::string data;
  std::string curves;
  for (std::size_t f = 0; f < p.falls.size(); ++f) {
    const std::string name = "$fall" + std::to_string(f);
    data += name + " << E\n0 1\n";
    std::size_t iteration = 0;
    for (const double residual : p.falls[f].residuals) {
      data += std::to_string(++iteration) + " " + text_of(residual) + "\n";
    }
    data += "E\n";
    curves += ", " + name + " with lines lw 2.5 lc rgb '" + colours[f % 3] + "' title '" +
              p.falls[f].title + "'";
  }
  return data +
         "set title 'residual'\nset xlabel 'iterations'\nset logscale y\nset format y '10^{%L}'\n"
         "set grid\nset key top right\nplot " +
         text_of(p.tolerance) + " with lines dt 2 lc rgb '#808080' title 'asked for'" + curves +
         "\nunset logscale y\nset format y '%g'\n";
}

// Two bars for each number of threads.
std::string draw_speeds(const picture& p) {
  std::string data = "$speeds << E\n";
  double most = 0;
  for (const picture::speed& s : p.speeds) {
    data += "\"" + std::to_string(s.threads) + (s.threads == 1 ? " thread\" " : " threads\" ") +
            text_of(s.product) + " " + text_of(s.limit) + "\n";
    most = std::max({most, s.product, s.limit});
  }
  return data +
         "E\nset title 'matrix product'\nset xlabel ''\nset ylabel 'GB/s'\n"
         "set style data histogram\nset style histogram clustered gap 1\n"
         "set style fill solid\nset boxwidth 0.9\nset grid y\nset key top left\nset yrange [0:" +
         text_of(1.35 * most) +
         "]\nplot $speeds using 2:xtic(1) lc rgb '#0072b2' title \"nevrad's product\", "
         "'' using 3 lc rgb '#bbbbbb' title 'reading as many bytes'\n";
}

}  // namespace

void picture::write(const std::string& file) const {
  std::string heading = title;
  std::replace(heading.begin(), heading.end(), '"', '\'');
  bench::plot("set multiplot layout 1,2 title \"" + heading + "\" noenhanced\n" +
                  draw_falls(*this) + draw_speeds(*this) + "unset multiplot\n",
              file);
}

}  // namespace demo
