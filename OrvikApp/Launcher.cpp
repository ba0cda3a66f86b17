#include "OrvikApp/Launcher.h"

#include <QtGlobal>
#include <algorithm>
#include <cstdlib>
#include <span>
#include <string_view>

#include "OrvikApp/Application.h"
#include "OrvikApp/OffscreenApplication.h"
#include "OrvikApp/PairingCardRendering.h"

namespace orvik {

namespace {

/// Qt stops the program when it cannot draw; the exit status says so, and nothing else.
void keepSilent(QtMsgType type, const QMessageLogContext& /*context*/, const QString& /*text*/) {
  if (type == QtFatalMsg) {
    std::_Exit(EXIT_FAILURE);
  }
}

bool isDrawn(const Launcher::PairingPicture& picture) {
  qInstallMessageHandler(keepSilent);
  const OffscreenApplication application;
  return renderPNG(picture.path, QString::fromStdString(picture.locale));
}

}  // namespace

std::optional<Launcher::PairingPicture> Launcher::parse(int argc, const char* const* argv) {
  const std::span arguments(argv, static_cast<std::size_t>(argc));
  const auto found = std::ranges::find(arguments, std::string_view("--render-pairing"),
                                       [](const char* text) { return std::string_view(text); });
  const auto following = arguments.end() - found - 1;
  if (following < 1) {
    return std::nullopt;
  }
  PairingPicture picture{found[1]};
  if (following > 1) {
    picture.locale = found[2];
  }
  return picture;
}

int Launcher::main(int argc, char** argv) {
  if (const auto picture = parse(argc, argv)) {
    return isDrawn(*picture) ? EXIT_SUCCESS : EXIT_FAILURE;
  }
  return runApplication(argc, argv);
}

}  // namespace orvik
