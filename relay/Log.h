#pragma once

#include <string_view>

namespace orvik::relay {

/// How urgent a line of the log is, by syslog's numbers.
enum class Priority { error = 3, warning = 4, notice = 5, info = 6 };

/// Writes one line to standard error: with its priority in front where the system's journal reads
/// it, otherwise with the program's name. No line holds an identifier or a token, and none an
/// address unless --verbose asks for it. From any thread.
void log(Priority priority, std::string_view line);

}  // namespace orvik::relay
