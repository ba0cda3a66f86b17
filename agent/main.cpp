#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "agent/AgentCommandLine.h"
#include "agent/FileSampleSource.h"
#include "agent/MadeUpAlert.h"
#include "agent/TerminalQR.h"
#include "core/client/RelayClient.h"
#include "core/connection/BeastWebSocket.h"
#include "core/pairing/PairingStore.h"
#include "core/sampling/SystemSampleSource.h"
#include "core/sampling/ThisMachine.h"
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

/// The pairing of this computer, which further runs will find again where it can be stored.
Pairing lastingPairing(const AgentCommandLine& line) {
  const auto store = openSecretStore();
  auto stored = line.newPairing ? std::nullopt : PairingStore::find(*store);
  if (stored) {
    return *std::move(stored);
  }
  Pairing pairing = Pairing::generate();
  if (!PairingStore::save(*store, pairing)) {
    // One that nobody sees either is of no use to any phone.
    if (line.hidesLink && !line.linkFile) {
      throw std::runtime_error("the pairing could not be stored, and is not shown");
    }
    say("the pairing could not be stored: it lasts until this program ends");
  }
  return pairing;
}

void writeLinkFile(const std::filesystem::path& file, const std::string& link) {
  FileOperations operations;
  if (!replaceFile(file, SecretText(link + "\n").text(), operations)) {
    throw std::runtime_error("the link cannot be written to " + file.string());
  }
}

void showLink(const std::string& link) {
  // A code in a log would only be noise, and one in characters that are not there no code.
  const bool isDrawn = isTextScreen(STDOUT_FILENO) && isLocaleUTF8();
  const auto screen = isDrawn ? std::optional(screenSize(STDOUT_FILENO)) : std::nullopt;
  std::fputs(SecretText(pairingText(link, screen)).text().c_str(), stdout);
  std::fflush(stdout);
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

int run(const AgentCommandLine& line) {
  const auto clock = std::make_shared<SystemClock>();
  const auto session = std::make_shared<BeastWebSocketSession>(clock, line.trust);
  const Pairing pairing = lastingPairing(line);
  const SecretText link = pairing.link(line.name);
  if (!line.hidesLink) {
    showLink(link.text());
  }
  if (line.linkFile) {
    writeLinkFile(*line.linkFile, link.text());
  }

  asio::io_context context(1);
  asio::signal_set signals(context, SIGINT, SIGTERM, SIGHUP);
  bool isRejected = false;
  StateNews news;
  const auto client = std::make_shared<RelayClient>(
      pairing, line.relay, sampleSource(line, context.get_executor(), clock),
      alertState(line, clock),
      [&](const RelayState& state) {
        if (!line.quiet) {
          news.print(state);
        }
        if (std::holds_alternative<relayState::Rejected>(state)) {
          isRejected = true;
          context.stop();
        }
      },
      RelayClient::Dependencies{context.get_executor(), clock, session});
  signals.async_wait([&](const boost::system::error_code& error, int /*signal*/) {
    if (!error) {
      asio::co_spawn(context, client->stop(),
                     [&context](const std::exception_ptr&) { context.stop(); });
    }
  });
  client->start();
  if (line.emitAlert) {
    asio::co_spawn(context, emitAlerts(client, clock, *line.emitAlert), asio::detached);
  }
  context.run();
  if (isRejected) {
    throw std::domain_error("the relay refuses this pairing; --new-pairing makes another");
  }
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
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
