#include "core/system/mac/BundleResources.h"

#include <CoreFoundation/CoreFoundation.h>

#include <array>

#include "core/system/mac/AutoreleasePool.h"
#include "core/system/mac/Owned.h"

namespace orvik {

namespace {

/// As long as any path that the system takes, and a zero byte.
constexpr std::size_t longestPath = 1024;

}  // namespace

std::optional<std::filesystem::path> bundleResources() {
  const AutoreleasePool pool;
  // The system's own object: it is not released.
  CFBundleRef bundle = CFBundleGetMainBundle();
  // A program alone in a folder counts as a bundle too, but as one without a name.
  if (bundle == nullptr || CFBundleGetIdentifier(bundle) == nullptr) {
    return std::nullopt;
  }
  const Owned<CFURLRef> folder(CFBundleCopyResourcesDirectoryURL(bundle));
  std::array<UInt8, longestPath> path{};
  if (!folder ||
      CFURLGetFileSystemRepresentation(folder.get(), static_cast<Boolean>(true), path.data(),
                                       static_cast<CFIndex>(path.size())) == 0) {
    return std::nullopt;
  }
  return std::filesystem::path(reinterpret_cast<const char*>(path.data()));
}

}  // namespace orvik
