#include "core/system/AccountLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include "core/BuildConstants.h"
#include "core/system/ReplaceFile.h"

namespace orvik {

namespace {

FileDescriptor opened(const std::filesystem::path& path) {
  FileOperations operations;
  if (path.empty() || !makeFolders(path.parent_path(), operations)) {
    return {};
  }
  return FileDescriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW,
                             static_cast<mode_t>(S_IRUSR | S_IWUSR)));
}

}  // namespace

AccountLock::AccountLock(std::filesystem::path file, std::string program)
    : path(std::move(file)), program(std::move(program)), file(opened(path)) {}

std::shared_ptr<AccountLock> AccountLock::ofThisUser(std::string program) {
  const std::filesystem::path folder = accountFolder();
  return std::make_shared<AccountLock>(
      folder.empty() ? folder : folder / (std::string(build::applicationId) + ".lock"),
      std::move(program));
}

bool AccountLock::isTaken(int operation) {
  int result = 0;
  do {
    result = flock(file.get(), operation);
  } while (result != 0 && errno == EINTR);
  if (result != 0) {
    // Anything but another's lock is a file system that knows none.
    return errno != EWOULDBLOCK;
  }
  const std::string line = program + ", process " + std::to_string(getpid()) + '\n';
  // Who reads it meanwhile learns less.
  static_cast<void>(ftruncate(file.get(), 0) == 0 &&
                    pwrite(file.get(), line.data(), line.size(), 0) > 0);
  return true;
}

bool AccountLock::tryTake() { return !file || isTaken(LOCK_EX | LOCK_NB); }

void AccountLock::take() {
  if (file) {
    static_cast<void>(isTaken(LOCK_EX));
  }
}

std::string AccountLock::holder() const {
  std::array<char, 80> line{};
  const ssize_t size = file ? pread(file.get(), line.data(), line.size(), 0) : 0;
  const std::string_view read(line.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  return std::string(read.begin(),
                     std::ranges::find_if(read, [](char c) { return c < ' ' || c > '~'; }));
}

}  // namespace orvik
