#pragma once

#include <QObject>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "OrvikApp/ModelClock.h"
#include "OrvikApp/RelayLink.h"
#include "OrvikApp/platform/LoginItem.h"
#include "OrvikApp/platform/PowerEvents.h"
#include "core/client/RelayState.h"
#include "core/pairing/Pairing.h"
#include "core/system/SecretStore.h"

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
    std::shared_ptr<SecretStore> secretStore;
    std::shared_ptr<LoginItem> loginItem;
    std::shared_ptr<PowerEvents> powerEvents;
    std::shared_ptr<ModelClock> clock;
    /// The computer's name, where the system has one.
    std::optional<std::string> hostName;
  };

  /// The live model; null before it is complete and once it is gone.
  [[nodiscard]] static AppModel* current();

  /// Loads the pairing or makes one, then connects. Where no pairing was stored, this is the first
  /// launch: the application then makes itself a login item.
  explicit AppModel(Dependencies dependencies);

  /// What the link to the relay last reported.
  [[nodiscard]] const RelayState& state() const { return published.state; }
  /// When the pause ends, in wall-clock time; present exactly while paused.
  [[nodiscard]] std::optional<Clock::UnixTime> pausedUntil() const { return published.pausedUntil; }
  [[nodiscard]] bool isPaused() const { return published.pausedUntil.has_value(); }
  [[nodiscard]] const Pairing& pairing() const { return published.pairing; }
  /// The switch for starting at login.
  [[nodiscard]] bool launchAtLogin() const { return published.launchAtLogin; }
  /// No pairing was stored when the model was made.
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
  /// paused. A pairing that cannot be stored is used until the program ends.
  void disconnectAllPhones();
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
  void launchAtLoginChanged();

 private:
  /// Each member is changed through `publish`, which tells those who show it.
  struct Published {
    RelayState state = relayState::Stopped{};
    std::optional<Clock::UnixTime> pausedUntil = {};
    Pairing pairing;
    bool launchAtLogin = false;
  };

  [[nodiscard]] Pairing pairingAtStart();
  template <typename Value>
  void publish(Value Published::*member, Value value, void (AppModel::*changed)());
  void disconnect(const PowerEvents::SleepHold& hold);
  void linkReported(std::uint64_t link, const RelayState& state);
  void registerLoginItem(bool on);
  void observeSleep();

  const Dependencies dependencies;
  const std::string name;
  bool firstLaunch = false;
  Published published;
  /// Absent while disconnected or paused.
  std::shared_ptr<RelayLink> client;
  /// Links made so far; the newest one bears this number.
  std::uint64_t linkCount = 0;
  std::shared_ptr<ModelClock::Task> resumeTask;
  std::vector<PowerEvents::Observer> observers;
};

}  // namespace orvik
