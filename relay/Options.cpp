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
#include "core/system/HelpFormatter.h"

namespace orvik::relay {

namespace {

namespace fs = std::filesystem;

struct Bounds {
  double least = 0;
  double most = 0;
};

/// One option: its name, what its value is, where it goes, its words and, for a number, its bounds.
struct Row {
  const char* name;
  const char* value = "";
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
    Row{"--listen", "ADDRESS:PORT", &Options::listen,
        "Where to listen. Port 0 picks one; [::]:47443 means every address"},
    Row{"--listen-plain", "ADDRESS:PORT|unix:PATH", &Options::listenPlain,
        "Listen there too, without TLS: for a browser on this machine, which takes such an address "
        "for secure, or for a server on it that has the certificate. An address that others can "
        "reach is refused. A local socket is for its owner and group, and what comes over it has "
        "no "
        "address to count by"},
    Row{.name = "--proxy-protocol",
        .field = &Options::proxyProtocol,
        .words =
            "What connects there begins with version 2 of the PROXY protocol, which says whose "
            "connection it is",
        .needs = "--listen-plain"},
    Row{"--page", "FOLDER", &Options::page,
        "The built page that a scanned link opens, to serve it; the package has it in "
        "/usr/share/orvik/page"},
    Row{.name = "--certificate",
        .value = "FILE",
        .field = &Options::certificate,
        .words =
            "Your own certificate chain, as PEM. It and its key are read anew when they change, "
            "and on SIGHUP; what is of no use leaves the old ones in place",
        .needs = "--key"},
    Row{.name = "--key",
        .value = "FILE",
        .field = &Options::key,
        .words = "Its private key, as PEM",
        .needs = "--certificate"},
    Row{"--state", "FOLDER", &Options::state,
        "Where the certificate of its own making and the store are kept; otherwise orvik-relay in "
        "$XDG_STATE_HOME or ~/.local/state"},
    Row{"--store", "FILE", &Options::store,
        "What outlives the relay: which token owns which identifier, as a hash, the sealed alerts "
        "of "
        "the last 24 hours, and where phones want them pushed to; otherwise relay.sqlite in the "
        "folder of --state. With \"none\" it is kept in memory. A damaged file is renamed, never "
        "deleted"},
    Row{.name = "--name",
        .value = "NAME",
        .field = &Options::names,
        .words = "A further host name or address for the certificate of its own making; may be "
                 "repeated",
        .excludes = "--certificate"},
    Row{"--threads",
        "NUMBER",
        &Options::threads,
        "Event loops; 0 stands for one for each processor",
        {0, 256}},
    Row{"--drain",
        "SECONDS",
        &Options::drain,
        "Over how long connections are closed after SIGTERM. SIGINT closes them at once, and a "
        "second signal ends them without a word",
        {0, 3600}},
    Row{"--metrics", "ADDRESS:PORT|unix:PATH", &Options::metrics,
        "Answer /metrics, for Prometheus, /healthz and /readyz there, without TLS"},
    Row{"--max-connections",
        "NUMBER",
        &Options::maxConnections,
        "Connections in all; 0 stands for what descriptors and half of the memory hold",
        {0, million}},
    Row{"--max-connections-per-address",
        "NUMBER",
        &Options::maxConnectionsPerAddress,
        "Connections from one IPv4 address or IPv6 network of 64 bits",
        {1, million}},
    Row{"--max-unauthenticated",
        "NUMBER",
        &Options::maxUnauthenticated,
        "Connections that have not presented a token yet; 0 stands for a quarter of all",
        {0, million}},
    Row{"--max-unauthenticated-per-address",
        "NUMBER",
        &Options::maxUnauthenticatedPerAddress,
        "The same from one address",
        {1, million}},
    Row{"--max-new-per-address",
        "NUMBER",
        &Options::maxNewPerAddress,
        "Computers from one address that the relay does not know yet, at once; one more each "
        "minute",
        {1, million}},
    Row{"--max-message",
        "KIB",
        &Options::maxMessage,
        "The longest message of a computer",
        {64, 1024}},
    Row{"--max-phones", "NUMBER", &Options::maxPhones, "A computer's connected phones", {1, 1000}},
    Row{"--mac-messages",
        "NUMBER",
        &Options::macMessages,
        "Messages of a computer in a second",
        {1, million}},
    Row{"--mac-messages-burst",
        "NUMBER",
        &Options::macMessagesBurst,
        "The same at once",
        {1, million}},
    Row{"--mac-bytes", "KIB", &Options::macBytes, "Bytes of a computer in a second", {64, 1e7}},
    Row{"--mac-bytes-burst", "KIB", &Options::macBytesBurst, "The same at once", {1024, 1e7}},
    Row{"--memory",
        "MIB",
        &Options::memory,
        "For what waits for slow clients and for messages that are not complete; 0 stands for an "
        "eighth of the machine's",
        {0, million}},
    Row{"--push-subject", "URI", &Options::pushSubject,
        "Push alerts to phones that are not looking, through the push services of their browsers, "
        "and tell these that you are reached there: mailto:NAME@HOST or https://… Without it "
        "nothing is pushed. The key by which push services know the relay is made at the first "
        "start, push-key.pem in the folder of --state; phones have subscribed with it"},
    Row{.name = "--push-service",
        .value = "HOST|*.HOST|HOST:PORT",
        .field = &Options::pushServices,
        .words =
            "A push service to connect to, in place of those of the well-known browsers; may be "
            "repeated. One whose port is named may be at an address of this machine or of a "
            "local network, no other",
        .needs = "--push-subject"},
    Row{.name = "--push-trust",
        .value = "FILE",
        .field = &Options::pushTrust,
        .words =
            "The authorities that push services are checked by, as PEM; otherwise the system's",
        .needs = "--push-subject"},
    Row{.name = "--cluster",
        .value = "URL",
        .field = &Options::cluster,
        .words =
            "NATS servers with JetStream that several relays share, in place of --store: "
            "nats://HOST:PORT or tls://HOST:PORT, more of them behind commas, with USER:PASSWORD@ "
            "before the first host",
        .excludes = "--store"},
    Row{.name = "--cluster-credentials",
        .value = "FILE",
        .field = &Options::clusterCredentials,
        .words = "Credentials for them, as NATS's tools write them",
        .needs = "--cluster"},
    Row{.name = "--cluster-trust",
        .value = "FILE",
        .field = &Options::clusterTrust,
        .words = "The authorities that they are checked by over TLS, as PEM; otherwise the "
                 "system's",
        .needs = "--cluster"},
    Row{.name = "--cluster-name",
        .value = "NAME",
        .field = &Options::clusterName,
        .words = "What the stream there is called, and what all subjects begin with: the same for "
                 "all relays that belong together",
        .needs = "--cluster"},
    Row{.name = "--cluster-replicas",
        .value = "NUMBER",
        .field = &Options::clusterReplicas,
        .words = "On how many of the servers everything is kept, when the stream is made",
        .bounds = {1, 5},
        .needs = "--cluster"},
    Row{.name = "--cluster-storage",
        .value = "MIB",
        .field = &Options::clusterStorage,
        .words = "What the stream may take, when it is made; 0 stands for what the servers give",
        .bounds = {0, 1e7},
        .needs = "--cluster"},
    Row{.name = "--copy-to-cluster",
        .value = "FILE",
        .field = &Options::copyToCluster,
        .words = "Copy owners, alerts and subscriptions from this file of --store, while no relay "
                 "uses it, and end. What others own there stays theirs",
        .needs = "--cluster"},
    Row{"--check", "", &Options::check, "Look at the options and at what they name, and end"},
    Row{"--verbose", "", &Options::verbose,
        "Log how each connection ends, with its address. Otherwise no address is in the log"},
};

CLI::Option* declared(CLI::App& app, Options& options, const Row& row) {
  const auto add = [&]<typename Field>(Field Options::*field) -> CLI::Option* {
    if constexpr (std::is_same_v<Field, bool>) {
      return app.add_flag(row.name, options.*field, row.words);
    } else {
      CLI::Option* const option = app.add_option(row.name, options.*field, row.words);
      option->type_name(row.value);
      if constexpr (std::is_arithmetic_v<Field>) {
        option->check(CLI::Range(row.bounds.least, row.bounds.most).description(""))
            ->capture_default_str();
        if constexpr (std::is_floating_point_v<Field>) {
          // In all bounds, as it is neither less nor more than any.
          option->check(CLI::Validator(
              [](const std::string& text) {
                const bool isNumber = !std::isnan(std::strtod(text.c_str(), nullptr));
                return isNumber ? std::string() : text + " is no number";
              },
              ""));
        }
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
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_version_flag("--version", std::string("orvik-relay ") + build::version);
  app.set_config(
         "--config", "",
         "A file with further options, one \"name = value\" a line, the names without dashes. "
         "The command line comes first")
      ->type_name("FILE");
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
