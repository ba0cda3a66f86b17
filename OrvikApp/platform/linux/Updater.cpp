#include "OrvikApp/platform/Updater.h"

#include <QSysInfo>

#include "OrvikApp/AppcastUpdater.h"
#include "core/BuildConstants.h"

namespace orvik {

std::unique_ptr<Updater> startUpdater(const Texts& texts) {
  // What follows the hyphen names the distribution's build, not something before the release.
  const QString kernel = QSysInfo::kernelVersion().section(QLatin1Char('-'), 0, 0);
  AppcastUpdater::Source source{
      .feed = QUrl(QString::fromUtf8(build::updateFeed)),
      .target = {.system = QStringLiteral("linux"),
                 .systemVersion = VersionNumber::parse(kernel.toStdString())}};
  return std::make_unique<AppcastUpdater>(texts, std::move(source));
}

}  // namespace orvik
