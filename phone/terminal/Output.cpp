#include "phone/terminal/Output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "phone/terminal/DisplayText.h"

namespace orvik {

void Output::write(std::string_view given) {
  const std::string ascii = characters == Characters::ascii ? asciiText(given) : std::string();
  std::string_view text = characters == Characters::ascii ? ascii : given;
  while (open && !text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      // Somebody who shares the descriptor has made it non-blocking.
      pollfd ready{descriptor, POLLOUT, 0};
      ::poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      open = false;
    }
  }
}

}  // namespace orvik
