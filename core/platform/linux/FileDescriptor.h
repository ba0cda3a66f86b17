#pragma once

#include <unistd.h>

#include <utility>

namespace orvik {

/// Owns an open file and closes it.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  /// Takes what open() gave; negative for none.
  explicit FileDescriptor(int opened) : number(opened) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number, other.number);
    return *this;
  }
  ~FileDescriptor() {
    if (isOpen()) {
      ::close(number);
    }
  }

  [[nodiscard]] bool isOpen() const { return number >= 0; }
  [[nodiscard]] int get() const { return number; }

 private:
  int number = -1;
};

}  // namespace orvik
