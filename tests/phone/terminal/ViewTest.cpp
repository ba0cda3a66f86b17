#include <gmock/gmock.h>

#include <sstream>

#include "core/values/JSONReader.h"
#include "phone/terminal/DisplayText.h"
#include "phone/terminal/LiveScreen.h"
#include "phone/terminal/MinuteCurves.h"
#include "phone/terminal/SampleView.h"
#include "tests/support/Corpus.h"

namespace orvik {
namespace {

using testing::ElementsAre;
using Curve = MinuteCurves::Curve;
using std::chrono::minutes;
using testing::IsEmpty;

std::string fixture(const char* name) {
  return test::contentsOf(std::string(ORVIK_FIXTURES "/phone/") + name);
}

/// A sample with every key that a computer sends, at 2027-01-15 08:00:00 UTC.
UntypedValue fullSample() { return readJSON(fixture("sample.json")); }

MacState liveState(const UntypedValue& sample) {
  MacState state;
  state.name = "Zoë's Mac";
  state.connection.phase = ConnectionState::Phase::live;
  state.take(sample);
  return state;
}

std::string textOf(const std::vector<ViewLine>& lines) {
  std::string text;
  for (const ViewLine& line : lines) {
    text += line.heading + line.body + "\n";
  }
  return text;
}

TEST(SampleView, ShowsEveryReadingWithItsUnit) {
  MacState state = liveState(fullSample());
  for (const char* alert : {R"({"kind":"on_battery","state":"raised","epoch_ms":1799956800999})",
                            R"({"kind":"on_battery","state":"cleared","epoch_ms":1799956801000})",
                            R"({"kind":"disk_full","state":"raised"})"}) {
    EXPECT_TRUE(state.alerts.take({Envelope::Kind::alert, alert, readJSON(alert)}));
  }
  setenv("TZ", "UTC", 1);
  tzset();
  const auto page = sampleView(state, 80);
  EXPECT_TRUE(page[1].attention);
  EXPECT_FALSE(page[3].attention) << "mains power is back";
  EXPECT_EQ(textOf(page), fixture("page.txt"));
  EXPECT_EQ(sampleSummary(state),
            "08:00:00  live  CPU 41.3 %  52.3 °C  12.34 W  load 2.14 1.98 1.70  memory 62.5 %  "
            "battery 87 %  disk 80.0 %  up 3 d 4 h");
}

/// Each case in the file is a sample and what is shown below the title.
TEST(SampleView, LeavesOutWhatIsNotKnown) {
  std::istringstream cases(fixture("samples.txt"));
  int count = 0;
  for (std::string sample; std::getline(cases, sample); ++count) {
    std::string shown = "Zoë's Mac · live\n";
    for (std::string line; std::getline(cases, line) && !line.empty();) {
      shown += line + "\n";
    }
    EXPECT_EQ(textOf(sampleView(liveState(readJSON(sample)), 80)), shown) << sample;
  }
  EXPECT_EQ(count, 18);
}

TEST(SampleView, KeepsTheMachineWhileItIsNotSentAgain) {
  MacState state = liveState(readJSON(R"({"mac_info":{"chip":"M2"},"error":"e"})"));
  state.take(readJSON("{}"));
  state.name.clear();
  state.connection = {ConnectionState::Phase::waiting, std::chrono::seconds(4), "no route"};
  state.unreadable = 2;
  const std::vector<ViewLine> lines = sampleView(state, 80);
  EXPECT_THAT(lines, ElementsAre(ViewLine{"Computer",
                                          " · offline, next attempt after 4 s (no route)"
                                          " · 2 unreadable",
                                          true},
                                 ViewLine{"Machine    ", "M2", false, true}))
      << "what nobody has said again is old";
}

TEST(SampleView, IsReadableWithASCIIAlone) {
  const std::pair<const char*, const char*> cases[] = {
      {"Zoë’s Ω · 52.3 °C – 日本…", "Zoe's ? | 52.3 C - ??~"},
      {"██░ ▁▂▃▄▅▆▇█", "##. _.-=+*%#"},
      {"\x1B[1me\u0301\r\n", "\x1B[1me\r\n"},
      {"\xFF", "?"}};
  for (const auto& [text, ascii] : cases) {
    EXPECT_EQ(asciiText(text), ascii);
  }
}

TEST(SampleView, PutsLabelsAboveTheirGroupsOnNarrowWindows) {
  const UntypedValue sample =
      readJSON(R"({"load":[1.0,2.0,3.0],"load_now":4.0,"connections":{"usb":[
                    {"name":"日本語日本語"},{"name":"café au lait et croissant"}]}})");
  EXPECT_EQ(textOf(sampleView(liveState(sample), 20)),
            "Zoë's Mac · live\nLoad\n  1.00 2.00 3.00\n  now 4.0\nUSB\n  日本語日本語\n"
            "  café au lait et c…\n");
}

/// Calls `visit` once for every value below `value` and every replacement for it.
template <typename Visit>
void replaceEach(UntypedValue& value, const UntypedValue::List& replacements, const Visit& visit) {
  const UntypedValue original = value;
  for (const UntypedValue& replacement : replacements) {
    value = replacement;
    visit();
  }
  value = original;
  if (auto* map = std::get_if<UntypedValue::Map>(&value.value)) {
    for (auto& [key, member] : *map) {
      replaceEach(member, replacements, visit);
    }
  } else if (auto* list = std::get_if<UntypedValue::List>(&value.value)) {
    for (UntypedValue& element : *list) {
      replaceEach(element, replacements, visit);
    }
  }
}

std::string withoutBlanks(std::string text) {
  std::erase(text, ' ');
  return text;
}

TEST(SampleView, SurvivesAnyValueAnywhere) {
  const UntypedValue::List hostile = {
      {},
      true,
      std::int64_t{0},
      INT64_MIN,
      INT64_MAX,
      -0.5,
      1e300,
      "\x1B[2J\x1B]0;t\a\xFF\r\n\u202E日本語\u0301" + std::string(500, 'x'),
      UntypedValue::List(200, UntypedValue(std::int64_t{1})),
      UntypedValue::Map{}};
  UntypedValue sample = fullSample();
  std::string wrong;
  int width = 0;
  replaceEach(sample, hostile, [&] {
    width = width % 90 + 1;
    for (const ViewLine& line : sampleView(liveState(sample), width)) {
      const std::string text = line.heading + line.body;
      if (columnsOf(text) > width || withoutBlanks(displayText(text)) != withoutBlanks(text)) {
        wrong += text + "\n";
      }
    }
  });
  EXPECT_EQ(wrong, "");
}

const auto none = std::optional<double>();

TEST(MinuteCurves, ContinuesTheHistoryWithLiveSamples) {
  MinuteCurves curves;
  curves.addHistory(
      readJSON(R"({"t0":600,"dm":[0,1,3],"cpu":[10.0,20,null],"temp":[null,"x",50.0],"w":[1.5]})"));
  EXPECT_EQ(curves.span(), minutes(5));
  EXPECT_THAT(curves.steps(Curve::cpu, 9), ElementsAre(10.0, 20.0, none, none, none));
  EXPECT_THAT(curves.steps(Curve::temperature, 9), ElementsAre(none, none, none, none, 50.0));
  EXPECT_THAT(curves.steps(Curve::power, 9), ElementsAre(1.5, none, none, none, none));

  curves.addSample(readJSON(R"({"epoch":900,"cpu_pct":40})"));
  curves.addSample(readJSON(R"({"epoch":959,"cpu_pct":50.0,"temp_cpu":null})"));
  curves.addSample(readJSON(R"({"epoch":960,"power_w":"1"})"));
  EXPECT_THAT(curves.steps(Curve::cpu, 9), ElementsAre(10.0, 20.0, none, none, none, 45.0));
  EXPECT_THAT(curves.steps(Curve::cpu, 3), ElementsAre(15.0, none, 45.0));
  EXPECT_EQ(curves.range(Curve::cpu), std::pair(10.0, 45.0));

  // A phone that joins again is sent the minutes once more: they are not added up.
  curves.addHistory(readJSON(R"({"t0":660,"dm":[0,4],"cpu":[20,44]})"));
  EXPECT_THAT(curves.steps(Curve::cpu, 9), ElementsAre(10.0, 20.0, none, none, none, 44.0));

  // The computer's clock is set back.
  curves.addSample(readJSON(R"({"epoch":720,"cpu_pct":0})"));
  EXPECT_THAT(curves.steps(Curve::cpu, 9), ElementsAre(10.0, 20.0, 0.0));

  // A day after minute 10 only that one is too old; a year later all are.
  curves.addSample(readJSON(R"({"epoch":87000,"cpu_pct":1})"));
  EXPECT_EQ(curves.span(), minutes(1440));
  curves.addSample(readJSON(R"({"epoch":31536000,"cpu_pct":1})"));
  EXPECT_EQ(curves.span(), minutes(1));
}

TEST(MinuteCurves, TakesOnlyWhatIsAHistory) {
  MinuteCurves curves;
  for (const char* history :
       {"7", "{}", R"({"t0":"600","dm":[0]})", R"({"t0":-60,"dm":[0]})", R"({"t0":600,"dm":[-1]})",
        R"({"t0":600,"dm":[9223372036854775807]})", R"({"t0":9223372036854775807,"dm":[0]})",
        R"({"t0":600,"dm":["0"],"cpu":[1]})"}) {
    curves.addHistory(readJSON(history));
    EXPECT_THAT(curves.steps(Curve::cpu, 9), IsEmpty()) << history;
  }
  curves.addSample(readJSON(R"({"epoch":9223372036854775807,"cpu_pct":1})"));
  curves.addSample(readJSON(R"({"cpu_pct":1})"));
  EXPECT_EQ(curves.span(), minutes(0));
}

const ViewLine title{"Mac", " · offline", true};

TEST(LiveScreen, RepaintsOnAScreenOfItsOwn) {
  LiveScreen screen(true);
  EXPECT_EQ(screen.paint({title, {"CPU  ", "7 %"}, {"Disk ", "80 %", false, true}}, {24, 80}),
            "\x1B[?1049h\x1B[?25l\x1B[H"
            "\x1B[1mMac\x1B[0m\x1B[33m · offline\x1B[0m\x1B[K\r\n"
            "\x1B[1mCPU  \x1B[0m7 %\x1B[K\r\n"
            "\x1B[2mDisk 80 %\x1B[0m\x1B[K\x1B[J");
  // Shorter than before: what the last line left is cleared.
  EXPECT_EQ(screen.paint({{"Mac", " · live"}}, {24, 80}),
            "\x1B[H\x1B[1mMac\x1B[0m · live\x1B[K\x1B[J");
  EXPECT_EQ(screen.end(), "\x1B[?25h\x1B[?1049l");
  EXPECT_EQ(screen.end(), "") << "nothing is left to restore";
  EXPECT_EQ(screen.paint({{"", "again"}}, {24, 80}), "\x1B[?1049h\x1B[?25l\x1B[Hagain\x1B[K\x1B[J");
}

TEST(LiveScreen, KeepsWithinTheWindow) {
  LiveScreen screen(false);
  const std::vector<ViewLine> lines = {{"Name ", "日本語"}, {"", "2"}, {"", "3"}, {"", "4"}};
  const std::pair<ScreenSize, const char*> cases[] = {
      {{4, 80}, "Name 日本語\x1B[K\r\n2\x1B[K\r\n3\x1B[K\r\n4\x1B[K\x1B[J"},
      {{2, 80}, "Name 日本語\x1B[K\r\n… 3 more lines: enlarge the window\x1B[K\x1B[J"},
      // Of the name only one wide character fits before the ellipsis.
      {{2, 8}, "Name …\x1B[K\r\n… 3 mo…\x1B[K\x1B[J"},
      {{1, 1}, "\x1B[K\x1B[J"}};
  static_cast<void>(screen.paint({}, {1, 1}));
  for (const auto& [size, shown] : cases) {
    EXPECT_EQ(screen.paint(lines, size), std::string("\x1B[H") + shown);
  }
}

}  // namespace
}  // namespace orvik
