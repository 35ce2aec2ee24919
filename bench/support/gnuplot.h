// Plots by gnuplot.
#pragma once

#include <string>

namespace bench {

// Runs gnuplot on `script` and writes what it draws to `file`, in the form that the name's end
// says: .svg or .png. Throws std::runtime_error with a message for the user when the name ends
// otherwise, gnuplot is missing or it fails.
void plot(const std::string& script, const std::string& file);

// Throws as plot does where the name would be refused or gnuplot is missing: to be asked before
// the work that is to be plotted.
void expect_plotter(const std::string& file);

}  // namespace bench
