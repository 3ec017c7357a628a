// Runs a fuzzer once over each file of a folder, without libFuzzer: replay FOLDER.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size);

int main(int, char** arguments) {
  bool any = false;
  for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> input{std::istreambuf_iterator<char>(file), {}};
    any = LLVMFuzzerTestOneInput(input.data(), input.size()) == 0;
  }
  return any ? 0 : 1;
}
