#include "OrvikApp/FeedDownload.h"

#include <QNetworkRequest>
#include <utility>

#include "core/BuildConstants.h"

namespace orvik {

namespace {

constexpr int mostRedirects = 5;

void letGo(QNetworkReply* reply) {
  // It may be the one that calls.
  reply->disconnect();
  reply->abort();
  reply->deleteLater();
}

QNetworkRequest request(const QUrl& url) {
  QNetworkRequest request(url);
  request.setHeader(QNetworkRequest::UserAgentHeader,
                    QStringLiteral("Orvik/") + QString::fromUtf8(build::version));
  // What is compressed could be far longer than it seems.
  request.setRawHeader("Accept-Encoding", "identity");
  request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                       QNetworkRequest::NoLessSafeRedirectPolicy);
  request.setMaximumRedirectsAllowed(mostRedirects);
  request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
  request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
  request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
  request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
  request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
  return request;
}

bool isSecure(const QUrl& url) { return url.scheme() == QStringLiteral("https"); }

}  // namespace

FeedDownload::FeedDownload(const QSslConfiguration& encryption, Limits limits)
    : encryption(encryption), limits(limits), reply(nullptr, letGo) {
  timer.setSingleShot(true);
  QObject::connect(&timer, &QTimer::timeout, &network, [this] { finish(); });
}

void FeedDownload::fetch(const QUrl& url,
                         std::function<void(const std::optional<QByteArray>&)> done) {
  if (!isSecure(url)) {
    done(std::nullopt);
    return;
  }
  content.clear();
  whenDone = std::move(done);
  QNetworkRequest wanted = request(url);
  wanted.setSslConfiguration(encryption);
  reply.reset(network.get(wanted));
  QObject::connect(reply.get(), &QNetworkReply::readyRead, &network, [this] { take(); });
  QObject::connect(reply.get(), &QNetworkReply::finished, &network, [this] { finish(); });
  timer.start(limits.time);
}

void FeedDownload::take() {
  content += reply->read(limits.bytes + 1 - content.size());
  if (content.size() > limits.bytes) {
    finish();
  }
}

void FeedDownload::finish() {
  timer.stop();
  const bool isWhole = reply->isFinished() && reply->error() == QNetworkReply::NoError &&
                       isSecure(reply->url()) &&
                       reply->attribute(QNetworkRequest::HttpStatusCodeAttribute) == 200;
  if (isWhole) {
    content += reply->read(limits.bytes + 1 - content.size());
  }
  const bool isGood = isWhole && content.size() <= limits.bytes;
  reply.reset();
  std::exchange(whenDone,
                nullptr)(isGood ? std::optional(std::exchange(content, {})) : std::nullopt);
}

}  // namespace orvik
