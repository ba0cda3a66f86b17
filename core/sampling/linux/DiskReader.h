#pragma once

#include <string>

#include "core/values/JSONValue.h"

namespace orvik {

/// How full the file system is that holds the user's files.
class DiskReader {
 public:
  /// The file system of this folder, usually the user's home; that of "/" where it does not exist.
  explicit DiskReader(std::string folder) : folder(std::move(folder)) {}

  /// "disk_pct" (used, 1 decimal) and "disk_free_gb" (10^9 bytes, ties to even); empty when
  /// unknown. A network file system that has gone makes this wait for as long as it is gone.
  [[nodiscard]] JSONObject read() const;

 private:
  std::string folder;
};

}  // namespace orvik
