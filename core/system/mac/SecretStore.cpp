#include "core/system/SecretStore.h"

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include "core/system/mac/AutoreleasePool.h"
#include "core/system/mac/Owned.h"

namespace orvik {

namespace {

/// What the keychain is asked, or given: values under the system's own keys. It holds on to all
/// that was set.
class Attributes {
 public:
  Attributes()
      : dictionary(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                             &kCFTypeDictionaryValueCallBacks)),
        complete(static_cast<bool>(dictionary)) {}

  /// A generic password under this service and account.
  explicit Attributes(const SecretStore::Key& key) : Attributes() {
    set(kSecClass, kSecClassGenericPassword);
    set(kSecAttrService, ownedString(key.service).get());
    set(kSecAttrAccount, ownedString(key.account).get());
  }

  void set(CFStringRef name, CFTypeRef value) {
    complete = complete && value != nullptr;
    if (complete) {
      CFDictionarySetValue(dictionary.get(), name, value);
    }
  }

  /// Null when a value could not be made: asking without it would ask for something else.
  [[nodiscard]] CFDictionaryRef get() const { return complete ? dictionary.get() : nullptr; }

 private:
  Owned<CFMutableDictionaryRef> dictionary;
  bool complete;
};

/// The user's login keychain. Deliberately not the data-protection keychain: that one is open only
/// to programs signed with a provisioning profile, and a program that somebody has built for
/// himself could keep no pairing. The accessibility is set all the same; the login keychain is
/// open from the login on, and is never synchronised.
class Keychain final : public SecretStore {
 public:
  [[nodiscard]] std::string name() const override { return "keychain"; }

  [[nodiscard]] std::optional<Bytes> find(const Key& key) override {
    const AutoreleasePool pool;
    Attributes query(key);
    query.set(kSecReturnData, kCFBooleanTrue);
    query.set(kSecMatchLimit, kSecMatchLimitOne);
    if (query.get() == nullptr) {
      return std::nullopt;
    }
    CFTypeRef result = nullptr;
    const OSStatus status = SecItemCopyMatching(query.get(), &result);
    const Owned<CFTypeRef> found(result);
    // Never unreadable: the login keychain opens with the session, and who denies the item to a
    // program that is signed anew wants it to do without.
    const CFDataRef data = status == errSecSuccess ? dataIn(found.get()) : nullptr;
    if (data == nullptr) {
      return std::nullopt;
    }
    const ByteView bytes = bytesOf(data);
    return Bytes(bytes.begin(), bytes.end());
  }

  bool remove(const Key& key) override {
    const AutoreleasePool pool;
    const Attributes query(key);
    if (query.get() == nullptr) {
      return false;
    }
    const OSStatus status = SecItemDelete(query.get());
    return status == errSecSuccess || status == errSecItemNotFound;
  }

  [[nodiscard]] bool add(const Key& key, std::string_view label, ByteView data) override {
    const AutoreleasePool pool;
    Attributes item(key);
    item.set(kSecAttrLabel, ownedString(label).get());
    item.set(kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly);
    item.set(kSecValueData, ownedData(data).get());
    return item.get() != nullptr && SecItemAdd(item.get(), nullptr) == errSecSuccess;
  }

  /// The system asks by itself, whenever it has to.
  bool unlock(const Key& /*key*/) override { return false; }
};

}  // namespace

std::vector<std::shared_ptr<SecretStore>> openSecretStores() {
  return {std::make_shared<Keychain>()};
}

}  // namespace orvik
