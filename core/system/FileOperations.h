#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace orvik {

/// The few operations with which files are read and replaced: the operating system's, unless a
/// test derives from this to let one fail. Results and errno are those of the system's calls.
class FileOperations {
 public:
  virtual ~FileOperations() = default;

  /// Opens for reading. Never waits for the other end of a pipe.
  virtual int open(const std::string& path);
  /// Whether it is an ordinary file, not a folder, pipe or device.
  virtual bool isRegular(int file);
  virtual ssize_t read(int file, char* to, std::size_t count);
  /// Creates a file that only this user may read, for writing. `path` ends in "XXXXXX", which is
  /// replaced so that the name is new.
  virtual int createTemporary(std::string& path);
  virtual ssize_t write(int file, const char* from, std::size_t count);
  /// Waits until the content, or the entries of a folder, are on the disk.
  virtual int sync(int file);
  virtual int close(int file);
  virtual int rename(const std::string& from, const std::string& to);
  virtual int remove(const std::string& path);
  /// Creates a folder that only this user may enter.
  virtual int makeFolder(const std::string& path);
};

}  // namespace orvik
