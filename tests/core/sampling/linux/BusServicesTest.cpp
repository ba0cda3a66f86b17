#include <gtest/gtest.h>
#include <signal.h>
#include <systemd/sd-bus.h>

#include <atomic>
#include <functional>
#include <thread>

#include "core/sampling/linux/BluetoothReader.h"
#include "core/sampling/linux/NetworkReader.h"
#include "tests/support/BusDaemon.h"
#include "tests/support/FixtureTree.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;

/// A bus of the test's own, and one program on it that has the names of the system's services.
class PrivateBus : public test::BusDaemon {
 public:
  /// Answers a call by sending a reply, or does not.
  using Service = std::function<void(sd_bus_message* call, const std::string& method)>;

  explicit PrivateBus(Service answering) : service(std::move(answering)) {
    EXPECT_GE(sd_bus_new(&bus), 0);
    sd_bus_set_address(bus, address.c_str());
    sd_bus_set_bus_client(bus, 1);
    EXPECT_GE(sd_bus_start(bus), 0);
    EXPECT_GE(sd_bus_request_name(bus, "org.bluez", 0), 0);
    EXPECT_GE(sd_bus_request_name(bus, "org.freedesktop.NetworkManager", 0), 0);
    sd_bus_add_filter(bus, nullptr, onMessage, this);
    serving = std::thread([this] {
      while (sd_bus_process(bus, nullptr) >= 0 && sd_bus_wait(bus, UINT64_MAX) >= 0) {
      }
    });
  }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;
  ~PrivateBus() {
    // Without its bus the service ends.
    end();
    serving.join();
    sd_bus_close_unref(bus);
  }

 private:
  static int onMessage(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
    if (sd_bus_message_is_method_call(message, nullptr, nullptr) > 0) {
      static_cast<PrivateBus*>(self)->service(message, sd_bus_message_get_member(message));
      return 1;
    }
    return 0;
  }

  Service service;
  sd_bus* bus = nullptr;
  std::thread serving;
};

/// Knows a device for one interface, and the name of its connection.
void answerAsNetworkService(sd_bus_message* call, const std::string& method) {
  const char* first = nullptr;
  const char* second = nullptr;
  sd_bus_message_read(call, "s", &first);
  if (method == "GetDeviceByIpIface" && first == std::string("enp0s31f6")) {
    sd_bus_reply_method_return(call, "o", "/device/3");
  } else if (method == "Get" && sd_bus_message_read(call, "s", &second) > 0) {
    const bool isDevice = sd_bus_message_get_path(call) == std::string("/device/3");
    if (isDevice && second == std::string("ActiveConnection")) {
      sd_bus_reply_method_return(call, "v", "o", "/active/1");
    } else {
      sd_bus_reply_method_return(call, "v", "s", second == std::string("Id") ? "Zu Hause" : "?");
    }
  } else {
    sd_bus_reply_method_errorf(call, SD_BUS_ERROR_FAILED, "no device has it");
  }
}

std::optional<std::string> noName(const std::string& /*address*/) { return std::nullopt; }

std::string linked(const std::string& link, const std::string& gateway) {
  return R"({"gateway":")" + gateway + R"(","link":")" + link + R"(","router":null})";
}

JSONObject readBluetooth(const std::string& address, std::chrono::milliseconds limit) {
  SystemBus bus(address);
  return BluetoothReader(limit).read(bus, Instant());
}

TEST(BusServices, ConnectedBluetoothDevicesAreListedByName) {
  const PrivateBus bus([](sd_bus_message* call, const std::string&) {
    sd_bus_reply_method_return(
        call, "a{oa{sa{sv}}}", 3, "/org/bluez/hci0", 1, "org.bluez.Adapter1", 1, "Powered", "b", 1,
        "/org/bluez/hci0/dev_1", 2, "org.bluez.Device1", 5, "Alias", "s", "Zoë's buds", "Connected",
        "b", 1, "Icon", "s", "audio-headset", "RSSI", "n", -50, "ManufacturerData", "a{qv}", 1, 76,
        "ay", 2, 1, 2, "org.bluez.Battery1", 1, "Percentage", "y", 87, "/org/bluez/hci0/dev_2", 2,
        "org.bluez.Device1", 3, "Alias", "s", "Left", "Connected", "b", 0, "UUIDs", "as", 2, "a",
        "b", "org.bluez.Battery1", 1, "Percentage", "y", 40);
  });
  EXPECT_EQ(
      JSONValue(readBluetooth(bus.address, 1h)).text(),
      R"({"bluetooth":[{"battery":87,"kind":"headset","name":"Zoë's buds"}],"bluetooth_on":true})");
}

TEST(BusServices, TheLinkHasTheNameOfItsConnectionWhichASilentServiceIsNotAskedFor) {
  std::atomic<int> asked = 0;
  std::atomic<bool> isSilent = false;
  const PrivateBus services([&](sd_bus_message* call, const std::string& method) {
    ++asked;
    if (!isSilent) {
      answerAsNetworkService(call, method);
    }
  });
  const test::FixtureTree tree({"laptop-devices"});
  NetworkReader network(tree.root().string(), noName, {.connectionName = 1s, .routerName = 1h});
  SystemBus bus(services.address);
  struct Step {
    int second;
    bool silent;
    int asked;
    const char* link;
  };
  // Three questions, of which a silent service hears only the first.
  for (const Step& step : {Step{0, false, 3, "Zu Hause"},
                           {40, true, 4, "Zu Hause"},
                           {89, false, 4, "Zu Hause"},
                           {90, false, 4, "enp0s31f6"},
                           {99, false, 4, "enp0s31f6"},
                           {100, false, 7, "Zu Hause"}}) {
    isSilent = step.silent;
    const std::string read = network.read(bus, Instant(std::chrono::seconds(step.second))).text();
    EXPECT_EQ(read, linked(step.link, "192.168.1.254")) << step.second;
    EXPECT_EQ(asked, step.asked) << step.second;
  }
  tree.write("proc/net/route", "wg0 00000000 0101A8C0 0003 0 0 0 00000000 0 0 0\n");
  EXPECT_EQ(network.read(bus, Instant(110s)).text(), linked("wg0", "192.168.1.1"));
}

TEST(BusServices, SilenceIsNoReply) {
  const PrivateBus silent([](sd_bus_message*, const std::string&) {});
  SystemBus bus(silent.address);
  BluetoothReader bluetooth(50ms);
  EXPECT_TRUE(bluetooth.read(bus, Instant()).empty());
  EXPECT_TRUE(bus.isLate());
  bus.allow(1h);
  EXPECT_TRUE(bluetooth.read(bus, Instant(59s)).empty());
  EXPECT_FALSE(bus.isLate());
  EXPECT_TRUE(bluetooth.read(bus, Instant(60s)).empty());
  EXPECT_TRUE(bus.isLate());

  // A bus to which one can connect, and which never says a word.
  test::BusDaemon stopped;
  kill(stopped.daemon, SIGSTOP);
  EXPECT_TRUE(readBluetooth(stopped.address, 50ms).empty());
  kill(stopped.daemon, SIGCONT);
  stopped.end();
  for (const std::string& address : {stopped.address, std::string("nonsense")}) {
    EXPECT_TRUE(readBluetooth(address, 1h).empty());
  }
}

}  // namespace
}  // namespace orvik
