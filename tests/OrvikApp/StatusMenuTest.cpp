#include <gtest/gtest.h>

#include <QDateTime>

#include "OrvikApp/StatusMenu.h"
#include "OrvikApp/Texts.h"

namespace orvik {
namespace {

TEST(StatusMenu, SaysThePauseBeforeTheStateAndNeverUsesASingularInEnglish) {
  const Texts english(QStringLiteral("en"), QLocale(QStringLiteral("en_GB")));
  const Texts polish(QStringLiteral("pl"), QLocale(QStringLiteral("pl_PL")));
  const QDateTime halfPastTwo(QDate(2026, 3, 1), QTime(14, 30));
  const Clock::UnixTime later{std::chrono::milliseconds(halfPastTwo.toMSecsSinceEpoch())};
  const struct {
    const Texts& texts;
    std::optional<Clock::UnixTime> pausedUntil;
    RelayState state;
    const char* line;
  } cases[] = {
      {english, later, relayState::Online{3}, "Paused until 14:30"},
      {english, {}, relayState::Online{-1}, "● Online"},
      {english, {}, relayState::Online{0}, "● Online"},
      {english, {}, relayState::Online{1}, "● 1 phones"},
      {english, {}, relayState::Online{3}, "● 3 phones"},
      {english, {}, relayState::Waiting{8}, "Offline – reconnecting…"},
      {english, {}, relayState::Stopped{}, "Offline – reconnecting…"},
      {english, {}, relayState::Connecting{}, "Connecting…"},
      {english, {}, relayState::Rejected{}, "Pairing lost – add a phone again"},
      {polish, {}, relayState::Online{1}, "● 1 telefon"},
      {polish, {}, relayState::Online{3}, "● 3 telefony"},
      {polish, {}, relayState::Online{5}, "● 5 telefonów"},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(StatusMenu::statusLine(one.pausedUntil, one.state, one.texts).toStdString(),
              one.line);
  }
}

}  // namespace
}  // namespace orvik
