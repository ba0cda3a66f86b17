#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <locale>

#include "core/values/JSONValue.h"
#include "core/values/NumberText.h"
#include "core/values/Text.h"
#include "core/values/UntypedValue.h"

namespace orvik {
namespace {

using Array = JSONValue::Array;
using Object = JSONValue::Object;

TEST(JSONValue, WritesCompactSortedText) {
  const std::pair<JSONValue, std::string> cases[] = {
      {Object{{"b", 1}, {"a", Array{true, nullptr}}, {"A", "x"}},
       R"({"A":"x","a":[true,null],"b":1})"},
      {Object{{"a", 1}, {"_", 2}, {"Z", 3}, {"é", 4}, {"z", 5}},
       R"({"Z":3,"_":2,"a":1,"z":5,"é":4})"},
      {Array{}, "[]"},
      {Object{}, "{}"},
      {false, "false"},
      {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
      {"a\tb\fc\x1b\"\\/\x7f\n\r\b é \u2028 \U0001F600",
       "\"a\\tb\\u000cc\\u001b\\\"\\\\/\x7f\\n\\r\\u0008 é \u2028 \U0001F600\""},
      {std::string("nul\0", 4), R"("nul\u0000")"},
      {"", R"("")"},
      // What a tool prints in another encoding: a lone byte, a cut sequence, an overlong one, a
      // surrogate.
      {"caf\xE9!", "\"caf\uFFFD!\""},
      {"\xE2\x82", "\"\uFFFD\""},
      {"\xC0\xAF", "\"\uFFFD\uFFFD\""},
      {"\xED\xA0\x80", "\"\uFFFD\uFFFD\uFFFD\""},
  };
  for (const auto& [value, text] : cases) {
    EXPECT_EQ(value.text(), text);
    EXPECT_TRUE(isValidUTF8(value.text()));
  }
  // One bad byte does not make room for as many as there are bytes.
  const std::string plain(100'000, 'a');
  const std::string repaired = repairedUTF8(plain + "\xFF");
  EXPECT_EQ(repaired, plain + "\uFFFD");
  EXPECT_LT(repaired.capacity(), 2 * plain.size());
}

TEST(JSONValue, WritesTheShortestDoubleText) {
  const double inf = std::numeric_limits<double>::infinity();
  const std::pair<double, const char*> cases[] = {
      {0.0, "0.0"},
      {-0.0, "-0.0"},
      {1.0, "1.0"},
      {123.456, "123.456"},
      {0.1 + 0.2, "0.30000000000000004"},
      {0.0001, "0.0001"},
      {std::nextafter(0.0001, 0), "9.999999999999999e-05"},
      {std::nextafter(0.0001, 1), "0.00010000000000000002"},
      {0.00001, "1e-05"},
      {9007199254740992.0, "9007199254740992.0"},
      {9007199254740994.0, "9.007199254740994e+15"},
      {1e16, "1e+16"},
      {5e-324, "5e-324"},
      {2.2250738585072011e-308, "2.225073858507201e-308"},
      {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
      {inf, "null"},
      {-inf, "null"},
      {std::nan(""), "null"},
  };
  for (const auto& [value, text] : cases) {
    EXPECT_EQ(JSONValue(value).text(), text);
    if (std::isfinite(value)) {
      const auto back = parseDouble(text);
      ASSERT_TRUE(back.has_value()) << text;
      EXPECT_EQ(*back, value);
      EXPECT_EQ(std::signbit(*back), std::signbit(value));
    }
  }
}

TEST(JSONValue, GivesTheSameBytesUnderAnyLocale) {
  const JSONValue value = Array{1234567.5, pyRound(2.345, 1), 1e-7, *parseDouble("1.5")};
  const std::string plain = value.text();
  const std::locale previous =
      std::locale::global(std::locale(std::locale::classic(), new std::numpunct_byname<char>("C")));
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "ar_EG.UTF-8"}) {
    std::setlocale(LC_ALL, name);
    EXPECT_EQ(value.text(), plain);
    EXPECT_EQ(pyRound(2.345, 1), 2.3);
    EXPECT_EQ(parseDouble("1.5"), 1.5);
  }
  std::setlocale(LC_ALL, "C");
  std::locale::global(previous);
}

TEST(JSONValue, ComparesByCaseThenPayload) {
  EXPECT_NE(JSONValue(1), JSONValue(1.0));
  EXPECT_NE(JSONValue(false), JSONValue(0));
  EXPECT_NE(JSONValue(nullptr), JSONValue(""));
  EXPECT_EQ(JSONValue(0.0), JSONValue(-0.0));
  EXPECT_NE(JSONValue(std::nan("")), JSONValue(std::nan("")));
  EXPECT_EQ(JSONValue("caf\u00E9"), JSONValue("cafe\u0301"));
  EXPECT_NE(JSONValue("cafe"), JSONValue("caf\u00E9"));
  EXPECT_EQ((JSONValue(Object{{"a", 1}, {"b", 2}})), (JSONValue(Object{{"b", 2}, {"a", 1}})));
  EXPECT_NE((JSONValue(Object{{"a", 1}})), (JSONValue(Object{{"a", 1}, {"b", 2}})));
  EXPECT_NE((JSONValue(Array{1, 2})), (JSONValue(Array{2, 1})));
}

TEST(JSONValue, ObjectsKeepUniqueKeys) {
  Object object{{"b", 1}};
  object.set("a", 2);
  object.set("b", 3);
  object.merge(Object{{"c", 4}, {"a", 5}});
  object.erase("c");
  object.erase("nothing");
  const Object copy = object;
  object.set("b", nullptr);
  EXPECT_EQ(JSONValue(copy).text(), R"({"a":5,"b":3})");
  EXPECT_EQ(object.find("c"), nullptr);
  EXPECT_DEATH((Object{{"a", 1}, {"a", 2}}), "repeats a key");
}

TEST(JSONValue, AnyKeepsBooleansAndLosesWhatHasNoForm) {
  const UntypedValue untyped = UntypedValue::Map{
      {"boolean", true},
      {"one", std::int64_t{1}},
      {"half", 1.5},
      {"list", UntypedValue::List{"a", UntypedValue::Opaque{}, UntypedValue()}},
      {"date", UntypedValue::Date{1.5}},
  };
  EXPECT_EQ(JSONValue::any(untyped).text(),
            R"({"boolean":true,"date":null,"half":1.5,"list":["a",null,null],"one":1})");
  EXPECT_EQ(JSONValue::any({}), JSONValue(nullptr));
}

TEST(NumberText, PyRoundRoundsThroughDecimalText) {
  const double inf = std::numeric_limits<double>::infinity();
  const std::tuple<double, int, double> cases[] = {
      {2.675, 2, 2.67}, {0.125, 2, 0.12},  {1.25, 1, 1.2}, {1.35, 1, 1.4},
      {0.375, 2, 0.38}, {99.95, 1, 100.0}, {inf, 1, inf},  {1e300, 2, 1e300},
      {7.5, 0, 8.0},    {6.5, 0, 6.0},     {3.7, -1, 4.0}, {5e-324, 2000, 5e-324}};
  for (const auto& [value, places, rounded] : cases) {
    EXPECT_EQ(pyRound(value, places), rounded) << value;
  }
  EXPECT_EQ(JSONValue(pyRound(-0.04, 1)).text(), "-0.0");
  EXPECT_TRUE(std::isnan(pyRound(std::nan(""), 1)));
}

TEST(NumberText, PyTextTreatsZeroAsNothing) {
  const std::pair<UntypedValue, const char*> cases[] = {
      {std::int64_t{0}, ""},
      {0.0, ""},
      {-0.0, ""},
      {"0", "0"},
      {"", ""},
      {std::int64_t{3}, "3"},
      {std::uint64_t{3}, "3"},
      {std::numeric_limits<std::uint64_t>::max(), "18446744073709551615"},
      {2.5, "2.5"},
      {3.0, "3"},
      {{}, ""},
      {UntypedValue::Opaque{}, ""},
      {UntypedValue::Date{1.5}, ""},
      {UntypedValue::List{"a"}, ""},
      {false, ""},
      {true, "1"},
  };
  for (const auto& [value, text] : cases) {
    EXPECT_EQ(pyText(value), text);
  }
}

}  // namespace
}  // namespace orvik
