#include <gmock/gmock.h>

#include <sstream>

#include "core/values/JSONReader.h"
#include "phone/terminal/DisplayText.h"
#include "phone/terminal/SampleView.h"
#include "tests/support/Corpus.h"

namespace orvik {
namespace {

using testing::ElementsAre;

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

}  // namespace
}  // namespace orvik
