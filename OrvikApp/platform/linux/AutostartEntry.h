#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvik {

/// The text of a desktop entry in an autostart folder, as the Desktop Entry and Desktop
/// Application Autostart rules of freedesktop.org have it. What it is not asked about stays as it
/// was: comments, other keys, other groups.
class AutostartEntry {
 public:
  /// An entry that says nothing yet.
  AutostartEntry() = default;

  /// Nothing for a text that desktops do not accept either: one without a [Desktop Entry], with a
  /// line that means nothing, or not UTF-8.
  [[nodiscard]] static std::optional<AutostartEntry> parse(std::string_view text);

  /// The text of a key, unescaped; nothing where it is not there.
  [[nodiscard]] std::optional<std::string> value(std::string_view key) const;
  void set(std::string_view key, std::string_view value);
  void remove(std::string_view key);

  /// Whether a desktop with these names ($XDG_CURRENT_DESKTOP) starts the program at login: not
  /// when the user has switched the entry off, nor when the program is no longer there.
  [[nodiscard]] bool starts(std::string_view desktops) const;
  /// Whether those desktops heed the entry at all.
  [[nodiscard]] bool isShownIn(std::string_view desktops) const;

  [[nodiscard]] std::string text() const;

  /// What the key Exec says to start this program without arguments. Nothing for a path that it
  /// cannot say: one that is not UTF-8 or has an equals sign or a control character.
  [[nodiscard]] static std::optional<std::string> command(std::string_view executable);

 private:
  /// The lines of the group, without its header, and all those around it.
  std::vector<std::string> before;
  std::vector<std::string> lines;
  std::vector<std::string> after;
};

}  // namespace orvik
