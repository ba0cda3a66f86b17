#include "core/system/linux/TextFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>

#include "core/values/CHandle.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

constexpr std::size_t mostNames = 4096;
/// An attribute of sys is a page at most; those that are read as one line are far shorter.
constexpr std::size_t lineLimit = 256;
constexpr std::size_t usualText = 4096;

FileDescriptor openForReading(const std::string& path) {
  // Without O_NONBLOCK a pipe in the place of a file would be waited for.
  return FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
}

/// What one question gives of the file from `start` on; empty at its end.
std::optional<std::string_view> readPart(int file, std::span<char> buffer, std::size_t start) {
  for (;;) {
    const ssize_t count = pread(file, buffer.data(), buffer.size(), static_cast<off_t>(start));
    if (count >= 0) {
      return std::string_view(buffer.data(), static_cast<std::size_t>(count));
    }
    if (errno != EINTR) {
      return std::nullopt;
    }
  }
}

std::optional<std::string_view> readWhole(int file, std::span<char> buffer) {
  std::size_t size = 0;
  while (size < buffer.size()) {
    const auto part = readPart(file, buffer.subspan(size), size);
    if (!part) {
      return std::nullopt;
    }
    if (part->empty()) {
      break;
    }
    size += part->size();
  }
  return std::string_view(buffer.data(), size);
}

/// The value of an assignment as a shell reads it, where nothing is to be expanded.
std::string unquoted(std::string_view value) {
  std::string result;
  char quote = '\0';
  for (std::size_t at = 0; at < value.size(); ++at) {
    const char c = value[at];
    if (quote == '\0' ? c == '"' || c == '\'' : c == quote) {
      quote = quote == '\0' ? c : '\0';
    } else if (c == '\\' && quote != '\'' && at + 1 < value.size()) {
      result += value[++at];
    } else {
      result += c;
    }
  }
  return result;
}

}  // namespace

std::optional<std::string_view> readShort(int file, std::span<char> buffer) {
  return readPart(file, buffer, 0);
}

std::optional<std::string_view> TextFile::readShort(std::span<char> buffer) {
  return readBy(orvik::readShort, buffer);
}

std::optional<std::string_view> TextFile::read(std::span<char> buffer) {
  return readBy(readWhole, buffer);
}

std::optional<std::string_view> TextFile::readBy(Read read, std::span<char> buffer) {
  if (!file) {
    file = openForReading(path);
  }
  const auto text = file ? read(file.get(), buffer) : std::nullopt;
  if (!text) {
    // What stood behind it may have left for good; what stands there now is another file.
    file = FileDescriptor();
  }
  return text;
}

std::optional<std::int64_t> TextFile::readInteger() {
  std::array<char, 32> buffer{};
  const auto text = readShort(buffer);
  std::int64_t value = 0;
  if (!text ||
      std::from_chars(text->data(), text->data() + text->size(), value).ec != std::errc{}) {
    return std::nullopt;
  }
  return value;
}

std::optional<std::string> readText(const std::string& path, std::size_t limit) {
  // Most files are short, and it takes time and memory to clear room for a long one.
  std::string buffer(std::min(limit, usualText), '\0');
  for (TextFile file(path);;) {
    const auto text = file.read(buffer);
    if (!text) {
      return std::nullopt;
    }
    if (text->size() < buffer.size() || buffer.size() == limit) {
      buffer.resize(text->size());
      return buffer;
    }
    buffer.resize(std::min(limit, buffer.size() * 4));
  }
}

std::string readLine(const std::string& path) {
  std::array<char, lineLimit> buffer{};
  const std::string_view text = TextFile(path).readShort(buffer).value_or("");
  // Texts of the device tree end with a zero byte.
  return std::string(trimmed(text.substr(0, text.find('\0'))));
}

std::vector<std::string> assignedValues(std::string_view text, std::string_view key) {
  std::vector<std::string> values;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = trimmed(text.substr(0, end));
    if (line.starts_with(key)) {
      values.push_back(unquoted(trimmed(line.substr(key.size()))));
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return values;
}

std::string pathIn(std::string_view folder, std::string_view name) {
  std::string path(folder);
  return path.append("/").append(name);
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  const CHandle<DIR, closedir> stream(opendir(folder.c_str()));
  if (!stream) {
    return names;
  }
  while (names.size() < mostNames) {
    const dirent* const entry = readdir(stream.get());
    if (entry == nullptr) {
      break;
    }
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") {
      names.emplace_back(name);
    }
  }
  std::ranges::sort(names, [](const std::string& left, const std::string& right) {
    return strverscmp(left.c_str(), right.c_str()) < 0;
  });
  return names;
}

}  // namespace orvik
