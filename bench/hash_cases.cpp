#include "comparison.hpp"

#include <caprion/caprion.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace caprion::bench {

namespace {

constexpr std::size_t blockSize = 65'536;

constexpr std::size_t videoSize = 200 << 10;

/// A file of noise.
std::string makeVideo() {
  std::string path = std::filesystem::temp_directory_path() / "video.mkv", content;
  for (std::mt19937 random(1); content.size() < videoSize;) content += static_cast<char>(random());
  std::ofstream file(path, std::ios::binary);
  check((file << content).flush().good(), "can't write " + path);
  return path;
}

/// Two reads and a sum; the size is known.
std::uint64_t bareHash(const std::string& path) {
  std::array<std::uint64_t, 2 * blockSize / 8> words;
  auto* const bytes = reinterpret_cast<char*>(words.data());
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t first = ::pread(file, bytes, blockSize, 0);
  const ssize_t last = ::pread(file, bytes + blockSize, blockSize, videoSize - blockSize);
  ::close(file);
  check(first == blockSize && last == blockSize, "a bare read");
  std::uint64_t sum = videoSize;
  for (const std::uint64_t word : words) sum += word;
  return sum;
}

/// As most programs have it.
std::uint64_t streamedHash(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::uint64_t sum = videoSize;
  for (const std::size_t begin : {std::size_t{0}, videoSize - blockSize}) {
    file.seekg(static_cast<std::streamoff>(begin));
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < blockSize / 8 && file.read(reinterpret_cast<char*>(&word), 8); ++i)
      sum += word;
  }
  return sum;
}

std::uint64_t hashByCaprion(const std::string& path) {
  return std::stoull(Caprion::hashFor(URL::fileURLWithPath(path))->fileHash, nullptr, 16);
}

Body hashing(const std::string& path, std::uint64_t hash(const std::string&)) {
  return [path, hash](benchmark::State& state) {
    check(hash(path) == bareHash(path), "a hash");
    for (auto _ : state) benchmark::DoNotOptimize(hash(path));
  };
}

}  // namespace

std::vector<Case> hashCases() {
  const std::string path = makeVideo();
  return {{.name = "movie hash",
           .aim = 1.10,
           .ours = hashing(path, hashByCaprion),
           .baseline = hashing(path, bareHash),
           .informationName = "std::ifstream",
           .information = hashing(path, streamedHash)}};
}

}  // namespace caprion::bench
