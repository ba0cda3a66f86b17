#include "OrvikApp/platform/linux/AutostartEntry.h"

#include <QStandardPaths>
#include <algorithm>
#include <initializer_list>

#include "core/sampling/linux/TextFields.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

constexpr std::string_view header = "[Desktop Entry]";

bool isControl(char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == '\x7f'; }

bool isComment(std::string_view line) {
  const std::string_view content = trimmed(line);
  return content.empty() || content.front() == '#';
}

bool isHeader(std::string_view line) {
  const std::string_view content = trimmed(line);
  return content.size() > 2 && content.front() == '[' && content.back() == ']';
}

/// The key of a line; empty where it has none.
std::string_view keyOf(std::string_view line) {
  const std::size_t end = isComment(line) ? 0 : line.find('=');
  return end == std::string_view::npos ? "" : trimmed(line.substr(0, end));
}

std::string escaped(std::string_view value) {
  std::string result;
  for (const char c : value) {
    switch (c) {
      case '\\':
        result += "\\\\";
        break;
      case '\n':
        result += "\\n";
        break;
      case '\r':
        result += "\\r";
        break;
      case '\t':
        result += "\\t";
        break;
      case ' ':
        result += result.empty() ? "\\s" : " ";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string unescaped(std::string_view value) {
  std::string result;
  for (std::size_t at = 0; at < value.size(); ++at) {
    if (value[at] != '\\' || at + 1 == value.size()) {
      result += value[at];
      continue;
    }
    constexpr std::string_view letters = "sntr\\";
    constexpr std::string_view meanings = " \n\t\r\\";
    const std::size_t letter = letters.find(value[++at]);
    if (letter == std::string_view::npos) {
      // Lists have escapes of their own.
      result += '\\';
      result += value[at];
    } else {
      result += meanings[letter];
    }
  }
  return result;
}

bool contains(const std::optional<std::string>& list, std::string_view name) {
  return list && !name.empty() && std::ranges::count(splitAt(*list, ';'), name) != 0;
}

bool isTrue(const std::string& value) { return value == "true" || value == "1"; }

bool canBeFound(const std::string& program) {
  return !QStandardPaths::findExecutable(QString::fromStdString(program)).isEmpty();
}

}  // namespace

std::optional<AutostartEntry> AutostartEntry::parse(std::string_view text) {
  if (!isValidUTF8(text)) {
    return std::nullopt;
  }
  AutostartEntry entry;
  std::vector<std::string>* part = &entry.before;
  bool isInGroup = false;
  if (text.ends_with('\n')) {
    text.remove_suffix(1);
  }
  for (const std::string_view line : splitAt(text, '\n')) {
    if (isHeader(line)) {
      const bool isOurs = part == &entry.before && trimmed(line) == header;
      isInGroup = true;
      part = isOurs ? &entry.lines : part == &entry.before ? part : &entry.after;
      if (isOurs) {
        continue;
      }
    } else if (!isComment(line) && (!isInGroup || keyOf(line).empty())) {
      return std::nullopt;
    }
    part->emplace_back(line);
  }
  return part == &entry.before ? std::nullopt : std::optional(std::move(entry));
}

std::optional<std::string> AutostartEntry::value(std::string_view key) const {
  // The last one counts, should there be several.
  const auto line = std::find_if(lines.rbegin(), lines.rend(),
                                 [key](const std::string& each) { return keyOf(each) == key; });
  if (line == lines.rend()) {
    return std::nullopt;
  }
  return unescaped(trimmed(std::string_view(*line).substr(line->find('=') + 1)));
}

void AutostartEntry::set(std::string_view key, std::string_view value) {
  std::string line(key);
  line.append("=").append(escaped(value));
  const auto place = std::ranges::find(lines, key, keyOf);
  const auto position = place - lines.begin();
  remove(key);
  lines.insert(lines.begin() + std::min<std::ptrdiff_t>(position, std::ssize(lines)),
               std::move(line));
}

void AutostartEntry::remove(std::string_view key) {
  std::erase_if(lines, [key](const std::string& line) { return keyOf(line) == key; });
}

bool AutostartEntry::isShownIn(std::string_view desktops) const {
  const auto only = value("OnlyShowIn");
  const auto except = value("NotShowIn");
  for (const std::string_view desktop : splitAt(desktops, ':')) {
    if (contains(only, desktop)) {
      return true;
    }
    if (contains(except, desktop)) {
      return false;
    }
  }
  return !only;
}

bool AutostartEntry::starts(std::string_view desktops) const {
  const auto program = value("TryExec");
  return value("Type") == "Application" && !value("Exec").value_or("").empty() &&
         !isTrue(value("Hidden").value_or("false")) &&
         isTrue(value("X-GNOME-Autostart-enabled").value_or("true")) && isShownIn(desktops) &&
         (!program || canBeFound(*program));
}

std::string AutostartEntry::text() const {
  std::string text;
  const auto add = [&text](std::string_view line) { text.append(line).append("\n"); };
  std::ranges::for_each(before, add);
  add(header);
  std::ranges::for_each(lines, add);
  std::ranges::for_each(after, add);
  return text;
}

std::optional<std::string> AutostartEntry::command(std::string_view executable) {
  if (!isValidUTF8(executable) || executable.find('=') != std::string_view::npos ||
      std::ranges::any_of(executable, isControl)) {
    return std::nullopt;
  }
  constexpr std::string_view reserved = " \"'\\><~|&;$*?#()`";
  constexpr std::string_view special = "\"`$\\";
  const bool isQuoted = executable.find_first_of(reserved) != std::string_view::npos;
  // GLib looks for the program before it turns two percent signs into one; it finds this one.
  std::string command(executable.find('%') == std::string_view::npos ? "" : "env ");
  command += isQuoted ? "\"" : "";
  for (const char c : executable) {
    if (isQuoted && special.find(c) != std::string_view::npos) {
      command += '\\';
    }
    // A single one would begin a field code, in quotes as well.
    command.append(c == '%' ? 2U : 1U, c);
  }
  return command + (isQuoted ? "\"" : "");
}

}  // namespace orvik
