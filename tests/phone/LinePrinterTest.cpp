#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <utility>

#include "core/values/JSONReader.h"
#include "phone/LinePrinter.h"

namespace orvik {
namespace {

using Phase = ConnectionState::Phase;

/// A pipe whose reading end collects what was written.
class Pipe {
 public:
  Pipe() = default;
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    closeReader();
    close(ends[1]);
  }
  void closeReader() { close(std::exchange(ends[0], -1)); }
  [[nodiscard]] std::string read() const {
    // The marker keeps an empty pipe from blocking.
    EXPECT_EQ(::write(ends[1], "$", 1), 1);
    std::array<char, 4096> buffer{};
    const ssize_t size = ::read(ends[0], buffer.data(), buffer.size());
    return {buffer.data(), static_cast<std::size_t>(size - 1)};
  }

 private:
  static std::array<int, 2> opened() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    return ends;
  }
  std::array<int, 2> ends = opened();

 public:
  Output output{ends[1]};
};

Payload payload(Envelope::Kind kind, const char* text) { return {kind, text, readJSON(text)}; }

TEST(LinePrinter, PrintsPayloadsAndNothingElse) {
  Pipe out;
  Pipe notes;
  LinePrinter printer(LinePrinter::Format::json, out.output, notes.output, PayloadLimit(2));
  EXPECT_TRUE(printer.opened(payload(Envelope::Kind::control, "{}")));
  EXPECT_TRUE(printer.opened(payload(Envelope::Kind::sample, "{\"b\":1.50,\r\n \"a\":\"é\"}")));
  EXPECT_FALSE(printer.opened(payload(Envelope::Kind::alert, "{}"))) << "two were wanted";
  EXPECT_EQ(out.read(), "{\"b\":1.50,   \"a\":\"é\"}\n{}\n");

  const std::array timeline = {
      std::pair(ConnectionState{Phase::connecting, {}, {}}, ""),
      std::pair(ConnectionState{Phase::waiting, std::chrono::seconds(1), "no route"},
                "orvik-phone: offline, next attempt after 1 s (no route)\n"),
      std::pair(ConnectionState{Phase::waiting, std::chrono::seconds(2), "no route"}, ""),
      std::pair(ConnectionState{Phase::macOffline, {}, {}}, "orvik-phone: computer offline\n"),
      std::pair(ConnectionState{Phase::macOffline, {}, {}}, ""),
      std::pair(ConnectionState{Phase::live, {}, {}}, ""),
      std::pair(ConnectionState{Phase::macOffline, {}, {}}, "orvik-phone: computer offline\n")};
  for (const auto& [state, note] : timeline) {
    printer.connectionChanged(state);
    EXPECT_EQ(notes.read(), note);
  }
  printer.unreadable();
  printer.unreadable();
  EXPECT_EQ(notes.read(),
            "orvik-phone: a message could not be opened with this link and was skipped\n");
  EXPECT_EQ(out.read(), "");
}

TEST(LinePrinter, EndsWhenNobodyReadsItsSummaries) {
  std::signal(SIGPIPE, SIG_IGN);
  Pipe out;
  Pipe notes;
  LinePrinter printer(LinePrinter::Format::summary, out.output, notes.output,
                      PayloadLimit(std::nullopt));
  printer.connectionChanged({Phase::live, {}, {}});
  const Payload sample = payload(Envelope::Kind::sample, R"({"ts":"08:00:00","cpu_pct":7})");
  EXPECT_TRUE(printer.opened(sample));
  EXPECT_TRUE(printer.opened(payload(Envelope::Kind::alert, "{}")));
  EXPECT_EQ(out.read(), "08:00:00  live  CPU 7.0 %\n");
  out.closeReader();
  EXPECT_FALSE(printer.opened(sample));
}

}  // namespace
}  // namespace orvik
