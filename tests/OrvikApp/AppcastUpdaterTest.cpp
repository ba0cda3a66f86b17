#include <gtest/gtest.h>

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <algorithm>

#include "OrvikApp/AppcastUpdater.h"
#include "OrvikApp/Texts.h"
#include "core/BuildConstants.h"
#include "relay/SelfSigned.h"
#include "tests/support/EventLoop.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::eventually;

/// Qt does not wait for the thread that it downloads on. What that has still to free would count as
/// leaked when the program ends first.
bool isDownloadThreadThere() {
  const QDir threads(QStringLiteral("/proc/self/task"));
  return std::ranges::any_of(threads.entryList(QDir::Dirs), [&threads](const QString& thread) {
    QFile name(threads.filePath(thread + QStringLiteral("/comm")));
    return name.open(QIODevice::ReadOnly) && name.readAll().startsWith("QNetworkAccess");
  });
}

/// Gives prepared answers on the loopback interface, by the path that is asked for: over https
/// unless it is told not to.
class FeedServer {
 public:
  explicit FeedServer(bool isSecure = true) : scheme(QLatin1String(isSecure ? "https" : "http")) {
    const auto identity = relay::SelfSigned::make(
        {"localhost", "127.0.0.1"},
        std::chrono::time_point_cast<Clock::UnixTime::duration>(std::chrono::system_clock::now()));
    certificate = QSslCertificate(QByteArray::fromStdString(identity.certificate));
    QSslConfiguration encryption = QSslConfiguration::defaultConfiguration();
    encryption.setLocalCertificate(certificate);
    encryption.setPrivateKey(QSslKey(QByteArray::fromStdString(identity.key), QSsl::Ec));
    secure.setSslConfiguration(encryption);
    QTcpServer& server = isSecure ? secure : plain;
    QObject::connect(&server, &QTcpServer::pendingConnectionAvailable, &server, [this, &server] {
      QTcpSocket* const socket = server.nextPendingConnection();
      QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { answer(*socket); });
    });
    EXPECT_TRUE(server.listen(QHostAddress::LocalHost));
    port = server.serverPort();
  }

  FeedServer(const FeedServer&) = delete;
  FeedServer& operator=(const FeedServer&) = delete;
  ~FeedServer() {
    EXPECT_TRUE(eventually([] { return !isDownloadThreadThere(); }));
  }

  [[nodiscard]] QUrl url(const QString& path) const {
    return QUrl(QStringLiteral("%1://127.0.0.1:%2%3").arg(scheme).arg(port).arg(path));
  }
  [[nodiscard]] QSslConfiguration trust() const {
    QSslConfiguration encryption = QSslConfiguration::defaultConfiguration();
    encryption.setCaCertificates({certificate});
    return encryption;
  }

  static QByteArray ok(const QByteArray& body) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" +
           body;
  }
  static QByteArray moved(const QByteArray& to) {
    return "HTTP/1.1 302 Found\r\nSet-Cookie: a=b\r\nContent-Length: 0\r\nLocation: " + to +
           "\r\n\r\n";
  }

  std::map<QByteArray, QByteArray> answers;
  QByteArray asked;

 private:
  void answer(QTcpSocket& socket) {
    const QByteArray request = socket.readAll();
    asked += request;
    socket.write(answers[request.split(' ').value(1)]);
    if (request.startsWith("GET /broken")) {
      socket.disconnectFromHost();
    }
  }

  const QString scheme;
  quint16 port = 0;
  QTcpServer plain;
  QSslServer secure;
  QSslCertificate certificate;
};

TEST(FeedDownload, GivesWhatComesWholeInTimeAndOverHTTPS) {
  FeedServer server;
  FeedServer elsewhere;
  FeedServer plain(false);
  const QByteArray longest(1000, 'x');
  server.answers = {
      {"/good", FeedServer::ok(longest)},
      {"/long", FeedServer::ok(longest + "x")},
      {"/endless", "HTTP/1.1 200 OK\r\n\r\n" + QByteArray(2'000'000, 'x')},
      {"/moved", FeedServer::moved("/good")},
      {"/round", FeedServer::moved("/round")},
      {"/insecure", FeedServer::moved(plain.url(QStringLiteral("/good")).toEncoded())},
      {"/file", FeedServer::moved("file:///etc/passwd")},
      {"/untrusted", FeedServer::moved(elsewhere.url(QStringLiteral("/good")).toEncoded())},
      {"/none", "HTTP/1.1 404 Not Found\r\nContent-Length: 2\r\n\r\nno"},
      {"/broken", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf"},
      {"/noise", "\x01\x02\x03\r\n\r\n"},
      {"/part", "HTTP/1.1 206 Partial Content\r\nContent-Length: 2\r\n\r\nno"},
  };
  elsewhere.answers = plain.answers = {{"/good", FeedServer::ok("no")}};
  const auto document = [&](const QUrl& url, std::chrono::milliseconds time) {
    FeedDownload download(server.trust(), {.bytes = 1000, .time = time});
    bool isDone = false;
    std::optional<QByteArray> given;
    download.fetch(url, [&](const auto& result) {
      given = result;
      isDone = true;
    });
    EXPECT_TRUE(eventually([&] { return isDone; })) << url.toString().toStdString();
    EXPECT_FALSE(download.isUnderWay());
    return given;
  };
  for (const auto& [path, answer] : server.answers) {
    const bool isGood = path == "/good" || path == "/moved";
    EXPECT_EQ(document(server.url(QString::fromUtf8(path)), 1min),
              isGood ? std::optional(longest) : std::nullopt)
        << path.toStdString();
  }
  EXPECT_EQ(document(server.url(QStringLiteral("/silent")), 50ms), std::nullopt);
  EXPECT_EQ(document(plain.url(QStringLiteral("/good")), 1min), std::nullopt);
  EXPECT_FALSE(server.asked.contains("Cookie:"));
  EXPECT_TRUE(server.asked.contains("User-Agent: Orvik/"));
  EXPECT_TRUE((elsewhere.asked + plain.asked).isEmpty());
}

/// The dialogs that are on the screen.
std::vector<UpdateDialog*> dialogs() {
  std::vector<UpdateDialog*> shown;
  for (QWidget* const widget : QApplication::topLevelWidgets()) {
    if (auto* const dialog = dynamic_cast<UpdateDialog*>(widget); dialog && dialog->isVisible()) {
      shown.push_back(dialog);
    }
  }
  return shown;
}

std::string textOf(const char* name) {
  return dialogs().at(0)->findChild<QLabel*>(QString::fromUtf8(name))->text().toStdString();
}

void click(const char* text) {
  const auto buttons = dialogs().at(0)->findChildren<QPushButton*>();
  const auto button = std::ranges::find(buttons, QString::fromUtf8(text), &QPushButton::text);
  ASSERT_NE(button, buttons.end()) << text;
  (*button)->click();
}

/// Stands for the browser.
class OpenedLinks : public QObject {
  Q_OBJECT

 public:
  OpenedLinks() { QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "open"); }
  ~OpenedLinks() override { QDesktopServices::unsetUrlHandler(QStringLiteral("https")); }

  QString links;

 public Q_SLOTS:
  void open(const QUrl& link) { links += link.toString(); }
};

TEST(AppcastUpdater, EachOutcomeHasItsDialog) {
  FeedServer server;
  OpenedLinks opened;
  const Texts texts(QStringLiteral("en"));
  AppcastUpdater updater(texts, {.feed = server.url(QStringLiteral("/feed")),
                                 .target = {.system = QStringLiteral("linux"), .systemVersion = {}},
                                 .encryption = server.trust(),
                                 .limits = {}});
  const QByteArray feed = FeedServer::ok(
      "<rss xmlns:s='http://www.andymatuschak.org/xml-namespaces/sparkle'><channel><item>"
      "<description>2 &lt; 3</description><enclosure url='https://orvik.example/f' "
      "s:version='99.1'/></item></channel></rss>");
  struct Case {
    QByteArray answer;
    const char* headline;
    std::string explanation;
    const char* button;
    const char* opened;
  };
  const std::string current = build::version;
  const std::string available = "Orvik 99.1 is available. You have " + current + ".";
  for (const Case& each :
       {Case{FeedServer::ok("<rss><channel/></rss>"), "You’re up to date",
             "Orvik " + current + " is the newest version.", "OK", ""},
        {FeedServer::ok("garbage"), "Could not check for updates",
         "The list of versions could not be read. Try again later.", "OK", ""},
        {feed, "A new version is available", available, "Later", ""},
        {feed, "A new version is available", available, "Download", "https://orvik.example/f"}}) {
    server.answers["/feed"] = each.answer;
    server.asked.clear();
    updater.checkForUpdates();
    updater.checkForUpdates();
    ASSERT_TRUE(eventually([] { return !dialogs().empty(); }));
    updater.checkForUpdates();
    EXPECT_EQ(dialogs().size(), 1U);
    EXPECT_EQ(server.asked.count("GET /feed"), 1);
    EXPECT_EQ(textOf("headline"), each.headline);
    EXPECT_EQ(textOf("explanation"), each.explanation);
    const auto* const notes = dialogs().at(0)->findChild<QPlainTextEdit*>();
    EXPECT_EQ(notes ? notes->toPlainText() : QString(),
              each.answer == feed ? QStringLiteral("2 < 3") : QString());
    click(each.button);
    EXPECT_TRUE(dialogs().empty());
    EXPECT_EQ(opened.links.toStdString(), each.opened);
  }
}

}  // namespace
}  // namespace orvik

#include "AppcastUpdaterTest.moc"
