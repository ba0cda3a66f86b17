#include "OrvikApp/Launcher.h"

#include <openssl/crypto.h>

#include <QApplication>
#include <QIcon>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "OrvikApp/OrvikApp.h"
#include "OrvikApp/PairingCardRendering.h"
#include "OrvikApp/SingleInstance.h"
#include "OrvikApp/platform/SystemRequests.h"
#include "core/BuildConstants.h"
#include "core/system/CoreDump.h"

namespace orvik {

namespace {

constexpr const char* help =
    "Makes this computer's live state visible on a paired phone: an icon in the menu bar or tray.\n"
    "Usage: orvik [OPTIONS]\n"
    "\n"
    "Options:\n"
    "  -h, --help                      Print this help message and exit\n"
    "  --version                       Display program version information and exit\n"
    "  --relay URL                     Use the relay at this wss:// address, from now on; an "
    "application that runs already does so too\n"
    "  --render-pairing FILE [LOCALE]  Write a picture of the pairing card to this file as PNG, "
    "and "
    "end. The code in it is made up; the texts are in the language of LOCALE, such as de or pt-BR, "
    "otherwise in English. No display is needed\n";

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

int report(const std::string& problem) {
  std::fprintf(stderr, "orvik: %s\n", problem.c_str());
  return EXIT_FAILURE;
}

/// Keeps what the toolkit says while it starts: it tries several ways to a display, tells of each
/// one that fails, and then ends the program by itself, with a core dump.
void takeStartMessage(QtMsgType type, const QMessageLogContext& /*context*/,
                      const QString& message) {
  thread_local QStringList said;
  if (type == QtFatalMsg) {
    const QString problem = said.isEmpty() ? message : said.join(QStringLiteral("; "));
    report("no windows can be shown: " + problem.simplified().toStdString());
    std::_Exit(EXIT_FAILURE);
  }
  said += message;
}

void takeMessage(QtMsgType type, const QMessageLogContext& context, const QString& message) {
  if (type != QtFatalMsg) {
    std::fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, context, message)));
    return;
  }
  report(message.simplified().toStdString());
  std::_Exit(EXIT_FAILURE);
}

/// Has this and the next starts, and a running application, use the relay at this address. False
/// without one. Throws std::runtime_error when it is none, or cannot be
/// stored.
bool rememberRelay(const std::optional<std::string>& url) {
  const auto preferences = RelayEndpoint::preferences();
  const auto known = url ? RelayEndpoint::present(*preferences) : std::nullopt;
  if (!url) {
    return false;
  }
  if (known && known->url == *url) {
    return true;
  }
  try {
    if (!RelayEndpoint::at(*url).remember(*preferences)) {
      throw std::runtime_error("the relay's address cannot be stored");
    }
  } catch (const std::invalid_argument& error) {
    throw std::runtime_error(error.what());
  }
  return true;
}

/// Runs the menu-bar application until it is quit.
int runApplication(int argc, char** argv) try {
  forbidCoreDumps();
  // A thread that is left behind may use the library to the very end.
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  if (const auto problem = missingDisplay()) {
    return report(*problem);
  }
  const bool isRelayNew = rememberRelay(Launcher::relayIn(argc, argv));
  const auto relay = RelayEndpoint::present(*RelayEndpoint::preferences());
  qInstallMessageHandler(takeStartMessage);
  prepareForSystem();
  QApplication::setApplicationName(QStringLiteral("Orvik"));
  QApplication::setApplicationVersion(QString::fromUtf8(build::version));
  QGuiApplication::setDesktopFileName(QString::fromUtf8(build::applicationId));
  QApplication application(argc, argv);
  qInstallMessageHandler(takeMessage);
  QApplication::setQuitOnLastWindowClosed(false);
  QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/orvik-128.png")));

  SingleInstance instance(SingleInstance::sessionFolder());
  switch (instance.standing()) {
    case SingleInstance::Standing::later:
      return EXIT_SUCCESS;
    case SingleInstance::Standing::unanswered:
      return report("it runs already, but does not answer");
    case SingleInstance::Standing::first:
      break;
  }
  OrvikApp orvik(relay.value_or(RelayEndpoint{}), isRelayNew);
  QObject::connect(&instance, &SingleInstance::showRequested, &orvik, &OrvikApp::startedAgain);
  return QApplication::exec();
} catch (const std::exception& error) {
  return report(error.what());
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

std::optional<std::string> Launcher::information(int argc, const char* const* argv) {
  for (const std::string_view argument :
       std::span(argv, static_cast<std::size_t>(argc)).subspan(argc > 0 ? 1 : 0)) {
    if (argument == "--help" || argument == "-h") {
      return help;
    }
    if (argument == "--version") {
      return std::string("orvik ") + build::version + "\n";
    }
  }
  return std::nullopt;
}

std::optional<std::string> Launcher::relayIn(int argc, const char* const* argv) {
  const std::span arguments(argv, static_cast<std::size_t>(argc));
  constexpr std::string_view option = "--relay";
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const std::string_view argument = arguments[i];
    if (argument == option) {
      return i + 1 < arguments.size() ? arguments[i + 1] : "";
    }
    if (argument.starts_with(option) && argument.substr(option.size()).starts_with('=')) {
      return std::string(argument.substr(option.size() + 1));
    }
  }
  return std::nullopt;
}

int Launcher::main(int argc, char** argv) {
  if (const auto picture = parse(argc, argv)) {
    return isDrawn(*picture) ? EXIT_SUCCESS : EXIT_FAILURE;
  }
  if (const auto text = information(argc, argv)) {
    return std::fputs(text->c_str(), stdout) < 0 ? EXIT_FAILURE : EXIT_SUCCESS;
  }
  return runApplication(argc, argv);
}

}  // namespace orvik
