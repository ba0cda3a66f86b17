#include <gtest/gtest.h>

#include <sstream>

#include "core/sampling/linux/BluetoothReader.h"
#include "core/sampling/linux/CoreTypes.h"
#include "core/sampling/linux/CounterRate.h"
#include "core/sampling/linux/EDID.h"
#include "core/sampling/linux/KernelText.h"
#include "core/sampling/linux/MachineInfoReader.h"
#include "core/sampling/linux/MachineNames.h"
#include "core/sampling/linux/RouteTable.h"
#include "core/system/HostName.h"
#include "core/system/linux/HostName.h"
#include "core/values/JSONMembers.h"
#include "core/values/NumberText.h"
#include "tests/support/FixtureTree.h"
#include "tests/support/Table.h"

namespace orvik {
namespace {

TEST(Texts, ADamagedDisplayRecordIsNone) {
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

JSONValue ticks(std::string_view stat) {
  const auto times = KernelText::processorTimes(stat);
  JSONValue::Array array;
  for (const auto count :
       {&KernelText::ProcessorTimes::user, &KernelText::ProcessorTimes::nice,
        &KernelText::ProcessorTimes::system, &KernelText::ProcessorTimes::idle,
        &KernelText::ProcessorTimes::waiting, &KernelText::ProcessorTimes::interrupts,
        &KernelText::ProcessorTimes::softInterrupts, &KernelText::ProcessorTimes::stolen}) {
    if (times) {
      array.push_back(static_cast<std::int64_t>((*times).*count));
    }
  }
  return times ? JSONValue(array) : JSONValue();
}

/// The rates of a counter with this range and at most 1000 a second, of which readings follow, each
/// behind the seconds since the last.
JSONValue rates(std::string_view text) {
  std::istringstream words{std::string(text)};
  std::int64_t range = 0;
  words >> range;
  CounterRate rate(1000);
  Instant now(std::chrono::hours(1));
  JSONValue::Array list;
  for (std::int64_t later = 0, value = 0; words >> later >> value;) {
    now += std::chrono::seconds(later);
    list.push_back(orNull(rate.update(now, value, range)));
  }
  return list;
}

const test::Parsers parsers{
    {"ticks", ticks},
    {"rates", rates},
    {"process",
     [](auto text) {
       const auto process = KernelText::processTimes(text);
       return process ? JSONValue::Array{process->name, static_cast<std::int64_t>(process->used),
                                         static_cast<std::int64_t>(process->startedAt)}
                      : JSONValue();
     }},
    {"meminfo",
     [](auto text) {
       const auto memory = KernelText::memory(text);
       return memory ? JSONValue::Array{memory->total, memory->used, memory->swapUsed}
                     : JSONValue();
     }},
    {"mean MHz", [](auto text) { return orNull(KernelText::averageMHz(text)); }},
    {"CPUs",
     [](auto text) {
       const auto cpus = parseCPUList(text);
       return JSONValue::Array(cpus.begin(), cpus.end());
     }},
    {"Bluetooth", [](auto text) { return bluetoothMembers(readJSON(text)); }},
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

TEST(Texts, GiveWhatIsWrittenBesideThem) {
  test::expectTable("linux/texts.txt", parsers);
  EXPECT_EQ(displayName("\x81tat\n"), "\uFFFDtat");
  EXPECT_EQ(parseCPUList("0-2000000000,0-2000000000").size(), 8192U);
}

TEST(CoreTypes, CoresOfNoListedKindAreSmallOnes) {
  const test::FixtureTree tree{"desktop"};
  tree.write("sys/devices/system/cpu/present", "0-9\n");
  tree.write("sys/devices/system/cpu/online", "0-5\n");
  EXPECT_EQ(readCoreTypes(tree.root()), (CoreTypes{{0, 1}, {2, 3, 4, 5}}));
}

TEST(HostName, IsThePrettyNameOfTheMachineInfo) {
  test::expectTable("linux/host-names.txt",
                    {{"name", [](auto text) { return orNull(prettyHostName(text)); }}});
  EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\xff"), std::nullopt);
  const auto ours = localizedHostName();
  EXPECT_TRUE(!ours || presentableName(*ours) == ours);
}

}  // namespace
}  // namespace orvik
