// What an entry demands of the lines of its matrix. The demands are the worst over types, budgets
// and line lengths: a matrix that meets them is computed right in every case.
#pragma once

#include "structure.h"

#include <string>
#include <vector>

namespace tools {

// A use of an entry, for one or for all types of elements.
struct use {
  const char* entry;       // without prefix and letter
  const char* structures;  // first letters of the descriptors: G, S, H, T, D
  const char* operations;  // values of transa
  storage by;              // what the lines are
  bool three_arrays;       // lines are packed by the form of the arguments
  bool square;
  // demands
  bool packed;
  bool sorted;
  bool unique;
  bool diagonal;  // an entry on the diagonal of every line, also where it is taken as ones
  bool nonempty;  // at least one entry
  const char* note;

  // The sums and products of sparse matrices have no form with indices from 0.
  bool one_based() const;
};

const std::vector<use>& all_uses();

// What stands in the way of a use; empty where nothing does.
std::vector<std::string> obstacles(const use& of, const compressed& a, const structure& found);

}  // namespace tools
