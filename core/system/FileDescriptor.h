#pragma once

#include <unistd.h>

#include <utility>

namespace orvik {

/// Owns an open file descriptor and closes it at its end.
class FileDescriptor {
 public:
  /// Owns nothing.
  FileDescriptor() = default;
  /// Takes over `number`, which a system call gave: a negative one is nothing.
  explicit FileDescriptor(int number) : number(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    FileDescriptor(std::move(other)).swap(*this);
    return *this;
  }
  ~FileDescriptor() {
    if (number >= 0) {
      ::close(number);
    }
  }

  explicit operator bool() const noexcept { return number >= 0; }
  [[nodiscard]] int get() const noexcept { return number; }
  /// Gives it away: closing it is the caller's affair.
  [[nodiscard]] int release() noexcept { return std::exchange(number, -1); }

 private:
  void swap(FileDescriptor& other) noexcept { std::swap(number, other.number); }

  int number = -1;
};

}  // namespace orvik
