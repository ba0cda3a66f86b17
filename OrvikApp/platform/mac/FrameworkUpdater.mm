#import <Sparkle/Sparkle.h>

#include "OrvikApp/platform/Updater.h"

namespace orvik {

namespace {

/// The update framework's own controller, which checks by itself too. Where it looks, and whose
/// signature it accepts, stands in the bundle's Info.plist.
class FrameworkUpdater final : public Updater {
 public:
  void checkForUpdates() override { [controller checkForUpdates:nil]; }

 private:
  SPUStandardUpdaterController* controller =
      [[SPUStandardUpdaterController alloc] initWithStartingUpdater:YES
                                                    updaterDelegate:nil
                                                 userDriverDelegate:nil];
};

}  // namespace

std::unique_ptr<Updater> startUpdater(const Texts& /*texts*/) {
  return std::make_unique<FrameworkUpdater>();
}

}  // namespace orvik
