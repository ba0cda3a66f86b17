#include "core/sampling/linux/ProcessReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

#include "core/values/NumberText.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t mostEntries = 11;
constexpr int mostCharacters = 34;
/// Longer names are cut by the kernel.
constexpr std::size_t fullName = 15;
/// A look takes some 10 µs of the kernel's time: so many each 2 s are a thousandth of one CPU.
constexpr std::size_t mostResting = 256;
/// A mean over more than this is not what goes on now.
constexpr auto longestInterval = 10s;

std::optional<int> numberOf(std::string_view name) {
  const auto pid = parseInteger<int>(name);
  return pid && *pid > 0 ? pid : std::nullopt;
}

std::optional<std::string_view> readLink(int folder, const std::string& path,
                                         std::span<char> buffer) {
  const ssize_t size = readlinkat(folder, path.c_str(), buffer.data(), buffer.size());
  return size > 0 ? std::optional(std::string_view(buffer.data(), static_cast<std::size_t>(size)))
                  : std::nullopt;
}

std::optional<std::string_view> readBelow(int folder, const std::string& path,
                                          std::span<char> buffer) {
  const FileDescriptor file(openat(folder, path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  return file ? readShort(file.get(), buffer) : std::nullopt;
}

/// The file's name in a path, when it begins with `start`.
std::string_view nameFrom(std::string_view path, std::string_view start) {
  const std::size_t slash = path.rfind('/');
  const std::string_view name = path.substr(slash == std::string_view::npos ? 0 : slash + 1);
  return name.starts_with(start) ? name : std::string_view();
}

/// As it can be shown: valid, on one line, without space around it, not too long.
std::string shown(std::string_view name) {
  std::string text;
  std::size_t position = 0;
  for (int count = 0; count < mostCharacters && position < name.size();) {
    std::array<char, 4> character{};
    char* const end = copyRepairedCodePoint(name, position, character.data());
    const auto first = static_cast<unsigned char>(character[0]);
    const bool isControl = first < 0x20 || first == 0x7f;
    if (isControl) {
      character[0] = ' ';
    }
    if (character[0] != ' ' || !text.empty()) {
      text.append(character.data(), end);
      ++count;
    }
  }
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

}  // namespace

ProcessReader::ProcessReader(std::string root, MonotonicTime now)
    : folder(std::move(root) + "/proc"),
      now(std::move(now)),
      ticksPerSecond(static_cast<double>(std::max(1L, sysconf(_SC_CLK_TCK)))) {}

std::optional<JSONValue> ProcessReader::read() {
  const Instant start = now();
  if (readAt && start - *readAt < shortestInterval(last.has_value())) {
    return last;
  }
  comparedAt = readAt && start - *readAt <= longestInterval ? readAt : std::nullopt;
  if (!comparedAt) {
    known.clear();
  }
  busiest.clear();
  current.clear();
  readAll();
  for (const Busy& process : busiest) {
    std::ranges::lower_bound(current, process.pid, {}, &Process::pid)->isWatched = true;
  }
  known.swap(current);
  newest = known.empty() ? 0 : std::ranges::max(known, {}, &Process::startedAt).startedAt;
  readAt = start;
  ++round;
  last = comparedAt ? std::optional(entries()) : std::nullopt;
  return last;
}

JSONValue ProcessReader::entries() const {
  JSONValue::Array entries;
  for (const Busy& process : busiest) {
    entries.emplace_back(JSONValue::Array{pyRound(process.percent, 1), nameOf(process)});
  }
  return entries;
}

void ProcessReader::readAll() {
  if (!stream) {
    stream.reset(opendir(folder.c_str()));
  }
  if (!stream) {
    return;
  }
  rewinddir(stream.get());
  std::array<char, 1024> buffer;
  const int proc = dirfd(stream.get());
  // Where the machine counts its processes otherwise than this one sees them, this is right.
  const auto self = readLink(proc, "self", buffer);
  const int ownPid = self ? numberOf(*self).value_or(0) : 0;

  std::string path;
  while (const dirent* const entry = readdir(stream.get())) {
    const auto pid = numberOf(entry->d_name);
    if (!pid) {
      continue;
    }
    const Process* before = find(*pid);
    if (before != nullptr && !isDue(*before)) {
      current.push_back(*before);
      continue;
    }
    path.assign(entry->d_name).append("/stat");
    const auto text = readBelow(proc, path, buffer);
    const Instant at = now();
    // Many end between being listed and being read.
    const auto times = text ? KernelText::processTimes(*text) : std::nullopt;
    if (!times) {
      continue;
    }
    if (before != nullptr && before->startedAt != times->startedAt) {
      before = nullptr;
    }
    const bool hasWorked = before == nullptr || before->used != times->used;
    current.push_back({*pid, times->startedAt, times->used, at, hasWorked});
    const auto percent = percentOf(*times, before, at);
    if (percent && *pid != ownPid) {
      consider({*percent, times->used, *pid, {}}, times->name);
    }
  }
  if (!std::ranges::is_sorted(current, {}, &Process::pid)) {
    std::ranges::sort(current, {}, &Process::pid);
  }
}

const ProcessReader::Process* ProcessReader::find(int pid) const {
  const auto place = std::ranges::lower_bound(known, pid, {}, &Process::pid);
  return place != known.end() && place->pid == pid ? &*place : nullptr;
}

bool ProcessReader::isDue(const Process& process) const {
  const std::size_t turns = (known.size() + mostResting - 1) / mostResting;
  return process.isWatched || (static_cast<std::size_t>(process.pid) + round) % turns == 0;
}

std::optional<double> ProcessReader::percentOf(const KernelText::ProcessTimes& times,
                                               const Process* before, Instant at) const {
  if (!comparedAt) {
    return std::nullopt;
  }
  // One that is not the newest has lived at the reading before, though it was not seen then.
  const bool isNew = before == nullptr && times.startedAt >= newest;
  const auto elapsed = at - (before != nullptr ? before->at : *comparedAt);
  if ((before == nullptr && !isNew) || elapsed <= 0s || elapsed > longestInterval) {
    return std::nullopt;
  }
  const std::uint64_t earlier = before != nullptr ? before->used : 0;
  const auto used = static_cast<double>(times.used > earlier ? times.used - earlier : 0);
  return 100 * used / ticksPerSecond / std::chrono::duration<double>(elapsed).count();
}

void ProcessReader::consider(Busy process, std::string_view name) {
  const auto isBusier = [](const Busy& left, const Busy& right) {
    return std::pair(left.percent, left.used) > std::pair(right.percent, right.used);
  };
  if (busiest.size() == mostEntries && !isBusier(process, busiest.back())) {
    return;
  }
  process.name = name;
  busiest.insert(std::ranges::upper_bound(busiest, process, isBusier), std::move(process));
  if (busiest.size() > mostEntries) {
    busiest.pop_back();
  }
}

std::string ProcessReader::nameOf(const Busy& process) const {
  if (process.name.size() != fullName) {
    return shown(process.name);
  }
  const int proc = dirfd(stream.get());
  const std::string path = std::to_string(process.pid);
  std::array<char, 4096> buffer;
  if (auto program = readLink(proc, path + "/exe", buffer)) {
    constexpr std::string_view deleted = " (deleted)";
    if (program->ends_with(deleted)) {
      program->remove_suffix(deleted.size());
    }
    const std::string_view name = nameFrom(*program, process.name);
    if (!name.empty()) {
      return shown(name);
    }
  }
  // The program may be out of sight or an interpreter. The first word is how it was called, or the
  // interpreter and the second one the script. Some rewrite them as one text with their options.
  std::string_view words = readBelow(proc, path + "/cmdline", buffer).value_or("");
  for (int count = 0; count < 2 && !words.empty(); ++count) {
    const std::string_view word = words.substr(0, words.find('\0'));
    words.remove_prefix(std::min(word.size() + 1, words.size()));
    const std::string_view name = nameFrom(word.substr(0, word.find(" -")), process.name);
    if (!name.empty()) {
      return shown(name);
    }
  }
  return shown(process.name);
}

}  // namespace orvik
