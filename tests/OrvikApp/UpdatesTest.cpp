#include <gtest/gtest.h>

#include <QApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QElapsedTimer>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <algorithm>

#include "OrvikApp/Appcast.h"
#include "OrvikApp/AppcastUpdater.h"
#include "OrvikApp/Texts.h"
#include "core/BuildConstants.h"
#include "tests/support/Corpus.h"
#include "tests/support/EventLoop.h"
#include "tests/support/Table.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::eventually;

/// Gives a prepared answer over https on the loopback interface.
class FeedServer {
 public:
  FeedServer() {
    const auto key = test::contentsOf(ORVIK_FIXTURES "/localhost.key.pem");
    QSslConfiguration encryption = QSslConfiguration::defaultConfiguration();
    encryption.setLocalCertificate(certificate);
    encryption.setPrivateKey(
        QSslKey(QByteArray::fromStdString(key), certificate.publicKey().algorithm()));
    server.setSslConfiguration(encryption);
    QObject::connect(&server, &QTcpServer::pendingConnectionAvailable, &server, [this] {
      QTcpSocket* const socket = server.nextPendingConnection();
      QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
        asked += socket->readAll();
        socket->write(answer);
        if (answer.contains("half")) {
          socket->disconnectFromHost();
        }
      });
    });
    EXPECT_TRUE(server.listen(QHostAddress::LocalHost));
  }

  [[nodiscard]] QByteArray url(const QByteArray& scheme) const {
    return scheme + "://localhost:" + QByteArray::number(server.serverPort()) + "/feed";
  }
  void trust() const {
    QSslConfiguration encryption = QSslConfiguration::defaultConfiguration();
    encryption.setCaCertificates({certificate});
    QSslConfiguration::setDefaultConfiguration(encryption);
  }

  QByteArray answer;
  QByteArray asked;

 private:
  const QSslCertificate certificate =
      QSslCertificate::fromPath(QStringLiteral(ORVIK_FIXTURES "/localhost.pem")).value(0);
  QSslServer server;
};

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

/// The dialog that is on the screen, of which there is at most one.
QWidget* dialog() {
  QWidgetList shown = QApplication::topLevelWidgets();
  shown.removeIf([](QWidget* it) { return !qobject_cast<QDialog*>(it) || !it->isVisible(); });
  EXPECT_LE(shown.size(), 1);
  return shown.value(0);
}

/// What the dialog says, part by part.
std::string said() {
  std::string said;
  for (const QLabel* const label : dialog()->findChildren<QLabel*>()) {
    said += label->text().isEmpty() ? "" : label->text().toStdString() + "|";
  }
  const auto* const notes = dialog()->findChild<QPlainTextEdit*>();
  return said + (notes ? notes->toPlainText().toStdString() : "");
}

void click(const char* text) {
  for (QPushButton* const button : dialog()->findChildren<QPushButton*>()) {
    if (button->text() == QString::fromUtf8(text)) {
      return button->click();
    }
  }
  ADD_FAILURE() << "no button " << text;
}

QByteArray ok(const QByteArray& body, const QByteArray& status = "200 OK") {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + QByteArray::number(body.size()) +
         "\r\n\r\n" + body;
}

QByteArray movedTo(const QByteArray& place) {
  return ok("", "302 Found\r\nSet-Cookie: a=b\r\nLocation: " + place);
}

TEST(AppcastUpdater, SaysWhatTheFeedSaysWhenItComesWholeInTimeAndOverHTTPS) {
  FeedServer server;
  OpenedLinks opened;
  const Texts texts(QStringLiteral("en"));
  const std::string current = build::version;
  const std::string newest = "You’re up to date|Orvik " + current + " is the newest version.|";
  const std::string available = "A new version is available|Orvik 99.1 is available. You have " +
                                current + ".|What’s new:|2 < 3";
  const std::string unreadable =
      "Could not check for updates|The list of versions could not be read. Try again later.|";
  const auto check = [&](const QByteArray& scheme, const QByteArray& answer,
                         const std::string& expected, const char* button = "OK") {
    SCOPED_TRACE((scheme + " " + answer.left(99)).toStdString());
    AppcastUpdater updater(texts, QUrl(QString::fromUtf8(server.url(scheme))),
                           {QStringLiteral("linux"), {}}, answer.isEmpty() ? 50ms : 1h);
    server.answer = answer;
    server.asked.clear();
    updater.checkForUpdates();
    EXPECT_EQ(said(), scheme == "http" ? expected : "Checking for updates…|");
    updater.checkForUpdates();
    ASSERT_TRUE(eventually([&] { return said() == expected; })) << said();
    updater.checkForUpdates();
    click(button);
    EXPECT_EQ(dialog(), nullptr);
    EXPECT_FALSE(server.asked.contains("Cookie:"));
    EXPECT_EQ(server.asked.contains("User-Agent: Orvik/"), !server.asked.isEmpty());
  };
  const QByteArray old = "<rss><channel/></rss>";
  const QByteArray feed =
      ok("<rss xmlns:s='http://www.andymatuschak.org/xml-namespaces/sparkle'><channel><item>"
         "<description>2 &lt; 3</description><enclosure url='https://orvik.example/f' "
         "s:version='99.1'/></item></channel></rss>");
  check("https", ok(old), unreadable);
  EXPECT_EQ(server.asked, QByteArray()) << "nobody is asked whose certificate is not trusted";
  server.trust();
  check("http", ok(old), unreadable);
  EXPECT_EQ(server.asked, QByteArray());
  check("https", ok(old.leftJustified(1'048'576)), newest);
  EXPECT_EQ(server.asked.count("GET /feed"), 1);
  for (const QByteArray& answer :
       {ok(old.leftJustified(1'048'577)), "HTTP/1.1 200 OK\r\n\r\n" + QByteArray(3'000'000, 'x'),
        movedTo("/round"), movedTo(server.url("http")), movedTo("file:///etc/passwd"),
        ok(old, "404 Not Found"), QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\nhalf"),
        QByteArray("\x01\x02\x03\r\n\r\n"), QByteArray()}) {
    check("https", answer, unreadable);
  }
  check("https", feed, available, "Later");
  EXPECT_EQ(opened.links, QString());
  check("https", feed, available, "Download");
  EXPECT_EQ(opened.links, QStringLiteral("https://orvik.example/f"));
  // One that takes too long for the user is called off.
  {
    AppcastUpdater updater(texts, QUrl(QString::fromUtf8(server.url("https"))), {}, 1h);
    server.answer.clear();
    updater.checkForUpdates();
    click("Cancel");
    EXPECT_EQ(dialog(), nullptr);
    QCoreApplication::processEvents();
    EXPECT_EQ(dialog(), nullptr);
  }
  // Qt does not wait for the thread that it downloads on, and what that has still to free would
  // count as leaked.
  EXPECT_TRUE(eventually([] {
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return std::ranges::none_of(threads, [](const auto& thread) {
      return test::contentsOf(thread.path() / "comm").starts_with("QNetworkAccess");
    });
  }));
}

std::string feedOf(const std::string& items) {
  return R"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:s="http://www.andymatuschak.org/xml-namespaces/sparkle"
  xmlns:atom="http://www.w3.org/2005/Atom"><channel><title>Orvik</title>)" +
         items + "</channel></rss>";
}

std::string item(const std::string& version, const std::string& more = "") {
  return "<item>" + more + "<enclosure url='https://orvik.example/f' s:version='" + version +
         "'/></item>";
}

UpdateOutcome decide(const std::string& feed, const char* current = "1.2") {
  return decideUpdate(QByteArray::fromStdString(feed), QString::fromUtf8(current),
                      {QStringLiteral("linux"), QVersionNumber(6, 1)});
}

/// The version that is offered and its place.
std::string offered(const std::string& feed, const char* current = "1.2") {
  const UpdateOutcome outcome = decide(feed, current);
  const bool isNew = outcome.kind == UpdateOutcome::Kind::newVersion;
  EXPECT_TRUE(isNew || (outcome.version + outcome.link.toString()).isEmpty());
  return isNew ? (outcome.version + u' ' + outcome.link.toString()).toStdString()
               : std::string(outcome.kind == UpdateOutcome::Kind::unreadable ? "unreadable" : "");
}

std::string notes(const std::string& description) {
  return decide(feedOf(item("1.3", "<description><![CDATA[" + description + "]]></description>")))
      .notes.toStdString();
}

TEST(Appcast, OffersTheNewestVersionForThisSystemWithNotesInPlainText) {
  test::expectTable(
      "app/appcast.txt",
      {{"offer", [](std::string_view items) { return offered(feedOf(std::string(items))); }},
       {"feed", [](std::string_view feed) { return offered(std::string(feed)); }},
       {"notes", [](std::string_view description) { return notes(std::string(description)); }}});
}

TEST(Appcast, VersionsFollowEachOtherAsReleasesDo) {
  const char* ascending[] = {"0",        "0.0.9",   "0.1-alpha", "0.1.0-alpha.1", "0.1-beta",
                             "0.1-RC.2", "0.1rc10", "0.1.0",     "0.1.1",         "0.9.9",
                             "0.10",     "1",       "1.0.0.1",   "2045"};
  for (std::size_t left = 0; left < std::size(ascending); ++left) {
    for (std::size_t right = 0; right < std::size(ascending); ++right) {
      EXPECT_EQ(!offered(feedOf(item(ascending[right])), ascending[left]).empty(), left < right)
          << ascending[left] << " " << ascending[right];
    }
  }
}

TEST(Appcast, WhatNoFeedLooksLikeTakesNoTime) {
  std::string attributes;
  std::string nested;
  for (int i = 0; i < 65'000; ++i) {
    attributes += " a" + std::to_string(i) + "='>'";
    nested += "<a xmlns:b='c'>";
  }
  QElapsedTimer timer;
  timer.start();
  for (const std::string& feed : {feedOf(item("1.3", "\xff")), feedOf("<x" + attributes + "/>"),
                                  feedOf(nested), std::string(1'000'000, '<')}) {
    EXPECT_EQ(offered(feed), "unreadable") << feed.substr(0, 300);
  }
  // Without its bounds the reader needs half a minute for the attributes alone.
  EXPECT_LT(timer.elapsed(), 15'000);
  for (const char* tag : {"<table><td colspan=9999999>", "<ul>", "<b>", "<!--", "<", "&#9;"}) {
    const auto text = notes(QString::fromUtf8(tag).repeated(20'000).toStdString());
    EXPECT_LE(QString::fromStdString(text).size(), 8192);
  }
}

}  // namespace
}  // namespace orvik

#include "UpdatesTest.moc"
