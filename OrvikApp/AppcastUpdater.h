#pragma once

#include <QSslConfiguration>
#include <QUrl>
#include <memory>

#include "OrvikApp/Appcast.h"
#include "OrvikApp/FeedDownload.h"
#include "OrvikApp/UpdateDialog.h"
#include "OrvikApp/platform/Updater.h"

namespace orvik {

/// Looks for new versions in an appcast. Downloads and installs nothing itself: a new version is
/// got in the browser.
class AppcastUpdater final : public Updater {
 public:
  struct Source {
    /// https, or there is nothing to read.
    QUrl feed;
    UpdateTarget target;
    QSslConfiguration encryption = QSslConfiguration::defaultConfiguration();
    FeedDownload::Limits limits = {};
  };

  /// `texts` must outlive it.
  AppcastUpdater(const Texts& texts, Source source);

  void checkForUpdates() override;

 private:
  void show(const UpdateOutcome& outcome);

  const Texts& texts;
  Source source;
  FeedDownload download;
  std::unique_ptr<UpdateDialog> dialog;
};

}  // namespace orvik
