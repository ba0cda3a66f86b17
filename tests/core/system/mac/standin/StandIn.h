#pragma once

// Stands in for the Mac's frameworks where there are none: our own declarations of the few calls
// that are tested here, after their public documentation, on objects that count who owns them.
// Tests that run on it prove our sequence of calls and our ownership. They do not prove that the
// calls have this form on a Mac.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

// NOLINTBEGIN(readability-identifier-naming): these are the system's names.

namespace standin {

enum Type : unsigned long { string, data, number, dictionary, array, certificate, other };

struct Object {
  Type type;
  std::string bytes;
  std::int64_t number = 0;
  std::map<std::string, std::shared_ptr<const Object>> members = {};
};
using Shared = std::shared_ptr<const Object>;
using Item = std::map<std::string, std::string>;

/// What the system holds and answers, and what it was asked.
struct Machine {
  /// References that somebody has still to release.
  std::multimap<const void*, Shared> owned;
  /// Registry entries and pools that somebody has still to give back.
  int entries = 0;
  int pools = 0;
  Item kernel;
  /// Resource values and registry entries and properties: absent ones fail, a null one succeeds
  /// with nothing.
  std::map<std::string, Shared> values;
  std::map<std::string, Shared> preferences;
  bool savesPreferences = true;
  std::vector<Item> keychain;
  std::vector<std::string> asked;
  std::int32_t status = 0;
  std::vector<Shared> anchors;
};
inline Machine machine;

inline Shared make(Type type, std::string bytes, std::int64_t number = 0) {
  return std::make_shared<const Object>(Object{type, std::move(bytes), number});
}
/// A reference that the caller owns.
inline const Object* given(const Shared& object) {
  if (object) {
    machine.owned.emplace(object.get(), object);
  }
  return object.get();
}
inline const Object* constant(const char* text) {
  static std::vector<Shared> all;
  return all.emplace_back(make(string, text)).get();
}

}  // namespace standin

using Boolean = unsigned char;
using UInt8 = unsigned char;
using CFIndex = long;
using CFTypeID = unsigned long;
using OSStatus = std::int32_t;
using CFTypeRef = const void*;
using CFPropertyListRef = const void*;
using CFStringRef = const standin::Object*;
using CFDataRef = const standin::Object*;
using CFNumberRef = const standin::Object*;
using CFURLRef = const standin::Object*;
using CFArrayRef = const standin::Object*;
using CFDictionaryRef = const standin::Object*;
using CFMutableDictionaryRef = standin::Object*;
using SecCertificateRef = standin::Object*;
using io_registry_entry_t = std::uint32_t;
struct mach_timebase_info_data_t {
  std::uint32_t numer;
  std::uint32_t denom;
};

constexpr const void* kCFAllocatorDefault = nullptr;
constexpr int kCFStringEncodingUTF8 = 0x08000100;
constexpr int kCFNumberSInt64Type = 4;
inline const int kCFTypeDictionaryKeyCallBacks = 0;
inline const int kCFTypeDictionaryValueCallBacks = 0;
constexpr OSStatus errSecSuccess = 0;
constexpr OSStatus errSecDuplicateItem = -25299;
constexpr OSStatus errSecItemNotFound = -25300;
constexpr int kIOMainPortDefault = 0;
constexpr io_registry_entry_t IO_OBJECT_NULL = 0;
constexpr int KERN_SUCCESS = 0;
using standin::constant;
inline const CFStringRef kCFURLVolumeTotalCapacityKey = constant("total");
inline const CFStringRef kCFURLVolumeAvailableCapacityKey = constant("available");
inline const CFStringRef kCFURLVolumeAvailableCapacityForImportantUsageKey = constant("important");
inline const CFStringRef kCFPreferencesCurrentApplication = constant("application");
inline const CFTypeRef kCFBooleanTrue = constant("true");
inline const CFStringRef kSecClass = constant("class");
inline const CFStringRef kSecClassGenericPassword = constant("password");
inline const CFStringRef kSecAttrService = constant("service");
inline const CFStringRef kSecAttrAccount = constant("account");
inline const CFStringRef kSecAttrLabel = constant("label");
inline const CFStringRef kSecAttrAccessible = constant("accessible");
inline const CFStringRef kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly = constant("this-device");
inline const CFStringRef kSecReturnData = constant("return");
inline const CFStringRef kSecMatchLimit = constant("limit");
inline const CFStringRef kSecMatchLimitOne = constant("one");
inline const CFStringRef kSecValueData = constant("data");

inline const standin::Object* objectOf(CFTypeRef reference) {
  return static_cast<const standin::Object*>(reference);
}
inline void CFRelease(CFTypeRef reference) {
  const auto owner = standin::machine.owned.find(reference);
  ASSERT_NE(owner, standin::machine.owned.end()) << "released by one who does not own it";
  standin::machine.owned.erase(owner);
}
inline CFTypeID CFGetTypeID(CFTypeRef reference) { return objectOf(reference)->type; }
inline CFTypeID CFDataGetTypeID() { return standin::data; }
inline CFTypeID CFNumberGetTypeID() { return standin::number; }
inline CFTypeID SecCertificateGetTypeID() { return standin::certificate; }
inline CFStringRef CFStringCreateWithBytes(const void*, const UInt8* bytes, CFIndex size, int,
                                           Boolean) {
  const std::string text(bytes, bytes + size);
  // Enough for the tests: this byte is in no UTF-8 text.
  return text.find('\xFF') != std::string::npos ? nullptr : given(make(standin::string, text));
}
inline CFDataRef CFDataCreate(const void*, const UInt8* bytes, CFIndex size) {
  return given(make(standin::data, std::string(bytes, bytes + size)));
}
inline const UInt8* CFDataGetBytePtr(CFDataRef data) {
  return reinterpret_cast<const UInt8*>(data->bytes.data());
}
inline CFIndex CFDataGetLength(CFDataRef data) { return std::ssize(data->bytes); }
inline Boolean CFNumberGetValue(CFNumberRef number, int /*type*/, void* value) {
  std::memcpy(value, &number->number, sizeof number->number);
  return 1;
}
inline CFMutableDictionaryRef CFDictionaryCreateMutable(const void*, CFIndex, const int*,
                                                        const int*) {
  return const_cast<standin::Object*>(given(make(standin::dictionary, "")));
}
/// Holds on to the value, as a copy: the test's ownership ends with the caller's own.
inline void CFDictionarySetValue(CFMutableDictionaryRef to, CFTypeRef key, CFTypeRef value) {
  to->members[objectOf(key)->bytes] = std::make_shared<const standin::Object>(*objectOf(value));
}
inline CFIndex CFArrayGetCount(CFArrayRef array) { return std::ssize(array->members); }
inline CFTypeRef CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  return std::next(array->members.begin(), index)->second.get();
}

inline CFURLRef CFURLCreateFromFileSystemRepresentation(const void*, const UInt8* path,
                                                        CFIndex size, Boolean) {
  return given(make(standin::other, std::string(path, path + size)));
}
inline Boolean CFURLCopyResourcePropertyForKey(CFURLRef url, CFStringRef key, void* value,
                                               const void* /*error*/) {
  const auto found = standin::machine.values.find(url->bytes + " " + key->bytes);
  if (found == standin::machine.values.end()) {
    return 0;
  }
  *static_cast<CFTypeRef*>(value) = given(found->second);
  return 1;
}
inline io_registry_entry_t IORegistryEntryFromPath(int, const char* path) {
  if (!standin::machine.values.contains(path)) {
    return IO_OBJECT_NULL;
  }
  standin::machine.entries++;
  return 7;
}
inline CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                                 const void*, std::uint32_t) {
  EXPECT_EQ(entry, 7U);
  const auto found = standin::machine.values.find(key->bytes);
  return found == standin::machine.values.end() ? nullptr : given(found->second);
}
inline int IOObjectRelease(io_registry_entry_t) { return standin::machine.entries--; }

inline CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef domain) {
  const auto found = standin::machine.preferences.find(domain->bytes + "/" + key->bytes);
  return found == standin::machine.preferences.end() ? nullptr : given(found->second);
}
inline void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef domain) {
  standin::machine.preferences[domain->bytes + "/" + key->bytes] =
      std::make_shared<const standin::Object>(*objectOf(value));
}
inline Boolean CFPreferencesAppSynchronize(CFStringRef) {
  return standin::machine.savesPreferences ? 1 : 0;
}

namespace standin {

/// Notes what the keychain is asked.
inline Item asked(const char* call, CFDictionaryRef query) {
  Item item;
  std::string text = call;
  for (const auto& [name, value] : query->members) {
    item[name] = value->bytes;
    text += " " + name + "=" + value->bytes;
  }
  machine.asked.push_back(text);
  return item;
}
inline auto answers(const Item& query) {
  return [query](const Item& item) {
    return std::ranges::all_of(std::vector{"class", "service", "account"},
                               [&](const char* name) { return item.at(name) == query.at(name); });
  };
}

}  // namespace standin

inline OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result) {
  const auto found = std::ranges::find_if(standin::machine.keychain,
                                          standin::answers(standin::asked("find", query)));
  if (standin::machine.status == 0 && found != standin::machine.keychain.end()) {
    *result = given(make(standin::data, found->at("data")));
  }
  return *result == nullptr && standin::machine.status == 0 ? errSecItemNotFound
                                                            : standin::machine.status;
}
inline OSStatus SecItemDelete(CFDictionaryRef query) {
  const auto answers = standin::answers(standin::asked("delete", query));
  if (standin::machine.status != 0) {
    return standin::machine.status;
  }
  return std::erase_if(standin::machine.keychain, answers) == 0 ? errSecItemNotFound : 0;
}
inline OSStatus SecItemAdd(CFDictionaryRef item, CFTypeRef* /*result*/) {
  const standin::Item added = standin::asked("add", item);
  if (standin::machine.status != 0) {
    return standin::machine.status;
  }
  if (std::ranges::any_of(standin::machine.keychain, standin::answers(added))) {
    return errSecDuplicateItem;
  }
  standin::machine.keychain.push_back(added);
  return 0;
}
inline OSStatus SecTrustCopyAnchorCertificates(CFArrayRef* anchors) {
  standin::Object all{standin::array, ""};
  for (const standin::Shared& anchor : standin::machine.anchors) {
    all.members[std::to_string(all.members.size())] = anchor;
  }
  *anchors = given(std::make_shared<const standin::Object>(all));
  return standin::machine.status;
}
inline CFDataRef SecCertificateCopyData(SecCertificateRef certificate) {
  return given(make(standin::data, certificate->bytes));
}

inline int mach_timebase_info(mach_timebase_info_data_t* info) {
  *info = {125, 3};
  return KERN_SUCCESS;
}
inline std::uint64_t mach_continuous_time() {
  timespec time{};
  clock_gettime(CLOCK_BOOTTIME, &time);
  const auto seconds = static_cast<std::uint64_t>(time.tv_sec);
  return (seconds * 1'000'000'000 + static_cast<std::uint64_t>(time.tv_nsec)) / 125 * 3;
}
inline int sysctlbyname(const char* name, void* value, std::size_t* size, const void* /*to*/, int) {
  const auto found = standin::machine.kernel.find(name);
  if (found == standin::machine.kernel.end() ||
      (value != nullptr && found->second.size() > *size)) {
    return -1;
  }
  *size = found->second.size();
  if (value != nullptr) {
    std::memcpy(value, found->second.data(), *size);
  }
  return 0;
}

extern "C" inline void* objc_autoreleasePoolPush() {
  standin::machine.pools++;
  return &standin::machine.pools;
}
extern "C" inline void objc_autoreleasePoolPop(void*) { standin::machine.pools--; }

// NOLINTEND(readability-identifier-naming)
