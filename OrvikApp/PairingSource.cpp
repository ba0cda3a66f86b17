#include "OrvikApp/PairingSource.h"

#include <utility>

#include "OrvikApp/CoreThread.h"

namespace orvik {

namespace {

class KeptPairing final : public PairingSource {
 public:
  KeptPairing(asio::any_io_executor executor, std::shared_ptr<Clock> clock,
              PairingKeeper::Retire retire)
      : executor(std::move(executor)), clock(std::move(clock)), retire(std::move(retire)) {}

  void start(std::function<void(const PairingNews&)> onNews) override {
    const auto report = [onNews = std::move(onNews)](const PairingNews& news) {
      onMainThread([onNews, news] { onNews(news); });
    };
    const auto retireOnMainThread = [retire = retire](const RetiredPairing& retired,
                                                      const std::function<void()>& told) {
      onMainThread([retire, retired, told] { retire(retired, told); });
    };
    keeper = std::make_shared<PairingKeeper>(executor, clock, PairingStore::ofThisUser(),
                                             AccountLock::ofThisUser("orvik"), report,
                                             retireOnMainThread);
    keeper->start();
  }
  void replace() override { keeper->replace(); }
  void unlock() override { keeper->unlock(); }

 private:
  const asio::any_io_executor executor;
  const std::shared_ptr<Clock> clock;
  const PairingKeeper::Retire retire;
  std::shared_ptr<PairingKeeper> keeper;
};

}  // namespace

std::shared_ptr<PairingSource> openPairingSource(const asio::any_io_executor& executor,
                                                 const std::shared_ptr<Clock>& clock,
                                                 PairingKeeper::Retire retire) {
  return std::make_shared<KeptPairing>(executor, clock, std::move(retire));
}

}  // namespace orvik
