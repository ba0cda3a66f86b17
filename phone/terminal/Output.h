#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace orvik {

/// A file descriptor that text is written to, unbuffered, as far as its reader can show it. Once a
/// write has failed, since nobody reads any more, it stays closed and takes nothing. SIGPIPE has to
/// be ignored.
class Output {
 public:
  /// What a reader of the text can show.
  enum class Characters { all, ascii };

  /// The descriptor stays its owner's.
  explicit Output(int descriptor, Characters characters = Characters::all)
      : descriptor(descriptor), characters(characters) {}

  /// Writes all of the text; blocks while a reader is slow.
  void write(std::string_view text);
  [[nodiscard]] bool isOpen() const { return open; }

 private:
  int descriptor;
  Characters characters;
  bool open = true;
};

/// Ends a program after a number of payloads, or never.
class PayloadLimit {
 public:
  /// `count` is at least 1; none means no limit.
  explicit PayloadLimit(std::optional<std::uint64_t> count) : left(count) {}

  /// Counts one payload; returns whether more are wanted.
  [[nodiscard]] bool take() { return !left || --*left > 0; }

 private:
  std::optional<std::uint64_t> left;
};

}  // namespace orvik
