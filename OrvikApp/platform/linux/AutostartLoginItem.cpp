#include "OrvikApp/platform/linux/AutostartLoginItem.h"

#include <gio/gdesktopappinfo.h>

#include <QCoreApplication>
#include <QRegularExpression>
#include <QStandardPaths>
#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "core/BuildConstants.h"
#include "core/system/ReplaceFile.h"
#include "core/system/linux/BaseFolder.h"
#include "core/values/CHandle.h"

namespace orvik {

namespace {

namespace fs = std::filesystem;

using Entry = CHandle<GKeyFile, g_key_file_unref>;
using Text = CHandle<char, g_free>;
using Names = CHandle<char*, g_strfreev>;
using Program = CHandle<GDesktopAppInfo, g_object_unref>;

constexpr const char* group = G_KEY_FILE_DESKTOP_GROUP;
constexpr const char* gnomeSwitch = "X-GNOME-Autostart-enabled";
/// What the settings of different desktops write when somebody switches an entry off, beside
/// Hidden.
constexpr std::array switches{gnomeSwitch, "X-MATE-Autostart-enabled"};

fs::path entryFile() {
  const fs::path folder = baseFolder("XDG_CONFIG_HOME", ".config");
  return folder.empty() ? folder
                        : folder / "autostart" / (std::string(build::applicationId) + ".desktop");
}

struct Found {
  /// Also a file that is no valid entry counts, and starts nothing.
  bool isThere = false;
  /// An empty one where there is none that is valid.
  Entry entry{g_key_file_new()};
};

Found read(const fs::path& path) {
  constexpr auto everything =
      static_cast<GKeyFileFlags>(G_KEY_FILE_KEEP_COMMENTS | G_KEY_FILE_KEEP_TRANSLATIONS);
  FileOperations operations;
  const FileRead file = readFile(path, operations);
  Found found{.isThere = file.content || (file.error != ENOENT && file.error != ENOTDIR)};
  const bool isRead =
      file.content && g_key_file_load_from_data(found.entry.get(), file.content->data(),
                                                file.content->size(), everything, nullptr) != 0;
  const Text first(g_key_file_get_start_group(found.entry.get()));
  if (!isRead || !first || std::string_view(first.get()) != group) {
    found.entry.reset(g_key_file_new());
  }
  return found;
}

/// What administrators and packages have put there.
Found systemEntry(const fs::path& name) {
  for (const QString& folder :
       QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation).mid(1)) {
    Found found = read(fs::path(folder.toStdString()) / "autostart" / name);
    if (found.isThere) {
      return found;
    }
  }
  return {};
}

/// Which no entry may. The library removes the last one of several alone, and whoever reads what it
/// then writes finds the one before.
bool repeatsKeys(GKeyFile& entry) {
  gsize count = 0;
  const Names keys(g_key_file_get_keys(&entry, group, &count, nullptr));
  const std::span all(keys.get(), keys ? count : 0);
  return std::set<std::string_view>(all.begin(), all.end()).size() != all.size();
}

bool write(GKeyFile& entry, const fs::path& file) {
  gsize size = 0;
  const Text text(g_key_file_to_data(&entry, &size, nullptr));
  FileOperations operations;
  std::error_code error;
  fs::create_directories(file.parent_path(), error);
  return replaceFile(file, {text.get(), size}, operations);
}

/// What an entry starts; null for nothing, or when it is no longer there.
Program programOf(GKeyFile& entry) { return Program(g_desktop_app_info_new_from_keyfile(&entry)); }

bool starts(GKeyFile& entry) {
  const auto info = programOf(entry);
  const char* const command = info ? g_app_info_get_commandline(G_APP_INFO(info.get())) : nullptr;
  const bool isSwitchedOff = std::ranges::any_of(switches, [&entry](const char* key) {
    return g_key_file_has_key(&entry, group, key, nullptr) != 0 &&
           g_key_file_get_boolean(&entry, group, key, nullptr) == 0;
  });
  return command != nullptr && *command != '\0' && !isSwitchedOff &&
         g_desktop_app_info_get_is_hidden(info.get()) == 0 &&
         g_desktop_app_info_get_show_in(info.get(), nullptr) != 0;
}

/// What the key Exec says to start a program without arguments. Nothing for a path that it cannot
/// say: one that is not UTF-8 or has an equals sign or a control character.
std::optional<QString> commandLine(QString program) {
  static const QRegularExpression impossible(QStringLiteral(R"([=\x{fffd}\p{Cc}])"));
  static const QRegularExpression reserved(QStringLiteral(R"([ "'\\><~|&;$*?#()`])"));
  static const QRegularExpression special(QStringLiteral(R"((["`$\\]))"));
  if (program.isEmpty() || program.contains(impossible)) {
    return std::nullopt;
  }
  // GLib looks for the program before it turns two percent signs into one; it finds this one.
  const QString before = program.contains(QLatin1Char('%')) ? QStringLiteral("env ") : QString();
  if (program.contains(reserved)) {
    program =
        QLatin1Char('"') + program.replace(special, QStringLiteral(R"(\\1)")) + QLatin1Char('"');
  }
  // A single one would begin a field code, in quotes as well.
  return before + program.replace(QLatin1Char('%'), QStringLiteral("%%"));
}

}  // namespace

AutostartLoginItem::AutostartLoginItem(QString program)
    : program(std::move(program)), file(entryFile()) {}

LoginItem::Status AutostartLoginItem::status() const {
  if (file.empty()) {
    return Status::notFound;
  }
  const Found own = read(file);
  const Found found = own.isThere ? Found() : systemEntry(file.filename());
  return starts(own.isThere ? *own.entry : *found.entry) ? Status::enabled : Status::notRegistered;
}

bool AutostartLoginItem::setRegistered(bool registered) {
  if (file.empty()) {
    return false;
  }
  if (registered) {
    return enable();
  }
  if (systemEntry(file.filename()).isThere) {
    return hide();
  }
  FileOperations operations;
  return operations.remove(file.string()) == 0 || errno == ENOENT || errno == ENOTDIR;
}

bool AutostartLoginItem::enable() const {
  const auto command = commandLine(program);
  if (!command) {
    return false;
  }
  Entry entry = read(file).entry;
  if (repeatsKeys(*entry)) {
    entry.reset(g_key_file_new());
  }
  const auto set = [&entry](const char* key, const std::string& value) {
    g_key_file_set_string(entry.get(), group, key, value.c_str());
  };
  for (const auto& [key, value] : {std::pair{"Name", "Orvik"},
                                   {"Icon", "orvik"},
                                   {"Terminal", "false"},
                                   {"StartupNotify", "false"}}) {
    if (g_key_file_has_key(entry.get(), group, key, nullptr) == 0) {
      set(key, value);
    }
  }
  set("Type", "Application");
  set("Exec", command->toStdString());
  set("TryExec", program.toStdString());
  for (const char* const key : switches) {
    g_key_file_remove_key(entry.get(), group, key, nullptr);
  }
  // Some desktops offer a switch only where the key is.
  set(gnomeSwitch, "true");
  g_key_file_remove_key(entry.get(), group, "Hidden", nullptr);
  if (const auto info = programOf(*entry);
      info && g_desktop_app_info_get_show_in(info.get(), nullptr) == 0) {
    g_key_file_remove_key(entry.get(), group, "OnlyShowIn", nullptr);
    g_key_file_remove_key(entry.get(), group, "NotShowIn", nullptr);
  }
  return write(*entry, file);
}

/// Without a file of the user's own, that of the system would count.
bool AutostartLoginItem::hide() const {
  const Entry entry = read(file).entry;
  for (const auto& [key, value] :
       {std::pair{"Type", "Application"}, {"Name", "Orvik"}, {"Hidden", "true"}}) {
    g_key_file_set_string(entry.get(), group, key, value);
  }
  return write(*entry, file);
}

std::unique_ptr<LoginItem> openLoginItem() {
  return std::make_unique<AutostartLoginItem>(QCoreApplication::applicationFilePath());
}

}  // namespace orvik
