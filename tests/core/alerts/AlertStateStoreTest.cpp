#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <mutex>

#include "core/BuildConstants.h"
#include "core/alerts/AlertStateStore.h"
#include "core/system/ReplaceFile.h"
#include "core/system/UserDefaultsFile.h"
#include "tests/support/Corpus.h"
#include "tests/support/Environment.h"
#include "tests/support/ManualClock.h"
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

struct AlertStateStoreTest : testing::Test {
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

TEST_F(AlertStateStoreTest, LoadsOnlyWholeRecords) {
  const std::string full = fullEngine().json().text();
  const auto loads = [&](const std::string& text) {
    folder.write("state", text);
    return file().load();
  };
  EXPECT_EQ(loads(full), fullEngine());
  for (std::size_t size = 0; size < full.size(); ++size) {
    EXPECT_EQ(loads(full.substr(0, size)), std::nullopt) << size;
  }
  for (const std::string& text :
       {std::string(100'000, '['), full + full, std::string(longestFile, ' ') + full}) {
    EXPECT_EQ(loads(text), std::nullopt) << text.substr(0, 200);
  }
  std::filesystem::remove(folder.path / "state");
  ASSERT_EQ(mkfifo((folder.path / "state").c_str(), 0600), 0);
  EXPECT_EQ(file().load(), std::nullopt) << "a pipe that nobody writes to";
}

TEST_F(AlertStateStoreTest, AnInterruptedSaveLeavesTheOldStateOrTheNew) {
  for (const unsigned way : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U}) {
    const auto old = (way & 1U) != 0 ? std::optional(AlertEngine()) : std::nullopt;
    const bool isCrash = (way & 2U) != 0;
    const AlertStateStore store = (way & 4U) != 0 ? defaults() : file();
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
      const auto loaded = store.load();
      EXPECT_TRUE(loaded == old || loaded == fullEngine());
      const std::filesystem::recursive_directory_iterator left(folder.path);
      EXPECT_TRUE(isCrash || std::ranges::none_of(left, isTemporary));
      kept += loaded == old ? 1 : 0;
      store.save(fullEngine());
      EXPECT_EQ(store.load(), fullEngine());
    }
    EXPECT_GE(kept, 5) << "before the new name";
    EXPECT_GE(failAt, kept + 3) << "the folder, and the run without a fault";
  }
}

TEST_F(AlertStateStoreTest, PreferencesArePrivateKeepTheirOtherKeysAndOutliveDamage) {
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
  for (const std::string& name : {""s, "../outside"s, "a\0b"s}) {
    EXPECT_EQ(defaults(name).load(), fullEngine()) << name;
  }
  // What cannot be read now may be readable later, and is not replaced.
  files->failAt = files->count;
  EXPECT_FALSE(domain.set("third", "3"));
  EXPECT_EQ(domain.data("other"), bytes);
  for (const std::string& damaged :
       {R"({"alertEngine":"e30)"s, "[1]"s, R"({"alertEngine":7})"s, R"({"alertEngine":"*"})"s,
        std::string(longestFile + 1, '[')}) {
    folder.write("config/orvik/standard.json", damaged);
    EXPECT_EQ(defaults().load(), std::nullopt);
    EXPECT_EQ(test::contentsOf(preferences / "standard.json"), damaged) << "until the next save";
    defaults().save(fullEngine());
    EXPECT_EQ(defaults().load(), fullEngine());
  }
}

#ifdef __linux__
TEST_F(AlertStateStoreTest, PreferencesFollowTheDesktopsRules) {
  const std::string config = folder.path / "xdg";
  const std::string inHome = folder.path / ".config";
  const test::Environment home("HOME", folder.path.string());
  for (const auto& [variable, place] :
       {std::pair{std::optional(config), config}, {"relative", inHome}, {std::nullopt, inHome}}) {
    const test::Environment named("XDG_CONFIG_HOME", variable);
    EXPECT_TRUE(openUserDefaults(std::nullopt)->set("key", "value"));
    EXPECT_TRUE(std::filesystem::remove(place + "/orvik/" + build::applicationId + ".json"));
  }
  EXPECT_EQ(openUserDefaults("a/b"), nullptr);
  const test::Environment homeless("HOME", std::nullopt);
  const test::Environment unnamed("XDG_CONFIG_HOME", std::nullopt);
  EXPECT_FALSE(openUserDefaults(std::nullopt)->set("key", "value"));
  EXPECT_EQ(openUserDefaults(std::nullopt)->data("key"), std::nullopt);
}
#endif

TEST(AlertStateStore, WrittenBehindNewsReachTheDiskAtOnceAndTheRestEveryTenMinutes) {
  std::mutex lock;
  std::condition_variable changed;
  std::vector<AlertEngine> written;
  AlertStateStore disk = AlertStateStore::memory();
  disk.save = [&](const AlertEngine& engine) {
    const std::lock_guard guard(lock);
    written.push_back(engine);
    changed.notify_all();
  };
  asio::io_context context;
  const auto clock = std::make_shared<test::ManualClock>(context);
  AlertStateStore store = AlertStateStore::writeBehind(disk, clock);
  EXPECT_EQ(store.load(), std::nullopt);
  AlertEngine engine;
  const auto save = [&](bool isArmed) {
    engine.diskArmed = isArmed;
    store.save(engine);
    EXPECT_EQ(store.load(), engine);
  };
  {
    // As on a disk that is slow.
    const std::lock_guard guard(lock);
    save(true);
    save(false);
  }
  const auto isNewestWritten = [&] { return !written.empty() && written.back() == engine; };
  {
    std::unique_lock guard(lock);
    changed.wait(guard, isNewestWritten);
  }
  std::size_t expected = written.size();
  // Seconds that pass, whether the disk's alert is armed, whether that is written.
  constexpr int steps[][3] = {{599, 0, 0}, {1, 0, 1}, {599, 0, 0}, {0, 1, 1},
                              {599, 1, 0}, {1, 1, 1}, {30, 1, 0}};
  for (const auto& [wait, isArmed, isWritten] : steps) {
    clock->advance(std::chrono::seconds(wait));
    engine.lastTempMs = engine.lastTempMs.value_or(0) + 1;
    save(isArmed != 0);
    std::unique_lock guard(lock);
    if (isWritten != 0) {
      changed.wait(guard, isNewestWritten);
      expected = std::max(expected + 1, written.size());
    }
    EXPECT_EQ(written.size(), expected);
  }
  store = AlertStateStore::memory();
  EXPECT_EQ(written.size(), expected + 1);
  EXPECT_TRUE(isNewestWritten()) << "at the end";
}

}  // namespace
}  // namespace orvik
