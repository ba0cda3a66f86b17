#pragma once

#include <optional>
#include <string>

namespace orvik {

/// Decides what the program is started for: to draw the pairing card into a file, to say something
/// of itself, or to run.
class Launcher {
 public:
  /// What "--render-pairing PATH [LOCALE]" asks for.
  struct PairingPicture {
    std::string path;
    std::string locale = "en";

    bool operator==(const PairingPicture&) const = default;
  };

  /// Looks for the first "--render-pairing" among all arguments, the program's own path included.
  /// Nothing when it is missing or stands last: then the application is to be started. Other
  /// arguments do not matter.
  [[nodiscard]] static std::optional<PairingPicture> parse(int argc, const char* const* argv);

  /// What "--help", "-h" or "--version" asks for, as it is printed; nothing when none of them is
  /// there, or a picture is asked for.
  [[nodiscard]] static std::optional<std::string> information(int argc, const char* const* argv);

  /// What "--relay URL" names, empty without a name; nothing without the option.
  [[nodiscard]] static std::optional<std::string> relayIn(int argc, const char* const* argv);

  /// Does what the arguments say, and returns the process's exit status. Draws without a display
  /// and prints nothing while doing so.
  [[nodiscard]] static int main(int argc, char** argv);
};

}  // namespace orvik
