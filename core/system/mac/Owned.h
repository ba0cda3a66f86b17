#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string_view>
#include <utility>

#include "core/values/Bytes.h"

namespace orvik {

/// A Core Foundation object that somebody has created or copied for us: released at its end.
template <typename Reference>
class Owned {
 public:
  /// Takes over what a function with "Create" or "Copy" in its name gave; perhaps null.
  explicit Owned(Reference created) : object(created) {}
  Owned(Owned&& other) noexcept : object(std::exchange(other.object, nullptr)) {}
  Owned& operator=(Owned&& other) noexcept {
    std::swap(object, other.object);
    return *this;
  }
  ~Owned() {
    if (object != nullptr) {
      CFRelease(object);
    }
  }

  explicit operator bool() const noexcept { return object != nullptr; }
  [[nodiscard]] Reference get() const noexcept { return object; }

 private:
  Reference object;
};

/// A string of UTF-8 text; null when the text is ill-formed.
[[nodiscard]] inline Owned<CFStringRef> ownedString(std::string_view text) {
  return Owned<CFStringRef>(CFStringCreateWithBytes(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
      static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, static_cast<Boolean>(false)));
}

/// A copy of bytes.
[[nodiscard]] inline Owned<CFDataRef> ownedData(ByteView bytes) {
  return Owned<CFDataRef>(
      CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
}

/// The object if it is data, else null. It stays its owner's.
[[nodiscard]] inline CFDataRef dataIn(CFTypeRef object) {
  return object != nullptr && CFGetTypeID(object) == CFDataGetTypeID()
             ? static_cast<CFDataRef>(object)
             : nullptr;
}

/// The bytes of data, which may not be null: valid as long as it is.
[[nodiscard]] inline ByteView bytesOf(CFDataRef data) {
  return {CFDataGetBytePtr(data), static_cast<std::size_t>(CFDataGetLength(data))};
}

}  // namespace orvik
