#pragma once

// Stands in for the Mac's keychain, kernel and clock where there are none: our own declarations of
// the few calls that are tested here, after their public documentation, on objects that count who
// owns them. Tests that run on it prove our sequence of calls and our ownership. That the calls
// have this form on a Mac is for its own headers to prove.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <list>
#include <map>
#include <string>
#include <vector>

// NOLINTBEGIN(readability-identifier-naming): these are the system's names.

namespace standin {

using Item = std::map<std::string, std::string>;
struct Object {
  unsigned long type;
  std::string bytes;
  Item members = {};
};

/// What the system holds and answers, and what it was asked.
struct Machine {
  /// Objects that somebody has still to release.
  std::list<Object> owned;
  Item kernel;
  std::vector<Item> keychain;
  std::vector<std::string> asked;
  std::int32_t status = 0;
  int pools = 0;
};
inline Machine machine;

inline Object* given(unsigned long type, std::string bytes = "") {
  return &machine.owned.emplace_back(Object{type, std::move(bytes)});
}
inline const Object* constant(const char* text) {
  static std::list<Object> all;
  return &all.emplace_back(Object{0, text});
}

}  // namespace standin

using Boolean = unsigned char;
using UInt8 = unsigned char;
using CFIndex = long;
using OSStatus = std::int32_t;
using CFTypeRef = const void*;
using CFStringRef = const standin::Object*;
using CFDataRef = const standin::Object*;
using CFDictionaryRef = const standin::Object*;
using CFMutableDictionaryRef = standin::Object*;
struct mach_timebase_info_data_t {
  std::uint32_t numer;
  std::uint32_t denom;
};

constexpr const void* kCFAllocatorDefault = nullptr;
constexpr int kCFStringEncodingUTF8 = 0x08000100;
inline const int kCFTypeDictionaryKeyCallBacks = 0;
inline const int kCFTypeDictionaryValueCallBacks = 0;
constexpr OSStatus errSecSuccess = 0;
constexpr OSStatus errSecDuplicateItem = -25299;
constexpr OSStatus errSecItemNotFound = -25300;
constexpr int KERN_SUCCESS = 0;
using standin::constant;
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

inline void CFRelease(CFTypeRef reference) {
  EXPECT_EQ(std::erase_if(standin::machine.owned,
                          [&](const standin::Object& object) { return &object == reference; }),
            1U)
      << "released by one who does not own it";
}
inline unsigned long CFGetTypeID(CFTypeRef object) {
  return static_cast<const standin::Object*>(object)->type;
}
inline unsigned long CFDataGetTypeID() { return 1; }
inline CFStringRef CFStringCreateWithBytes(const void*, const UInt8* bytes, CFIndex size, int,
                                           Boolean) {
  const std::string text(bytes, bytes + size);
  // Enough for the tests: this byte is in no UTF-8 text.
  return text.find('\xFF') != std::string::npos ? nullptr : standin::given(0, text);
}
inline CFDataRef CFDataCreate(const void*, const UInt8* bytes, CFIndex size) {
  return standin::given(CFDataGetTypeID(), std::string(bytes, bytes + size));
}
inline const UInt8* CFDataGetBytePtr(CFDataRef data) {
  return reinterpret_cast<const UInt8*>(data->bytes.data());
}
inline CFIndex CFDataGetLength(CFDataRef data) { return std::ssize(data->bytes); }
inline CFMutableDictionaryRef CFDictionaryCreateMutable(const void*, CFIndex, const int*,
                                                        const int*) {
  return standin::given(2);
}
inline void CFDictionarySetValue(CFMutableDictionaryRef to, CFStringRef key, CFTypeRef value) {
  to->members[key->bytes] = static_cast<const standin::Object*>(value)->bytes;
}

namespace standin {

/// The items that are asked for. Notes what was asked.
inline auto found(const char* call, CFDictionaryRef query) {
  std::string& text = machine.asked.emplace_back(call);
  for (const auto& [name, value] : query->members) {
    text += " " + name + "=" + value;
  }
  return std::ranges::stable_partition(machine.keychain, [&](const Item& item) {
    return std::ranges::any_of(std::vector{"class", "service", "account"}, [&](const char* name) {
      return item.at(name) != query->members.at(name);
    });
  });
}

}  // namespace standin

inline OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result) {
  const auto found = standin::found("find", query);
  if (standin::machine.status == 0 && !found.empty()) {
    *result = standin::given(CFDataGetTypeID(), found.front().at("data"));
  }
  return standin::machine.status == 0 && found.empty() ? errSecItemNotFound
                                                       : standin::machine.status;
}
inline OSStatus SecItemDelete(CFDictionaryRef query) {
  const auto found = standin::found("delete", query);
  if (standin::machine.status != 0 || found.empty()) {
    return standin::machine.status != 0 ? standin::machine.status : errSecItemNotFound;
  }
  standin::machine.keychain.erase(found.begin(), found.end());
  return 0;
}
inline OSStatus SecItemAdd(CFDictionaryRef item, CFTypeRef* /*result*/) {
  const bool isThere = !standin::found("add", item).empty();
  if (standin::machine.status == 0 && !isThere) {
    standin::machine.keychain.push_back(item->members);
  }
  return standin::machine.status == 0 && isThere ? errSecDuplicateItem : standin::machine.status;
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
