#include <gtest/gtest.h>

#include <QElapsedTimer>

#include "OrvikApp/Appcast.h"

namespace orvik {
namespace {

using Kind = UpdateOutcome::Kind;

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

UpdateOutcome decide(const std::string& feed, const char* current = "1.2") {
  return decideUpdate(QByteArray::fromStdString(feed), QString::fromUtf8(current),
                      {QStringLiteral("linux"), QVersionNumber(6, 1)});
}

TEST(Appcast, VersionsFollowEachOtherAsReleasesDo) {
  const char* ascending[] = {"0",        "0.0.9",   "0.1-alpha", "0.1.0-alpha.1", "0.1-beta",
                             "0.1-RC.2", "0.1rc10", "0.1.0",     "0.1.1",         "0.9.9",
                             "0.10",     "1",       "1.0.0.1",   "2045"};
  for (std::size_t left = 0; left < std::size(ascending); ++left) {
    for (std::size_t right = 0; right < std::size(ascending); ++right) {
      EXPECT_EQ(decide(feedOf(item(ascending[right])), ascending[left]).kind,
                left < right ? Kind::newVersion : Kind::upToDate)
          << ascending[left] << " " << ascending[right];
    }
  }
  EXPECT_EQ(decide(feedOf(item("01.2.0+5"))).kind, Kind::upToDate);
  for (const char* bad : {"", "v9", ".9", "-9", "9 2", "9.2/3", "9.é", "9+\u202e", "newest"}) {
    EXPECT_EQ(decide(feedOf(item(bad))).kind, Kind::upToDate) << bad;
  }
  EXPECT_EQ(decide(feedOf(item("9-" + std::string(62, 'a')))).kind, Kind::newVersion);
  EXPECT_EQ(decide(feedOf(item("9-" + std::string(63, 'a')))).kind, Kind::upToDate);
}

TEST(Appcast, OffersTheNewestVersionForThisSystem) {
  const char* const file = "https://orvik.example/f";
  const char* const page = "https://orvik.example/new";
  const std::string link = "<link> https://orvik.example/new </link>";
  const std::string bare = "<s:version>1.3</s:version>";
  const auto needs = [](const char* system, const char* attribute) {
    return item("1.3",
                "<s:minimumSystemVersion>" + std::string(system) + "</s:minimumSystemVersion>",
                attribute);
  };
  // The version that is offered, if any, and where.
  const std::tuple<std::string, const char*, const char*> cases[] = {
      {"", "", ""},
      {item("1.3", link) + item("1.3"), "1.3", page},
      {item("1.3") + item("1.10", link) + item("1.9"), "1.10", page},
      {item("1.3", "", "s:os='linux'") + item("1.4", "", "s:os='macos'"), "1.3", file},
      {"<item><enclosure url='https://m' s:version='1.4' s:os='macos'/><enclosure url='https://l' "
       "s:version='1.3' s:os='linux'/></item>",
       "1.3", "https://l"},
      {needs("7", "s:os='linux'"), "", ""},
      {needs("6.1", "s:os='linux'"), "1.3", file},
      {needs("14.0", ""), "1.3", file},
      {item("1.3", "<s:channel>beta</s:channel>"), "", ""},
      {item("2045", "", "s:shortVersionString='1.3'"), "1.3", file},
      {item("1.3", "", "s:shortVersionString='&lt;b>'"), "1.3", file},
      {"<item>" + bare + link + "</item>", "1.3", page},
      {"<item><version>1.3</version>" + link + "</item>", "", ""},
      {"<x><item>" + bare + link + "</item></x>", "", ""},
      {item("1.3", "<link>http://orvik.example</link>"), "1.3", file},
      {"<item>" + bare + "<link>javascript:alert(1)</link></item>", "", ""},
      {"<item>" + bare + "<atom:link>https://a</atom:link></item>", "", ""},
  };
  for (const auto& [items, version, place] : cases) {
    const UpdateOutcome outcome = decide(feedOf(items));
    EXPECT_EQ(outcome.kind, *version == '\0' ? Kind::upToDate : Kind::newVersion) << items;
    EXPECT_EQ(outcome.version.toStdString(), version) << items;
    EXPECT_EQ(outcome.link.toString().toStdString(), place) << items;
  }
}

TEST(Appcast, WhatIsNoFeedIsUnreadable) {
  const std::string good = feedOf(item("1.3"));
  std::string attributes;
  std::string nested;
  for (int i = 0; i < 65'000; ++i) {
    attributes += " a" + std::to_string(i) + "='>'";
    nested += "<a xmlns:b='c'>";
  }
  QElapsedTimer timer;
  timer.start();
  for (const std::string& feed :
       {std::string(), std::string("404"), std::string("<html><body>no</body></html>"),
        std::string("<rss/>"), good.substr(0, good.size() - 6), good + "<",
        "<!DOCTYPE rss>" + good.substr(good.find("<rss")), feedOf(item("1.3", "&nope;")),
        feedOf(item("1.3", "\xff")), feedOf("<x" + attributes + "/>"), feedOf(nested),
        std::string(1'000'000, '<')}) {
    EXPECT_EQ(decide(feed).kind, Kind::unreadable) << feed.substr(0, 100);
  }
  // Without its bounds the reader needs half a minute for the attributes alone.
  EXPECT_LT(timer.elapsed(), 15'000);
}

TEST(Appcast, NotesArePlainText) {
  const auto notes = [](const std::string& description) {
    const std::string element = "<description><![CDATA[" + description + "]]></description>";
    return decide(feedOf(item("1.3", element))).notes;
  };
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
  for (const auto& [description, text] : cases) {
    EXPECT_EQ(notes(description).toStdString(), text) << description;
  }
  for (const char* tag : {"<table><td colspan=9999999>", "<ul>", "<b>", "<!--", "<", "&#9;"}) {
    EXPECT_LE(notes(QString::fromUtf8(tag).repeated(20'000).toStdString()).size(), 8192);
  }
}

}  // namespace
}  // namespace orvik
