#include "phone/terminal/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace orvik {

bool Terminal::canRepaint() const {
  const char* type = std::getenv("TERM");
  return isatty(descriptor) == 1 && type != nullptr && std::string_view(type) != "dumb";
}

ScreenSize Terminal::size() const {
  winsize window{};
  if (ioctl(descriptor, TIOCGWINSZ, &window) != 0 || window.ws_row == 0 || window.ws_col == 0) {
    return {24, 80};
  }
  return {window.ws_row, window.ws_col};
}

void Terminal::silence() {
  termios settings{};
  if (original || tcgetpgrp(descriptor) != getpgrp() || tcgetattr(descriptor, &settings) != 0) {
    return;
  }
  original = settings;
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON);
  tcsetattr(descriptor, TCSANOW, &settings);
}

void Terminal::echo() {
  if (original && tcgetpgrp(descriptor) == getpgrp()) {
    tcsetattr(descriptor, TCSAFLUSH, &*original);
  }
  original.reset();
}

}  // namespace orvik
