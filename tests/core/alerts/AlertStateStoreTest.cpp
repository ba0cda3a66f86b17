#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "core/BuildConstants.h"
#include "core/alerts/AlertStateStore.h"
#include "core/system/ReplaceFile.h"
#include "core/system/UserDefaultsFile.h"
#include "tests/support/Corpus.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

using namespace std::string_literals;
using std::filesystem::path;
using std::filesystem::perms;

/// With every field set to something that a new engine does not have.
AlertEngine fullEngine() {
  AlertEngine engine(TimeMachineReminder{.at = 7, .backup = -8});
  engine.tempArmed = engine.diskArmed = engine.lowBatteryArmed = false;
  engine.lastOnAc = false;
  engine.tempHighSince = 1;
  engine.lastTempMs = INT64_MIN;
  engine.lastRaised = {{"temp_high", INT64_MAX}, {"disk_full", 0}};
  return engine;
}

/// Lets one operation fail, or all from there on, as if the machine had stopped. What is being
/// written at that moment is written half.
class FailingFiles final : public FileOperations {
 public:
  int failAt = -1;
  bool staysFailed = false;
  int count = 0;

  int open(const std::string& file) override { return fails() ? -1 : FileOperations::open(file); }
  ssize_t read(int file, char* to, std::size_t size) override {
    return fails() ? -1 : FileOperations::read(file, to, size);
  }
  int createTemporary(std::string& file) override {
    return fails() ? -1 : FileOperations::createTemporary(file);
  }
  ssize_t write(int file, const char* from, std::size_t size) override {
    const ssize_t written = FileOperations::write(file, from, (size + 1) / 2);
    return fails() ? -1 : written;
  }
  int sync(int file) override { return fails() ? -1 : FileOperations::sync(file); }
  int close(int file) override {
    const int result = FileOperations::close(file);
    return fails() ? -1 : result;
  }
  int rename(const std::string& from, const std::string& to) override {
    return fails() ? -1 : FileOperations::rename(from, to);
  }
  int remove(const std::string& file) override {
    return fails() ? -1 : FileOperations::remove(file);
  }
  int makeFolder(const std::string& folder) override {
    return fails() ? -1 : FileOperations::makeFolder(folder);
  }

 private:
  bool fails() {
    const int number = count++;
    const bool isFailing = failAt >= 0 && (staysFailed ? number >= failAt : number == failAt);
    errno = isFailing ? ENOSPC : errno;
    return isFailing;
  }
};

bool isTemporary(const std::filesystem::directory_entry& entry) {
  const auto name = entry.path().filename();
  return entry.is_regular_file() && name != "state" && name != "standard.json";
}

class AlertStateStoreTest : public testing::Test {
 protected:
  AlertStateStore defaults(std::optional<std::string> suite = std::nullopt) {
    return AlertStateStore::userDefaults(
        std::move(suite), "alertEngine",
        [this](const std::optional<std::string>& name) -> std::unique_ptr<UserDefaults> {
          if (name && !UserDefaultsFile::isDomain(*name)) {
            return nullptr;
          }
          return std::make_unique<UserDefaultsFile>(preferences, name.value_or("standard"), files);
        });
  }
  AlertStateStore file() { return AlertStateStore::file(folder.path / "state", files); }

  test::TemporaryFolder folder;
  path preferences = folder.path / "config" / "orvik";
  std::shared_ptr<FailingFiles> files = std::make_shared<FailingFiles>();
};

TEST_F(AlertStateStoreTest, GivesBackWhatWasSaved) {
  for (const AlertStateStore& store : {file(), defaults(), defaults("example.orvik.suite")}) {
    EXPECT_EQ(store.load(), std::nullopt);
    for (const AlertEngine& engine : {fullEngine(), AlertEngine()}) {
      store.save(engine);
      EXPECT_EQ(store.load(), engine);
    }
  }
  EXPECT_EQ(test::contentsOf(folder.path / "state"),
            R"({"diskArmed":true,"lowBatteryArmed":true,"tempArmed":true})");
  const AlertStateStore memory = AlertStateStore::memory();
  memory.save(fullEngine());
  EXPECT_EQ(memory.load(), std::nullopt);
}

TEST_F(AlertStateStoreTest, LoadsOnlyWholeRecords) {
  const auto loads = [&](const std::string& text) {
    folder.write("state", text);
    return file().load();
  };
  const auto with = [](const std::string& member) {
    return R"({"diskArmed":true,"lowBatteryArmed":true,"tempArmed":true)" + member + "}";
  };
  EXPECT_EQ(loads(with("")), AlertEngine());
  EXPECT_EQ(loads(with(R"(,"later":[{}])")), AlertEngine());
  const std::string full = fullEngine().json().text();
  for (std::size_t size = 0; size < full.size(); ++size) {
    EXPECT_EQ(loads(full.substr(0, size)), std::nullopt) << size;
  }
  for (const std::string& text :
       {"{}"s, "[]"s, "null"s, std::string(64, '\0'), std::string(100'000, '['), full + full,
        std::string(longestFile, ' ') + with(""), R"({"diskArmed":true,"lowBatteryArmed":true})"s,
        R"({"diskArmed":1,"lowBatteryArmed":true,"tempArmed":true})"s, with(R"(,"lastOnAc":"no")"),
        with(R"(,"lastOnAc":null)"), with(R"(,"tempHighSince":1.5)"), with(R"(,"lastTempMs":true)"),
        with(R"(,"lastRaised":[])"), with(R"(,"lastRaised":{"temp_high":"1"})"),
        with(R"(,"timeMachineReminder":{"at":1})"), with(R"(,"timeMachineReminder":7)")}) {
    EXPECT_EQ(loads(text), std::nullopt) << text.substr(0, 200);
  }
  std::filesystem::remove(folder.path / "state");
  ASSERT_EQ(mkfifo((folder.path / "state").c_str(), 0600), 0);
  EXPECT_EQ(file().load(), std::nullopt) << "a pipe that nobody writes to";
}

TEST_F(AlertStateStoreTest, AnInterruptedSaveLeavesTheOldStateOrTheNew) {
  using Stored = std::optional<AlertEngine>;
  for (const AlertStateStore& store : {file(), defaults()}) {
    for (const auto& [old, isCrash] : {std::pair<Stored, bool>{std::nullopt, false},
                                       {std::nullopt, true},
                                       {AlertEngine(), false},
                                       {AlertEngine(), true}}) {
      int kept = 0;
      int failAt = 0;
      // Until a save needs fewer operations than that, and all of it has been done.
      for (bool isDone = false; !isDone; ++failAt) {
        SCOPED_TRACE(failAt);
        std::filesystem::remove_all(folder.path);
        std::filesystem::create_directory(folder.path);
        if (old) {
          store.save(*old);
        }
        *files = FailingFiles();
        files->failAt = failAt;
        files->staysFailed = isCrash;
        store.save(fullEngine());
        isDone = files->count <= failAt;
        files->failAt = -1;
        const Stored loaded = store.load();
        EXPECT_TRUE(loaded == old || loaded == fullEngine());
        const bool isLeft = std::ranges::any_of(
            std::filesystem::recursive_directory_iterator(folder.path), isTemporary);
        EXPECT_TRUE(isCrash || !isLeft);
        kept += loaded == old ? 1 : 0;
        store.save(fullEngine());
        EXPECT_EQ(store.load(), fullEngine());
      }
      EXPECT_GE(kept, 5) << "before the new name";
      EXPECT_GE(failAt, kept + 3) << "the folder, and the run without a fault";
    }
  }
}

TEST_F(AlertStateStoreTest, PreferencesArePrivateAndKeepTheirOtherKeys) {
  UserDefaultsFile domain(preferences, "standard", files);
  const std::string bytes("\0\xFF\n", 3);
  EXPECT_TRUE(domain.set("other", bytes));
  defaults().save(fullEngine());
  EXPECT_EQ(domain.data("other"), bytes);
  EXPECT_EQ(domain.data("missing"), std::nullopt);
  EXPECT_EQ(defaults("suite").load(), std::nullopt);
  EXPECT_EQ(std::filesystem::status(preferences).permissions(), perms::owner_all);
  EXPECT_EQ(std::filesystem::status(preferences / "standard.json").permissions(),
            perms::owner_read | perms::owner_write);
  // A suite that cannot be opened is the standard domain.
  for (const std::string& name : {""s, "../outside"s, "/absolute"s, "a\0b"s}) {
    EXPECT_EQ(defaults(name).load(), fullEngine()) << name;
  }
  // What cannot be read now may be readable later, and is not replaced.
  files->failAt = files->count;
  EXPECT_FALSE(domain.set("third", "3"));
  EXPECT_EQ(domain.data("other"), bytes);
}

TEST_F(AlertStateStoreTest, DamagedPreferencesStayUntilTheNextSave) {
  std::filesystem::create_directories(preferences);
  for (const std::string& damaged :
       {R"({"alertEngine":"e30)"s, "[1]"s, "\xFF\xFE"s, R"({"alertEngine":7})"s,
        R"({"alertEngine":"*"})"s, R"({"alertEngine":"e30"})"s,
        std::string(longestFile + 1, '[')}) {
    folder.write("config/orvik/standard.json", damaged);
    EXPECT_EQ(defaults().load(), std::nullopt);
    EXPECT_EQ(test::contentsOf(preferences / "standard.json"), damaged);
    defaults().save(fullEngine());
    EXPECT_EQ(defaults().load(), fullEngine());
  }
}

#ifdef __linux__
TEST_F(AlertStateStoreTest, PreferencesFollowTheDesktopsRules) {
  using Variable = std::optional<std::string>;
  const auto exchange = [](const char* name, const Variable& value) {
    const char* found = std::getenv(name);
    const Variable former = found == nullptr ? Variable() : found;
    value ? setenv(name, value->c_str(), 1) : unsetenv(name);
    return former;
  };
  const std::string home = folder.path / "home";
  const std::string config = folder.path / "xdg";
  const Variable formerHome = exchange("HOME", home);
  const Variable formerConfig = exchange("XDG_CONFIG_HOME", config);
  const std::string file = "/orvik/"s + build::applicationId + ".json";
  EXPECT_TRUE(openUserDefaults(std::nullopt)->set("key", "value"));
  EXPECT_TRUE(std::filesystem::exists(config + file));
  for (const Variable& unusable : {Variable("relative"), Variable(""), Variable()}) {
    exchange("XDG_CONFIG_HOME", unusable);
    EXPECT_TRUE(openUserDefaults(std::nullopt)->set("key", "value"));
    EXPECT_TRUE(std::filesystem::remove(home + "/.config" + file));
  }
  EXPECT_EQ(openUserDefaults("a/b"), nullptr);
  exchange("HOME", std::nullopt);
  EXPECT_FALSE(openUserDefaults(std::nullopt)->set("key", "value"));
  EXPECT_EQ(openUserDefaults(std::nullopt)->data("key"), std::nullopt);
  exchange("HOME", formerHome);
  exchange("XDG_CONFIG_HOME", formerConfig);
}
#endif

TEST(AlertStateStore, InTheBackgroundTheNewestStateIsSavedAtTheLatestAtItsEnd) {
  std::vector<AlertEngine> saved;
  AlertStateStore store = AlertStateStore::memory();
  store.save = [&](const AlertEngine& engine) { saved.push_back(engine); };
  store = AlertStateStore::inBackground(std::move(store));
  AlertEngine engine;
  for (engine.lastTempMs = 1; *engine.lastTempMs <= 100; ++*engine.lastTempMs) {
    store.save(engine);
  }
  store = AlertStateStore::memory();
  ASSERT_FALSE(saved.empty());
  EXPECT_EQ(saved.back().lastTempMs, 100);
  EXPECT_TRUE(std::ranges::is_sorted(saved, {}, &AlertEngine::lastTempMs));
}

}  // namespace
}  // namespace orvik
