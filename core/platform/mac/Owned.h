#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

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
[[nodiscard]] inline Owned<CFStringRef> ownedString(const char* text, CFIndex size) {
  return Owned(CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text),
                                       size, kCFStringEncodingUTF8, false));
}

}  // namespace orvik
