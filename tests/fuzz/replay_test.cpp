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

TEST(corpus, of_structures) { replay("structure", fuzz_structure); }
TEST(corpus, of_arguments) { replay("arguments", fuzz_arguments); }

}  // namespace
}  // namespace nevrad_test
