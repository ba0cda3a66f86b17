#include "OrvikApp/PairingLinkFile.h"

#include <cstdio>
#include <string>

#include "OrvikApp/AppModel.h"
#include "core/system/ReplaceFile.h"

namespace orvik {

void keepPairingLinkFile(AppModel& model) {
  const std::string path = qgetenv("ORVIK_LINK_FILE").toStdString();
  if (path.empty()) {
    return;
  }
  const auto write = [&model, path] {
    FileOperations operations;
    if (!replaceFile(path, model.pairing().link(model.macName()) + "\n", operations)) {
      std::fprintf(stderr, "orvik: the link cannot be written to %s\n", path.c_str());
    }
  };
  QObject::connect(&model, &AppModel::pairingChanged, &model, write);
  write();
}

}  // namespace orvik
