#include "core/system/SecretStore.h"

#include "core/system/linux/BaseFolder.h"
#include "core/system/linux/SecretFile.h"
#include "core/system/linux/SecretServiceStore.h"

namespace orvik {

std::vector<std::shared_ptr<SecretStore>> openSecretStores() {
  const std::filesystem::path data = baseFolder("XDG_DATA_HOME", ".local/share");
  return {std::make_shared<SecretServiceStore>(),
          std::make_shared<SecretFile>(data.empty() ? data : data / "orvik")};
}

}  // namespace orvik
