#include <boost/asio/co_spawn.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <span>

#include "core/async/Timeout.h"
#include "core/connection/BeastWebSocket.h"
#include "core/system/CoreDump.h"
#include "phone/terminal/DisplayText.h"
#include "phone/terminal/LinePrinter.h"
#include "phone/terminal/LiveViewer.h"
#include "phone/terminal/PairingLink.h"
#include "phone/terminal/PhoneClient.h"
#include "phone/terminal/PhoneCommandLine.h"
#include "phone/terminal/Terminal.h"

namespace orvik {

namespace {

constexpr int usageStatus = 2;
constexpr int rejectedStatus = 3;
/// Bytes: what a relay lets a computer send. A sample with the machine's icon or a day's history
/// has some 50 KiB.
constexpr std::size_t largestEnvelope = 1024UL * 1024;

/// The live page and the terminal that it is on; neither when lines are printed instead.
struct Screen {
  Terminal terminal{STDOUT_FILENO};
  std::optional<LiveViewer> viewer;

  void show() {
    if (viewer) {
      terminal.silence();
      viewer->paint();
    }
  }
  void leave() {
    if (viewer) {
      viewer->leave();
      terminal.echo();
    }
  }
};

/// A descriptor that was closed when the program started would be given to the next socket, and
/// what is printed would go out on the network. Open for reading only, it fails on writing.
void fillStandardDescriptors() {
  for (;;) {
    const int descriptor = open("/dev/null", O_RDONLY);
    if (descriptor > STDERR_FILENO || descriptor < 0) {
      close(descriptor);
      return;
    }
  }
}

/// A signal that whoever started the program had it ignore (nohup) stays ignored.
void addUnlessIgnored(asio::signal_set& signals, int signal) {
  struct sigaction current {};
  if (sigaction(signal, nullptr, &current) == 0 && current.sa_handler != SIG_IGN) {
    signals.add(signal);
  }
}

/// Ends with the first signal that asks the program to end; until then the live page follows the
/// size of its window, stopping and continuing.
asio::awaitable<void> untilAskedToEnd(Screen& screen) {
  asio::signal_set signals(co_await asio::this_coro::executor);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    addUnlessIgnored(signals, signal);
  }
  if (screen.viewer) {
    signals.add(SIGWINCH);
    signals.add(SIGCONT);
    addUnlessIgnored(signals, SIGTSTP);
  }
  for (;;) {
    const int signal = co_await signals.async_wait(asio::use_awaitable);
    if (signal == SIGWINCH || signal == SIGCONT) {
      screen.show();
    } else if (signal == SIGTSTP) {
      screen.leave();
      // Without a handler the signal does what it is for: it stops the program, here.
      signals.remove(SIGTSTP);
      std::raise(SIGTSTP);
      signals.add(SIGTSTP);
    } else {
      co_return;
    }
  }
}

/// Ends when q has been typed on the live page; never without one.
asio::awaitable<void> untilQuit(Screen& screen, std::shared_ptr<Clock> clock) {
  constexpr std::chrono::seconds pause{1};
  const int keys = screen.viewer ? screen.terminal.openKeyboard() : -1;
  if (keys < 0) {
    for (;;) {
      co_await clock->sleepFor(std::chrono::hours(24));
    }
  }
  asio::posix::stream_descriptor keyboard(co_await asio::this_coro::executor, keys);
  for (;;) {
    // A terminal that has gone, or cannot be waited for, has no keys either.
    boost::system::error_code error;
    auto token = asio::redirect_error(asio::use_awaitable, error);
    co_await keyboard.async_wait(asio::posix::stream_descriptor::wait_read, token);
    char key = 0;
    // What is typed while this is in the background is for another program.
    const bool isOurs = screen.terminal.hasKeyboard();
    if (isOurs && read(keys, &key, 1) == 1 && (key == 'q' || key == 'Q')) {
      co_return;
    }
    if (key == 0) {
      co_await clock->sleepFor(pause);
    }
  }
}

asio::awaitable<PhoneClient::End> operate(PhoneClient& client, Screen& screen,
                                          std::shared_ptr<Clock> clock) {
  using namespace asio::experimental::awaitable_operators;
  screen.show();
  const auto first = co_await (client.run() || failureOf(untilAskedToEnd(screen)) ||
                               failureOf(untilQuit(screen, std::move(clock))));
  screen.leave();
  co_await client.stop();
  const auto* end = std::get_if<PhoneClient::End>(&first);
  co_return end == nullptr ? PhoneClient::End::finished : *end;
}

/// The links among the arguments, of which the first is given: whoever lists the processes does
/// not see them from here on. In its place stands what asks for the standard input.
SecretText takeLinks(std::span<char*> arguments) {
  std::optional<SecretText> first;
  for (char* const argument : arguments) {
    const std::string_view text(argument);
    if (text.find('#') == std::string_view::npos) {
      continue;
    }
    if (!first) {
      first = SecretText{text};
    }
    wipe(argument, text.size());
    *argument = '-';
  }
  return first ? *std::move(first) : SecretText();
}

/// Byte by byte: a buffer of the library would keep the link.
SecretText firstInputLine() {
  std::string line;
  line.reserve(PairingLink::maximumLength + 1);
  while (line.size() <= PairingLink::maximumLength) {
    char c = 0;
    const ssize_t count = read(STDIN_FILENO, &c, 1);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0 || c == '\n') {
      break;
    }
    line.push_back(c);
  }
  return SecretText(std::move(line));
}

bool isColourWanted() {
  const char* noColour = std::getenv("NO_COLOR");
  return noColour == nullptr || *noColour == '\0';
}

PairingLink linkOf(const PhoneCommandLine& line, SecretText given) {
  if (line.link != "-") {
    return PairingLink::read(line.link);
  }
  const SecretText text = given.text().empty() ? firstInputLine() : std::move(given);
  return PairingLink::read(text.text());
}

int view(const PhoneCommandLine& line, SecretText given) {
  const PairingLink link = linkOf(line, std::move(given));
  const auto clock = std::make_shared<SystemClock>();
  const auto session =
      std::make_shared<BeastWebSocketSession>(clock, ServerTrust{line.trust}, largestEnvelope);
  const PayloadLimit limit(line.count);

  const auto characters = isLocaleUTF8() ? Output::Characters::all : Output::Characters::ascii;
  Output out(STDOUT_FILENO, line.json ? Output::Characters::all : characters);
  Output notes(STDERR_FILENO, characters);
  using Format = LinePrinter::Format;
  LinePrinter printer(line.json ? Format::json : Format::summary, out, notes, limit);
  Screen screen;
  if (!line.json && screen.terminal.canRepaint()) {
    screen.viewer.emplace(
        link.name, LiveScreen(isColourWanted()), out, [&screen] { return screen.terminal.size(); },
        limit);
  }
  PhoneObserver& observer = screen.viewer ? static_cast<PhoneObserver&>(*screen.viewer) : printer;

  asio::io_context context(1);
  PhoneClient client(link.pairing, line.relay, session, clock, observer);
  std::exception_ptr failure;
  auto end = PhoneClient::End::finished;
  asio::co_spawn(context, operate(client, screen, clock),
                 [&](const std::exception_ptr& problem, PhoneClient::End result) {
                   failure = problem;
                   end = result;
                   // A closing handshake that the relay does not finish is not waited for.
                   context.stop();
                 });
  context.run();
  if (failure) {
    std::rethrow_exception(failure);
  }
  if (end == PhoneClient::End::rejected) {
    notes.write("orvik-phone: The pairing has been replaced: scan the new code.\n");
    return rejectedStatus;
  }
  return EXIT_SUCCESS;
}

int report(const std::exception& error, int status) {
  Output(STDERR_FILENO).write("orvik-phone: " + displayText(error.what()) + "\n");
  return status;
}

}  // namespace

}  // namespace orvik

int main(int argc, char** argv) {
  using namespace orvik;
  fillStandardDescriptors();
  forbidCoreDumps();
  std::signal(SIGPIPE, SIG_IGN);
  try {
    SecretText link = takeLinks(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
    const std::optional<PhoneCommandLine> line = PhoneCommandLine::parse(argc, argv);
    return line ? view(*line, std::move(link)) : EXIT_SUCCESS;
  } catch (const UsageError& error) {
    return report(error, usageStatus);
  } catch (const PairingLinkError& error) {
    return report(error, usageStatus);
  } catch (const std::exception& error) {
    return report(error, EXIT_FAILURE);
  }
}
