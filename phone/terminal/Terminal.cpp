#include "phone/terminal/Terminal.h"

#include <fcntl.h>
#include <unistd.h>

namespace orvik {

void Terminal::silence() {
  termios settings{};
  if (original || !hasKeyboard() || tcgetattr(descriptor, &settings) != 0) {
    return;
  }
  original = settings;
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON);
  tcsetattr(descriptor, TCSANOW, &settings);
}

void Terminal::echo() {
  if (original && hasKeyboard()) {
    tcsetattr(descriptor, TCSAFLUSH, &*original);
  }
  original.reset();
}

bool Terminal::hasKeyboard() const { return tcgetpgrp(descriptor) == getpgrp(); }

int Terminal::openKeyboard() const {
  // By its own name, as some systems cannot wait for /dev/tty; and opened anew, as what does not
  // block must not make others' output so.
  const char* name = ttyname(descriptor);
  return name == nullptr ? -1 : open(name, O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
}

}  // namespace orvik
