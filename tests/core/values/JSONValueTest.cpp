#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <locale>

#include "core/values/JSONMembers.h"
#include "core/values/JSONValue.h"
#include "core/values/NumberText.h"
#include "core/values/Text.h"
#include "core/values/UntypedValue.h"
#include "tests/support/Hex.h"
#include "tests/support/Table.h"

namespace orvik {
namespace {

using Array = JSONValue::Array;
using Object = JSONValue::Object;

const test::Parsers valueParsers{
    {"JSON",
     [](auto text) -> JSONValue {
       try {
         return JSONValue::any(readJSON(text)).text();
       } catch (const JSONError&) {
         return nullptr;
       }
     }},
    {"double",
     [](auto text) {
       const double value = parseDouble(text).value();
       const std::string written = JSONValue(value).text();
       EXPECT_TRUE(!std::isfinite(value) || parseDouble(written) == value) << text;
       return written;
     }},
    {"round",
     [](auto text) {
       const std::size_t blank = text.find(' ');
       return pyRound(parseDouble(text.substr(0, blank)).value(),
                      std::stoi(std::string(text.substr(blank))));
     }},
    {"whole", [](auto text) { return orNull(wholeNumber(parseDouble(text).value())); }},
    {"text", [](auto text) { return pyText(readJSON(text)); }},
    {"repaired", [](auto bytes) {
       const JSONValue value = std::string(textOf(test::hex(bytes)));
       EXPECT_TRUE(isValidUTF8(value.text()));
       return JSONValue::any(readJSON(value.text()));
     }}};

TEST(JSONValue, ReadsAndWritesWhatTheTableSays) {
  test::expectTable("values/texts.txt", valueParsers);
  EXPECT_TRUE(std::isnan(pyRound(std::nan(""), 1)));
  EXPECT_EQ(JSONValue(std::nan("")).text(), "null");
  EXPECT_EQ(pyText(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(pyText(UntypedValue::Opaque{}) + pyText(UntypedValue::Date{1.5}), "");
  // One bad byte does not make room for as many as there are bytes.
  const std::string plain(100'000, 'a');
  const std::string repaired = repairedUTF8(plain + "\xFF");
  EXPECT_EQ(repaired, plain + "\uFFFD");
  EXPECT_LT(repaired.capacity(), 2 * plain.size());
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
  EXPECT_EQ(JSONValue(Object{{"a", 1}, {"_", 2}, {"Z", 3}, {"é", 4}, {"z", 5}}).text(),
            R"({"Z":3,"_":2,"a":1,"z":5,"é":4})");
  EXPECT_DEATH((Object{{"a", 1}, {"a", 2}}), "repeats a key");
}

TEST(JSONValue, AnyKeepsBooleansAndLosesWhatHasNoForm) {
  const UntypedValue untyped = UntypedValue::List{
      true, std::int64_t{1}, 1.5, UntypedValue::Opaque{}, {}, UntypedValue::Date{1.5}};
  EXPECT_EQ(JSONValue::any(untyped).text(), "[true,1,1.5,null,null,null]");
}

}  // namespace
}  // namespace orvik
