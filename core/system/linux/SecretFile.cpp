#include "core/system/linux/SecretFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "core/system/FileDescriptor.h"
#include "core/system/ReplaceFile.h"
#include "core/values/SecretBytes.h"

namespace orvik {

namespace {

/// Longer files are none of ours: 4 KiB, many times what is stored.
constexpr std::size_t longestSecret = 4096;

constexpr mode_t anybodyElse = S_IRWXG | S_IRWXO;

/// What is known of a file of this user; nothing of anybody else's.
std::optional<struct stat> ownStatus(const FileDescriptor& file) {
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0 || status.st_uid != geteuid()) {
    return std::nullopt;
  }
  return status;
}

/// Read in one piece and straight into what is returned, so that no copy stays behind.
Bytes readSecret(const FileDescriptor& file, std::size_t size) {
  Bytes content(size);
  if (read(file.get(), content.data(), size) != static_cast<ssize_t>(size)) {
    wipe(content.data(), size);
    throw SecretStore::Unreadable();
  }
  return content;
}

/// A folder that is there already may let others in.
bool closeToOthers(const std::filesystem::path& folder) {
  const FileDescriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const auto status = ownStatus(opened);
  return status && ((status->st_mode & anybodyElse) == 0 || fchmod(opened.get(), S_IRWXU) == 0);
}

/// What a program that was ended while it wrote the file has left beside it: "NAME.XXXXXX".
void removeUnfinished(const std::filesystem::path& file) {
  constexpr std::size_t suffix = 7;
  const std::string begin = file.filename().string() + ".";
  std::error_code error;
  std::filesystem::directory_iterator entries(file.parent_path(), error);
  for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
    const std::string name = entries->path().filename().string();
    if (name.starts_with(begin) && name.size() == begin.size() - 1 + suffix) {
      unlink(entries->path().c_str());
    }
  }
}

}  // namespace

SecretFile::SecretFile(std::filesystem::path folder) : folder(std::move(folder)) {}

std::filesystem::path SecretFile::fileOf(const Key& key) const {
  const std::string name = key.service + "." + key.account;
  return folder.empty() || name.find('/') != std::string::npos ? "" : folder / name;
}

std::optional<Bytes> SecretFile::find(const Key& key) {
  // Without waiting for the other end, should it be a pipe.
  const FileDescriptor file(
      open(fileOf(key).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file && errno != ENOENT && errno != ENOTDIR && errno != ELOOP) {
    throw Unreadable();
  }
  const auto status = ownStatus(file);
  if (status && S_ISREG(status->st_mode) && (status->st_mode & anybodyElse) != 0) {
    // The user's own, and perhaps the one that counts; but others may have seen or made it.
    throw Unreadable();
  }
  if (!status || !S_ISREG(status->st_mode) || std::cmp_greater(status->st_size, longestSecret)) {
    return std::nullopt;
  }
  return readSecret(file, static_cast<std::size_t>(status->st_size));
}

bool SecretFile::remove(const Key& key) {
  const std::filesystem::path file = fileOf(key);
  removeUnfinished(file);
  return unlink(file.c_str()) == 0 || errno == ENOENT;
}

bool SecretFile::add(const Key& key, std::string_view /*label*/, ByteView data) {
  FileOperations operations;
  const std::filesystem::path file = fileOf(key);
  return !file.empty() && data.size() <= longestSecret && makeFolders(folder, operations) &&
         closeToOthers(folder) && replaceFile(file, textOf(data), operations);
}

}  // namespace orvik
