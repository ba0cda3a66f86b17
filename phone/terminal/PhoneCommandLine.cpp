#include "phone/terminal/PhoneCommandLine.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>

#include "core/BuildConstants.h"
#include "core/connection/WebSocketURL.h"
#include "core/system/HelpFormatter.h"
#include "phone/terminal/DisplayText.h"

namespace orvik {

namespace {

constexpr const char* about =
    "Is a phone in a terminal: shows what the computer behind a pairing link sends, on a terminal "
    "as "
    "a page that renews itself until q is typed, otherwise one line for each sample.\n"
    "Ends with status 2 after a wrong call, 3 when the pairing has been replaced, and 1 after any "
    "other failure.";

/// The parser's complaint on one line. It quotes arguments, and a misplaced link holds a secret.
std::string complaint(const CLI::ParseError& error) {
  const std::string text = displayText(error.what());
  return text.find('#') == std::string::npos ? text
                                             : "The arguments are not understood; see --help.";
}

void checkRelay(const std::string& relay) {
  if (!WebSocketURL::parse(relay) || relay.find('?') != std::string::npos) {
    throw UsageError("The relay's address has to be a wss:// URL with a host and perhaps a path.");
  }
}

}  // namespace

std::optional<PhoneCommandLine> PhoneCommandLine::parse(int argc, const char* const* argv) {
  PhoneCommandLine line;
  line.relay = build::relayURL;
  std::string trust;
  std::uint64_t count = 0;

  CLI::App app(about, "orvik-phone");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_version_flag("--version", std::string("orvik-phone ") + build::version);
  app.add_option("LINK", line.link,
                 "The pairing link, in quotes, or - to read it from the first line of the standard "
                 "input, where other users of this machine cannot see it")
      ->required();
  app.add_option("--relay", line.relay,
                 "The relay's wss:// address: the one that the computer uses")
      ->type_name("URL")
      ->capture_default_str();
  const auto* trustOption =
      app.add_option("--trust", trust,
                     "Further certificates to trust, as PEM: for a relay with a certificate of its "
                     "own making")
          ->type_name("FILE");
  app.add_flag("--json", line.json,
               "Print every sample and alert as one line of JSON, for scripts");
  const auto* countOption =
      app.add_option("--count", count, "End after this many samples and alerts")
          ->type_name("NUMBER")
          ->check([](const std::string& text) {
            const bool isNumber = !text.empty() && text.size() < 20 &&
                                  text.find_first_not_of("0123456789") == std::string::npos &&
                                  text.find_first_not_of('0') != std::string::npos;
            return isNumber ? std::string() : "takes a whole number of at least 1";
          });
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      app.exit(error);
      return std::nullopt;
    }
    throw UsageError(complaint(error));
  }
  checkRelay(line.relay);
  if (trustOption->count() > 0) {
    line.trust = trust;
  }
  if (countOption->count() > 0) {
    line.count = count;
  }
  return line;
}

}  // namespace orvik
