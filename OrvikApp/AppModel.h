#pragma once

#include <QObject>
#include <QString>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "OrvikApp/ModelClock.h"
#include "OrvikApp/PairingSource.h"
#include "OrvikApp/RelayLink.h"
#include "OrvikApp/platform/LoginItem.h"
#include "OrvikApp/platform/PowerEvents.h"
#include "core/client/RelayState.h"
#include "core/pairing/Pairing.h"

namespace orvik {

/// Owns the one running link to the relay, and holds what the menu, its icon and the pairing window
/// show. One lives for the whole run of the application. Main thread only; what it has begun may
/// outlive it, and then changes nothing.
class AppModel final : public QObject {
  Q_OBJECT

 public:
  /// What the model acts through. Nothing in it is null.
  struct Dependencies {
    RelayLinkFactory makeRelayLink;
    std::shared_ptr<PairingSource> pairings;
    std::shared_ptr<LoginItem> loginItem;
    std::shared_ptr<PowerEvents> powerEvents;
    std::shared_ptr<ModelClock> clock;
    /// The computer's name, where the system has one.
    std::optional<std::string> hostName;
    /// What stands in the pairing link; empty until a relay is chosen.
    std::string linkHost = {};
  };

  /// The live model; null before it is complete and once it is gone.
  [[nodiscard]] static AppModel* current();

  /// What the link has to wait for.
  enum class Wait { nothing, relay, keyring, otherProgram };

  /// Begins to look for the pairing, and connects as soon as it is there. Where none was stored,
  /// this is the first launch: the application then makes itself a login item.
  explicit AppModel(Dependencies dependencies);

  /// What the link to the relay last reported.
  [[nodiscard]] const RelayState& state() const { return published.state; }
  /// When the pause ends, in wall-clock time; present exactly while paused.
  [[nodiscard]] std::optional<Clock::UnixTime> pausedUntil() const { return published.pausedUntil; }
  [[nodiscard]] bool isPaused() const { return published.pausedUntil.has_value(); }
  /// Absent until it is known, and while another takes its place.
  [[nodiscard]] const std::optional<Pairing>& pairing() const { return published.pairing; }
  /// The link of the present pairing; empty without one, or without a relay.
  [[nodiscard]] SecretText link() const;
  [[nodiscard]] Wait waitsFor() const;
  /// A new pairing is being made.
  [[nodiscard]] bool isReplacing() const { return published.news.replacements < replacements; }
  /// How the pairing stands beside that.
  [[nodiscard]] const PairingNews& pairingNews() const { return published.news; }
  /// The switch for starting at login.
  [[nodiscard]] bool launchAtLogin() const { return published.launchAtLogin; }
  /// No pairing was stored before this launch. Known with the pairing.
  [[nodiscard]] bool isFirstLaunch() const { return firstLaunch; }
  /// The name under which phones show this computer. Never empty.
  [[nodiscard]] const std::string& macName() const { return name; }

  /// Starts a link where none runs, except while paused.
  void connect();
  /// Stops the running link, if there is one, without waiting for it.
  void disconnect();
  /// Disconnects and calls `resume` one hour later. A second pause sets a new end, but the first
  /// one's hour still runs out at its own time.
  void pauseOneHour();
  /// Ends a pause at once and connects.
  void resume();
  /// Replaces the pairing, so that every phone has to scan the new code, and connects again unless
  /// paused. There is no pairing until it is certain that the old one does not come back, as far as
  /// that can be. One that cannot be stored is used until the program ends.
  void disconnectAllPhones();
  /// Has the desktop ask the user to unlock the keyring.
  void unlockKeyring() { dependencies.pairings->unlock(); }
  /// Another relay has been chosen, in whose links `host` stands: connects to that.
  void useRelay(const std::string& host);
  /// Stops the running link and calls `then` on the main thread when that is done. Returns false,
  /// and never calls `then`, when there is nothing to stop.
  [[nodiscard]] bool sayGoodbye(std::function<void()> then);

  /// Registers the application as a login item, or unregisters it. `launchAtLogin` is afterwards
  /// what the system really did.
  void setLaunchAtLogin(bool on);
  /// Has `launchAtLogin` say what the system says by now: its settings may have been used.
  void refreshLaunchAtLogin();
  /// What the system says about the login item: enabled, or waiting for the user's approval.
  [[nodiscard]] bool isRegistered() const;

 Q_SIGNALS:
  void stateChanged();
  void pausedUntilChanged();
  void pairingChanged();
  /// Something about `waitsFor` or `pairingNews` has changed.
  void pairingNewsChanged();
  void launchAtLoginChanged();

 private:
  /// Each member is changed through `publish`, which tells those who show it.
  struct Published {
    RelayState state = relayState::Stopped{};
    std::optional<Clock::UnixTime> pausedUntil = {};
    std::optional<Pairing> pairing = {};
    PairingNews news{.waitsFor = PairingNews::WaitsFor::keyring};
    bool launchAtLogin = false;
  };

  template <typename Value>
  void publish(Value Published::*member, Value value, void (AppModel::*changed)());
  void disconnect(const PowerEvents::SleepHold& hold);
  void pairingReported(const PairingNews& news);
  void linkReported(std::uint64_t link, const RelayState& state);
  void registerLoginItem(bool on);
  void observeSleep();

  const Dependencies dependencies;
  const std::string name;
  std::string linkHost;
  bool firstLaunch = false;
  /// The machine sleeps, or the application is about to end: news connect nothing.
  bool isAway = false;
  /// Made by this run.
  std::uint64_t replacements = 0;
  Published published;
  /// Absent while disconnected or paused.
  std::shared_ptr<RelayLink> client;
  /// Links made so far; the newest one bears this number.
  std::uint64_t linkCount = 0;
  std::shared_ptr<ModelClock::Task> resumeTask;
  std::vector<PowerEvents::Observer> observers;
};

}  // namespace orvik
