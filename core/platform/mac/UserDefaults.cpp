#include "core/platform/UserDefaults.h"

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

#include "core/platform/mac/Owned.h"

namespace orvik {

namespace {

Owned<CFStringRef> ownedString(std::string_view text) {
  return orvik::ownedString(text.data(), static_cast<CFIndex>(text.size()));
}

/// One domain of the system's preferences, which keeps them whole by itself.
class Preferences final : public UserDefaults {
 public:
  /// The application's own domain.
  Preferences() : suite(nullptr), domain(kCFPreferencesCurrentApplication) {}
  explicit Preferences(Owned<CFStringRef> name) : suite(std::move(name)), domain(suite.get()) {}

  [[nodiscard]] std::optional<std::string> data(std::string_view key) const override {
    const auto name = ownedString(key);
    if (!name) {
      return std::nullopt;
    }
    const Owned<CFPropertyListRef> value(CFPreferencesCopyAppValue(name.get(), domain));
    if (!value || CFGetTypeID(value.get()) != CFDataGetTypeID()) {
      return std::nullopt;
    }
    const auto* bytes = static_cast<CFDataRef>(value.get());
    const CFIndex size = CFDataGetLength(bytes);
    return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(bytes)),
                       static_cast<std::size_t>(size));
  }

  [[nodiscard]] bool set(std::string_view key, std::string_view bytes) override {
    const auto name = ownedString(key);
    const Owned<CFDataRef> value(CFDataCreate(kCFAllocatorDefault,
                                              reinterpret_cast<const UInt8*>(bytes.data()),
                                              static_cast<CFIndex>(bytes.size())));
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
