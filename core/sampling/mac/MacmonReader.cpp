#include "core/sampling/mac/MacmonReader.h"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/strand.hpp>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <system_error>
#include <utility>

#include "core/async/Notifier.h"
#include "core/async/RunOn.h"
#include "core/values/JSONReader.h"

namespace orvik {

namespace {

using namespace std::chrono_literals;

/// A line that is older says nothing about now.
constexpr Clock::Duration longestAge = 5s;
/// After so long without a question the tool is not needed.
constexpr Clock::Duration idleLimit = 60s;
/// How long the tool takes from its start to its first line, generously.
constexpr Clock::Duration startTime = 3s;
constexpr Clock::Duration pollInterval = 100ms;
/// Between two looks at whether there is something to do, and at least between two starts of a
/// tool that ends by itself: one that fails at once must not be started again and again.
constexpr Clock::Duration loopInterval = 2s;
/// A tool that should print each second and has not for so long is stuck.
constexpr Clock::Duration longestSilence = 10s;
/// What a tool gets to end by itself once asked.
constexpr Clock::Duration politeWait = 1s;
constexpr CommandRunner::Seconds singleReadingLimit = 8s;

bool isExecutableFile(const MacmonReader::Path& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error) && access(path.c_str(), X_OK) == 0;
}

bool isJSONObject(std::string_view line) {
  return readJSONOrNull(line).get<UntypedValue::Map>() != nullptr;
}

/// The last line that is a reading: the tool may have printed something else before.
std::optional<std::string> lastObject(std::string_view output) {
  while (!output.empty()) {
    const std::size_t lineBreak = output.find_last_of('\n');
    const std::size_t begin = lineBreak == std::string_view::npos ? 0 : lineBreak + 1;
    if (isJSONObject(output.substr(begin))) {
      return std::string(output.substr(begin));
    }
    output = output.substr(0, begin == 0 ? 0 : begin - 1);
  }
  return std::nullopt;
}

/// The next line; nothing when the output ends or stays silent for too long.
asio::awaitable<std::optional<std::string>> nextLine(LineProcess& tool, Clock& clock) {
  using namespace asio::experimental::awaitable_operators;
  auto winner = co_await (tool.nextLine() || clock.sleepFor(longestSilence));
  auto* line = std::get_if<0>(&winner);
  co_return line == nullptr ? std::nullopt : std::move(*line);
}

asio::awaitable<void> untilOutputEnds(LineProcess& tool) {
  for (bool hasMore = true; hasMore;) {
    const std::optional<std::string> line = co_await tool.nextLine();
    hasMore = line.has_value();
  }
}

/// Has the tool end. One that does not when asked is killed by its destruction.
asio::awaitable<void> endPolitely(LineProcess& tool, Clock& clock) {
  using namespace asio::experimental::awaitable_operators;
  tool.terminate();
  co_await (untilOutputEnds(tool) || clock.sleepFor(politeWait));
}

}  // namespace

/// Lives until the last coroutine that uses it has ended. All but what is said to be for any thread
/// is for the strand.
class MacmonReader::State : public std::enable_shared_from_this<State> {
 public:
  State(std::vector<Path> places, Dependencies dependencies)
      : strand(asio::make_strand(dependencies.executor)),
        places(std::move(places)),
        clock(std::move(dependencies.clock)),
        runner(std::move(dependencies.runner)),
        launch(std::move(dependencies.launch)),
        asked(strand) {}

  /// For any thread.
  [[nodiscard]] std::optional<Path> locate() const {
    const auto place = std::ranges::find_if(places, isExecutableFile);
    return place == places.end() ? std::nullopt : std::optional(*place);
  }

  /// The line of a tool that is kept running, and keeps it so. Spares the usual case the way to the
  /// strand. For any thread.
  [[nodiscard]] std::optional<std::string> askAgain() {
    const std::lock_guard guard(lock);
    const Instant now = clock->now();
    if (now - latestAt > longestAge || now - lastAsked >= idleLimit) {
      return std::nullopt;
    }
    lastAsked = now;
    return latestLine;
  }

  /// For any thread.
  [[nodiscard]] std::optional<std::string> freshLine() const {
    const std::lock_guard guard(lock);
    return clock->now() - latestAt <= longestAge ? latestLine : std::nullopt;
  }

  static asio::awaitable<std::optional<std::string>> latest(std::shared_ptr<State> self) {
    const Instant begun = self->clock->now();
    const bool wasIdle = self->isIdle();
    self->ask(begun);
    if (!self->startLoop() && wasIdle && self->locate()) {
      self->startedAt = begun;
      self->asked.notify();
    }
    const auto isStarting = [&] {
      const Instant now = self->clock->now();
      return now - self->startedAt < startTime && now - begun < startTime;
    };
    while (!self->freshLine() && isStarting()) {
      co_await self->clock->sleepFor(pollInterval);
    }
    co_return self->freshLine();
  }

  static asio::awaitable<std::optional<std::string>> reading(std::shared_ptr<State> self) {
    const std::optional<Path> tool = self->locate();
    if (!tool) {
      co_return std::nullopt;
    }
    std::vector<std::string> arguments{"pipe", "-s", "1", "-i", "500"};
    std::string output =
        co_await self->runner->run(tool->string(), std::move(arguments), singleReadingLimit);
    co_return lastObject(output);
  }

  void close() {
    isClosed = true;
    cancellation.emit(asio::cancellation_type::terminal);
  }

  const asio::strand<asio::any_io_executor> strand;

 private:
  /// False when it has been started before.
  bool startLoop() {
    if (isRunning || isClosed) {
      return false;
    }
    isRunning = true;
    startedAt = clock->now();
    const auto self = shared_from_this();
    asio::co_spawn(
        strand, run(self),
        asio::bind_cancellation_slot(
            cancellation.slot(), [self](const std::exception_ptr&) { self->isRunning = false; }));
    return true;
  }

  static asio::awaitable<void> run(std::shared_ptr<State> self) {
    const std::function<bool()> isNeeded = [state = self.get()] { return !state->isIdle(); };
    for (;;) {
      co_await self->asked.until(isNeeded);
      const Instant begun = self->clock->now();
      if (const std::optional<Path> tool = self->locate()) {
        co_await self->runOnce(tool->string());
      }
      co_await self->clock->sleepUntil(begun + loopInterval);
    }
  }

  asio::awaitable<void> runOnce(std::string tool) {
    const std::vector<std::string> arguments{"pipe", "-i", "1000"};
    const std::unique_ptr<LineProcess> process = launch(strand, tool, arguments);
    if (!process) {
      co_return;
    }
    // A tool that gave nothing the last time is not waited for again.
    if (std::exchange(hasWorked, false)) {
      startedAt = clock->now();
    }
    for (bool goesOn = true; goesOn;) {
      std::optional<std::string> line = co_await nextLine(*process, *clock);
      goesOn = line && !isIdle();
      if (line && isJSONObject(*line)) {
        const std::lock_guard guard(lock);
        latestLine = std::move(line);
        latestAt = clock->now();
        hasWorked = true;
      }
    }
    co_await endPolitely(*process, *clock);
  }

  void ask(Instant now) {
    const std::lock_guard guard(lock);
    lastAsked = now;
  }

  [[nodiscard]] bool isIdle() const {
    const std::lock_guard guard(lock);
    return clock->now() - lastAsked >= idleLimit;
  }

  const std::vector<Path> places;
  const std::shared_ptr<Clock> clock;
  const std::shared_ptr<CommandRunner> runner;
  const LineProcessLauncher launch;

  /// For the next three.
  mutable std::mutex lock;
  std::optional<std::string> latestLine;
  /// When it was received.
  Instant latestAt;
  Instant lastAsked;
  /// When the loop, or after that the tool, was started.
  Instant startedAt;
  /// The tool's last run gave a reading.
  bool hasWorked = false;
  /// Told when somebody asks after a rest.
  Notifier asked;
  bool isRunning = false;
  /// The reader is gone.
  bool isClosed = false;
  asio::cancellation_signal cancellation;
};

std::vector<MacmonReader::Path> MacmonReader::usualPlaces(
    const std::optional<Path>& bundleResources) {
  std::vector<Path> places{"/opt/homebrew/bin/macmon", "/usr/local/bin/macmon"};
  if (bundleResources) {
    places.insert(places.begin(), *bundleResources / "macmon");
  }
  return places;
}

MacmonReader::MacmonReader(std::vector<Path> places, Dependencies dependencies)
    : state(std::make_shared<State>(std::move(places), std::move(dependencies))) {}

MacmonReader::~MacmonReader() {
  asio::dispatch(state->strand, [state = state] { state->close(); });
}

std::optional<MacmonReader::Path> MacmonReader::locate() const { return state->locate(); }

asio::awaitable<std::optional<std::string>> MacmonReader::latest() {
  const auto kept = state;
  if (auto line = kept->askAgain()) {
    co_return line;
  }
  co_return co_await runOn(kept->strand, State::latest(kept));
}

asio::awaitable<std::optional<std::string>> MacmonReader::reading() {
  const auto kept = state;
  if (auto line = kept->freshLine()) {
    co_return line;
  }
  co_return co_await runOn(kept->strand, State::reading(kept));
}

}  // namespace orvik
