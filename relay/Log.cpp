#include "relay/Log.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace orvik::relay {

void log(Priority priority, std::string_view line) {
  // Set by systemd for programs whose output goes to the journal.
  static const bool isJournal = std::getenv("JOURNAL_STREAM") != nullptr;
  const std::string text = (isJournal ? "<" + std::to_string(static_cast<int>(priority)) + ">"
                                      : std::string("orvik-relay: ")) +
                           std::string(line) + "\n";
  // In one piece, so that lines of two threads do not mix.
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace orvik::relay
