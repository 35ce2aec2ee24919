// The inputs that fuzzing has found worth keeping, on every target.
#include "fuzz/arguments.h"
#include "fuzz/structure.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace nevrad_test {
namespace {

template <class Run>
void replay(const char* corpus, const Run& run) {
  const std::filesystem::path folder =
      std::filesystem::path(NEVRAD_SOURCE_DIR) / "tests" / "fuzz" / "corpus" / corpus;
  int inputs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    SCOPED_TRACE(entry.path().filename().string());
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    run(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++inputs;
  }
  EXPECT_GT(inputs, 10);
}

// And inputs at random, which reach what a corpus was not chosen for.
template <class Run>
void try_random(int inputs, const Run& run) {
  for (int input = 0; input < inputs / one_in(10) * std::max(1, depth()); ++input) {
    generator random(static_cast<std::uint64_t>(input));
    SCOPED_TRACE(random);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(random.integer(1, 200)));
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random.integer(0, 255));
    run(bytes.data(), bytes.size());
  }
}

TEST(random_inputs, of_structures) { try_random(1000, fuzz_structure); }
TEST(random_inputs, of_arguments) { try_random(10000, fuzz_arguments); }

TEST(corpus, of_structures) { replay("structure", fuzz_structure); }
TEST(corpus, of_arguments) { replay("arguments", fuzz_arguments); }

}  // namespace
}  // namespace nevrad_test
