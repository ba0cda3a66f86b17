#include "core/platform/linux/ProcessReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
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
/// Fifty ticks: a step of 2 %.
constexpr auto shortestInterval = 500ms;

std::optional<int> numberOf(const char* name) {
  int pid = 0;
  const std::string_view text(name);
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), pid);
  const bool isWhole = parsed.ec == std::errc{} && parsed.ptr == text.data() + text.size();
  return isWhole && pid > 0 ? std::optional(pid) : std::nullopt;
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
  return file ? readFromStart(file.get(), buffer) : std::nullopt;
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

ProcessReader::ProcessReader(std::string root)
    : folder(std::move(root) + "/proc"),
      uptimeFile(folder + "/uptime"),
      ticksPerSecond(static_cast<double>(std::max(1L, sysconf(_SC_CLK_TCK)))) {}

JSONValue ProcessReader::read(Instant now) {
  if (readAt && now - *readAt < shortestInterval) {
    return last;
  }
  busiest.clear();
  current.clear();
  readAll(now);
  for (const Busy& process : busiest) {
    std::ranges::lower_bound(current, process.pid, {}, &Process::pid)->isWatched = true;
  }
  known.swap(current);
  readAt = now;
  ++round;

  JSONValue::Array entries;
  for (const Busy& process : busiest) {
    entries.emplace_back(JSONValue::Array{pyRound(process.percent, 1), nameOf(process)});
  }
  last = std::move(entries);
  return last;
}

void ProcessReader::readAll(Instant now) {
  if (!stream) {
    stream.reset(opendir(folder.c_str()));
  }
  if (!stream) {
    return;
  }
  rewinddir(stream.get());
  std::array<char, 1024> buffer;
  const auto uptime = KernelText::uptime(uptimeFile.read(buffer).value_or(""));
  const int proc = dirfd(stream.get());
  // Where the machine counts its processes otherwise than this one sees them, this is right.
  const auto self = readLink(proc, "self", buffer);
  const int ownPid = self ? numberOf(std::string(*self).c_str()).value_or(0) : 0;

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
    // Many end between being listed and being read.
    const auto times = text ? KernelText::processTimes(*text) : std::nullopt;
    if (!times) {
      continue;
    }
    if (before != nullptr && before->startedAt != times->startedAt) {
      before = nullptr;
    }
    const bool hasWorked = before == nullptr || before->used != times->used;
    current.push_back({*pid, times->startedAt, times->used, now, hasWorked});
    if (*pid != ownPid) {
      consider({percentOf(*times, before, uptime, now), times->used, *pid, {}}, times->name);
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
  const std::size_t turns = known.size() / mostResting + 1;
  return process.isWatched || (static_cast<std::size_t>(process.pid) + round) % turns == 0;
}

double ProcessReader::percentOf(const KernelText::ProcessTimes& times, const Process* before,
                                std::optional<double> uptime, Instant now) const {
  using Seconds = std::chrono::duration<double>;
  std::uint64_t used = times.used;
  double seconds = 0;
  if (before != nullptr) {
    used = times.used > before->used ? times.used - before->used : 0;
    seconds = Seconds(now - before->at).count();
  } else if (uptime) {
    // One that has begun since the reading before has used all of it since; one that was not seen
    // then has had its whole life for it.
    const double life = *uptime - static_cast<double>(times.startedAt) / ticksPerSecond;
    seconds = std::max({1.0, life, readAt ? Seconds(now - *readAt).count() : 0});
  }
  return seconds > 0 ? 100 * static_cast<double>(used) / ticksPerSecond / seconds : 0;
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
