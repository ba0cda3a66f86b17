#include "core/system/ReplaceFile.h"

#include <array>
#include <cerrno>
#include <utility>

namespace orvik {

namespace {

/// An open file, closed with this object.
class Descriptor {
 public:
  Descriptor(int file, FileOperations& operations) : file(file), operations(operations) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { close(); }

  [[nodiscard]] bool isOpen() const { return file >= 0; }
  [[nodiscard]] int get() const { return file; }
  /// False when the system reports, only now, that something was not written.
  bool close() { return !isOpen() || operations.close(std::exchange(file, -1)) == 0; }

 private:
  int file;
  FileOperations& operations;
};

/// Repeats a call that a signal has interrupted.
template <typename Call>
auto uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) {
    result = call();
  }
  return result;
}

bool writeAll(int file, std::string_view bytes, FileOperations& operations) {
  while (!bytes.empty()) {
    const ssize_t written =
        uninterrupted([&] { return operations.write(file, bytes.data(), bytes.size()); });
    if (written <= 0) {
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool syncFile(int file, FileOperations& operations) {
  return uninterrupted([&] { return operations.sync(file); }) == 0;
}

/// Puts the entries of a folder on the disk, among them the new name of a file.
bool syncFolder(const std::filesystem::path& folder, FileOperations& operations) {
  const std::string path = folder.empty() ? "." : folder.string();
  const Descriptor file(uninterrupted([&] { return operations.open(path); }), operations);
  return file.isOpen() && syncFile(file.get(), operations);
}

}  // namespace

FileRead readFile(const std::filesystem::path& path, FileOperations& operations) {
  const Descriptor file(uninterrupted([&] { return operations.open(path.string()); }), operations);
  if (!file.isOpen()) {
    return {.error = errno};
  }
  if (!operations.isRegular(file.get())) {
    return {.error = EINVAL};
  }
  std::string content;
  std::array<char, 4096> block{};
  for (;;) {
    const ssize_t count =
        uninterrupted([&] { return operations.read(file.get(), block.data(), block.size()); });
    if (count < 0) {
      return {.error = errno};
    }
    if (count == 0) {
      return {.content = std::move(content)};
    }
    content.append(block.data(), static_cast<std::size_t>(count));
    if (content.size() > longestFile) {
      return {.error = EFBIG};
    }
  }
}

bool replaceFile(const std::filesystem::path& path, std::string_view bytes,
                 FileOperations& operations) {
  std::string temporary = path.string() + ".XXXXXX";
  Descriptor file(uninterrupted([&] { return operations.createTemporary(temporary); }), operations);
  if (!file.isOpen()) {
    return false;
  }
  const bool isWritten =
      writeAll(file.get(), bytes, operations) && syncFile(file.get(), operations) && file.close();
  if (!isWritten || operations.rename(temporary, path.string()) != 0) {
    operations.remove(temporary);
    return false;
  }
  return syncFolder(path.parent_path(), operations);
}

bool makeFolders(const std::filesystem::path& folder, FileOperations& operations) {
  const auto exists = [&] {
    return operations.makeFolder(folder.string()) == 0 || errno == EEXIST;
  };
  return exists() || (errno == ENOENT && folder.has_relative_path() &&
                      makeFolders(folder.parent_path(), operations) && exists());
}

}  // namespace orvik
