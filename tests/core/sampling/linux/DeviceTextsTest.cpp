#include <gtest/gtest.h>

#include "core/sampling/linux/EDID.h"
#include "core/sampling/linux/MachineInfoReader.h"
#include "core/sampling/linux/MachineNames.h"
#include "core/sampling/linux/RouteTable.h"
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

/// A record with this text as its name; the checksum is right.
Bytes namedDisplay(std::string_view name) {
  Bytes bytes(128, 0);
  std::fill_n(bytes.begin() + 1, 6, 0xFF);
  bytes[57] = 0xFC;
  std::ranges::copy(name, bytes.begin() + 59);
  unsigned sum = 0;
  for (const std::uint8_t byte : bytes) {
    sum += byte;
  }
  bytes[127] = static_cast<std::uint8_t>(0U - sum);
  return bytes;
}

TEST(DeviceTexts, NamesOfDisplaysEndWhereTheyShould) {
  const std::pair<std::string_view, std::optional<std::string>> cases[] = {
      {"Thirteen char", "Thirteen char"},
      {" two words \n x", "two words"},
      {std::string_view("a\0b", 3), "a"},
      {"\n", std::nullopt},
      {"  ", std::nullopt},
      {"\x81tat\n", "\xEF\xBF\xBDtat"},
  };
  for (const auto& [bytes, name] : cases) {
    const auto edid = parseEDID(namedDisplay(bytes));
    ASSERT_TRUE(edid) << bytes;
    EXPECT_EQ(edid->name, name);
    EXPECT_EQ(edid->product, "??? 0000");
    EXPECT_FALSE(edid->preferred);
  }
}

TEST(DeviceTexts, TheDefaultRouteIsTheUsableOneWithTheLowestMetric) {
  const auto line = [](const char* interface, const char* flags, int metric) {
    return std::string(interface) + "\t00000000\t0101A8C0\t" + flags + "\t0\t0\t" +
           std::to_string(metric) + "\t00000000\t0\t0\t0\n";
  };
  const std::string gateway = "192.168.1.1";
  EXPECT_EQ(defaultIPv4Route(line("a", "0003", 9) + line("b", "0003", 2) + line("c", "0003", 2)),
            (DefaultRoute{"b", gateway}));
  EXPECT_EQ(defaultIPv4Route(line("down", "0002", 0) + line("refusing", "0201", 0) +
                             line("b", "0003", 4294967) + "half\t000"),
            (DefaultRoute{"b", gateway}));
  for (const char* text : {"", "\n\n", "a 00000000 1 3 0 0 -1 00000000", "a 0 x 3 0 0 1 0",
                           "a 00000000 0101A8C0 0003 0 0 99999999999 00000000"}) {
    EXPECT_FALSE(defaultIPv4Route(text)) << text;
    EXPECT_FALSE(defaultIPv6Route(text)) << text;
  }
}

TEST(DeviceTexts, ProcessorsAreCalledWhatPeopleCallThem) {
  const std::pair<const char*, const char*> names[] = {
      {"Intel(R) Core(TM) i7-8550U CPU @ 1.80GHz", "Intel Core i7-8550U"},
      {"AMD Ryzen 7 5800X 8-Core Processor             ", "AMD Ryzen 7 5800X"},
      {"AMD Ryzen 7 PRO 4750U with Radeon Graphics", "AMD Ryzen 7 PRO 4750U"},
      {"Intel(R) Xeon(R) Processor @ 2.90GHz", "Intel Xeon Processor"},
      {"CPU", ""},
  };
  for (const auto& [full, plain] : names) {
    EXPECT_EQ(plainProcessorName(full), plain);
  }
  EXPECT_EQ(
      chipOfProcessorTable("model name\t: ARMv7 Processor rev 3 (v7l)\nHardware\t: BCM2835\n"),
      "BCM2835");
  EXPECT_EQ(chipOfProcessorTable("cpu\t\t: POWER9, altivec supported\n"),
            "POWER9, altivec supported");
  EXPECT_EQ(chipOfProcessorTable("processor: 0\nmodel name\n"), std::nullopt);
  EXPECT_EQ(chipOfDeviceTree(std::string_view("acme,board\0acme,soc1\0", 21)), "acme SOC1");
  EXPECT_EQ(chipOfDeviceTree("brcm,"), std::nullopt);
  EXPECT_EQ(chipOfDeviceTree(""), std::nullopt);
}

TEST(DeviceTexts, MachinesAreCalledWhatPeopleCallThem) {
  struct Case {
    FirmwareNames names;
    std::optional<std::string> product;
  };
  const Case cases[] = {
      {{"HP", "HP EliteBook 840 G8", "", "", ""}, "HP EliteBook 840 G8"},
      {{"Dell Inc.", " XPS 13 9310 ", "1", "Dell Inc.", "0GG9"}, "Dell XPS 13 9310"},
      {{"LENOVO", "20XW", "None", "LENOVO", ""}, "LENOVO 20XW"},
      {{"Default string", "NUC", "", "", ""}, "NUC"},
      {{"A", "0000", "", "Maker Co., Ltd.", "B"}, "Maker B"},
      {{"", "DEFAULT STRING", "", "", "x.x"}, std::nullopt},
  };
  for (const Case& machine : cases) {
    EXPECT_EQ(productName(machine.names), machine.product);
  }
}

TEST(DeviceTexts, MemoryIsWhatWasBought) {
  constexpr double gibibyte = 1024.0 * 1024 * 1024;
  const std::pair<double, std::int64_t> sizes[] = {
      {0.4, 1},   {0.95, 1},    {1.0, 1},     {3.7, 4},       {7.56, 8},  {8.0, 8},
      {11.6, 12}, {15.4, 16},   {16.0, 16},   {23.45, 24},    {31.2, 32}, {62.6, 64},
      {94.2, 96}, {251.5, 256}, {503.4, 512}, {1007.0, 1024},
  };
  for (const auto& [available, builtIn] : sizes) {
    EXPECT_EQ(builtInMemory(static_cast<std::int64_t>(available * gibibyte)), builtIn) << available;
  }
}

}  // namespace
}  // namespace orvik
