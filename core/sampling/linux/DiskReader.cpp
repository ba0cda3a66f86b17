#include "core/sampling/linux/DiskReader.h"

#include "core/sampling/DiskFields.h"
#include "core/sampling/linux/VolumeCapacity.h"

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
