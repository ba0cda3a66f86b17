#include "core/system/UserDefaults.h"

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

#include "core/system/mac/AutoreleasePool.h"
#include "core/system/mac/Owned.h"

namespace orvik {

namespace {

/// One domain of the system's preferences, which keeps them whole by itself.
class Preferences final : public UserDefaults {
 public:
  /// The application's own domain.
  Preferences() : suite(nullptr), domain(kCFPreferencesCurrentApplication) {}
  explicit Preferences(Owned<CFStringRef> name) : suite(std::move(name)), domain(suite.get()) {}

  [[nodiscard]] std::optional<std::string> data(std::string_view key) const override {
    const AutoreleasePool pool;
    const auto name = ownedString(key);
    if (!name) {
      return std::nullopt;
    }
    const Owned<CFPropertyListRef> value(CFPreferencesCopyAppValue(name.get(), domain));
    const CFDataRef bytes = dataIn(value.get());
    return bytes == nullptr ? std::nullopt : std::optional(std::string(textOf(bytesOf(bytes))));
  }

  [[nodiscard]] bool set(std::string_view key, std::string_view bytes) override {
    const AutoreleasePool pool;
    const auto name = ownedString(key);
    const auto value = ownedData(orvik::bytesOf(bytes));
    if (!name || !value) {
      return false;
    }
    CFPreferencesSetAppValue(name.get(), value.get(), domain);
    return CFPreferencesAppSynchronize(domain) != 0;
  }

 private:
  /// Null for the application's own.
  Owned<CFStringRef> suite;
  CFStringRef domain;
};

}  // namespace

std::unique_ptr<UserDefaults> openUserDefaults(const std::optional<std::string>& suite) {
  if (!suite) {
    return std::make_unique<Preferences>();
  }
  auto name = ownedString(*suite);
  // The system refuses the name of all applications' common domain too.
  if (!name || suite->empty() || *suite == "NSGlobalDomain") {
    return nullptr;
  }
  return std::make_unique<Preferences>(std::move(name));
}

}  // namespace orvik
