#include "core/platform/linux/DiskReader.h"

#include "core/platform/linux/VolumeCapacity.h"
#include "core/sampling/DiskFields.h"

namespace orvik {

JSONObject DiskReader::read() const {
  auto capacity = readCapacity(folder);
  if (!capacity) {
    capacity = readCapacity("/");
  }
  if (!capacity) {
    return {};
  }
  // As `df` has it: what is kept for the administrator is neither used nor free.
  return diskFields(static_cast<double>(capacity->size - capacity->reserved),
                    static_cast<double>(capacity->free));
}

}  // namespace orvik
