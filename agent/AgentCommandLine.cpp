#include "agent/AgentCommandLine.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <unistd.h>

#include "core/BuildConstants.h"
#include "core/client/RelayEndpoint.h"
#include "core/connection/WebSocketURL.h"
#include "core/system/HelpFormatter.h"
#include "core/system/HostName.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

constexpr const char* about =
    "Shows its pairing as a link and, on a terminal that is large enough, as a QR code; then it "
    "sends "
    "this computer's readings, sealed from end to end, through a relay that cannot read them.\n"
    "Ends with status 2 after a wrong call, 3 when the relay refuses the pairing, and 1 after any "
    "other failure.";

std::optional<std::filesystem::path> path(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional<std::filesystem::path>(text);
}

}  // namespace

std::optional<AgentCommandLine> AgentCommandLine::parse(int argc, const char* const* argv) {
  AgentCommandLine line;
  line.name = localizedHostName().value_or("Mac");
  std::string relay;
  std::string trust;
  std::string linkFile;
  std::string sampleFile;
  std::string emitAlert;

  CLI::App app(about, "orvik-agent");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_version_flag("--version", std::string("orvik-agent ") + build::version);
  app.add_option(
         "--relay", relay,
         "The relay's wss:// address. Remembered, together with --trust and --link-host, for "
         "the next time and for the application. Needed once where the build has no relay of "
         "its own")
      ->type_name("URL");
  app.add_option("--link-host", line.linkHost,
                 "The host, perhaps with a port, that stands in the link: where the page is, when "
                 "that is not the relay's own host")
      ->type_name("HOST");
  app.add_option("--trust", trust,
                 "Further certificates to trust, as PEM: for a relay with a certificate of its own "
                 "making")
      ->type_name("FILE");
  app.add_option("--name", line.name, "The name that the phone shows; otherwise the host's")
      ->type_name("NAME");
  app.add_option("--link-file", linkFile, "Also write the link to this file, readable by you alone")
      ->type_name("FILE");
  app.add_option("--sample-file", sampleFile,
                 "Send the readings in this JSON file instead of the machine's, for developing a "
                 "phone")
      ->type_name("FILE");
  app.add_option("--emit-alert", emitAlert,
                 "Send a made-up alert of this kind at the start and at every SIGUSR1, for "
                 "developing a phone")
      ->type_name("")
      ->check(
          CLI::IsMember({"temp_high", "disk_full", "on_battery", "battery_low", "time_machine"}));
  app.add_flag("--new-pairing", line.newPairing,
               "Replace the pairing of earlier runs: every phone has to scan again");
  app.add_flag("--no-link", line.hidesLink,
               "Do not print the pairing: for services, whose output goes to a log");
  app.add_flag("--quiet", line.quiet, "Print no changes of state");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      app.exit(error);
      return std::nullopt;
    }
    throw std::invalid_argument(error.what());
  }
  if (!relay.empty()) {
    line.relay = RelayEndpoint::at(relay).url;
  }
  const auto page = WebSocketURL::parse("wss://" + line.linkHost);
  if (!line.linkHost.empty() && (!page || page->hostHeader() != line.linkHost)) {
    throw std::invalid_argument("the link's host has to be a host, perhaps with a port");
  }
  if (!isValidUTF8(line.name) || line.name.size() > 200) {
    throw std::invalid_argument("the name has to be text of at most 200 bytes");
  }
  if (sampleFile.empty() ? false : access(sampleFile.c_str(), R_OK) != 0) {
    throw std::invalid_argument("the sample file cannot be read");
  }
  line.trust = path(trust);
  line.linkFile = path(linkFile);
  line.sampleFile = path(sampleFile);
  line.emitAlert = Alert::kindFrom(emitAlert);
  return line;
}

}  // namespace orvik
