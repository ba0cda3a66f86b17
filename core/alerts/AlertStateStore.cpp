#include "core/alerts/AlertStateStore.h"

#include <tuple>
#include <utility>

#include "core/platform/ReplaceFile.h"
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
