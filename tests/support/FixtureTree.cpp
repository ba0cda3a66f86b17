#include "tests/support/FixtureTree.h"

#include <fstream>
#include <stdexcept>

#include "tests/support/Hex.h"

namespace orvik::test {

namespace fs = std::filesystem;

FixtureTree::FixtureTree(std::initializer_list<std::string> names) {
  for (const std::string& name : names) {
    std::ifstream text(fs::path(ORVIK_FIXTURES) / "linux" / (name + ".tree"));
    if (!text) {
      throw std::invalid_argument("there is no tree " + name);
    }
    std::ofstream file;
    bool isHexadecimal = false;
    for (std::string line; std::getline(text, line);) {
      const std::string marker = line.substr(0, 3);
      if (marker == "== " || marker == "=x ") {
        isHexadecimal = marker == "=x ";
        const fs::path path = root() / line.substr(3);
        fs::create_directories(path.parent_path());
        file = std::ofstream(path, std::ios::binary);
      } else if (marker == "-> ") {
        file = {};
        const std::size_t space = line.find(' ', 3);
        const fs::path path = root() / line.substr(3, space - 3);
        fs::create_directories(path.parent_path());
        fs::create_symlink(line.substr(space + 1), path);
      } else if (file.is_open() && isHexadecimal) {
        const Bytes bytes = hex(line);
        file.write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
      } else if (file.is_open()) {
        file << line << '\n';
      }
    }
  }
}

void FixtureTree::write(const fs::path& file, const std::string& content) const {
  fs::create_directories((root() / file).parent_path());
  std::ofstream(root() / file, std::ios::binary) << content;
}

void FixtureTree::remove(const fs::path& file) const { fs::remove_all(root() / file); }

}  // namespace orvik::test
