#include <CLI/CLI.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "core/BuildConstants.h"
#include "relay/Certificate.h"
#include "relay/ListenAddress.h"
#include "relay/MemoryStore.h"
#include "relay/RelayServer.h"
#include "relay/SQLiteStore.h"

namespace {

namespace asio = boost::asio;
namespace fs = std::filesystem;
using namespace orvik;

struct Options {
  std::string listen = "127.0.0.1:47443";
  std::string listenPlain;
  std::string page;
  std::string certificate;
  std::string key;
  std::string state;
  std::string store;
  std::vector<std::string> names;
};

void declare(CLI::App& app, Options& options) {
  app.set_version_flag("--version", std::string("orvik-relay ") + build::version);
  app.add_option("--listen", options.listen, "Where to listen, as ADDRESS:PORT; port 0 picks one")
      ->capture_default_str();
  app.add_option(
      "--listen-plain", options.listenPlain,
      "Listen there too, without TLS: for a browser on this machine or a server in front. "
      "Loopback only");
  app.add_option("--page", options.page,
                 "Folder of the page that a scanned link opens, to serve it");
  CLI::Option* const certificate = app.add_option("--certificate", options.certificate,
                                                  "PEM file with the certificate chain to present");
  CLI::Option* const key = app.add_option("--key", options.key, "PEM file with its private key");
  certificate->needs(key);
  key->needs(certificate);
  app.add_option("--state", options.state,
                 "Folder for the self-signed certificate and the store "
                 "(default: orvik-relay in $XDG_STATE_HOME or ~/.local/state)");
  app.add_option("--store", options.store,
                 "File that outlives the relay: owners of identifiers and alerts of the last day; "
                 "\"none\" keeps them in memory (default: relay.sqlite in the folder of --state)");
  app.add_option("--name", options.names,
                 "Further host name or address for the self-signed certificate; may be repeated")
      ->excludes(certificate);
}

fs::path stateFolder(const std::string& chosen) {
  if (!chosen.empty()) {
    return chosen;
  }
  // Only an absolute path counts (XDG base directories).
  if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/') {
    return fs::path(state) / "orvik-relay";
  }
  if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
    return fs::path(home) / ".local" / "state" / "orvik-relay";
  }
  throw std::runtime_error("there is no home folder: say --state");
}

relay::Certificate certificateFor(const Options& options, const Clock& clock) {
  if (!options.certificate.empty()) {
    return relay::Certificate::read(options.certificate, options.key);
  }
  return relay::Certificate::keptIn(stateFolder(options.state), options.names, clock.unixNow());
}

/// What an operator has to know, beside where it listens.
void log(const std::string& line) { std::fprintf(stderr, "orvik-relay: %s\n", line.c_str()); }

std::unique_ptr<relay::RecordStore> storeFor(const Options& options, const relay::Limits& limits,
                                             const std::shared_ptr<Clock>& clock) {
  if (options.store == "none") {
    return std::make_unique<relay::MemoryStore>(limits, clock);
  }
  const fs::path file =
      options.store.empty() ? stateFolder(options.state) / "relay.sqlite" : fs::path(options.store);
  return std::make_unique<relay::SQLiteStore>(file, limits, clock, log);
}

/// Many systems let a program ask for more file descriptors than they give it. Failure is not
/// looked at: with fewer, the server waits until one is free.
void raiseFileLimit(std::size_t wanted) {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < wanted) {
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, wanted);
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

std::string textOf(const asio::ip::tcp::endpoint& endpoint) {
  std::ostringstream text;
  text << endpoint;
  return text.str();
}

asio::ip::tcp::endpoint endpointOf(const char* option, const std::string& text) {
  const auto endpoint = relay::listenAddress(text);
  if (!endpoint) {
    throw std::runtime_error(std::string(option) + ": \"" + text +
                             "\" is not of the form ADDRESS:PORT");
  }
  return *endpoint;
}

/// Says where it listens, one line for each address: programs read them.
void announce(const Options& options, const asio::ip::tcp::endpoint& endpoint,
              const std::optional<asio::ip::tcp::endpoint>& plain,
              const relay::Certificate& certificate) {
  const char* const path = "/orvik/p";
  std::printf("orvik-relay: listening on wss://%s\n", textOf(endpoint).c_str());
  if (plain) {
    std::printf("orvik-relay: listening on ws://%s, without TLS\n", textOf(*plain).c_str());
  }
  if (!options.page.empty()) {
    std::printf("orvik-relay: page at %s://%s%s\n", plain ? "http" : "https",
                textOf(plain ? *plain : endpoint).c_str(), path);
  }
  std::printf("orvik-relay: certificate %s, SHA-256 %s\n", certificate.file.c_str(),
              certificate.fingerprint.c_str());
  std::fflush(stdout);
}

void serve(const Options& options) {
  const asio::ip::tcp::endpoint endpoint = endpointOf("--listen", options.listen);
  const auto clock = std::make_shared<SystemClock>();
  const relay::Certificate certificate = certificateFor(options, *clock);
  std::optional<relay::Page> page;
  if (!options.page.empty()) {
    page = relay::Page::read(options.page);
  }
  const relay::Limits limits;
  // Besides the connections: the standard streams, the acceptors, the event queue and timers.
  raiseFileLimit(limits.connections + 64);

  asio::io_context context(1);
  // After the loop that its answers go to.
  const std::unique_ptr<relay::RecordStore> store = storeFor(options, limits, clock);
  std::optional<relay::RelayServer> server;
  std::optional<asio::ip::tcp::endpoint> plain;
  std::string address = options.listen;
  try {
    server.emplace(context, endpoint, certificate, clock, *store, limits);
    if (!options.listenPlain.empty()) {
      address = options.listenPlain;
      plain = server->listenPlain(endpointOf("--listen-plain", address));
    }
  } catch (const boost::system::system_error& error) {
    throw std::runtime_error("cannot listen on " + address + ": " + error.code().message());
  } catch (const std::invalid_argument& error) {
    throw std::runtime_error("--listen-plain " + address + ": " + error.what());
  }
  if (page) {
    server->serve(*std::move(page));
  }
  asio::signal_set signals(context, SIGINT, SIGTERM);
  signals.async_wait([&server](const boost::system::error_code& error, int) {
    if (!error) {
      server->stop();
    }
  });
  asio::co_spawn(context, server->run(), [&signals](const std::exception_ptr& failure) {
    signals.cancel();
    if (failure) {
      std::rethrow_exception(failure);
    }
  });
  announce(options, server->endpoint(), plain, certificate);
  context.run();
}

int fail(const std::string& what) {
  std::fprintf(stderr, "orvik-relay: %s\n", what.c_str());
  return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  CLI::App app(
      "Relay between Macs and the phones paired with them. It cannot read what it relays.");
  Options options;
  try {
    declare(app, options);
    app.parse(argc, argv);
    serve(options);
    return EXIT_SUCCESS;
  } catch (const CLI::ParseError& error) {
    return error.get_exit_code() == 0 ? app.exit(error) : fail(error.what());
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}
