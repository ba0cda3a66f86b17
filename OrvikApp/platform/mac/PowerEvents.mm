#include "OrvikApp/platform/PowerEvents.h"

#import <AppKit/AppKit.h>

#include <utility>

namespace orvik {

namespace {

/// The notifications of the workspace, on the main queue. The system waits for their observers
/// before it sleeps, but for nothing that these only set going: there is no hold to hand out.
class Workspace final : public PowerEvents {
 public:
  [[nodiscard]] Observer onWillSleep(std::function<void(const SleepHold&)> action) override {
    return observe(NSWorkspaceWillSleepNotification,
                   [action = std::move(action)] { action(nullptr); });
  }
  [[nodiscard]] Observer onDidWake(std::function<void()> action) override {
    return observe(NSWorkspaceDidWakeNotification, std::move(action));
  }

 private:
  static Observer observe(NSNotificationName name, std::function<void()> action) {
    id<NSObject> token = [NSWorkspace.sharedWorkspace.notificationCenter
        addObserverForName:name
                    object:nil
                     queue:NSOperationQueue.mainQueue
                usingBlock:^(NSNotification*) {
                  action();
                }];
    // The centre holds it too, and so goes on telling when this is let go.
    return std::make_shared<id<NSObject>>(token);
  }
};

}  // namespace

std::unique_ptr<PowerEvents> openPowerEvents() { return std::make_unique<Workspace>(); }

}  // namespace orvik
