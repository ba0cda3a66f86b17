// Own code: core/alerts/AlertEngine core/pairing/(PairingStore|RetiredPairing)
// Own code: core/system/UserDefaultsFile core/client/RelayEndpoint
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/alerts/AlertEngine.h"
#include "core/client/RelayEndpoint.h"
#include "core/pairing/PairingStore.h"
#include "core/system/FileOperations.h"
#include "core/system/UserDefaultsFile.h"
#include "core/values/JSONReader.h"
#include "tests/support/MemorySecretStore.h"

namespace {

using namespace orvik;

/// One file, in memory.
class OneFile final : public FileOperations {
 public:
  explicit OneFile(std::string text) : content(std::move(text)) {}

  int open(const std::string& /*path*/) override {
    at = 0;
    return 1;
  }
  bool isRegular(int /*file*/) override { return true; }
  ssize_t read(int /*file*/, char* to, std::size_t count) override {
    const std::size_t taken = std::min(count, content.size() - at);
    std::memcpy(to, content.data() + at, taken);
    at += taken;
    return static_cast<ssize_t>(taken);
  }
  int createTemporary(std::string& /*path*/) override {
    fresh.clear();
    return 2;
  }
  ssize_t write(int /*file*/, const char* from, std::size_t count) override {
    fresh.append(from, count);
    return static_cast<ssize_t>(count);
  }
  int sync(int /*file*/) override { return 0; }
  int close(int /*file*/) override { return 0; }
  int rename(const std::string& /*from*/, const std::string& /*to*/) override {
    content = fresh;
    return 0;
  }
  int remove(const std::string& /*path*/) override { return 0; }
  int makeFolder(const std::string& /*path*/) override { return 0; }

 private:
  std::string content;
  std::string fresh;
  std::size_t at = 0;
};

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

void readAlerts(const std::string& text) {
  const auto engine = AlertEngine::from(JSONValue::any(readJSONOrNull(text)));
  if (engine) {
    // What is written is read back as it was.
    const auto again = AlertEngine::from(JSONValue::any(readJSON(engine->json().text())));
    require(again && again->json().text() == engine->json().text());
  }
}

/// The preferences hold the marks; the place of secrets whatever is behind the file's first line.
void readPairing(const std::string& text, const std::string& secret) {
  const auto place = std::make_shared<test::MemorySecretStore>("memory");
  const SecretStore::Key key{.service = "example.orvik.Orvik", .account = "pairing"};
  require(place->add(key, "", bytesOf(secret)));
  PairingStore store(
      {place}, std::make_shared<UserDefaultsFile>("/", "pairing", std::make_shared<OneFile>(text)));
  static_cast<void>(store.load());
  for (const RetiredPairing& retired : store.retired()) {
    const auto same = RetiredPairing::from(retired.text().text());
    require(same == retired);
    store.forget(retired);
  }
  const Pairing fresh = Pairing::generate();
  const auto replaced = store.replace(fresh);
  if (replaced.isLasting && replaced.isKept) {
    const auto found = store.load();
    require(std::holds_alternative<PairingStore::Found>(found) &&
            std::get<PairingStore::Found>(found).pairing == fresh);
  }
}

void readPreferences(const std::string& text) {
  UserDefaultsFile preferences("/", "preferences", std::make_shared<OneFile>(text));
  const bool wasReadable = preferences.isReadable();
  try {
    static_cast<void>(RelayEndpoint::present(preferences));
  } catch (const std::exception&) {
    // It says what is wrong with the address.
  }
  for (const char* const key : {"relay", "retired", "pairing", "alertEngine"}) {
    static_cast<void>(preferences.data(key));
  }
  if (preferences.set("key", "value")) {
    require(preferences.isReadable() && preferences.data("key") == "value");
  } else {
    require(wasReadable || !preferences.isReadable());
  }
}

}  // namespace

/// This user's own places are nobody's business here, and are not built.
std::vector<std::shared_ptr<orvik::SecretStore>> orvik::openSecretStores() { std::abort(); }

/// What a program has kept may have been changed by anybody, or half of it be lost: it is read or
/// left alone, and what is written next is read again. The first line is the place of secrets.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string all(reinterpret_cast<const char*>(data), size);
  const std::size_t line = std::min(all.find('\n'), all.size());
  const std::string text = all.substr(std::min(line + 1, all.size()));
  readAlerts(text);
  readPairing(text, all.substr(0, line));
  readPreferences(text);
  return 0;
}
