#include "OrvikApp/platform/LoginItem.h"

#import <ServiceManagement/ServiceManagement.h>

namespace orvik {

namespace {

/// The application itself as a login item, kept by the system under its bundle's identifier.
class MainApplication final : public LoginItem {
 public:
  [[nodiscard]] Status status() const override {
    switch (SMAppService.mainAppService.status) {
      case SMAppServiceStatusNotRegistered:
        return Status::notRegistered;
      case SMAppServiceStatusEnabled:
        return Status::enabled;
      case SMAppServiceStatusRequiresApproval:
        return Status::requiresApproval;
      case SMAppServiceStatusNotFound:
        break;
    }
    return Status::notFound;
  }

  bool setRegistered(bool registered) override {
    SMAppService* service = SMAppService.mainAppService;
    // Why it was refused is nothing that could be acted upon here.
    return registered ? [service registerAndReturnError:nil]
                      : [service unregisterAndReturnError:nil];
  }
};

}  // namespace

std::unique_ptr<LoginItem> openLoginItem() { return std::make_unique<MainApplication>(); }

}  // namespace orvik
