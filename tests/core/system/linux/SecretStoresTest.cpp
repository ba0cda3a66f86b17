#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <functional>
#include <thread>
#include <utility>

#include "core/system/linux/SecretFile.h"
#include "core/system/linux/SecretServiceStore.h"
#include "core/system/linux/SystemBus.h"
#include "tests/support/BusDaemon.h"
#include "tests/support/Corpus.h"
#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

const SecretStore::Key key{.service = "example.Test", .account = "pairing"};
const Bytes secret{'s', 0, '\n', 0xFF, 'x'};
constexpr SecretServiceStore::Limits generous{.answer = 1min, .prompt = 1min, .rest = 0s};
constexpr SecretServiceStore::Limits hasty{.answer = 200ms, .prompt = 200ms, .rest = 0s};

constexpr const char* busVariable = "DBUS_SESSION_BUS_ADDRESS";

/// A keyring as a desktop has it, unlocked, on a bus and in a home of its own.
struct Keyring {
  explicit Keyring(bool isUnlocked = true) {
    daemon.folder.write("password", "open sesame");
    start(isUnlocked);
  }
  ~Keyring() { end(); }

  /// In the keyring's surroundings.
  [[nodiscard]] std::string command(const std::string& line) const {
    return "export X=" + daemon.folder.path.string() +
           "; HOME=$X XDG_DATA_HOME=$X XDG_CACHE_HOME=$X XDG_CONFIG_HOME=$X XDG_RUNTIME_DIR=$X "
           "exec " +
           line;
  }
  void start(bool isUnlocked) {
    std::string shell = "sh";
    std::string option = "-c";
    std::string line = command("gnome-keyring-daemon --foreground --components=secrets " +
                               std::string(isUnlocked ? "--unlock <$X/password" : "</dev/null") +
                               " >/dev/null 2>&1");
    const std::array<char*, 4> words{shell.data(), option.data(), line.data(), nullptr};
    ASSERT_EQ(posix_spawnp(&service, "sh", nullptr, nullptr, words.data(), environ), 0);
    SystemBus bus(daemon.address);
    bus.allow(1min);
    // It is on the bus before its collections are, and those before they are unlocked.
    const std::string root = "/org/freedesktop/secrets";
    const auto isThere = [&] {
      const char* const name = SecretServiceStore::serviceName;
      return isUnlocked ? bus.property(name, root + "/aliases/default",
                                       "org.freedesktop.Secret.Collection",
                                       "Locked") == UntypedValue(false)
                        : bus.property(name, root, "org.freedesktop.Secret.Service",
                                       "Collections") != std::nullopt;
    };
    while (!bus.isLate() && !isThere()) {
      std::this_thread::sleep_for(2ms);
    }
  }
  void end() {
    if (service > 0) {
      kill(service, SIGKILL);
      waitpid(std::exchange(service, 0), nullptr, 0);
    }
  }
  /// What another client prints.
  [[nodiscard]] std::string tool(const std::string& arguments) const {
    const std::string line = command("secret-tool " + arguments + " >$X/printed 2>&1");
    EXPECT_NE(std::system(line.c_str()), -1);
    return test::contentsOf(daemon.folder.path / "printed");
  }

  test::BusDaemon daemon;
  test::Environment session{busVariable, daemon.address};
  pid_t service = 0;
};

/// Is there to ask the user for a password, but never comes back.
struct SilentPrompter {
  explicit SilentPrompter(const std::string& address) {
    EXPECT_GE(sd_bus_new(&bus), 0);
    sd_bus_set_address(bus, address.c_str());
    sd_bus_set_bus_client(bus, 1);
    EXPECT_GE(sd_bus_start(bus), 0);
    EXPECT_GE(sd_bus_request_name(bus, "org.gnome.keyring.SystemPrompter", 0), 0);
  }
  ~SilentPrompter() { sd_bus_close_unref(bus); }
  void awaitPrompt() const {
    for (bool isAsked = false; !isAsked;) {
      sd_bus_message* message = nullptr;
      if (sd_bus_process(bus, &message) == 0) {
        sd_bus_wait(bus, UINT64_MAX);
      }
      isAsked = message != nullptr &&
                sd_bus_message_is_method_call(message, nullptr, "BeginPrompting") > 0;
      sd_bus_message_unref(message);
    }
  }

  sd_bus* bus = nullptr;
};

/// The item under the key: its data, "none", or why nobody can say.
std::string found(SecretServiceStore& store) {
  try {
    const auto data = store.find(key);
    return data ? std::string(textOf(*data)) : "none";
  } catch (const SecretStore::Locked&) {
    return "locked";
  } catch (const SecretStore::Absent&) {
    return "absent";
  } catch (const SecretStore::Unreadable&) {
    return "unreadable";
  }
}
std::string found(const SecretServiceStore::Limits& limits) {
  SecretServiceStore store(limits);
  return found(store);
}
const std::string whole(textOf(secret));

void expectNothingWorks(SecretServiceStore store, const std::string& reason) {
  EXPECT_EQ(found(store), reason);
  EXPECT_FALSE(store.remove(key));
  EXPECT_FALSE(store.add(key, "Orvik pairing", Bytes{1}));
}

TEST(SecretServiceStore, AnotherClientFindsTheOneItem) {
  const Keyring keyring;
  SecretServiceStore store(generous);
  EXPECT_EQ(found(store), "none");
  for (const Bytes& data : {Bytes{1, 2, 3}, secret}) {
    EXPECT_TRUE(store.remove(key));
    EXPECT_TRUE(store.add(key, "Orvik pairing", data));
    EXPECT_EQ(found(store), textOf(data));
  }
  EXPECT_EQ(store.find({.service = key.service, .account = "other"}), std::nullopt);
  const std::string query = " service example.Test account pairing";
  const std::string all = keyring.tool("search --all" + query);
  for (const auto* line : {"label = Orvik pairing\n", "attribute.service = example.Test\n",
                           "attribute.account = pairing\n"}) {
    EXPECT_EQ(all.find(line), all.rfind(line)) << all;
    EXPECT_NE(all.find(line), std::string::npos) << all;
  }
  EXPECT_EQ(keyring.tool("lookup" + query), whole);
  EXPECT_TRUE(store.remove(key));
  EXPECT_EQ(keyring.tool("search --all" + query), "");
}

TEST(SecretServiceStore, ALockedItemIsUnreadableAndStays) {
  Keyring keyring;
  ASSERT_TRUE(SecretServiceStore(generous).add(key, "Orvik pairing", secret));
  EXPECT_EQ(keyring.tool("lock --collection=login"), "");
  expectNothingWorks(SecretServiceStore(generous), "locked");
  // Nobody can ask the user.
  EXPECT_FALSE(SecretServiceStore(generous).unlock(key));
  {
    // The service dies while the user is asked.
    SilentPrompter prompter(keyring.daemon.address);
    std::thread waiting([&] { EXPECT_FALSE(SecretServiceStore(generous).unlock(key)); });
    prompter.awaitPrompt();
    // Nothing else waits for the user.
    expectNothingWorks(SecretServiceStore(generous), "locked");
    keyring.end();
    waiting.join();
  }
  keyring.start(true);
  EXPECT_EQ(keyring.tool("lock --collection=login"), "");
  {
    // The user does not answer.
    const SilentPrompter prompter(keyring.daemon.address);
    EXPECT_FALSE(SecretServiceStore({.answer = 1min, .prompt = 100ms, .rest = 0s}).unlock(key));
  }
  keyring.end();
  keyring.start(true);
  EXPECT_EQ(found(generous), whole);
}

TEST(SecretServiceStore, WithoutACollectionThereIsNoStore) {
  const Keyring empty(false);
  SecretServiceStore store(generous);
  EXPECT_EQ(found(store), "absent");
  EXPECT_TRUE(store.remove(key));
  EXPECT_FALSE(store.add(key, "Orvik pairing", secret));
}

TEST(SecretServiceStore, AServiceThatDiesOrIsSilentIsNotWaitedFor) {
  Keyring keyring;
  ASSERT_TRUE(SecretServiceStore(generous).add(key, "Orvik pairing", secret));
  kill(keyring.service, SIGSTOP);
  expectNothingWorks(SecretServiceStore(hasty), "unreadable");
  SecretServiceStore resting({.answer = 200ms, .prompt = 200ms, .rest = 1h});
  EXPECT_EQ(found(resting), "unreadable");
  std::thread waiting([&] { EXPECT_NE(found(generous), whole); });
  keyring.end();
  waiting.join();
  expectNothingWorks(SecretServiceStore(generous), "absent");
  keyring.start(true);
  EXPECT_EQ(found(generous), whole);
  EXPECT_EQ(found(resting), "unreadable") << "what did not answer is left alone for a while";
  // The bus itself, which the services do not survive.
  kill(keyring.daemon.daemon, SIGSTOP);
  expectNothingWorks(SecretServiceStore(hasty), "unreadable");
  kill(keyring.daemon.daemon, SIGCONT);
  keyring.daemon.end();
  expectNothingWorks(SecretServiceStore(generous), "absent");
}

TEST(SecretServiceStore, ABusThatSaysNothingIsNoBus) {
  const test::TemporaryFolder folder;
  const std::string path = (folder.path / "socket").string();
  boost::asio::io_context context;
  const boost::asio::local::stream_protocol::acceptor listener(context, path);
  for (const auto& [address, reason] : {std::pair("unix:path=" + path, "unreadable"),
                                        {std::string("nonsense"), "absent"},
                                        {std::string(), "absent"}}) {
    const test::Environment bus(busVariable, address);
    expectNothingWorks(SecretServiceStore(hasty), reason);
  }
}

struct SecretFileTest : testing::Test {
  test::TemporaryFolder home;
  fs::path folder = home.path / "share" / "orvik";
  fs::path file = folder / "example.Test.pairing";
  SecretFile store{folder};
};

TEST_F(SecretFileTest, AnItemIsAFileOfItsOwnerAlone) {
  EXPECT_EQ(store.find(key), std::nullopt);
  EXPECT_TRUE(store.remove(key));
  fs::create_directories(folder);
  fs::permissions(folder, fs::perms(0755));
  ASSERT_TRUE(store.add(key, "Label", Bytes{1, 2}));
  ASSERT_TRUE(store.add(key, "Label", secret));
  EXPECT_EQ(store.find(key), secret);
  EXPECT_EQ(store.find({.service = key.service, .account = "other"}), std::nullopt);
  EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
  EXPECT_EQ(fs::status(folder).permissions(), fs::perms(0700));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
  // Left by a program that was ended in the midst of it; the second is somebody else's.
  home.write("share/orvik/example.Test.pairing.a1B2c3", "secret");
  home.write("share/orvik/example.Test.pairing.mine", "secret");
  EXPECT_TRUE(store.remove(key));
  EXPECT_EQ(store.find(key), std::nullopt);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
  fs::remove(folder / "example.Test.pairing.mine");
}

TEST_F(SecretFileTest, WhatOthersCouldHaveSeenOrMadeIsNotRead) {
  const std::function<void()> spoilers[] = {
      [&] { chmod(file.c_str(), 0640); },
      [&] { chmod(file.c_str(), 0604); },
      [&] { chmod(file.c_str(), 0602); },
      [&] { fs::rename(file, folder / "x"), fs::create_symlink("x", file); },
      [&] { fs::remove(file), fs::create_directory(file); },
      [&] { fs::remove(file), mkfifo(file.c_str(), 0600); },
      [&] { fs::resize_file(file, std::uintmax_t{1} << 40U); },
      // Only root can give a file away.
      [&] { geteuid() == 0 ? chown(file.c_str(), 1, 1) : unlink(file.c_str()); },
  };
  for (const auto& spoil : spoilers) {
    ASSERT_TRUE(store.add(key, "Label", secret));
    ASSERT_EQ(store.find(key), secret);
    spoil();
    if (&spoil - spoilers < 3) {
      EXPECT_THROW((void)store.find(key), SecretStore::Unreadable) << "this user's, and no other";
    } else {
      EXPECT_EQ(store.find(key), std::nullopt) << &spoil - spoilers;
    }
    fs::remove_all(file);
  }
}

TEST_F(SecretFileTest, WhatCannotBeOpenedIsNoReasonForAnother) {
  ASSERT_TRUE(store.add(key, "Label", secret));
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t former = std::exchange(limit.rlim_cur, 0);
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_THROW((void)store.find(key), SecretStore::Unreadable);
  limit.rlim_cur = former;
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(store.find(key), secret);
  // Without a place nothing is stored.
  home.write("file", "");
  for (const fs::path& nowhere : {fs::path(), home.path / "file" / "orvik", home.path / "file"}) {
    SecretFile without(nowhere);
    EXPECT_FALSE(without.add(key, "Label", secret)) << nowhere;
    EXPECT_EQ(without.find(key), std::nullopt);
  }
  EXPECT_FALSE(store.add({.service = "a", .account = "/../b"}, "Label", secret));
}

}  // namespace
}  // namespace orvik
