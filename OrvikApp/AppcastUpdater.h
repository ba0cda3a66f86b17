#pragma once

#include <QDialog>
#include <QNetworkAccessManager>
#include <QUrl>
#include <chrono>
#include <memory>

#include "OrvikApp/Appcast.h"
#include "OrvikApp/platform/Updater.h"

namespace orvik {

/// Looks for new versions in an appcast. Downloads and installs nothing itself: a new version is
/// got in the browser.
class AppcastUpdater final : public Updater {
 public:
  /// `texts` must outlive it. The feed is read over https or not at all, and has to be there after
  /// `timeout`.
  AppcastUpdater(const Texts& texts, QUrl feed, UpdateTarget target,
                 std::chrono::milliseconds timeout = std::chrono::seconds(20));

  void checkForUpdates() override;

 private:
  void showChecking();
  void show(const UpdateOutcome& outcome);

  const Texts& texts;
  const QUrl feed;
  const UpdateTarget target;
  const std::chrono::milliseconds timeout;
  QNetworkAccessManager network;
  std::unique_ptr<QDialog> dialog;
};

}  // namespace orvik
