#pragma once

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSslConfiguration>
#include <QTimer>
#include <QUrl>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace orvik {

/// Fetches a short document over https, also when it is redirected. Sends and keeps no cookies,
/// keeps no copy. Main thread only.
class FeedDownload {
 public:
  struct Limits {
    qsizetype bytes = 1'048'576;
    /// From the request to the last byte.
    std::chrono::milliseconds time{20'000};
  };

  FeedDownload(const QSslConfiguration& encryption, Limits limits);

  /// Gives the document, or nothing when there was none within the limits. Not to be called while
  /// one is under way.
  void fetch(const QUrl& url, std::function<void(const std::optional<QByteArray>&)> done);
  [[nodiscard]] bool isUnderWay() const { return reply != nullptr; }

 private:
  void take();
  void finish();

  QSslConfiguration encryption;
  Limits limits;
  QNetworkAccessManager network;
  QTimer timer;
  QByteArray content;
  std::function<void(const std::optional<QByteArray>&)> whenDone;
  std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> reply;
};

}  // namespace orvik
