// Loads a relay, or what one compares it with, from this machine's loopback addresses and says what
// that costs. Whoever runs a relay may run this beside it:
//
//   relay_load idle -- orvik-relay
//   relay_load forward --size 800 --size 4096 -- orvik-relay --threads 1
//   relay_load presence --connect 127.0.0.1:47443 --pid PID
//   relay_load reconnect --jitter 20 -- orvik-relay
//   relay_load forward --connect 127.0.0.1:47443 --connect 127.0.0.1:47453 --pid PID --pid PID
//   relay_load outage --seconds 60 --connect … --connect … --pid …
//
// Of several relays the sides of each pairing are at different ones, unless --together is given. An
// outage says when all are connected; then somebody else ends a relay and starts it again.
//
// A program after "--" is started on free ports of loopback and ended again; --connect measures one
// that runs. Certificates are not verified. Processor time is the server's own, from /proc; what
// its clients cost is not in it.

#include <CLI/CLI.hpp>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <iterator>
#include <random>
#include <thread>

#include "bench/load/ServerProcess.h"
#include "bench/load/Workers.h"
#include "core/values/JSONValue.h"

namespace {

using namespace orvik;
using namespace orvik::load;

constexpr std::int64_t second = 1'000'000'000;

struct Options {
  std::vector<std::string> connect;
  std::vector<pid_t> measured;
  std::vector<pid_t> engine;
  bool isTogether = false;
  std::string speech = "orvik";
  bool isPlain = false;
  bool introduces = false;
  bool asJSON = false;
  std::size_t processes = 0;
  std::size_t handshakes = 100;
  double patience = 60;
  std::vector<std::string> command;

  std::vector<std::size_t> connections;
  unsigned phones = 1;
  std::vector<std::size_t> sizes;
  double rate = 0;
  unsigned window = 1;
  double changes = 200;
  double seconds = 10;
  double jitter = 10;
};

/// One result: a line for people, or an object for programs.
class Line {
 public:
  Line(const Options& options, const std::string& mode) : asJSON(options.asJSON) {
    text = mode + (options.isPlain ? " plain" : " TLS");
    object.set("mode", mode);
    object.set("server", options.speech);
    object.set("tls", !options.isPlain);
  }
  /// `unit` is what stands after the figure.
  void add(const char* name, double value, int decimals, const char* unit) {
    char figure[48];
    std::snprintf(figure, sizeof figure, "%.*f", decimals, value);
    text += (isFirst ? ": " : ", ") + std::string(figure) + " " + unit;
    isFirst = false;
    object.set(name, value);
  }
  void add(const char* name, std::size_t value, const char* unit) {
    add(name, static_cast<double>(value), 0, unit);
  }
  void add(const Report& report) {
    add("refused", report.refused, "refused");
    add("lost", report.lost, "lost");
    if (report.trouble.front() != '\0') {
      text += ", the first: " + std::string(report.trouble.data());
      object.set("trouble", std::string(report.trouble.data()));
    }
  }
  ~Line() {
    std::printf("%s\n", asJSON ? JSONValue(object).text().c_str() : text.c_str());
    std::fflush(stdout);
  }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

 private:
  bool asJSON;
  bool isFirst = true;
  std::string text;
  JSONObject object;
};

void declare(CLI::App& app, Options& options) {
  app.require_subcommand(1);
  app.fallthrough();
  app.add_option("--connect", options.connect,
                 "Server that runs already: 127.0.0.1:PORT or unix:PATH; may be repeated");
  app.add_option("--pid", options.measured, "Its process, to measure it")->needs("--connect");
  app.add_option("--engine", options.engine, "Process whose use of the processor is said apart")
      ->needs("--connect");
  app.add_flag("--together", options.isTogether,
               "Of several servers, a Mac and its phones are at the same");
  app.add_option("--speak", options.speech, "What the server speaks")
      ->check(CLI::IsMember({"orvik", "bare", "nats", "mqtt"}))
      ->capture_default_str();
  app.add_flag("--plain", options.isPlain, "Without TLS");
  app.add_flag("--proxy", options.introduces,
               "Begin every connection with the PROXY protocol, as a terminator does");
  app.add_flag("--json", options.asJSON, "One JSON object for each result");
  app.add_option("--processes", options.processes,
                 "Processes that share the load (default: 2, more where descriptors run out)");
  app.add_option("--handshakes", options.handshakes, "Connections that are being made at a time")
      ->check(CLI::Range(1, 20'000))
      ->capture_default_str();
  app.add_option("--phones", options.phones, "Phones of each Mac")
      ->check(CLI::Range(1, 16))
      ->capture_default_str();
  app.add_option("--patience", options.patience, "Seconds without progress before it gives up")
      ->capture_default_str();
  app.footer("After --: the server to start, and its arguments");
  const auto needConnections = [&options](CLI::App* mode, const char* words) {
    mode->add_option("--connections", options.connections, words)
        ->delimiter(',')
        ->check(CLI::Range(2, 1'000'000));
  };
  const auto needSizes = [&options](CLI::App* mode) {
    mode->add_option("--size", options.sizes, "Bytes of an envelope; may be repeated")
        ->delimiter(',')
        ->check(CLI::Range(80, 1'000'000));
  };

  CLI::App* const idle =
      app.add_subcommand("idle", "Memory of connections on which little happens");
  needConnections(idle, "How many, one after the other (default: 1000,5000,10000,19000)");
  needSizes(idle);

  CLI::App* const forward = app.add_subcommand("forward", "Envelopes from Macs to phones");
  needConnections(forward, "Connections of Macs and phones together (default: 400)");
  needSizes(forward);
  forward
      ->add_option("--rate", options.rate,
                   "Envelopes a second of each Mac; 0 sends the next when the last has arrived")
      ->capture_default_str();
  forward->add_option("--window", options.window, "Envelopes of one Mac on their way at a time")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  forward->add_option("--seconds", options.seconds, "How long")->capture_default_str();

  CLI::App* const presence =
      app.add_subcommand("presence", "Phones that come and go while envelopes pass");
  needConnections(presence, "Connections (default: 19000)");
  needSizes(presence);
  presence->add_option("--rate", options.rate, "Envelopes a second of all Macs (default: 2000)");
  presence->add_option("--changes", options.changes, "Changes of presence a second")
      ->capture_default_str();
  presence->add_option("--seconds", options.seconds, "How long")->capture_default_str();

  CLI::App* const reconnect = app.add_subcommand("reconnect", "All are cut and come back");
  needConnections(reconnect, "Connections (default: 19000)");
  reconnect->add_option("--jitter", options.jitter, "Seconds within which they come back")
      ->capture_default_str();

  CLI::App* const outage = app.add_subcommand("outage", "What becomes of them when a relay ends");
  needConnections(outage, "Connections (default: 19000)");
  outage->add_option("--seconds", options.seconds, "How long it is watched")->capture_default_str();
}

/// The servers, and all that connects to them.
class Run {
 public:
  Run(const Options& options, std::size_t connections, std::size_t size)
      : options(options),
        servers(serversFor(options)),
        atRest(use()),
        workers(planFor(options, servers, connections, size), processesFor(options, connections)) {}

  Report connect(std::size_t connections) {
    Command command{Command::Kind::connect};
    command.pairings = connections / (1 + options.phones);
    command.patience = seconds(options.patience);
    const Report report = workers.carryOut(command);
    whole = whole && report.accepted == command.pairings * (1 + options.phones);
    return report;
  }
  Report run(double rate, double changes, double lasting) {
    Command command{Command::Kind::run};
    command.begin = now() + second / 5;
    command.end = command.begin + seconds(lasting);
    command.rate = rate;
    command.window = options.window;
    command.presenceRate = changes;
    Report report = workers.carryOut(command);
    // Not all may have been taken at the end.
    whole = whole && report.lost == 0 && report.delivered > 0;
    return report;
  }
  Report cut() {
    Command command{Command::Kind::cut};
    command.jitter = seconds(options.jitter);
    command.patience = seconds(options.patience + options.jitter);
    return workers.carryOut(command);
  }

  Report outage() {
    Command command{Command::Kind::outage};
    command.end = now() + seconds(options.seconds);
    return workers.carryOut(command);
  }

  [[nodiscard]] bool isMeasured() const {
    return !options.measured.empty() || options.connect.empty();
  }
  /// Of all servers together.
  [[nodiscard]] ServerProcess::Use use() const {
    ServerProcess::Use sum;
    for (const ServerProcess& server : servers) {
      add(sum, server.use());
    }
    return sum;
  }
  [[nodiscard]] ServerProcess::Use engineUse() const {
    ServerProcess::Use sum;
    for (const pid_t process : options.engine) {
      add(sum, ServerProcess(process, {}).use());
    }
    return sum;
  }
  /// Before the first connection.
  [[nodiscard]] const ServerProcess::Use& idle() const { return atRest; }
  /// Whether all that was asked for has happened.
  [[nodiscard]] bool isWhole() const { return whole; }

 private:
  static void add(ServerProcess::Use& sum, const ServerProcess::Use& part) {
    sum.user += part.user;
    sum.system += part.system;
    sum.residentBytes += part.residentBytes;
  }
  static std::int64_t seconds(double count) {
    return static_cast<std::int64_t>(count * static_cast<double>(second));
  }
  static std::vector<ServerProcess> serversFor(const Options& options) {
    std::vector<ServerProcess> servers;
    if (options.connect.empty()) {
      servers.push_back(
          ServerProcess::start(options.command, !options.isPlain, options.speech == "orvik"));
    }
    for (std::size_t at = 0; at < options.connect.size(); ++at) {
      const auto target = Target::read(options.connect[at]);
      if (!target) {
        throw std::runtime_error("--connect: \"" + options.connect[at] +
                                 "\" is neither 127.0.0.1:PORT nor unix:PATH");
      }
      servers.emplace_back(at < options.measured.size() ? options.measured[at] : 0, *target);
    }
    return servers;
  }
  static FleetPlan planFor(const Options& options, const std::vector<ServerProcess>& servers,
                           std::size_t connections, std::size_t size) {
    FleetPlan plan;
    std::ranges::transform(servers, std::back_inserter(plan.targets), &ServerProcess::target);
    plan.isTogether = options.isTogether;
    plan.speech = *speechNamed(options.speech);
    plan.usesTLS = !options.isPlain;
    plan.introduces = options.introduces;
    plan.phones = options.phones;
    plan.run = (static_cast<std::uint64_t>(std::random_device{}()) << 32) | std::random_device{}();
    plan.pairings = std::max<std::size_t>(1, connections / (1 + options.phones));
    plan.envelopeSize = size;
    plan.handshakes =
        std::max<std::size_t>(1, options.handshakes / processesFor(options, connections));
    return plan;
  }
  static std::size_t processesFor(const Options& options, std::size_t connections) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    constexpr std::size_t others = 64;
    const std::size_t room = std::max<std::size_t>(limit.rlim_cur, 2 * others) - others;
    const std::size_t fewest = (connections + room - 1) / room;
    const std::size_t wanted = options.processes == 0 ? 2 : options.processes;
    return std::min(std::max(wanted, fewest),
                    std::max<std::size_t>(1, connections / (1 + options.phones)));
  }

  const Options& options;
  std::vector<ServerProcess> servers;
  ServerProcess::Use atRest;
  Workers workers;
  bool whole = true;
};

double mebibytes(std::uint64_t bytes) { return static_cast<double>(bytes) / 1048576; }

bool idle(const Options& options) {
  std::vector<std::size_t> steps = options.connections;
  if (steps.empty()) {
    steps = {1000, 5000, 10'000, 19'000};
  }
  std::ranges::sort(steps);
  Run run(options, steps.back(), options.sizes.front());
  for (const std::size_t step : steps) {
    Report report = run.connect(step);
    // Each has been used once, so that what a message needs has been taken, and given back.
    const double pairings = static_cast<double>(report.accepted) / (1 + options.phones);
    const Report warm = run.run(std::max(1.0, pairings / 5), 0, 5);
    report.lost += warm.lost;
    std::this_thread::sleep_for(std::chrono::seconds(3));
    Line line(options, "idle");
    line.add("connections", report.accepted, "connections");
    if (run.isMeasured() && report.accepted > 0) {
      const std::uint64_t resident = run.use().residentBytes;
      const double each =
          (static_cast<double>(resident) - static_cast<double>(run.idle().residentBytes)) /
          static_cast<double>(report.accepted) / 1024;
      line.add("kibPerConnection", each, 1, "KiB for each");
      line.add("residentMiB", mebibytes(resident), 1, "MiB resident");
      line.add("beforeMiB", mebibytes(run.idle().residentBytes), 1, "before them");
    }
    line.add("acceptP99Ms", report.latency.quantile(0.99), 1, "ms p99 to be accepted");
    line.add(report);
  }
  return run.isWhole();
}

/// What passing on cost between two looks at the server.
void addCost(Line& line, const Report& report, const ServerProcess::Use& before,
             const ServerProcess::Use& after, double lasting) {
  const double user = after.user - before.user;
  const double system = after.system - before.system;
  const auto delivered = static_cast<double>(std::max<std::uint64_t>(1, report.delivered));
  line.add("microsecondsPerMessage", (user + system) * 1e6 / delivered, 2, "µs of processor each");
  line.add("userMicroseconds", user * 1e6 / delivered, 2, "of them outside the kernel");
  line.add("processorShare", 100 * (user + system) / lasting, 0, "% of a processor");
}

void addEngine(Line& line, const ServerProcess::Use& before, const ServerProcess::Use& after,
               const Options& options) {
  if (!options.engine.empty()) {
    line.add("engineShare",
             100 * (after.user + after.system - before.user - before.system) / options.seconds, 1,
             "% of a processor for the engine");
  }
}

bool forward(const Options& options) {
  const std::size_t connections = options.connections.empty() ? 400 : options.connections.back();
  bool isWhole = true;
  for (const std::size_t size : options.sizes) {
    Run run(options, connections, size);
    const Report joined = run.connect(connections);
    const double macs = static_cast<double>(joined.accepted) / (1 + options.phones);
    static_cast<void>(run.run(options.rate * macs, 0, 1));
    const ServerProcess::Use before = run.use();
    const ServerProcess::Use engineBefore = run.engineUse();
    const Report report = run.run(options.rate * macs, 0, options.seconds);
    const ServerProcess::Use after = run.use();
    const ServerProcess::Use engineAfter = run.engineUse();
    Line line(options, "forward");
    line.add("bytes", size, "B");
    line.add("connections", joined.accepted, "connections");
    line.add("messagesPerSecond", static_cast<double>(report.delivered) / options.seconds, 0,
             "messages/s");
    if (run.isMeasured()) {
      addCost(line, report, before, after, options.seconds);
    }
    addEngine(line, engineBefore, engineAfter, options);
    line.add("p50Ms", report.latency.quantile(0.5), 2, "ms p50");
    line.add("p99Ms", report.latency.quantile(0.99), 2, "ms p99");
    line.add("missing", report.sent * options.phones - report.delivered, "missing");
    Report all = joined;
    all.lost += report.lost;
    if (all.trouble.front() == '\0') {
      all.trouble = report.trouble;
    }
    line.add(all);
    isWhole = isWhole && run.isWhole();
  }
  return isWhole;
}

bool presence(const Options& options) {
  const std::size_t connections = options.connections.empty() ? 19'000 : options.connections.back();
  Run run(options, connections, options.sizes.front());
  const Report joined = run.connect(connections);
  const double rate = options.rate == 0 ? 2000 : options.rate;
  const ServerProcess::Use before = run.use();
  const ServerProcess::Use engineBefore = run.engineUse();
  const Report report = run.run(rate, options.changes, options.seconds);
  const ServerProcess::Use after = run.use();
  const ServerProcess::Use engineAfter = run.engineUse();
  Line line(options, "presence");
  line.add("connections", joined.accepted, "connections");
  line.add("messagesPerSecond", static_cast<double>(report.delivered) / options.seconds, 0,
           "envelopes/s");
  line.add("p50Ms", report.latency.quantile(0.5), 2, "ms p50");
  line.add("p99Ms", report.latency.quantile(0.99), 2, "ms p99");
  line.add("changesPerSecond", static_cast<double>(report.presences) / options.seconds, 0,
           "changes/s");
  line.add("changeP50Ms", report.presenceLatency.quantile(0.5), 2, "ms p50");
  line.add("changeP99Ms", report.presenceLatency.quantile(0.99), 2, "ms p99");
  if (run.isMeasured()) {
    addCost(line, report, before, after, options.seconds);
  }
  addEngine(line, engineBefore, engineAfter, options);
  line.add("missing", report.sent * options.phones - report.delivered, "missing");
  line.add("joinRefused", joined.refused, "refused while they came");
  line.add(report);
  return run.isWhole();
}

bool reconnect(const Options& options) {
  const std::size_t connections = options.connections.empty() ? 19'000 : options.connections.back();
  Run run(options, connections, options.sizes.front());
  const Report joined = run.connect(connections);
  const std::int64_t begin = now();
  const ServerProcess::Use before = run.use();
  const Report report = run.cut();
  const ServerProcess::Use after = run.use();
  Line line(options, "reconnect");
  line.add("connections", joined.accepted, "cut");
  line.add("back", report.accepted, "back");
  line.add("jitterSeconds", options.jitter, 0, "s of jitter");
  line.add("seconds", static_cast<double>(report.lastAccepted - begin) / second, 2,
           "s until the last");
  line.add("acceptP50Ms", report.latency.quantile(0.5), 1, "ms p50 to be accepted");
  line.add("acceptP99Ms", report.latency.quantile(0.99), 1, "ms p99");
  if (run.isMeasured()) {
    line.add("processorSeconds", after.user + after.system - before.user - before.system, 2,
             "s of processor");
    line.add("residentMiB", mebibytes(after.residentBytes), 1, "MiB resident");
  }
  line.add("joinRefused", joined.refused, "refused while they came");
  line.add(report);
  return run.isWhole() && report.accepted == joined.accepted && report.refused == 0;
}

bool outage(const Options& options) {
  const std::size_t connections = options.connections.empty() ? 19'000 : options.connections.back();
  Run run(options, connections, options.sizes.front());
  const Report joined = run.connect(connections);
  {
    Line line(options, "connected");
    line.add("connections", joined.accepted, "connections");
    if (run.isMeasured()) {
      line.add("residentMiB", mebibytes(run.use().residentBytes), 1, "MiB resident");
    }
    line.add(joined);
  }
  const Report report = run.outage();
  const auto after = [&report](std::int64_t time) {
    return static_cast<double>(time - report.firstLost) / second;
  };
  Line line(options, "outage");
  line.add("back", report.accepted, "connected at the end");
  line.add("informed", report.informed, "Macs that know their phones");
  line.add("told", report.presences, "Macs told of a phone that is gone");
  line.add("toldP99Seconds", report.presenceLatency.quantile(0.99) / 1000, 2, "s p99 until then");
  line.add("lastAccepted", after(report.lastAccepted), 2, "s until the last was back");
  line.add("lastPresence", after(report.lastPresence), 2, "s until the last change was told");
  line.add(report);
  return report.accepted == joined.accepted &&
         report.informed == joined.accepted / (1 + options.phones);
}

void raiseFileLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

int fail(const std::string& what) {
  std::fprintf(stderr, "relay_load: %s\n", what.c_str());
  return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  CLI::App app("Loads a relay from this machine's loopback addresses and says what it costs.");
  Options options;
  try {
    declare(app, options);
    char** const end = std::find(argv, argv + argc, std::string_view("--"));
    options.command.assign(std::min(end + 1, argv + argc), argv + argc);
    app.parse(static_cast<int>(end - argv), argv);
    if (options.connect.empty() == options.command.empty()) {
      throw std::runtime_error("either --connect, or a program after --");
    }
    if (options.sizes.empty()) {
      options.sizes = {800};
    }
    raiseFileLimit();
    const std::string mode = app.get_subcommands().front()->get_name();
    const bool isWhole = mode == "idle"       ? idle(options)
                         : mode == "forward"  ? forward(options)
                         : mode == "presence" ? presence(options)
                         : mode == "outage"   ? outage(options)
                                              : reconnect(options);
    return isWhole ? EXIT_SUCCESS : fail("not everything went as it should");
  } catch (const CLI::ParseError& error) {
    return error.get_exit_code() == 0 ? app.exit(error) : fail(error.what());
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}
