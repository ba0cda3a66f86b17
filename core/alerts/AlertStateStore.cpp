#include "core/alerts/AlertStateStore.h"

#include <condition_variable>
#include <mutex>
#include <thread>
#include <tuple>
#include <utility>

#include "core/system/ReplaceFile.h"
#include "core/values/JSONReader.h"

namespace orvik {

namespace {

std::optional<AlertEngine> decoded(const std::optional<std::string>& stored) {
  if (!stored) {
    return std::nullopt;
  }
  try {
    return AlertEngine::from(JSONValue::any(readJSON(*stored)));
  } catch (const JSONError&) {
    return std::nullopt;
  }
}

/// A thread that saves what it is given.
class BackgroundSaver {
 public:
  explicit BackgroundSaver(std::function<void(const AlertEngine&)> save) : save(std::move(save)) {}
  BackgroundSaver(const BackgroundSaver&) = delete;
  BackgroundSaver& operator=(const BackgroundSaver&) = delete;
  ~BackgroundSaver() {
    {
      const std::lock_guard guard(lock);
      isEnding = true;
    }
    changed.notify_one();
    thread.join();
  }

  void give(const AlertEngine& engine) {
    {
      const std::lock_guard guard(lock);
      waiting = engine;
    }
    changed.notify_one();
  }

 private:
  void run() {
    for (;;) {
      std::unique_lock guard(lock);
      changed.wait(guard, [this] { return isEnding || waiting; });
      const std::optional<AlertEngine> next = std::exchange(waiting, std::nullopt);
      guard.unlock();
      if (!next) {
        return;
      }
      save(*next);
    }
  }

  const std::function<void(const AlertEngine&)> save;
  std::mutex lock;
  std::condition_variable changed;
  std::optional<AlertEngine> waiting;
  bool isEnding = false;
  std::thread thread{[this] { run(); }};
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

AlertStateStore AlertStateStore::inBackground(AlertStateStore store) {
  const auto saver = std::make_shared<BackgroundSaver>(std::move(store.save));
  return {.load = std::move(store.load),
          .save = [saver](const AlertEngine& engine) { saver->give(engine); }};
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
