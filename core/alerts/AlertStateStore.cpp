#include "core/alerts/AlertStateStore.h"

#include <chrono>
#include <future>
#include <mutex>
#include <system_error>
#include <tuple>
#include <utility>

#include "core/system/ReplaceFile.h"
#include "core/values/JSONReader.h"

namespace orvik {

namespace {

std::optional<AlertEngine> decoded(const std::optional<std::string>& stored) {
  return stored ? AlertEngine::from(JSONValue::any(readJSONOrNull(*stored))) : std::nullopt;
}

constexpr std::chrono::minutes writeInterval{10};

/// Without the times of the temperature, which change with every sample.
AlertEngine withoutTemperatureTimes(AlertEngine engine) {
  engine.tempHighSince.reset();
  engine.lastTempMs.reset();
  return engine;
}

class WriteBehind {
 public:
  WriteBehind(AlertStateStore store, std::shared_ptr<Clock> clock)
      : store(std::move(store)), clock(std::move(clock)), dueAt(this->clock->now()) {}
  WriteBehind(const WriteBehind&) = delete;
  WriteBehind& operator=(const WriteBehind&) = delete;
  ~WriteBehind() {
    if (writing.valid()) {
      writing.wait();
    }
    if (isUnwritten) {
      store.save(*newest);
    }
  }

  std::optional<AlertEngine> load() {
    const std::lock_guard guard(lock);
    if (!newest) {
      newest = store.load();
    }
    return newest;
  }

  void save(const AlertEngine& engine) {
    const std::lock_guard guard(lock);
    const Instant now = clock->now();
    const bool isNews =
        !newest || withoutTemperatureTimes(engine) != withoutTemperatureTimes(*newest);
    newest = engine;
    isUnwritten = true;
    isDue = isDue || isNews || now - dueAt >= writeInterval;
    if (isDue) {
      dueAt = now;
    }
    if (isDue && !isWriting) {
      try {
        writing = std::async(std::launch::async, [this] { write(); });
        isWriting = true;
      } catch (const std::system_error&) {
        // The system has no thread to spare: there is another try with the next sample.
      }
    }
  }

 private:
  void write() {
    std::unique_lock guard(lock);
    while (std::exchange(isDue, false)) {
      isUnwritten = false;
      const AlertEngine engine = *newest;
      guard.unlock();
      store.save(engine);
      guard.lock();
    }
    isWriting = false;
  }

  const AlertStateStore store;
  const std::shared_ptr<Clock> clock;
  std::mutex lock;
  std::optional<AlertEngine> newest;
  bool isUnwritten = false;
  /// Whether it is to be written now.
  bool isDue = false;
  Instant dueAt;
  bool isWriting = false;
  std::future<void> writing;
};

}  // namespace

AlertStateStore AlertStateStore::memory() {
  return {.load = [] { return std::optional<AlertEngine>(); },
          .save = [](const AlertEngine& /*engine*/) {}};
}

AlertStateStore AlertStateStore::userDefaults(std::optional<std::string> suite, std::string key,
                                              UserDefaultsOpener open) {
  const auto domain = [suite = std::move(suite), open = std::move(open)] {
    auto opened = open(suite);
    return opened ? std::move(opened) : open(std::nullopt);
  };
  return {.load = [domain, key] { return decoded(domain()->data(key)); },
          .save =
              [domain, key = std::move(key)](const AlertEngine& engine) {
                // Nobody could do better with the news than go on with what is stored.
                std::ignore = domain()->set(key, engine.json().text());
              }};
}

AlertStateStore AlertStateStore::writeBehind(AlertStateStore store, std::shared_ptr<Clock> clock) {
  const auto shared = std::make_shared<WriteBehind>(std::move(store), std::move(clock));
  return {.load = [shared] { return shared->load(); },
          .save = [shared](const AlertEngine& engine) { shared->save(engine); }};
}

AlertStateStore AlertStateStore::file(std::filesystem::path path,
                                      std::shared_ptr<FileOperations> operations) {
  return {.load = [path, operations] { return decoded(readFile(path, *operations).content); },
          .save =
              [path = std::move(path), operations](const AlertEngine& engine) {
                // As above.
                std::ignore = replaceFile(path, engine.json().text(), *operations);
              }};
}

}  // namespace orvik
