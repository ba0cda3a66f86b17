#include "core/system/FileOperations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace orvik {

int FileOperations::open(const std::string& path) {
  return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
}

bool FileOperations::isRegular(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

ssize_t FileOperations::read(int file, char* to, std::size_t count) {
  return ::read(file, to, count);
}

int FileOperations::createTemporary(std::string& path) { return mkostemp(path.data(), O_CLOEXEC); }

ssize_t FileOperations::write(int file, const char* from, std::size_t count) {
  return ::write(file, from, count);
}

int FileOperations::sync(int file) { return fsync(file); }

int FileOperations::close(int file) { return ::close(file); }

int FileOperations::rename(const std::string& from, const std::string& to) {
  return std::rename(from.c_str(), to.c_str());
}

int FileOperations::remove(const std::string& path) { return unlink(path.c_str()); }

int FileOperations::makeFolder(const std::string& path) { return mkdir(path.c_str(), S_IRWXU); }

}  // namespace orvik
