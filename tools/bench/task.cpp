#include "task.h"

#include "operands.h"

#include <string_view>
#include <variant>

namespace tools {

bool is_solve(const std::string& entry) { return entry.ends_with("sv") || entry.ends_with("sm"); }

namespace {

// What the descriptor must say for an entry; the header has the reasons.
void check_descriptor(const request& wanted, bool square) {
  const std::string& d = wanted.descriptor;
  const auto one_of = [&](std::size_t place, std::string_view letters) {
    return letters.find(d[place]) != std::string_view::npos;
  };
  const bool known = d.size() == 4 && one_of(0, "GSHTD") && one_of(1, "0LU") && one_of(2, "0NU") &&
                     one_of(3, "FC");
  if (!known) throw refused("'" + d + "' is no descriptor: four characters like G00C or TLNF");
  const bool sided = d[0] == 'S' || d[0] == 'H' || d[0] == 'T';
  if ((sided && d[1] == '0') || (d[0] != 'G' && d[2] == '0')) {
    throw refused("the descriptor '" + d + "' names no triangle or no kind of diagonal");
  }
  if (d[0] != 'G' && !square) throw refused("only a general matrix may be rectangular");
  const auto demand = [&](bool holds, const char* what) {
    if (!holds) throw refused(wanted.entry + " takes " + what + ", not '" + d + "'");
  };
  if (wanted.entry == "csrtrsv") {
    demand(d[0] == 'T', "a triangular matrix");
  } else if (is_solve(wanted.entry)) {
    demand(d[0] == 'T' || d[0] == 'D', "a triangular or diagonal matrix");
  }
  if (wanted.entry == "csrgemv") {
    demand(d[0] == 'G', "a general matrix");
    if (!square) throw refused("csrgemv takes a square matrix");
  }
  if (wanted.entry == "csrsymv") {
    demand(d[0] == 'S' && d[2] == 'N', "a symmetric matrix with its diagonal stored");
    if (wanted.transa != 0) throw refused("csrsymv has no transposed form");
  }
}

template <class T>
matrix<T> convert(const bench::any_matrix& given) {
  return std::visit(
      [](const auto& a) -> matrix<T> {
        using from = typename std::decay_t<decltype(a)>::Scalar;
        if constexpr (is_complex<from> && !is_complex<T>) {
          throw refused("the matrix is complex: types c and z can hold it");
        } else {
          return a.template cast<T>();
        }
      },
      given);
}

template <class T>
task make_typed(const request& wanted, const bench::any_matrix& given) {
  const matrix<T> a = convert<T>(given);
  const std::string& entry = wanted.entry;
  if (entry.ends_with("i") || entry.ends_with("i_sub") || entry.starts_with("gthr") ||
      entry == "sctr") {
    return make_vector(wanted, a);
  }
  if (entry == "csradd" || entry.starts_with("csrmult")) return make_sparse(wanted, a);
  check_descriptor(wanted, a.rows() == a.cols());
  return is_solve(entry) ? make_solve(wanted, a) : make_product(wanted, a);
}

}  // namespace

task make_task(const request& wanted, const bench::any_matrix& a) {
  switch (wanted.type) {
    case 's':
      return make_typed<float>(wanted, a);
    case 'd':
      return make_typed<double>(wanted, a);
    case 'c':
      return make_typed<std::complex<float>>(wanted, a);
    case 'z':
      return make_typed<std::complex<double>>(wanted, a);
    default:
      throw refused(std::string("'") + wanted.type + "' is no type: s, d, c or z");
  }
}

}  // namespace tools
