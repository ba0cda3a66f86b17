#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>

#include "core/sampling/linux/DevicesReader.h"
#include "core/sampling/linux/MachineInfoReader.h"
#include "tests/support/Corpus.h"
#include "tests/support/FixtureTree.h"

namespace orvik {
namespace {

using test::FixtureTree;

constexpr std::chrono::hours timeout{1};
constexpr const char* noBus = "unix:path=/nonexistent/bus";

/// The start-up volume has 1000 bytes and the others 500.
std::optional<VolumeCapacity> fixedCapacity(const std::string& place) {
  if (place.ends_with("gone")) {
    return std::nullopt;
  }
  return place == "/" ? VolumeCapacity{1000, 400} : VolumeCapacity{500, 200};
}

/// All that is connected to a machine whose services are not there.
JSONObject connectionsOf(const std::string& root, const VolumeReader::CapacityOf& capacityOf,
                         const std::optional<std::string>& timeMachineDisk = {}) {
  const auto volumes = VolumeReader(root, capacityOf, timeout).read();
  const DevicesReader::Outside outside{
      .reverseName = [](const std::string&) { return "router.lan..\nother"; },
      .busAddress = noBus,
      .networkLimits = {.routerName = timeout}};
  JSONObject connections = DevicesReader(root, outside).read(volumes, Instant());
  connections.set("volumes", volumesJSON(volumes, timeMachineDisk));
  return connections;
}

TEST(DevicesReader, DescribesWholeMachines) {
  const auto lines = test::linesOf("linux/devices.txt");
  ASSERT_EQ(lines.size(), 18U);
  for (std::size_t i = 0; i < lines.size(); i += 3) {
    const std::string& machine = lines[i];
    SCOPED_TRACE(machine);
    const FixtureTree tree = machine.starts_with("odd")
                                 ? FixtureTree{"laptop-devices", "board-devices", machine}
                                 : FixtureTree{machine};
    const auto connections = connectionsOf(tree.root().string(), fixedCapacity, "back\\up");
    EXPECT_EQ(JSONValue(connections).text(), lines[i + 1]);
    JSONObject described = MachineInfoReader(tree.root().string()).read();
    // The PNG signature and the start of its header: 13 bytes, "IHDR", 128 wide, 128 high.
    EXPECT_TRUE(
        described.get<std::string>("icon_png")->starts_with("iVBORw0KGgoAAAANSUhEUgAAAIAAAACA"));
    described.erase("icon_png");
    EXPECT_EQ(JSONValue(described).text(), lines[i + 2]);
  }
}

TEST(DevicesReader, AsksForTheRoutersNameOnceInFiveMinutes) {
  const FixtureTree tree({"laptop-devices"});
  const auto asked = std::make_shared<std::atomic<int>>(0);
  const auto nameOf = [asked](const std::string&) -> std::optional<std::string> {
    static constexpr const char* answers[] = {"first.", "_gateway", ".", "last"};
    return answers[asked->fetch_add(1)];
  };
  NetworkReader network(tree.root().string(), nameOf, {.routerName = timeout});
  SystemBus bus(noBus);
  const std::pair<int, std::string> steps[] = {{0, R"("first")"}, {299, R"("first")"},
                                               {300, "null"},     {599, "null"},
                                               {600, "null"},     {900, R"("last")"}};
  for (const auto& [second, router] : steps) {
    const std::string text = network.read(bus, Instant(std::chrono::seconds(second))).text();
    EXPECT_NE(text.find("\"router\":" + router), std::string::npos) << second << ": " << text;
  }
  EXPECT_EQ(*asked, 4);
}

TEST(DevicesReader, TheRouterKeepsItsNameUntilTheNameServiceHasAnswered) {
  const FixtureTree tree({"laptop-devices"});
  const auto isFirst = std::make_shared<std::atomic<bool>>(true);
  const auto service = std::make_shared<std::promise<void>>();
  const auto nameOf = [isFirst, service](const std::string&) -> std::optional<std::string> {
    if (isFirst->exchange(false)) {
      return "first";
    }
    service->get_future().wait();
    return std::nullopt;
  };
  NetworkReader network(tree.root().string(), nameOf, {.routerName = std::chrono::milliseconds(1)});
  SystemBus bus(noBus);
  const auto isNamed = [&](int second) {
    const std::string text = network.read(bus, Instant(std::chrono::seconds(second))).text();
    return text.find(R"("router":"first")") != std::string::npos;
  };
  while (!isNamed(0)) {
  }
  for (const int second : {299, 300, 310, 599, 600}) {
    EXPECT_TRUE(isNamed(second)) << second;
  }
  service->set_value();
  while (isNamed(610)) {
  }
}

TEST(DevicesReader, AVolumeIsAsLargeAsTheSystemSays) {
  const std::filesystem::space_info space = std::filesystem::space("/");
  const auto capacity = readCapacity("/");
  ASSERT_TRUE(capacity);
  EXPECT_EQ(capacity->size, static_cast<std::int64_t>(space.capacity));
  EXPECT_NEAR(static_cast<double>(capacity->free), static_cast<double>(space.available), 5e9);
  EXPECT_FALSE(readCapacity("/no such folder"));
}

}  // namespace
}  // namespace orvik
