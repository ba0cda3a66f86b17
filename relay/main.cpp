#include <CLI/CLI.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "core/values/Base64.h"
#include "relay/CertificateSource.h"
#include "relay/Log.h"
#include "relay/MemoryStore.h"
#include "relay/Options.h"
#include "relay/SQLiteStore.h"
#include "relay/Server.h"
#include "relay/ServiceManager.h"
#include "relay/cluster/CopyToCluster.h"

namespace {

namespace asio = boost::asio;
using namespace orvik;
using relay::ListenAddress;
using relay::Metric;
using relay::Priority;

std::unique_ptr<relay::RecordStore> storeFor(const relay::Options& options,
                                             const relay::Limits& limits,
                                             const std::shared_ptr<Clock>& clock) {
  const auto log = [](const std::string& line) { relay::log(Priority::warning, line); };
  if (!options.cluster.empty()) {
    return std::make_unique<relay::JetStreamStore>(options.clusterSettings(), limits, clock, log);
  }
  const auto file = options.storeFile();
  if (!file) {
    return std::make_unique<relay::MemoryStore>(limits, clock);
  }
  return std::make_unique<relay::SQLiteStore>(*file, limits, clock, log);
}

relay::PushSender::Settings pushSettings(const relay::Options& options) {
  return {options.pushSubject, options.pushServices, options.pushTrust};
}

/// The relay as a program: its server, and what runs beside it on the server's loop.
class Program {
 public:
  Program(const relay::Options& chosen, const relay::MachineLimits& machine)
      : options(chosen),
        clock(std::make_shared<SystemClock>()),
        source(chosen.certificate.empty()
                   ? relay::CertificateSource(chosen.stateFolder(), chosen.names)
                   : relay::CertificateSource(chosen.certificate, chosen.key)),
        certificate(source.load(clock->unixNow())),
        limits(chosen.limits(machine)),
        server(limits, clock, storeFor(chosen, limits, clock)) {
    server.use(relay::makeTLSContext(certificate));
    server.counters().set(Metric::certificateExpiry, epochSeconds(certificate.expiry));
    server.setVerbose(options.verbose);
    if (!options.page.empty()) {
      server.serve(relay::Page::read(options.page));
    }
    std::string pushKey;
    if (!options.pushSubject.empty()) {
      const auto settings = pushSettings(options);
      relay::P256Key key = relay::VAPID::keptIn(options.stateFolder());
      pushKey = base64URL(key.publicKey());
      server.pushBy(settings, std::move(key));
      if (!settings.haveAuthorities()) {
        relay::log(Priority::warning,
                   "no push service can be checked, and none is pushed to: install the package "
                   "ca-certificates, or say --push-trust");
      }
    }
    if (!options.cluster.empty()) {
      const relay::JetStreamStore::Settings cluster = options.clusterSettings();
      server.join({cluster.connection, cluster.name, pushKey});
    }
  }

  void run() {
    const ListenAddress main = listen("--listen", options.listen, {.overTLS = true});
    std::optional<ListenAddress> plain;
    std::optional<ListenAddress> metrics;
    if (!options.listenPlain.empty()) {
      plain = listen("--listen-plain", options.listenPlain, {.isProxied = options.proxyProtocol});
    }
    if (!options.metrics.empty()) {
      metrics = listen("--metrics", options.metrics, {.service = relay::Service::monitoring});
    }
    awaitSignal();
    watchCertificate();
    feedWatchdog();
    announce(main, plain, metrics);
    relay::tellServiceManager("READY=1");
    server.run();
  }

 private:
  ListenAddress listen(const char* option, const std::string& text,
                       relay::Server::Listening listening) {
    listening.address = relay::addressIn(option, text);
    try {
      return server.listen(listening);
    } catch (const boost::system::system_error& error) {
      throw std::runtime_error("cannot listen on " + text + ": " + error.code().message());
    }
  }

  /// Says where it listens, one line for each address: programs read them.
  void announce(const ListenAddress& main, const std::optional<ListenAddress>& plain,
                const std::optional<ListenAddress>& metrics) const {
    std::printf("orvik-relay: listening on wss://%s\n", main.text.c_str());
    if (plain) {
      std::printf("orvik-relay: listening on ws://%s, without TLS\n", plain->text.c_str());
    }
    if (!options.page.empty()) {
      const bool isPlain = plain && !plain->path() && !options.proxyProtocol;
      std::printf("orvik-relay: page at %s://%s/orvik/p\n", isPlain ? "http" : "https",
                  (isPlain ? *plain : main).text.c_str());
    }
    if (metrics) {
      std::printf("orvik-relay: metrics at http://%s/metrics\n", metrics->text.c_str());
    }
    std::printf("orvik-relay: certificate %s, SHA-256 %s\n", certificate.file.c_str(),
                certificate.fingerprint.c_str());
    std::fflush(stdout);
  }

  void awaitSignal() {
    signals.async_wait([this](const boost::system::error_code& error, int signal) {
      if (error) {
        return;
      }
      if (signal == SIGHUP) {
        reloadCertificate();
      } else {
        relay::tellServiceManager("STOPPING=1");
        // At the keyboard nobody wants to wait.
        server.stop(signal == SIGTERM ? options.drainTime() : Clock::Duration());
      }
      awaitSignal();
    });
  }

  void watchCertificate() {
    certificateTimer.expires_after(std::chrono::seconds(10));
    certificateTimer.async_wait([this](const boost::system::error_code& error) {
      if (error) {
        return;
      }
      if (source.mayHaveChanged(clock->unixNow())) {
        reloadCertificate();
      }
      watchCertificate();
    });
  }

  /// All of the new is made and looked at before it takes the place of the old.
  void reloadCertificate() {
    try {
      relay::Certificate fresh = source.load(clock->unixNow());
      server.use(relay::makeTLSContext(fresh));
      certificate = std::move(fresh);
      server.counters().add(Metric::certificateReloads);
      server.counters().set(Metric::certificateExpiry, epochSeconds(certificate.expiry));
      relay::log(Priority::notice, "new certificate, SHA-256 " + certificate.fingerprint);
    } catch (const std::exception& error) {
      server.counters().add(Metric::certificateFailures);
      relay::log(Priority::error, std::string("the certificate stays as it is: ") + error.what());
    }
  }

  /// Says that the service lives only when all event loops have answered.
  void feedWatchdog() {
    const auto time = relay::watchdogTime();
    if (!time) {
      return;
    }
    server.ask([] { relay::tellServiceManager("WATCHDOG=1"); });
    watchdogTimer.expires_after(*time / 3);
    watchdogTimer.async_wait([this](const boost::system::error_code& error) {
      if (!error) {
        feedWatchdog();
      }
    });
  }

  const relay::Options& options;
  const std::shared_ptr<Clock> clock;
  relay::CertificateSource source;
  relay::Certificate certificate;
  const relay::Limits limits;
  relay::Server server;
  asio::signal_set signals{server.context(), SIGINT, SIGTERM, SIGHUP};
  asio::steady_timer certificateTimer{server.context()};
  asio::steady_timer watchdogTimer{server.context()};
};

/// What the addresses may be, whatever else is said.
void checkAddresses(const relay::Options& options) {
  static_cast<void>(relay::addressIn("--listen", options.listen));
  if (!options.listenPlain.empty() &&
      !relay::addressIn("--listen-plain", options.listenPlain).isLocal()) {
    throw std::runtime_error("--listen-plain " + options.listenPlain +
                             ": without TLS it listens on loopback only");
  }
  if (!options.metrics.empty()) {
    if (!relay::addressIn("--metrics", options.metrics).isLocal()) {
      relay::log(Priority::warning, "--metrics " + options.metrics +
                                        ": not encrypted, and for everybody who reaches it");
    }
  }
}

/// Looks at everything that is named, and makes nothing.
void check(const relay::Options& options, const relay::MachineLimits& machine) {
  const relay::Limits limits = options.limits(machine);
  if (!options.certificate.empty()) {
    static_cast<void>(
        relay::makeTLSContext(relay::Certificate::read(options.certificate, options.key)));
  }
  if (!options.page.empty()) {
    static_cast<void>(relay::Page::read(options.page));
  }
  if (!options.pushSubject.empty()) {
    pushSettings(options).check();
  }
  if (!options.cluster.empty()) {
    static_cast<void>(options.clusterSettings());
  } else {
    static_cast<void>(options.storeFile());
  }
  std::printf("orvik-relay: the options are good; %zu event loops, %zu connections at most\n",
              limits.threads, limits.connections);
}

/// Throws std::runtime_error, with one line, when not all of it is there afterwards.
void copyToCluster(const relay::Options& options, const relay::MachineLimits& machine) {
  const auto log = [](const std::string& line) { relay::log(Priority::warning, line); };
  const relay::Copy copy =
      relay::copyToCluster(options.copyToCluster, options.clusterSettings(),
                           options.limits(machine), std::make_shared<SystemClock>(), log);
  std::printf("orvik-relay: %zu identifiers are in the cluster\n", copy.there);
  std::string wrong;
  if (copy.ofOthers > 0) {
    wrong = std::to_string(copy.ofOthers) +
            " identifiers have another owner in the cluster, and stay as they are there";
  }
  if (copy.leftOut > 0) {
    wrong += (wrong.empty() ? "" : "; ") + std::to_string(copy.leftOut) +
             " are left out, whose records in the cluster cannot be read or would be too long";
  }
  if (!wrong.empty()) {
    throw std::runtime_error(wrong);
  }
}

void serve(const relay::Options& options) {
  const relay::MachineLimits machine = relay::MachineLimits::ask();
  checkAddresses(options);
  if (options.check) {
    check(options, machine);
    return;
  }
  if (!options.copyToCluster.empty()) {
    copyToCluster(options, machine);
    return;
  }
  Program(options, machine).run();
}

int fail(const std::string& what) {
  relay::log(Priority::error, what);
  return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  CLI::App app(
      "Joins computers and their paired phones over WebSocket and TLS. What it passes on is sealed "
      "from end to end: it cannot read it.",
      "orvik-relay");
  relay::Options options;
  try {
    options.declare(app);
    app.parse(argc, argv);
    serve(options);
    return EXIT_SUCCESS;
  } catch (const CLI::ParseError& error) {
    return error.get_exit_code() == 0 ? app.exit(error) : fail(error.what());
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}
