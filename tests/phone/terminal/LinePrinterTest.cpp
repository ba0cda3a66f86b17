#include <fcntl.h>
#include <gtest/gtest.h>

#include <array>
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
  constexpr std::array alerts = {
      std::pair(R"("temp_high","state":"raised","value":97.5,"threshold":95)",
                "The processor is hot: 97.5 °C, for a minute at 95 °C or more"),
      std::pair(R"("disk_full","state":"raised","value":91,"disk_free_gb":43)",
                "The disk is nearly full: 91.0 % used, 43 GB free"),
      std::pair(R"("on_battery","state":"raised","value":82,"battery_min":200)",
                "Running on battery: 82 %, 3 h 20 min left"),
      std::pair(R"("on_battery","state":"raised","battery_min":-1)", "Running on battery"),
      std::pair(R"("on_battery","state":"cleared")", "Back on mains power"),
      std::pair(R"("battery_low","state":"raised","value":"\u001b[2J","battery_min":5)",
                "The battery is low: 5 min left"),
      std::pair(R"("time_machine","state":"raised","value":34,"backup_disk_connected":false,)"
                R"("backup_disk_name":"Disk\n1")",
                "No backup for 34 days, Disk 1 is not connected"),
      std::pair(R"("time_machine","state":"cleared")", "Backed up again"),
      std::pair(R"("reactor_leak","state":"raised")", ""),
      std::pair(R"("on_battery")", "")};
  Paper out;
  Paper notes;
  LinePrinter printer(LinePrinter::Format::summary, out.output, notes.output,
                      PayloadLimit(alerts.size()));
  for (const auto& [members, words] : alerts) {
    const std::string text = std::string(R"({"epoch_ms":1800000000999,"kind":)") + members + "}";
    for (const bool isNew : {true, false}) {
      EXPECT_TRUE(printer.opened(payload(Envelope::Kind::alert, text.c_str()))) << "10 are wanted";
      EXPECT_EQ(out.read(), *words != 0 && isNew ? "alert 08:00  " + std::string(words) + "\n" : "")
          << text;
    }
  }
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
