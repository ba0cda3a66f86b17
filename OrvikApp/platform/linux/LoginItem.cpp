#include "OrvikApp/platform/LoginItem.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "OrvikApp/platform/linux/AutostartEntry.h"
#include "core/BuildConstants.h"
#include "core/system/ReplaceFile.h"
#include "core/system/linux/BaseFolder.h"

namespace orvik {

namespace {

namespace fs = std::filesystem;

std::string environment(const char* variable) {
  const char* const value = std::getenv(variable);
  return value == nullptr ? "" : value;
}

/// The folders in which administrators and packages keep settings, the most important one first.
std::vector<fs::path> systemFolders() {
  std::string list = environment("XDG_CONFIG_DIRS");
  if (list.empty()) {
    list = "/etc/xdg";
  }
  std::vector<fs::path> folders;
  for (std::size_t start = 0; start < list.size();) {
    const std::size_t end = std::min(list.find(':', start), list.size());
    const fs::path folder = list.substr(start, end - start);
    if (folder.is_absolute()) {
      folders.push_back(folder);
    }
    start = end + 1;
  }
  return folders;
}

/// The user's own entry. Empty without a home.
fs::path entryFile() {
  const fs::path folder = baseFolder("XDG_CONFIG_HOME", ".config");
  return folder.empty() ? folder
                        : folder / "autostart" / (std::string(build::applicationId) + ".desktop");
}

/// The program that runs. Empty when it cannot be said.
std::string runningProgram() {
  constexpr std::string_view replaced = " (deleted)";
  std::error_code error;
  std::string path = fs::read_symlink("/proc/self/exe", error).string();
  // An update has put another file in the place of the one that runs.
  if (path.ends_with(replaced) && !fs::exists(path, error)) {
    path.resize(path.size() - replaced.size());
  }
  return path;
}

/// An entry in the user's autostart folder. It takes the place of a file of the same name that
/// administrators or packages have put into theirs.
class AutostartLoginItem final : public LoginItem {
 public:
  [[nodiscard]] Status status() const override {
    if (file.empty()) {
      return Status::notFound;
    }
    const Found own = read(file);
    const auto entry = own.isThere ? own.entry : systemEntry().entry;
    return entry && entry->starts(desktops) ? Status::enabled : Status::notRegistered;
  }

  bool setRegistered(bool registered) override {
    if (file.empty()) {
      return false;
    }
    if (registered) {
      return enable();
    }
    return systemEntry().isThere ? hide() : remove();
  }

 private:
  struct Found {
    /// Also a file that is no valid entry counts, and starts nothing.
    bool isThere = false;
    std::optional<AutostartEntry> entry = {};
  };

  [[nodiscard]] static Found read(const fs::path& path) {
    FileOperations operations;
    const FileRead content = readFile(path, operations);
    return {.isThere = content.content || (content.error != ENOENT && content.error != ENOTDIR),
            .entry = content.content ? AutostartEntry::parse(*content.content) : std::nullopt};
  }

  [[nodiscard]] Found systemEntry() const {
    for (const fs::path& folder : systemFolders()) {
      if (Found found = read(folder / "autostart" / file.filename()); found.isThere) {
        return found;
      }
    }
    return {};
  }

  [[nodiscard]] bool write(const AutostartEntry& entry) const {
    FileOperations operations;
    std::error_code error;
    fs::create_directories(file.parent_path(), error);
    return replaceFile(file, entry.text(), operations);
  }

  [[nodiscard]] bool enable() const {
    const std::string program = runningProgram();
    const auto command = AutostartEntry::command(program);
    if (program.empty() || !command) {
      return false;
    }
    AutostartEntry entry = read(file).entry.value_or(AutostartEntry());
    for (const auto& [key, value] : {std::pair{"Name", "Orvik"},
                                     {"Icon", "orvik"},
                                     {"Terminal", "false"},
                                     {"StartupNotify", "false"}}) {
      if (!entry.value(key)) {
        entry.set(key, value);
      }
    }
    entry.set("Type", "Application");
    entry.set("Exec", *command);
    entry.set("TryExec", program);
    // Some desktops offer a switch only where the key is.
    entry.set("X-GNOME-Autostart-enabled", "true");
    entry.remove("Hidden");
    if (!entry.isShownIn(desktops)) {
      entry.remove("OnlyShowIn");
      entry.remove("NotShowIn");
    }
    return write(entry);
  }

  /// Without a file of the user's own, that of the system would count.
  [[nodiscard]] bool hide() const {
    AutostartEntry entry = read(file).entry.value_or(AutostartEntry());
    entry.set("Type", "Application");
    entry.set("Name", "Orvik");
    entry.set("Hidden", "true");
    return write(entry);
  }

  [[nodiscard]] bool remove() const {
    FileOperations operations;
    return operations.remove(file.string()) == 0 || errno == ENOENT || errno == ENOTDIR;
  }

  const fs::path file = entryFile();
  const std::string desktops = environment("XDG_CURRENT_DESKTOP");
};

}  // namespace

std::unique_ptr<LoginItem> openLoginItem() { return std::make_unique<AutostartLoginItem>(); }

}  // namespace orvik
