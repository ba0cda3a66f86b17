#include "OrvikApp/AppcastUpdater.h"

#include <utility>

#include "core/BuildConstants.h"

namespace orvik {

AppcastUpdater::AppcastUpdater(const Texts& texts, Source source)
    : texts(texts),
      source(std::move(source)),
      download(this->source.encryption, this->source.limits) {}

void AppcastUpdater::checkForUpdates() {
  if (dialog && dialog->isVisible()) {
    dialog->bringForward();
  } else if (!download.isUnderWay()) {
    download.fetch(source.feed, [this](const std::optional<QByteArray>& feed) {
      const auto current = VersionNumber::parse(build::version);
      show(feed && current ? decideUpdate(*feed, *current, source.target) : UpdateOutcome());
    });
  }
}

void AppcastUpdater::show(const UpdateOutcome& outcome) {
  dialog = std::make_unique<UpdateDialog>(texts, outcome, QString::fromUtf8(build::version));
  dialog->bringForward();
}

}  // namespace orvik
