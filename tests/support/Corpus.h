#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace orvik::test {

/// The folder of public vectors and recordings. Tests over it are registered only when the build
/// was told where it is (environment variable ORVIK_CORPUS).
inline std::filesystem::path corpus() {
  const char* folder = std::getenv("ORVIK_CORPUS");
  return folder == nullptr ? "" : folder;
}

inline std::string contentsOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// The lines of a file of tests/fixtures but its remarks, which begin with #.
inline std::vector<std::string> linesOf(const std::string& fixture) {
  std::ifstream file(ORVIK_FIXTURES "/" + fixture);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with('#')) {
      lines.push_back(line);
    }
  }
  return lines;
}

}  // namespace orvik::test
