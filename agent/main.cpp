#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <openssl/crypto.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <utility>

#include "agent/AgentCommandLine.h"
#include "agent/FileSampleSource.h"
#include "agent/MadeUpAlert.h"
#include "agent/TerminalQR.h"
#include "core/client/RelayClient.h"
#include "core/client/RelayEndpoint.h"
#include "core/client/Revocation.h"
#include "core/connection/BeastWebSocket.h"
#include "core/pairing/PairingKeeper.h"
#include "core/sampling/SystemSampleSource.h"
#include "core/sampling/ThisMachine.h"
#include "core/system/CoreDump.h"
#include "core/system/ReplaceFile.h"
#include "core/system/TextScreen.h"

namespace {

namespace asio = boost::asio;
using namespace orvik;

constexpr int usageStatus = 2;
constexpr int rejectedStatus = 3;

void say(std::string message) {
  // One line, whatever was typed: the parser quotes arguments.
  std::ranges::replace_if(
      message, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, ' ');
  std::fprintf(stderr, "orvik-agent: %s\n", message.c_str());
}

int report(const std::exception& error, int status) {
  say(error.what());
  return status;
}

/// The relay that was asked for, which further runs and the application will use too.
RelayEndpoint relayOf(const AgentCommandLine& line) {
  const auto preferences = RelayEndpoint::preferences();
  const auto known = RelayEndpoint::present(*preferences);
  auto relay = line.relay ? std::optional(RelayEndpoint::at(*line.relay)) : known;
  if (relay && known && relay->url == known->url) {
    // What is trusted by its fingerprint stays so; a file has to be named again.
    relay->fingerprint = known->fingerprint;
    relay->linkHost = known->linkHost;
  }
  if (!relay) {
    throw std::invalid_argument("no relay has been chosen yet: --relay wss://… says which");
  }
  if (line.trust) {
    relay->trust = line.trust;
  }
  if (!line.linkHost.empty()) {
    relay->linkHost = line.linkHost;
  }
  // Whoever sends made-up readings is trying something out.
  const bool isMeant = line.relay && !line.sampleFile && !line.emitAlert;
  if (isMeant && relay != known && !relay->remember(*preferences)) {
    say("the relay could not be remembered for the next time");
  }
  return *relay;
}

void writeLinkFile(const std::filesystem::path& file, const std::string& link) {
  FileOperations operations;
  if (!replaceFile(file, SecretText{link, "\n"}.text(), operations)) {
    throw std::runtime_error("the link cannot be written to " + file.string());
  }
}

void showLink(const std::string& link) {
  // A code in a log would only be noise, and one in characters that are not there no code.
  const bool isDrawn = isTextScreen(STDOUT_FILENO) && isLocaleUTF8();
  const auto screen = isDrawn ? std::optional(screenSize(STDOUT_FILENO)) : std::nullopt;
  const SecretText text(pairingText(link, screen));
  // Past the library, whose buffer would keep it.
  std::fflush(stdout);
  for (std::string_view rest = text.text(); !rest.empty();) {
    const ssize_t written = write(STDOUT_FILENO, rest.data(), rest.size());
    if (written < 0 && errno != EINTR) {
      return;
    }
    rest.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
  }
}

/// Prints what is new about the link: each state once, however often it is tried again.
class StateNews {
 public:
  void print(const RelayState& state) {
    // That it tries is no news, and would push the code's first line out of a small terminal.
    if (std::holds_alternative<relayState::Connecting>(state)) {
      return;
    }
    const std::string text = description(state);
    if (text != std::exchange(last, text)) {
      std::printf("%s\n", text.c_str());
      std::fflush(stdout);
    }
  }

 private:
  std::string last;
};

std::shared_ptr<SampleSource> sampleSource(const AgentCommandLine& line,
                                           const asio::any_io_executor& executor,
                                           const std::shared_ptr<Clock>& clock) {
  if (line.sampleFile) {
    return std::make_shared<FileSampleSource>(*line.sampleFile, clock);
  }
  return std::make_shared<SystemSampleSource>(executor, clock,
                                              readingsOfThisMachine(executor, clock));
}

/// Readings out of a file are nobody's real state.
AlertStateStore alertState(const AgentCommandLine& line, const std::shared_ptr<Clock>& clock) {
  if (line.sampleFile) {
    return AlertStateStore::memory();
  }
  return AlertStateStore::writeBehind(AlertStateStore::userDefaults(std::nullopt, "alertEngine"),
                                      clock);
}

/// Sends one alert now and one at every SIGUSR1.
asio::awaitable<void> emitAlerts(std::shared_ptr<RelayClient> client, std::shared_ptr<Clock> clock,
                                 Alert::Kind kind) {
  asio::signal_set signals(co_await asio::this_coro::executor, SIGUSR1);
  for (;;) {
    co_await client->emitForTesting(madeUpAlert(kind, epochMilliseconds(clock->unixNow())));
    co_await signals.async_wait(asio::use_awaitable);
  }
}

/// What runs as long as the program: one client of the relay at a time, with the pairing that
/// counts. Everything on the context's thread.
class Agent {
 public:
  Agent(const AgentCommandLine& line, RelayEndpoint endpoint)
      : line(line),
        relay(std::move(endpoint)),
        session(std::make_shared<BeastWebSocketSession>(
            clock, ServerTrust{.certificates = relay.trust, .fingerprint = relay.fingerprint})),
        alerts(alertState(line, clock)),
        keeper(std::make_shared<PairingKeeper>(
            context.get_executor(), clock, PairingStore::ofThisUser(),
            AccountLock::ofThisUser("orvik-agent"),
            [this](const PairingNews& news) { follow(news); },
            [this](const RetiredPairing& old, std::function<void()> told) {
              revoke(old, std::move(told));
            })) {}

  /// Until a signal ends it. Throws what it ended of.
  void run() {
    asio::signal_set signals(context, SIGINT, SIGTERM, SIGHUP);
    signals.async_wait([this](const boost::system::error_code& error, int /*signal*/) {
      if (!error) {
        asio::co_spawn(context, stopped(std::exchange(client, nullptr)),
                       [this](const std::exception_ptr&) { context.stop(); });
      }
    });
    if (line.newPairing) {
      keeper->replace();
    }
    keeper->start();
    context.run();
    if (failure) {
      std::rethrow_exception(failure);
    }
  }

 private:
  static asio::awaitable<void> stopped(std::shared_ptr<RelayClient> ending) {
    if (ending) {
      co_await ending->stop();
    }
  }

  void follow(const PairingNews& news) try {
    const bool isOther = shown != news.pairing;
    const bool isReady = news.waitsFor == PairingNews::WaitsFor::nothing && news.pairing;
    if (client && (isOther || !isReady)) {
      asio::co_spawn(context, stopped(std::exchange(client, nullptr)), asio::detached);
    }
    if (isOther) {
      shown = news.pairing;
      if (shown) {
        show(news);
      }
    }
    if (const auto told = description(news); told != lastTold) {
      lastTold = told;
      if (!told.empty()) {
        say(told);
      }
    }
    if (isReady && !client) {
      connect(*news.pairing);
    }
  } catch (...) {
    end(std::current_exception());
  }

  static std::string description(const PairingNews& news) {
    switch (news.waitsFor) {
      case PairingNews::WaitsFor::keyring:
        return "waiting for the keyring with the pairing: it is locked, or does not answer "
               "(--new-pairing makes another)";
      case PairingNews::WaitsFor::otherProgram:
        return (news.otherProgram.empty() ? "another program" : news.otherProgram) +
               " is connected for this computer: waiting until it ends";
      case PairingNews::WaitsFor::nothing:
        break;
    }
    if (!news.isLasting) {
      return "that the old phones are disconnected could not be stored: a restart may bring them "
             "back";
    }
    return news.isKept ? "" : "the pairing could not be stored: it lasts until this program ends";
  }

  void show(const PairingNews& news) const {
    // One that nobody sees either is of no use to any phone.
    if (!news.isKept && line.hidesLink && !line.linkFile) {
      throw std::runtime_error("the pairing could not be stored, and is not shown");
    }
    const SecretText link = news.pairing->link(line.name, relay.linkHost);
    if (!line.hidesLink) {
      showLink(link.text());
    }
    if (line.linkFile) {
      writeLinkFile(*line.linkFile, link.text());
    }
  }

  void connect(const Pairing& pairing) {
    client = std::make_shared<RelayClient>(
        pairing, relay.url, sampleSource(line, context.get_executor(), clock), alerts,
        [this, number = ++clients](const RelayState& state) { report(number, state); },
        RelayClient::Dependencies{context.get_executor(), clock, session});
    client->start();
    if (line.emitAlert) {
      asio::co_spawn(context, emitAlerts(client, clock, *line.emitAlert), asio::detached);
    }
  }

  void revoke(const RetiredPairing& old, std::function<void()> told) {
    std::make_shared<Revocation>(context.get_executor(), clock, session, relay.url, old,
                                 std::move(told))
        ->start();
  }

  void report(int number, const RelayState& state) {
    if (number != clients) {
      return;
    }
    if (!line.quiet) {
      stateNews.print(state);
    }
    if (std::holds_alternative<relayState::Rejected>(state)) {
      end(std::make_exception_ptr(
          std::domain_error("the relay refuses this pairing; --new-pairing makes another")));
    }
  }

  void end(std::exception_ptr reason) {
    failure = std::move(reason);
    context.stop();
  }

  const AgentCommandLine& line;
  const RelayEndpoint relay;
  const std::shared_ptr<Clock> clock = std::make_shared<SystemClock>();
  const std::shared_ptr<WebSocketSession> session;
  const AlertStateStore alerts;
  std::optional<Pairing> shown;
  StateNews stateNews;
  std::string lastTold;
  std::shared_ptr<RelayClient> client;
  /// Made so far; only the newest is listened to.
  int clients = 0;
  std::exception_ptr failure;
  asio::io_context context{1};
  const std::shared_ptr<PairingKeeper> keeper;
};

int run(const AgentCommandLine& line) {
  Agent(line, relayOf(line)).run();
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  forbidCoreDumps();
  // A thread that is left behind may use the library to the very end.
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  try {
    const auto line = AgentCommandLine::parse(argc, argv);
    return line ? run(*line) : EXIT_SUCCESS;
  } catch (const std::invalid_argument& error) {
    return report(error, usageStatus);
  } catch (const std::domain_error& error) {
    return report(error, rejectedStatus);
  } catch (const std::exception& error) {
    return report(error, EXIT_FAILURE);
  }
}
