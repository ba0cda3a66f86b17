#include <gtest/gtest.h>

#include <QElapsedTimer>

#include "OrvikApp/Appcast.h"
#include "tests/support/Table.h"

namespace orvik {
namespace {

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
