#include <gtest/gtest.h>

#include "core/values/JSONReader.h"
#include "core/values/JSONValue.h"
#include "core/values/PropertyList.h"
#include "core/values/PropertyListMeasure.h"
#include "tests/support/Corpus.h"

namespace orvik {
namespace {

std::string repeated(std::string_view part, std::size_t times) {
  std::string text;
  for (std::size_t i = 0; i < times; ++i) {
    text += part;
  }
  return text;
}

TEST(JSONReader, RefusesDepthAndBombs) {
  const auto values = [](std::size_t count) { return "[" + repeated("0,", count - 2) + "0]"; };
  for (const std::string& text : {std::string(maximumNesting + 1, '['), std::string(1'000'000, '['),
                                  values(maximumValues + 1), std::string("\"\xFF\"")}) {
    EXPECT_THROW((void)readJSON(text), JSONError) << text.substr(0, 20);
  }
  const std::string allowed = std::string(maximumNesting, '[') + std::string(maximumNesting, ']');
  EXPECT_EQ(JSONValue::any(readJSON(allowed)).text(), allowed);
  EXPECT_NO_THROW((void)readJSON(values(maximumValues)));
}

constexpr std::string_view plistHead =
    R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)";

std::string twoBytes(std::size_t number) {
  return {static_cast<char>(number >> 8U), static_cast<char>(number)};
}

/// A binary list: the objects, an offset table, the trailer.
std::string binaryList(const std::vector<std::string>& objects, char referenceSize = 1) {
  std::string bytes = "bplist00";
  std::string offsets;
  for (const auto& object : objects) {
    offsets += twoBytes(bytes.size());
    bytes += object;
  }
  const std::size_t table = bytes.size();
  bytes += offsets + std::string(6, '\0') + "\x02" + referenceSize;
  for (const std::size_t number : {objects.size(), std::size_t{0}, table}) {
    for (int shift = 56; shift >= 0; shift -= 8) {
      bytes += static_cast<char>(number >> static_cast<unsigned>(shift));
    }
  }
  return bytes;
}

TEST(PropertyList, ReadsBothForms) {
  using namespace std::string_literals;
  const auto xml = readPropertyList(
      std::string(plistHead) +
      "<dict><key>n</key><integer>-5</integer><key>u</key><integer>18446744073709548738</integer>"
      "<key>r</key><real>1.5</real><key>t</key><true/><key>s</key><string>é &amp; x</string>"
      "<key>d</key><date>2024-01-01T00:00:00Z</date><key>b</key><data>AAEC</data>"
      "<key>l</key><array><false/><array/></array></dict></plist>");
  EXPECT_EQ(JSONValue::any(xml).text(),
            R"({"b":null,"d":null,"l":[false,[]],"n":-5,"r":1.5,"s":"é & x","t":true,"u":-2878})");
  EXPECT_EQ(*xml.find("d"), UntypedValue::Date{1'704'067'200});
  const auto binary = readPropertyList(
      binaryList({"\xD2\x01\x02\x03\x04"s, "\x51\x61"s, "\x51\x62"s, "\xA2\x05\x05"s,
                  "\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFB"s, "\x09"s}));
  EXPECT_EQ(JSONValue::any(binary).text(), R"({"a":[true,true],"b":-5})");
}

TEST(PropertyList, RefusesDamageDepthAndBombs) {
  using namespace std::string_literals;
  // What a scanner may take for the end of a list, and the parser does not.
  std::vector<std::string> refused;
  for (const char* level : {"<array>", "<array><!-- </array> -->", "<array><!--></array>-->",
                            "<array><?a ></array><array><?b ?>", R"(<array><?a "?></array>"?>)",
                            R"(<array "/>">)", R"(<array a="></array>">)", "<dict><key>k</key>"}) {
    refused.push_back(std::string(plistHead) + repeated(level, 100'000));
  }
  refused.push_back("<!DOCTYPE plist [ > <!-- ]>" + refused.front());
  // What takes the parser the square of its size.
  std::string keys;
  std::string longKeys;
  for (int i = 0; i < 10'000; ++i) {
    const std::string key = std::to_string(i) + "</key><true/>";
    keys += "<key>" + key;
    longKeys += i % 2 == 0 ? "<key>" + std::string(500, 'a') + key : "";
  }
  for (const std::string& content :
       {"<array>" + repeated("<true/>", maximumValues) + "</array>", "<dict>" + keys + "</dict>",
        "<dict>" + longKeys + "</dict>", "<string>" + repeated("&lt;", 30'000) + "</string>"}) {
    refused.push_back(std::string(plistHead) + content + "</plist>");
  }
  // Each list holds the next one fifteen times: 15^30 values from 500 bytes.
  std::vector<std::string> bomb;
  for (char i = 1; i <= 30; ++i) {
    bomb.push_back("\xAE" + std::string(14, i));
  }
  bomb.push_back("\x09");
  // A text of 60 000 bytes, or what may become as many, over and over.
  for (const std::string& text : {"\x4F\x11" + twoBytes(60'000) + std::string(60'000, 'a'),
                                  "\x5F\x11" + twoBytes(60'000) + std::string(60'000, 'a'),
                                  "\x6F\x11" + twoBytes(15'000) + std::string(30'000, 'a')}) {
    const auto list = [&text](std::size_t times) {
      return binaryList({"\xAF\x11" + twoBytes(times) + std::string(times, 1), text});
    };
    constexpr std::size_t most = maximumUnfoldedBytes / 60'000;
    EXPECT_NE(readPropertyList(list(most)), UntypedValue());
    refused.push_back(list(most + 1));
  }
  // Two lists of 400 levels each, of which the second ends in the first.
  std::vector<std::string> tower{"\xA2" + twoBytes(401) + twoBytes(801), "\x09"};
  for (std::size_t i = 1; i <= 800; ++i) {
    tower.push_back("\xA1" + twoBytes(i));
  }
  refused.push_back(binaryList(tower, 2));
  const std::string whole = binaryList({"\xA1\x01"s, "\x09"s});
  // A list of ten whose length has a form that means another length to the parser.
  const std::string oddLength = "\xAF\x14" + std::string(15, '\0') + "\x0A" + std::string(10, 1);
  refused.insert(refused.end(),
                 {binaryList(bomb), binaryList({oddLength, "\x09"s}),
                  binaryList({"\xD1\x01\x02"s, "\x61\0\0"s, "\x09"s}), binaryList({"\xA1\x00"s}),
                  "bplist00"s, whole.substr(0, 20), ""s, "{}"s, "<plist>"s, "plain text"s,
                  std::string(plistHead) + "<dict><key>a"});
  for (const std::string& bytes : refused) {
    EXPECT_EQ(readPropertyList(bytes), UntypedValue()) << bytes.substr(0, 60);
  }
}

#ifdef ORVIK_HAS_CORPUS
TEST(CorpusJSON, AcceptedFilesReadBackTheSame) {
  int count = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(test::corpus() / "vectors/json/test_parsing")) {
    const std::string name = entry.path().filename().string();
    const std::string text = test::contentsOf(entry.path());
    if (name.starts_with("n_")) {
      EXPECT_THROW((void)readJSON(text), JSONError) << name;
    } else if (name.starts_with("y_")) {
      const JSONValue first = JSONValue::any(readJSON(text));
      const JSONValue second = JSONValue::any(readJSON(first.text()));
      EXPECT_EQ(first, second) << name;
      EXPECT_EQ(first.text(), second.text()) << name;
      ++count;
    } else {
      try {
        (void)readJSON(text);
      } catch (const JSONError&) {  // either answer is right for these
      }
    }
  }
  EXPECT_EQ(count, 95);
}
#endif

}  // namespace
}  // namespace orvik
