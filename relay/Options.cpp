#include "relay/Options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <variant>

#include "core/BuildConstants.h"

namespace orvik::relay {

namespace {

namespace fs = std::filesystem;

struct Bounds {
  double least = 0;
  double most = 0;
};

/// One option: its name, where its value goes, its words and, for a number, its bounds.
struct Row {
  const char* name;
  std::variant<std::string Options::*, bool Options::*, std::vector<std::string> Options::*,
               std::size_t Options::*, double Options::*>
      field;
  const char* words;
  Bounds bounds{};
  const char* excludes = nullptr;
  const char* needs = nullptr;
};

constexpr double million = 1e6;

const std::array rows{
    Row{"--listen", &Options::listen, "Where to listen, as ADDRESS:PORT; port 0 picks one"},
    Row{"--listen-plain", &Options::listenPlain,
        "Listen there too, without TLS: for a browser on this machine or a server in front. A "
        "loopback address or unix:PATH"},
    Row{.name = "--proxy-protocol",
        .field = &Options::proxyProtocol,
        .words = "Who connects there says first, with the PROXY protocol (version 2), whose "
                 "connection it is",
        .needs = "--listen-plain"},
    Row{"--page", &Options::page, "Folder of the page that a scanned link opens, to serve it"},
    Row{.name = "--certificate",
        .field = &Options::certificate,
        .words = "PEM file with the certificate chain to present; read anew when it changes",
        .needs = "--key"},
    Row{.name = "--key",
        .field = &Options::key,
        .words = "PEM file with its private key",
        .needs = "--certificate"},
    Row{.name = "--state",
        .field = &Options::state,
        .words = "Folder for the self-signed certificate and the store (default: orvik-relay in "
                 "$XDG_STATE_HOME or ~/.local/state)"},
    Row{"--store", &Options::store,
        "File that outlives the relay: owners of identifiers and alerts of the last day; \"none\" "
        "keeps them in memory (default: relay.sqlite in the folder of --state)"},
    Row{.name = "--name",
        .field = &Options::names,
        .words = "Further host name or address for the self-signed certificate; may be repeated",
        .excludes = "--certificate"},
    Row{"--threads",
        &Options::threads,
        "Event loops; 0 stands for one for each processor",
        {0, 256}},
    Row{"--drain",
        &Options::drain,
        "Seconds over which connections are closed after SIGTERM",
        {0, 3600}},
    Row{"--metrics", &Options::metrics,
        "Answer /metrics, /healthz and /readyz there, without TLS: ADDRESS:PORT or unix:PATH"},
    Row{"--max-connections",
        &Options::maxConnections,
        "Connections in all; 0 stands for what the machine holds",
        {0, million}},
    Row{"--max-connections-per-address",
        &Options::maxConnectionsPerAddress,
        "Connections from one address",
        {1, million}},
    Row{"--max-unauthenticated",
        &Options::maxUnauthenticated,
        "Connections that have not authenticated, in all; 0 stands for a quarter of the "
        "connections",
        {0, million}},
    Row{"--max-unauthenticated-per-address",
        &Options::maxUnauthenticatedPerAddress,
        "The same from one address",
        {1, million}},
    Row{"--max-new-per-address",
        &Options::maxNewPerAddress,
        "Macs from one address that the relay does not know yet, at once; one more each minute",
        {1, million}},
    Row{"--max-message", &Options::maxMessage, "Longest message of a Mac, in KiB", {64, 1024}},
    Row{"--max-phones", &Options::maxPhones, "Connected phones of one Mac", {1, 1000}},
    Row{"--mac-messages", &Options::macMessages, "Messages of a Mac in a second", {1, million}},
    Row{"--mac-messages-burst", &Options::macMessagesBurst, "The same at once", {1, million}},
    Row{"--mac-bytes", &Options::macBytes, "KiB from a Mac in a second", {64, 1e7}},
    Row{"--mac-bytes-burst", &Options::macBytesBurst, "The same at once", {1024, 1e7}},
    Row{"--memory",
        &Options::memory,
        "MiB for what waits to be sent and for messages that are not complete; 0 stands for an "
        "eighth of the machine's",
        {0, million}},
    Row{"--push-subject", &Options::pushSubject,
        "Push alerts to phones that are not connected, and tell push services that you are reached "
        "there: mailto:NAME@HOST or https://…"},
    Row{.name = "--push-service",
        .field = &Options::pushServices,
        .words = "Push service to connect to, as HOST, *.HOST or HOST:PORT, which alone may be at "
                 "a local address; may be repeated (default: those of the well-known browsers)",
        .needs = "--push-subject"},
    Row{.name = "--push-trust",
        .field = &Options::pushTrust,
        .words = "PEM file of the authorities that push services are checked by (default: the "
                 "system's)",
        .needs = "--push-subject"},
    Row{"--cluster", &Options::cluster,
        "NATS servers with JetStream that several relays share, in place of --store: "
        "nats://HOST:PORT or tls://HOST:PORT, more of them behind commas, with USER:PASSWORD@ "
        "before the first host"},
    Row{.name = "--cluster-credentials",
        .field = &Options::clusterCredentials,
        .words = "File with credentials for them, as NATS's tools write it",
        .needs = "--cluster"},
    Row{.name = "--cluster-trust",
        .field = &Options::clusterTrust,
        .words = "PEM file of the authorities that they are checked by, over TLS (default: the "
                 "system's)",
        .needs = "--cluster"},
    Row{"--cluster-name", &Options::clusterName,
        "What the relay calls its stream there, and what its subjects begin with: the same for "
        "all relays that belong together"},
    Row{"--cluster-replicas",
        &Options::clusterReplicas,
        "On how many of the servers everything is kept, when the stream is made",
        {1, 5}},
    Row{"--cluster-storage",
        &Options::clusterStorage,
        "MiB that the stream may take, when it is made; 0 stands for what the servers give",
        {0, 1e7}},
    Row{.name = "--copy-to-cluster",
        .field = &Options::copyToCluster,
        .words = "Copy owners, alerts and subscriptions from this file of --store, while no relay "
                 "uses it, and end; what others own there stays theirs",
        .needs = "--cluster"},
    Row{"--check", &Options::check, "Look at the options and at what they name, and end"},
    Row{"--verbose", &Options::verbose, "Log how each connection ends, with its address"},
};

CLI::Option* declared(CLI::App& app, Options& options, const Row& row) {
  const auto add = [&]<typename Field>(Field Options::*field) -> CLI::Option* {
    if constexpr (std::is_same_v<Field, bool>) {
      return app.add_flag(row.name, options.*field, row.words);
    } else {
      CLI::Option* const option = app.add_option(row.name, options.*field, row.words);
      if constexpr (std::is_arithmetic_v<Field>) {
        option->check(CLI::Range(row.bounds.least, row.bounds.most))->capture_default_str();
      } else if constexpr (std::is_same_v<Field, std::string>) {
        if (!(options.*field).empty()) {
          option->capture_default_str();
        }
      }
      return option;
    }
  };
  return std::visit(add, row.field);
}

}  // namespace

void Options::declare(CLI::App& app) {
  app.set_version_flag("--version", std::string("orvik-relay ") + build::version);
  app.set_config("--config", "", "File with further options, one NAME = VALUE a line");
  app.allow_config_extras(CLI::config_extras_mode::error);
  for (const Row& row : rows) {
    declared(app, *this, row);
  }
  for (const Row& row : rows) {
    if (row.needs != nullptr) {
      app.get_option(row.name)->needs(app.get_option(row.needs));
    }
    if (row.excludes != nullptr) {
      app.get_option(row.name)->excludes(app.get_option(row.excludes));
    }
  }
}

Limits Options::limits(const MachineLimits& machine) const {
  const auto refuse = [](const std::string& line) { throw std::runtime_error(line); };
  Limits limits;
  limits.threads = threads == 0 ? machine.processors : threads;
  limits.connections = maxConnections == 0 ? machine.connections() : maxConnections;
  if (limits.connections + MachineLimits::otherDescriptors > machine.descriptors &&
      maxConnections != 0) {
    refuse("--max-connections " + std::to_string(maxConnections) + ": this process may open " +
           std::to_string(machine.descriptors) + " files, of which " +
           std::to_string(MachineLimits::otherDescriptors) + " are for other things");
  }
  if (maxUnauthenticated > limits.connections) {
    refuse("--max-unauthenticated is more than --max-connections");
  }
  limits.unauthenticated = maxUnauthenticated == 0
                               ? std::max<std::size_t>(1, limits.connections / 4)
                               : maxUnauthenticated;
  limits.connectionsPerAddress = maxConnectionsPerAddress;
  limits.unauthenticatedPerAddress = maxUnauthenticatedPerAddress;
  limits.claimsPerAddress.burst = static_cast<double>(maxNewPerAddress);
  limits.macMessage = maxMessage * Limits::kibibyte;
  limits.phonesPerMac = maxPhones;
  limits.macMessages = {static_cast<double>(macMessages), static_cast<double>(macMessagesBurst)};
  limits.macBytes = {static_cast<double>(macBytes * Limits::kibibyte),
                     static_cast<double>(macBytesBurst * Limits::kibibyte)};
  limits.bufferedBytes = memory == 0 ? machine.bufferedBytes() : memory * Limits::mebibyte;
  if (!pushSubject.empty()) {
    limits.pushBytes = std::min(limits.pushBytes, limits.bufferedBytes / 8);
    limits.bufferedBytes -= limits.pushBytes;
  }
  if (limits.bufferedBytes < limits.threads * (limits.macMessage + limits.outboundBytes)) {
    refuse("--memory: less than one message and one queue for each of " +
           std::to_string(limits.threads) + " event loops");
  }
  if (memory != 0 && memory * Limits::mebibyte > machine.memory) {
    refuse("--memory " + std::to_string(memory) + ": this machine has " +
           std::to_string(machine.memory / Limits::mebibyte) + " MiB");
  }
  return limits;
}

std::optional<fs::path> Options::storeFile() const {
  return store == "none" ? std::nullopt
         : store.empty() ? std::optional(stateFolder() / "relay.sqlite")
                         : std::optional(fs::path(store));
}

fs::path Options::stateFolder() const {
  if (!state.empty()) {
    return state;
  }
  // Only an absolute path counts (XDG base directories).
  if (const char* home = std::getenv("XDG_STATE_HOME"); home != nullptr && *home == '/') {
    return fs::path(home) / "orvik-relay";
  }
  if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
    return fs::path(home) / ".local" / "state" / "orvik-relay";
  }
  throw std::runtime_error("there is no home folder: say --state");
}

JetStreamStore::Settings Options::clusterSettings() const {
  const bool isName = !clusterName.empty() && clusterName.size() <= 64 &&
                      std::ranges::all_of(clusterName, [](char c) {
                        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                               (c >= '0' && c <= '9') || c == '-' || c == '_';
                      });
  if (!isName) {
    throw std::runtime_error("--cluster-name: letters, digits, - and _, 64 at most");
  }
  JetStreamStore::Settings settings{{cluster, clusterCredentials, clusterTrust},
                                    clusterName,
                                    static_cast<std::int64_t>(clusterReplicas),
                                    static_cast<std::int64_t>(clusterStorage * Limits::mebibyte)};
  settings.connection.check();
  return settings;
}

Clock::Duration Options::drainTime() const {
  return std::chrono::duration_cast<Clock::Duration>(std::chrono::duration<double>(drain));
}

ListenAddress addressIn(const char* option, const std::string& text) {
  const auto address = ListenAddress::read(text);
  if (!address) {
    throw std::runtime_error(std::string(option) + ": \"" + text +
                             "\" is neither of the form ADDRESS:PORT nor unix:PATH");
  }
  return *address;
}

}  // namespace orvik::relay
