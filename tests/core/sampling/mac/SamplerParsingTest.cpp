#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>
#include <thread>

#include "core/sampling/mac/MacInfoParsing.h"
#include "core/sampling/mac/RegularExpression.h"
#include "core/sampling/mac/MacmonParsing.h"
#include "core/sampling/mac/SamplerParsing.h"
#include "core/values/JSONReader.h"
#include "core/values/NumberText.h"
#include "tests/support/Corpus.h"

namespace orvik {
namespace {

using namespace SamplerParsing;
using Array = JSONValue::Array;

JSONValue orNull(const auto& value) { return value ? JSONValue(*value) : JSONValue(); }

/// How many processes there are, the busiest and the last.
JSONValue busiest(std::string_view text) {
  const JSONValue value = processes(text);
  const auto& rows = *value.get<Array>();
  return rows.empty() ? Array{0}
                      : Array{static_cast<std::int64_t>(rows.size()), rows.front(), rows.back()};
}

JSONValue links(std::string_view text) {
  Array names;
  for (const char* interface : {"en0", "en5", "en7", "en11", "bridge0"}) {
    names.push_back(orNull(SamplerParsing::linkName(text, interface)));
  }
  return names;
}

JSONValue coreCounts(std::string_view text) {
  std::vector<MacInfoParsing::PerformanceLevel> levels;
  for (char i = '0'; i < '3'; ++i) {
    const std::string key = std::string(R"(hw\.perflevel)") + i;
    const auto name = firstGroup(text, key + R"(\.name: (.*))");
    const auto count = firstGroup(text, key + R"(\.(?:physical|logical)cpu: (\d+))");
    levels.push_back({name.value_or(""), std::stoll(count.value_or("0"))});
  }
  const auto cores = MacInfoParsing::cores(levels);
  return Array{cores.performance, cores.efficiency};
}

const std::map<std::string, std::function<JSONValue(std::string_view)>> parsers{
    {"pmset", pmsetBattery},
    {"registry", batteryExtras},
    {"power", powerProfile},
    {"backup", [](auto text) { return timeMachine(5, text, text); }},
    {"preferences", [](auto text) { return orNull(lastBackup(text)); }},
    {"processes", busiest},
    {"route",
     [](auto text) {
       return Array{orNull(SamplerParsing::gateway(text)),
                    orNull(SamplerParsing::interfaceName(text))};
     }},
    {"links", links},
    {"macmon",
     [](auto text) {
       PowerGuard guard;
       return JSONValue(macmon(*readJSON(text).template get<UntypedValue::Map>(), guard));
     }},
    {"router", [](auto text) { return orNull(routerName(text)); }},
    {"cores", coreCounts},
    {"frequencies", [](auto text) {
       const auto top = MacInfoParsing::maxMHz(text);
       return Array{orNull(top.performance), orNull(top.efficiency)};
     }}};

/// Each row of a table in the fixtures is a parser, a text and its result; `textOf` gives the text.
void expectRows(const char* table, const std::function<std::string(const std::string&)>& textOf) {
  std::istringstream rows(test::contentsOf(std::filesystem::path(ORVIK_FIXTURES) / "mac" / table));
  int count = 0;
  for (std::string line; std::getline(rows, line);) {
    if (!line.starts_with('#')) {
      const UntypedValue row = readJSON(line);
      const auto& cells = *row.get<UntypedValue::List>();
      const std::string text = textOf(pyText(cells[1]));
      EXPECT_EQ(parsers.at(pyText(cells[0]))(text).text(), JSONValue::any(cells[2]).text()) << line;
      ++count;
    }
  }
  EXPECT_GT(count, 0);
}

TEST(MacParsing, TakesOddOutputs) {
  using namespace std::string_literals;
  expectRows("outputs.txt", [](const std::string& text) { return text; });
  EXPECT_EQ(processes("1 \xFF\xE2\x82z").text(), "[[1.0,\"��z\"]]");
  EXPECT_EQ(pmsetBattery("\xFF\xFE%; \xFF").find("battery_pct")->text(), "null");
  EXPECT_EQ(SamplerParsing::linkName("(1) a\n(Hardware Port: b, Device: e.*)", "e.*"), "a");
  EXPECT_EQ(MacInfoParsing::deviceTreeString(" MacBook é\xFF\n\0rest"s), "MacBook é�");
  EXPECT_EQ(MacInfoParsing::deviceTreeString(" \0x"s), std::nullopt);
  EXPECT_EQ(MacInfoParsing::version(14, 0, 0), "14.0");
}

#ifdef ORVIK_HAS_CORPUS
TEST(MacParsing, ReadsWhatRealToolsHavePrinted) {
  expectRows("recordings.txt", [](const std::string& file) {
    const auto path = test::corpus() / "recorded" / file;
    EXPECT_TRUE(std::filesystem::exists(path)) << path;
    return test::contentsOf(path);
  });
}
#endif

TEST(RegularExpression, GivesTheFirstMatchOrNothing) {
  const struct {
    std::string text;
    std::string pattern;
    std::optional<std::string> group;
    RegexOptions options = RegexOptions::none;
  } cases[] = {
      {"a1b2", R"([a-z](\d))", "1"},
      {"a1", "a1", {}},
      {"a1", "(", {}},
      {"b", "(a)?b", ""},
      {"x\nName : y\r\nz", R"(^Name\s*:\s*(.+)$)", "y", RegexOptions::anchorsMatchLines},
      {"x\nName : y", R"(^Name\s*:\s*(.+)$)", {}},
      {"é\xFFz\xE2\x82", "é(.*)", "�z�"},
      {std::string("a\0b", 3), "(?s)(.*)", std::string("a\0b", 3)},
      {std::string(5000, 'a'), "(" + std::string(4094, 'a') + ")", std::string(4094, 'a')},
      {std::string(5000, 'a'), "(" + std::string(4095, 'a') + ")", {}},
      // What would be tried from each digit to the last, and what takes memory for each line.
      {std::string(100'000, '1') + " 1%", R"((\d+)%)", {}},
      {"(Name)" + std::string(1'000'000, '\n'), R"((Name)\s*:)", {}},
  };
  for (const auto& [text, pattern, group, options] : cases) {
    EXPECT_EQ(firstGroup(text, pattern, options), group) << pattern.substr(0, 40);
  }
  std::string all = "é";
  for (char c = 1; c < 127; ++c) {
    all += c;
  }
  EXPECT_EQ(firstMatch("-" + all + "-", escapedForPattern(all))->front(), all);
}

TEST(RegularExpression, KeepsPatternsForAllThreads) {
  std::vector<std::thread> threads(4);
  for (std::thread& thread : threads) {
    thread = std::thread([] {
      for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(firstGroup("abc", "(b){0," + std::to_string(i % 70 + 1) + "}c"), "b");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace
}  // namespace orvik
