#include <fcntl.h>
#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <utility>

#include "core/system/FileDescriptor.h"
#include "core/values/JSONReader.h"
#include "phone/terminal/LinePrinter.h"
#include "tests/support/Corpus.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

using Phase = ConnectionState::Phase;

/// A file that is read as it grows.
class Paper {
 public:
  /// What was written since the last call.
  [[nodiscard]] std::string read() {
    return test::contentsOf(path).substr(std::exchange(size, std::filesystem::file_size(path)));
  }

 private:
  const test::TemporaryFolder folder;
  const std::filesystem::path path = folder.write("paper", "");
  const FileDescriptor file{open(path.c_str(), O_WRONLY | O_CLOEXEC)};
  std::size_t size = 0;

 public:
  Output output{file.get()};
};

Payload payload(Envelope::Kind kind, const char* text) { return {kind, text, readJSON(text)}; }

TEST(LinePrinter, PrintsPayloadsAndNothingElse) {
  Paper out;
  Paper notes;
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

TEST(LinePrinter, SaysAlertsInWordsAndOnce) {
  setenv("TZ", "UTC", 1);
  tzset();
  Paper out;
  Paper notes;
  LinePrinter printer(LinePrinter::Format::summary, out.output, notes.output, PayloadLimit(10));
  // The members of an alert, and what is said of it when it comes first.
  std::ifstream alerts(ORVIK_FIXTURES "/phone/alerts.txt");
  int count = 0;
  for (std::string members, words; std::getline(alerts, members); ++count) {
    std::getline(alerts, words);
    // One of the same kind and time is the same, whatever else it says.
    const std::string text =
        R"({"epoch_ms":180000000099)" + std::to_string(count) + R"(,"kind":)" + members;
    for (const bool isNew : {true, false}) {
      EXPECT_TRUE(printer.opened(
          payload(Envelope::Kind::alert, (text + (isNew ? "}" : R"(,"more":1})")).c_str())))
          << "10 are wanted";
      EXPECT_EQ(out.read(), !words.empty() && isNew ? "alert 08:00  " + words + "\n" : "") << text;
    }
  }
  EXPECT_EQ(count, 10);
}

TEST(LinePrinter, EndsWhenNobodyReadsItsSummaries) {
  Paper out;
  Paper notes;
  LinePrinter printer(LinePrinter::Format::summary, out.output, notes.output,
                      PayloadLimit(std::nullopt));
  printer.connectionChanged({Phase::live, {}, {}});
  const Payload sample = payload(Envelope::Kind::sample, R"({"ts":"08:00:00","cpu_pct":7})");
  EXPECT_TRUE(printer.opened(sample));
  EXPECT_TRUE(printer.opened(payload(Envelope::Kind::alert, "{}")));
  EXPECT_EQ(out.read(), "08:00:00  live  CPU 7.0 %\n");
  Output nobody(-1);
  EXPECT_FALSE(
      LinePrinter(LinePrinter::Format::summary, nobody, notes.output, PayloadLimit(std::nullopt))
          .opened(sample));
}

}  // namespace
}  // namespace orvik
