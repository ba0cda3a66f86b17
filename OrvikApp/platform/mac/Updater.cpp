#include "OrvikApp/platform/Updater.h"

#include <QSysInfo>

#include "OrvikApp/AppcastUpdater.h"
#include "core/BuildConstants.h"

namespace orvik {

// For a build without the update framework.
std::unique_ptr<Updater> startUpdater(const Texts& texts) {
  AppcastUpdater::Source source{
      .feed = QUrl(QString::fromUtf8(build::updateFeed)),
      .target = {.system = QStringLiteral("macos"),
                 .systemVersion = VersionNumber::parse(QSysInfo::productVersion().toStdString())}};
  return std::make_unique<AppcastUpdater>(texts, std::move(source));
}

}  // namespace orvik
