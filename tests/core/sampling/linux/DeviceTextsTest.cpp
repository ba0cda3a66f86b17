#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>

#include "core/sampling/linux/EDID.h"
#include "core/sampling/linux/KernelText.h"
#include "core/sampling/linux/MachineInfoReader.h"
#include "core/sampling/linux/MachineNames.h"
#include "core/sampling/linux/RouteTable.h"
#include "core/values/JSONMembers.h"
#include "core/values/JSONReader.h"
#include "core/values/NumberText.h"
#include "tests/support/Corpus.h"
#include "tests/support/FixtureTree.h"

namespace orvik {
namespace {

TEST(DeviceTexts, ADamagedDisplayRecordIsNone) {
  const test::FixtureTree tree({"laptop-devices"});
  const std::string good = test::contentsOf(tree.root() / "sys/class/drm/card1-HDMI-A-1/edid");
  ASSERT_EQ(good.size(), 128U);
  EXPECT_EQ(
      parseEDID(bytesOf(good)),
      (EDID{.name = "WIDE 27", .product = "DEL A0B2", .preferred = EDID::Mode{2560, 1440, 59.95}}));
  // Extensions are not looked at, however broken they are.
  EXPECT_TRUE(parseEDID(bytesOf(good + "more")));
  for (std::size_t size = 0; size < good.size(); ++size) {
    EXPECT_FALSE(parseEDID(bytesOf(std::string_view(good).substr(0, size)))) << size;
  }
  for (std::size_t bit = 0; bit < 8 * good.size(); ++bit) {
    std::string bad = good;
    bad[bit / 8] = static_cast<char>(bad[bit / 8] ^ 1 << bit % 8);
    EXPECT_FALSE(parseEDID(bytesOf(bad))) << bit;
  }
}

/// The name in a record with this text as its name; the checksum is right.
JSONValue displayName(std::string_view name) {
  Bytes bytes(128, 0);
  std::fill_n(bytes.begin() + 1, 6, 0xFF);
  bytes[57] = 0xFC;
  std::ranges::copy(name, bytes.begin() + 59);
  unsigned sum = 0;
  for (const std::uint8_t byte : bytes) {
    sum += byte;
  }
  bytes[127] = static_cast<std::uint8_t>(0U - sum);
  const auto edid = parseEDID(bytes).value();
  EXPECT_EQ(edid.product, "??? 0000");
  EXPECT_FALSE(edid.preferred);
  return orNull(edid.name);
}

JSONValue routed(const std::optional<DefaultRoute>& route) {
  return route ? JSONValue::Array{route->interface, orNull(route->gateway)} : JSONValue();
}

const std::map<std::string, std::function<JSONValue(std::string_view)>> parsers{
    {"display", displayName},
    {"route", [](auto text) { return routed(defaultIPv4Route(text)); }},
    {"route of IPv6", [](auto text) { return routed(defaultIPv6Route(text)); }},
    {"processor", plainProcessorName},
    {"cpuinfo", [](auto text) { return orNull(chipOfProcessorTable(text)); }},
    {"device tree", [](auto text) { return orNull(chipOfDeviceTree(text)); }},
    {"product",
     [](auto text) {
       const auto parts = splitAt(text, '|');
       const auto part = [&](std::size_t i) { return std::string(parts.at(i)); };
       return orNull(productName({part(0), part(1), part(2), part(3), part(4)}));
     }},
    {"memory", [](auto text) {
       constexpr double gibibyte = 1024.0 * 1024 * 1024;
       return builtInMemory(static_cast<std::int64_t>(parseDouble(text).value() * gibibyte));
     }}};

TEST(DeviceTexts, AreReadAsPeopleWouldSayThem) {
  std::ifstream rows(ORVIK_FIXTURES "/linux/texts.txt");
  int count = 0;
  for (std::string line; std::getline(rows, line);) {
    if (!line.starts_with('#')) {
      const UntypedValue row = readJSON(line);
      const auto& cells = *row.get<UntypedValue::List>();
      EXPECT_EQ(parsers.at(pyText(cells[0]))(*cells[1].get<std::string>()),
                JSONValue::any(cells[2]))
          << line;
      ++count;
    }
  }
  EXPECT_GT(count, 40);
  EXPECT_EQ(displayName("\x81tat\n"), "\uFFFDtat");
}

}  // namespace
}  // namespace orvik
