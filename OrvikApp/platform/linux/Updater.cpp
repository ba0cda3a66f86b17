#include "OrvikApp/platform/Updater.h"

#include <QSysInfo>

#include "OrvikApp/AppcastUpdater.h"
#include "core/BuildConstants.h"

namespace orvik {

std::unique_ptr<Updater> startUpdater(const Texts& texts) {
  return std::make_unique<AppcastUpdater>(
      texts, QUrl(QString::fromUtf8(build::updateFeed)),
      UpdateTarget{QStringLiteral("linux"), QVersionNumber::fromString(QSysInfo::kernelVersion())});
}

}  // namespace orvik
