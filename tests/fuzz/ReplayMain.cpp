// Stands in for the fuzzer where it is not built in: plays the files of the given folders to the target once.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

int main(int count, char** words) {
  int played = 0;
  for (int i = 1; i < count; ++i) {
    for (const auto& each : std::filesystem::directory_iterator(words[i])) {
      std::ifstream file(each.path(), std::ios::binary);
      const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      ++played;
    }
  }
  std::printf("%d inputs played\n", played);
  return played > 0 ? 0 : 1;
}
