// Arguments of any value: descriptor texts, dimensions, leading dimensions, selectors, nulls. The
// status is that of a plain reading of the checks, and a refused call writes nothing.
#pragma once

#include "fuzz/input.h"
#include "support/trial.h"

namespace nevrad_test {

inline constexpr std::int64_t largest_dimension = 2147483645;

inline bool is_no_dimension(int value) { return value < 1 || value > largest_dimension; }

// The rule of descriptors, and which structures an operation has rows for.
template <class T>
bool has_row(const operation_of<T>& op, const char* text) {
  for (const char* const code : all_descriptors) {
    if (op.descra[0] == 'T' && code[0] != 'T' && code[0] != 'D') continue;
    if (text[0] != code[0] || text[3] != code[3]) continue;
    if (code[0] == 'G') return true;
    if (code[0] == 'D' && text[2] == code[2]) return true;
    if (code[0] != 'D' && text[1] == code[1] && text[2] == code[2]) return true;
  }
  return false;
}

// Whether a leading dimension is out of its range, for the layout that the last letter tells.
template <class T>
bool is_no_leading(const operation_of<T>& op, const arguments<T>& x, bool of_c) {
  const std::int64_t ld = of_c ? x.ldc : x.ldb;
  if (op.is("csrmultd")) {
    const int rows = x.transa == 0 ? x.m : x.n;
    return rows > ld || (x.k != 0 && ld != 0 && largest_dimension / ld < x.k);
  }
  const int k = op.is("sm") ? x.m : x.k;
  const std::int64_t rows = (x.transa != 0) == of_c ? k : x.m;
  const bool by_columns = x.descra[3] == 'F';
  const std::int64_t least = by_columns ? rows : x.n;
  const std::int64_t lines = by_columns ? x.n : rows;
  return ld < least || lines < 1 || ld > largest_dimension / lines;
}

template <class T>
bool is_bad(const operation_of<T>& op, const arguments<T>& x, const std::string& word) {
  if (word == "descra") return x.descra == nullptr;
  if (word == "a") return x.a == nullptr;
  if (word == "ja") return x.ja == nullptr;
  if (word == "ia") return x.ia == nullptr;
  if (word == "ie") return x.ie == nullptr;
  if (word == "b") return x.b == nullptr;
  if (word == "jb") return x.jb == nullptr;
  if (word == "ib") return x.ib == nullptr;
  if (word == "ic") return x.ic == nullptr;
  const bool counts_only = op.tests("request") && x.request == 1;
  if (word == "c") return x.c == nullptr && !counts_only;
  if (word == "jc") return x.jc == nullptr && !counts_only;
  if (word == "op") return x.transa < 0 || x.transa > 2;
  if (word == "uplo") return x.uplo < 0 || x.uplo > 1;
  if (word == "diag") return x.diag < 0 || x.diag > 1;
  if (word == "m") return is_no_dimension(x.m);
  if (word == "n") return is_no_dimension(x.n);
  if (word == "k") return is_no_dimension(x.k);
  if (word == "nnz") return x.nnz < 1;
  if (word == "request") return x.request < 0 || x.request > 2;
  if (word == "row") return !has_row(op, x.descra);
  if (word == "square") return x.descra[0] != 'G' && x.m != x.k;
  if (word == "ldb") return is_no_leading(op, x, false);
  if (word == "ldc") return is_no_leading(op, x, true);
  return false;
}

template <class T>
int expected_status(const operation_of<T>& op, const arguments<T>& x) {
  std::istringstream words(op.checks);
  int status = 0;
  for (std::string word; words >> word;) {
    if (word.back() == ':') status = std::stoi(word);
    if (is_bad(op, x, word)) return status;
  }
  return 0;
}

// A good value most of the time.
inline int odd_value(fuzz_input& input, int good) {
  const int most = static_cast<int>(largest_dimension);
  const int values[] = {0,    1,        2,        3,        4,        5,    -1,
                        most, most + 1, most + 2, most / 2, most / 3, 1024, -most - 3};
  const int lot = input.byte();
  if (lot < 160) return good;
  if (lot < 250) return values[lot % 14];
  return input.byte() << 24 | input.byte() << 16 | input.byte() << 8 | input.byte();
}

template <class U>
void perhaps_null(fuzz_input& input, U*& array) {
  if (input.byte() >= 248) array = nullptr;
}

template <class T>
void fuzz_arguments_of(fuzz_input& input) {
  static const std::vector<operation_of<T>> all = all_operations<T>();
  const operation_of<T>& op =
      all[static_cast<std::size_t>(input.below(static_cast<int>(all.size())))];
  char text[5] = "";
  const char* descra = op.descra;
  if (op.descra[0] != '\0' && input.byte() % 2 == 0) {
    const char letters[] = "GSHTDLUN0FCgx";
    for (int i = 0; i < 4; ++i) text[i] = letters[input.below(13)];
    if (has_row(op, text)) descra = text;
  }
  const form_of<T> form{.op = op, .descra = descra};
  constexpr int order = 3;
  constexpr int columns = 2;
  generator random(1);
  const problem_of<T> problem(random, form, order, columns);
  random = generator(1);
  const problem_of<T> untouched(random, form, order, columns);
  arguments<T> x = problem.x;
  if (text[0] != '\0') x.descra = text;
  for (int* const value : {&x.transa, &x.uplo, &x.diag, &x.request, &x.sort, &x.nnz, &x.m, &x.n,
                           &x.k, &x.ldb, &x.ldc}) {
    *value = odd_value(input, *value);
  }
  perhaps_null(input, x.descra);
  for (T** const array : {&x.a, &x.b, &x.c}) perhaps_null(input, *array);
  for (int** const array : {&x.ja, &x.ia, &x.ie, &x.jb, &x.ib, &x.jc, &x.ic}) {
    perhaps_null(input, *array);
  }
  const int status = expected_status(op, x);
  // A call that is to run has to have the arrays that it names.
  const arguments<T>& good = problem.x;
  if (status == 0 && (x.m != good.m || x.k != good.k || x.nnz > good.nnz || x.n != good.n ||
                      x.ldb > good.ldb || x.ldc > good.ldc)) {
    return;
  }
  // The row pointers of a request for the values.
  for (int i = 0; i <= order; ++i) problem.ic[i] = untouched.ic[i] = 1;
  if (status == 0 && x.request == 2) x.request = 1;
  EXPECT_EQ(op.by_value(x), status) << op.name;
  if (status != 0) expect_same_arrays(problem, untouched);
}

inline void fuzz_arguments(const std::uint8_t* data, std::size_t size) {
  fuzz_input input(data, size);
  if (input.byte() % 2 == 0) {
    fuzz_arguments_of<double>(input);
  } else {
    fuzz_arguments_of<complex32>(input);
  }
}

}  // namespace nevrad_test
