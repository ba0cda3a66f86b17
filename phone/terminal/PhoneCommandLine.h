#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace orvik {

/// The program was called wrongly; the message is one line and quotes no link.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What the user asks orvik-phone to do.
struct PhoneCommandLine {
  /// A pairing link, or "-": it is the first line of the standard input.
  std::string link;
  /// Base URL of the relay.
  std::string relay;
  /// A file of further certificates (PEM) to trust.
  std::optional<std::filesystem::path> trust;
  bool json = false;
  /// Ends after so many payloads, at least 1.
  std::optional<std::uint64_t> count;

  /// Nothing when the user asked for help or for the version, which has been printed. Throws
  /// UsageError.
  [[nodiscard]] static std::optional<PhoneCommandLine> parse(int argc, const char* const* argv);
};

}  // namespace orvik
