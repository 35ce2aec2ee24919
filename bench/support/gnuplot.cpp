#include "support/gnuplot.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace bench {

namespace {

std::string terminal_for(const std::string& file) {
  if (file.ends_with(".svg")) return "svg size 900,560 dynamic background 'white' font 'sans,15'";
  if (file.ends_with(".png")) return "pngcairo size 1125,700 background 'white' font 'sans,14'";
  throw std::runtime_error(file + ": a plot's name ends in .svg or .png");
}

// In a string of gnuplot's between single quotes a quote is written twice.
std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? "''" : std::string(1, c);
  return result + "'";
}

}  // namespace

void expect_plotter(const std::string& file) {
  terminal_for(file);
  if (std::system("gnuplot --version >/dev/null 2>&1") != 0) {
    throw std::runtime_error("plots need gnuplot (Debian: gnuplot-nox)");
  }
}

void plot(const std::string& script, const std::string& file) {
  expect_plotter(file);
  const std::string whole =
      "set terminal " + terminal_for(file) + "\nset output " + quoted(file) + "\n" + script;
  std::FILE* const pipe = popen("gnuplot", "w");
  if (pipe == nullptr) throw std::runtime_error("gnuplot cannot be started");
  const bool written = std::fwrite(whole.data(), 1, whole.size(), pipe) == whole.size();
  if (pclose(pipe) != 0 || !written) throw std::runtime_error(file + ": gnuplot failed");
}

}  // namespace bench
