#include "core/sampling/mac/ThisMac.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <utility>

#include "core/sampling/mac/MacInfoParsing.h"
#include "core/sampling/mac/Sysctl.h"
#include "core/system/mac/AutoreleasePool.h"
#include "core/system/mac/Owned.h"

namespace orvik {

namespace {

/// How long the service that adds up what could be freed is waited for: usually milliseconds.
constexpr std::chrono::seconds longestQuestion{2};

/// An entry of the registry of devices, released at its end.
class RegistryEntry {
 public:
  explicit RegistryEntry(const char* path)
      : entry(IORegistryEntryFromPath(kIOMainPortDefault, path)) {}
  RegistryEntry(const RegistryEntry&) = delete;
  RegistryEntry& operator=(const RegistryEntry&) = delete;
  ~RegistryEntry() {
    if (entry != IO_OBJECT_NULL) {
      IOObjectRelease(entry);
    }
  }

  /// Null when there is no such entry or property.
  [[nodiscard]] Owned<CFTypeRef> property(std::string_view name) const {
    const auto key = ownedString(name);
    return Owned<CFTypeRef>(
        entry == IO_OBJECT_NULL || !key
            ? nullptr
            : IORegistryEntryCreateCFProperty(entry, key.get(), kCFAllocatorDefault, 0));
  }

 private:
  io_registry_entry_t entry;
};

/// Bytes.
std::optional<std::int64_t> capacity(CFURLRef volume, CFStringRef key) {
  CFTypeRef copied = nullptr;
  if (CFURLCopyResourcePropertyForKey(volume, key, &copied, nullptr) == 0) {
    return std::nullopt;
  }
  const Owned<CFTypeRef> value(copied);
  std::int64_t bytes = 0;
  // A volume without such a capacity succeeds too, with no value.
  if (!value || CFGetTypeID(value.get()) != CFNumberGetTypeID() ||
      CFNumberGetValue(static_cast<CFNumberRef>(value.get()), kCFNumberSInt64Type, &bytes) == 0 ||
      bytes < 0) {
    return std::nullopt;
  }
  return bytes;
}

std::optional<MacSystem::Capacity> readDataVolume() {
  const AutoreleasePool pool;
  const ByteView path = orvik::bytesOf(std::string_view("/System/Volumes/Data"));
  const Owned<CFURLRef> volume(CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, path.data(), static_cast<CFIndex>(path.size()),
      static_cast<Boolean>(true)));
  if (!volume) {
    return std::nullopt;
  }
  const auto total = capacity(volume.get(), kCFURLVolumeTotalCapacityKey);
  if (!total) {
    return std::nullopt;
  }
  return MacSystem::Capacity{
      *total, capacity(volume.get(), kCFURLVolumeAvailableCapacityForImportantUsageKey),
      capacity(volume.get(), kCFURLVolumeAvailableCapacityKey)};
}

}  // namespace

ThisMac::ThisMac(std::shared_ptr<Clock> clock, std::optional<std::string> icon)
    : questions(std::move(clock)), icon(std::move(icon)) {}

std::int64_t ThisMac::bootEpoch() {
  const auto time = Sysctl::bootTime();
  return time ? epochSeconds(*time) : 0;
}

asio::awaitable<std::optional<MacSystem::Capacity>> ThisMac::dataVolume() {
  auto volume = co_await questions.run(longestQuestion, &readDataVolume);
  co_return volume.value_or(std::nullopt);
}

std::optional<std::string> ThisMac::sysctlString(const std::string& name) {
  return Sysctl::text(name);
}

std::optional<std::int64_t> ThisMac::sysctlInt(const std::string& name) {
  return Sysctl::integer(name);
}

std::optional<std::string> ThisMac::productName() {
  const AutoreleasePool pool;
  const RegistryEntry product("IODeviceTree:/product");
  const Owned<CFTypeRef> name = product.property("product-name");
  const CFDataRef data = dataIn(name.get());
  return data == nullptr ? std::nullopt : std::optional(std::string(textOf(bytesOf(data))));
}

std::optional<MacSystem::Version> ThisMac::version() {
  const auto parts =
      MacInfoParsing::versionParts(Sysctl::text("kern.osproductversion").value_or(""));
  return parts ? std::optional(Version{(*parts)[0], (*parts)[1], (*parts)[2]}) : std::nullopt;
}

std::optional<std::string> ThisMac::iconPNG() { return icon; }

}  // namespace orvik
