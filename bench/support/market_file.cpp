#include "support/problem.h"

#include <unsupported/Eigen/SparseExtra>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace bench {

namespace {

std::string lower_case(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

std::vector<std::string_view> split(std::string_view line) {
  constexpr std::string_view blanks = " \t\r";
  std::vector<std::string_view> words;
  std::size_t end = 0;
  for (;;) {
    const std::size_t begin = line.find_first_not_of(blanks, end);
    if (begin == std::string_view::npos) return words;
    end = std::min(line.find_first_of(blanks, begin), line.size());
    words.push_back(line.substr(begin, end - begin));
  }
}

template <class Number>
bool parse(std::string_view word, Number& number) {
  if (word.starts_with('+')) word.remove_prefix(1);
  const auto [stop, error] = std::from_chars(word.begin(), word.end(), number);
  return error == std::errc{} && stop == word.end();
}

// Goes through the text before the reader does, which skips what it does not understand and keeps
// what stood in memory where a value is missing.
class checker {
 public:
  checker(const std::string& path, const market_visitor& visit) : path_(path), visit_(visit) {
    if (std::filesystem::is_directory(path)) throw std::runtime_error(path + ": is a directory");
    input_.open(path);
    if (!input_) throw std::runtime_error(path + ": " + std::strerror(errno));
  }

  market_header check() {
    read_banner();
    read_sizes();
    check_entries();
    return header_;
  }

 private:
  [[noreturn]] void refuse(const std::string& why) const {
    throw std::runtime_error(path_ + ":" + std::to_string(line_number_) + ": " + why);
  }

  bool next_line() {
    // The reader stops at a line that does not fit its buffer.
    constexpr std::size_t longest = 1024;
    if (!std::getline(input_, line_)) return false;
    ++line_number_;
    if (line_.size() > longest) refuse("the line is too long for a Matrix Market file");
    return true;
  }

  void read_banner() {
    const auto words = next_line() ? split(line_) : std::vector<std::string_view>{};
    if (words.size() != 5 || lower_case(std::string(words[0])) != "%%matrixmarket") {
      refuse(
          "not a Matrix Market file: the first line must read "
          "%%MatrixMarket matrix coordinate FIELD SYMMETRY");
    }
    const std::string object = lower_case(std::string(words[1]));
    const std::string format = lower_case(std::string(words[2]));
    if (object != "matrix" || format != "coordinate") {
      refuse("holds a " + format + " " + object + "; only 'matrix coordinate' can be used here");
    }
    header_.field = lower_case(std::string(words[3]));
    header_.symmetry = lower_case(std::string(words[4]));
    if (header_.field != "real" && header_.field != "integer" && header_.field != "complex" &&
        header_.field != "pattern") {
      refuse("unknown field '" + header_.field + "'");
    }
    if (header_.symmetry != "general" && header_.symmetry != "symmetric" &&
        header_.symmetry != "skew-symmetric" && header_.symmetry != "hermitian") {
      refuse("unknown symmetry '" + header_.symmetry + "'");
    }
  }

  void read_sizes() {
    while (next_line()) {
      if (line_.starts_with('%')) continue;
      const auto words = split(line_);
      if (words.empty()) continue;
      long rows = 0;
      long cols = 0;
      if (words.size() != 3 || !parse(words[0], rows) || !parse(words[1], cols) ||
          !parse(words[2], header_.entries)) {
        refuse("expected 'ROWS COLUMNS ENTRIES'");
      }
      constexpr long most = 2147483645;
      if (rows < 1 || cols < 1 || header_.entries < 1 || rows > most || cols > most ||
          header_.entries > most / 2) {
        refuse("sizes must lie between 1 and " + std::to_string(most));
      }
      if (header_.symmetry != "general" && rows != cols) {
        refuse("a " + header_.symmetry + " matrix must be square");
      }
      header_.rows = static_cast<int>(rows);
      header_.cols = static_cast<int>(cols);
      return;
    }
    refuse("the file ends before the line with the sizes");
  }

  void check_entries() {
    const std::size_t words_needed =
        header_.field == "complex" ? 4 : (header_.field == "pattern" ? 2 : 3);
    long count = 0;
    while (next_line()) {
      if (line_.starts_with('%')) continue;
      const auto words = split(line_);
      if (words.empty()) continue;
      long row = 0;
      long col = 0;
      if (words.size() != words_needed || !parse(words[0], row) || !parse(words[1], col)) {
        refuse(
            words_needed == 2
                ? "expected 'ROW COLUMN'"
                : "expected 'ROW COLUMN VALUE'" +
                      std::string(words_needed == 4 ? " with a real and an imaginary part" : ""));
      }
      if (row < 1 || row > header_.rows || col < 1 || col > header_.cols) {
        refuse("place (" + std::to_string(row) + ", " + std::to_string(col) +
               ") lies outside the matrix");
      }
      if (header_.symmetry != "general" && row < col) {
        refuse("an entry above the diagonal in a file that stores the lower triangle");
      }
      bool zero = words_needed > 2;
      for (std::size_t w = 2; w < words_needed; ++w) {
        double value = 0;
        if (!parse(words[w], value) || !std::isfinite(value)) {
          refuse("'" + std::string(words[w]) + "' is not a finite number");
        }
        zero = zero && value == 0;
      }
      visit_(static_cast<int>(row - 1), static_cast<int>(col - 1), zero);
      ++count;
    }
    if (count != header_.entries) {
      throw std::runtime_error(path_ + ": has " + std::to_string(count) + " entries where " +
                               std::to_string(header_.entries) + " are announced");
    }
  }

  std::string path_;
  const market_visitor& visit_;
  std::ifstream input_;
  std::string line_;
  long line_number_ = 0;
  market_header header_;
};

// The reader complains of empty lines on the error stream; the checker has accepted them.
class quiet_errors {
 public:
  quiet_errors() : kept_(std::cerr.rdbuf(sink_.rdbuf())) {}
  ~quiet_errors() { std::cerr.rdbuf(kept_); }
  quiet_errors(const quiet_errors&) = delete;
  quiet_errors& operator=(const quiet_errors&) = delete;

 private:
  std::ostringstream sink_;
  std::streambuf* kept_;
};

template <class T>
matrix<T> load(const std::string& path, const std::string& symmetry) {
  matrix<T> stored;
  {
    const quiet_errors quiet;
    if (!Eigen::loadMarket(stored, path)) throw std::runtime_error(path + ": cannot be read");
  }
  stored.makeCompressed();
  if (symmetry == "general") return stored;
  const matrix<T> below = stored.template triangularView<Eigen::StrictlyLower>();
  matrix<T> above = below.transpose();
  if (symmetry == "hermitian") above = below.adjoint();
  if (symmetry == "skew-symmetric") above = -above;
  matrix<T> full = stored + above;
  full.makeCompressed();
  return full;
}

// A row or a column without entries makes every right-hand side wrong but for chance.
template <class T>
void check_lines(const std::string& path, const matrix<T>& a) {
  std::vector<bool> column_has_entry(static_cast<std::size_t>(a.cols()), false);
  for (int i = 0; i < a.rows(); ++i) {
    bool row_has_entry = false;
    for (typename matrix<T>::InnerIterator entry(a, i); entry; ++entry) {
      if (entry.value() == T{}) continue;
      row_has_entry = true;
      column_has_entry[static_cast<std::size_t>(entry.col())] = true;
    }
    if (!row_has_entry) {
      throw std::runtime_error(path + ": the matrix is singular: row " + std::to_string(i + 1) +
                               " has no nonzero entry");
    }
  }
  const auto empty = std::find(column_has_entry.begin(), column_has_entry.end(), false);
  if (empty != column_has_entry.end()) {
    throw std::runtime_error(path + ": the matrix is singular: column " +
                             std::to_string(empty - column_has_entry.begin() + 1) +
                             " has no nonzero entry");
  }
}

}  // namespace

market_header scan_market_file(const std::string& path, const market_visitor& visit) {
  return checker(path, visit).check();
}

problem read_market_file(const std::string& path) {
  const market_header found = scan_market_file(path, [](int, int, bool) {});
  if (found.field == "pattern") {
    throw std::runtime_error(path + ": holds a pattern without values: no matrix to compute with");
  }
  const std::string title = std::filesystem::path(path).filename().string();
  if (found.field == "complex") return {title, load<complex>(path, found.symmetry)};
  return {title, load<double>(path, found.symmetry)};
}

problem read_market_system(const std::string& path) {
  problem found = read_market_file(path);
  std::visit(
      [&](const auto& a) {
        if (a.rows() != a.cols()) {
          throw std::runtime_error(path + ": the matrix is " + std::to_string(a.rows()) + " by " +
                                   std::to_string(a.cols()) +
                                   ": only a square system can be solved");
        }
        check_lines(path, a);
      },
      found.a);
  return found;
}

}  // namespace bench
