#include <gtest/gtest.h>

#include <QElapsedTimer>

#include "OrvikApp/Appcast.h"
#include "OrvikApp/ReleaseNotes.h"

namespace orvik {
namespace {

using Kind = UpdateOutcome::Kind;

TEST(VersionNumber, FollowsTheOrderOfReleases) {
  const char* ascending[] = {"0",
                             "0.0.9",
                             "0.1-alpha",
                             "0.1.0-alpha.1",
                             "0.1-alpha1b",
                             "0.1-beta",
                             "0.1rc1",
                             "0.1-RC.2",
                             "0.1-rc10",
                             "0.1.0",
                             "0.1.1",
                             "0.9.9",
                             "0.10",
                             "1",
                             "1.0.0.1",
                             "2045",
                             "9223372036854775808",
                             "18446744073709551617.1"};
  for (std::size_t left = 0; left < std::size(ascending); ++left) {
    for (std::size_t right = 0; right < std::size(ascending); ++right) {
      EXPECT_EQ(*VersionNumber::parse(ascending[left]) <=> *VersionNumber::parse(ascending[right]),
                left <=> right)
          << ascending[left] << " " << ascending[right];
    }
  }
  EXPECT_EQ(VersionNumber::parse("01.2.0+5"), VersionNumber::parse("1.2"));
  EXPECT_EQ(VersionNumber::parse("1.2b3"), VersionNumber::parse("1.2-B.03"));
  for (const char* bad : {"", "v1", ".1", "-1", "1 2", "1.2/3", "1.é", "1\n", "1+\u202e"}) {
    EXPECT_EQ(VersionNumber::parse(bad), std::nullopt) << bad;
  }
  EXPECT_TRUE(VersionNumber::parse(std::string(64, '1')));
  EXPECT_FALSE(VersionNumber::parse(std::string(65, '1')));
}

std::string feedOf(const std::string& items) {
  return R"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:s="http://www.andymatuschak.org/xml-namespaces/sparkle"
  xmlns:atom="http://www.w3.org/2005/Atom"><channel><title>Orvik</title>)" +
         items + "</channel></rss>";
}

std::string item(const std::string& version, const std::string& more = "",
                 const std::string& attributes = "") {
  return "<item><title>t</title>" + more +
         R"(<enclosure url="https://orvik.example/f" s:version=")" + version + "\" " + attributes +
         "/></item>";
}

UpdateOutcome decide(const std::string& feed) {
  return decideUpdate(
      QByteArray::fromStdString(feed), *VersionNumber::parse("1.2"),
      {.system = QStringLiteral("linux"), .systemVersion = VersionNumber::parse("6.1.0")});
}

TEST(Appcast, OffersTheNewestVersionForThisSystem) {
  const std::string page = "<link> https://orvik.example/new </link>";
  // The version that is offered, if any, and where.
  const std::tuple<std::string, const char*, const char*> cases[] = {
      {"", "", ""},
      {item("1.2"), "", ""},
      {item("1.1.9") + item("1.2-beta"), "", ""},
      {item("1.3"), "1.3", "https://orvik.example/f"},
      {item("1.3", page), "1.3", "https://orvik.example/new"},
      {item("1.3") + item("1.10", page) + item("1.9"), "1.10", "https://orvik.example/new"},
      {item("1.3", "", "s:os='linux'") + item("1.4", "", "s:os='macos'"), "1.3",
       "https://orvik.example/f"},
      {"<item><enclosure url='https://m' s:version='1.4' s:os='macos'/><enclosure url='https://l' "
       "s:version='1.3' s:os='linux'/></item>",
       "1.3", "https://l"},
      {item("1.3", "<s:minimumSystemVersion>7</s:minimumSystemVersion>", "s:os='linux'"), "", ""},
      {item("1.3", "<s:minimumSystemVersion>6.1</s:minimumSystemVersion>", "s:os='linux'"), "1.3",
       "https://orvik.example/f"},
      {item("1.3", "<s:minimumSystemVersion>14.0</s:minimumSystemVersion>"), "1.3",
       "https://orvik.example/f"},
      {item("1.3", "<s:channel>beta</s:channel>"), "", ""},
      {item("2045", "", "s:shortVersionString='1.3'"), "1.3", "https://orvik.example/f"},
      {item("1.3", "", "s:shortVersionString='&lt;b>'"), "1.3", "https://orvik.example/f"},
      {"<item><s:version>1.3</s:version>" + page + "</item>", "1.3", "https://orvik.example/new"},
      {"<item><version>1.3</version>" + page + "</item>", "", ""},
      {"<x><item><s:version>1.3</s:version>" + page + "</item></x>", "", ""},
      {item("1.3", "<link>http://orvik.example</link>"), "1.3", "https://orvik.example/f"},
      {"<item><s:version>1.3</s:version><link>javascript:alert(1)</link></item>", "", ""},
      {"<item><s:version>1.3</s:version><atom:link>https://a</atom:link></item>", "", ""},
      {item("newest"), "", ""},
      {item("-1") + item("") + item("1.3"), "1.3", "https://orvik.example/f"},
  };
  for (const auto& [items, version, link] : cases) {
    const UpdateOutcome outcome = decide(feedOf(items));
    EXPECT_EQ(outcome.kind, *version == '\0' ? Kind::upToDate : Kind::newVersion) << items;
    EXPECT_EQ(outcome.version.toStdString(), version) << items;
    EXPECT_EQ(outcome.link.toString().toStdString(), link) << items;
  }
}

TEST(Appcast, WhatIsNoFeedIsUnreadable) {
  const std::string good = feedOf(item("1.3"));
  const std::string entity = "<!DOCTYPE rss [<!ENTITY a SYSTEM 'file:///etc/passwd'>]>";
  std::string attributes;
  for (int i = 0; attributes.size() < 1'000'000; ++i) {
    attributes += " a" + std::to_string(i) + "='>'";
  }
  std::string nested;
  for (int i = 0; i < 60'000; ++i) {
    nested += "<a xmlns:b='c'>";
  }
  QElapsedTimer timer;
  timer.start();
  for (const std::string& feed :
       {std::string(), std::string("404"), std::string("<html><body>no</body></html>"),
        std::string("<rss/>"), good.substr(0, good.size() - 6), good + "<", entity + "<rss/>",
        "<!DOCTYPE rss>" + good.substr(good.find("<rss")), feedOf(item("1.3", "&nope;")),
        feedOf(item("1.3", "\xff")), feedOf("<x" + attributes + "/>"), feedOf(nested),
        std::string(1'000'000, '<')}) {
    EXPECT_EQ(decide(feed).kind, Kind::unreadable) << feed.substr(0, 100);
  }
  std::string many;
  for (int i = 0; i < 1000; ++i) {
    many += "<item/>";
  }
  EXPECT_EQ(decide(feedOf(many + item("1.3"))).kind, Kind::upToDate);
  // Without its bounds the reader needs half a minute for the attributes alone.
  EXPECT_LT(timer.elapsed(), 15'000);
}

TEST(Appcast, NotesArePlainText) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {"  Plain & simple:\n a < b, x<y \n\n\n\n- one\n", "Plain & simple:\n a < b, x<y\n\n- one"},
      {"<h2 class='x'>New</h2><ul><li>Zoë &amp; co<li><b>two</b></li></ul>a<br/>b",
       "New\n• Zoë & co\n• two\na\nb"},
      {"a<script>alert('<p>')</script><style>@import url(https://x)</style><!-- b -->c", "ac"},
      {"<img src='https://x/y.png'>a<a href='https://x'>b</a><iframe src='https://x'>", "ab"},
      {"<p>&lt;b&gt; &#x1b;[2J", "<b> [2J"},
      {"a<script>b", "a"},
      {"<i>a<p b", "a"},
  };
  for (const auto& [description, notes] : cases) {
    EXPECT_EQ(releaseNotes(QString::fromUtf8(description)).toStdString(), notes) << description;
  }
  for (const char* tag : {"<table><td colspan=9999999>", "<ul>", "<b>", "<!--", "<", "&#9;"}) {
    EXPECT_LE(releaseNotes(QString::fromUtf8(tag).repeated(20'000)).size(), 8192);
  }
  const UpdateOutcome outcome =
      decide(feedOf(item("1.3", "<description><![CDATA[<p>Faster]]></description>")));
  EXPECT_EQ(outcome.notes, QStringLiteral("Faster"));
}

}  // namespace
}  // namespace orvik
