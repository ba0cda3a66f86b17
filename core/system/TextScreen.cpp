#include "core/system/TextScreen.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <string_view>

namespace orvik {

ScreenSize screenSize(int descriptor) {
  winsize window{};
  if (ioctl(descriptor, TIOCGWINSZ, &window) != 0 || window.ws_row == 0 || window.ws_col == 0) {
    return {24, 80};
  }
  return {window.ws_row, window.ws_col};
}

bool isTextScreen(int descriptor) {
  const char* type = std::getenv("TERM");
  return isatty(descriptor) == 1 && type != nullptr && std::string_view(type) != "dumb";
}

bool isLocaleUTF8() {
  return std::setlocale(LC_CTYPE, "") != nullptr &&
         std::string_view(nl_langinfo(CODESET)) == "UTF-8";
}

}  // namespace orvik
