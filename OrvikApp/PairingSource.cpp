#include "OrvikApp/PairingSource.h"

#include <utility>

#include "OrvikApp/CoreThread.h"

namespace orvik {

namespace {

class KeptPairing final : public PairingSource {
 public:
  KeptPairing(asio::any_io_executor executor, std::shared_ptr<Clock> clock)
      : executor(std::move(executor)), clock(std::move(clock)) {}

  void start(std::function<void(const PairingNews&)> onNews) override {
    keeper = std::make_shared<PairingKeeper>(executor, clock, PairingStore::ofThisUser(),
                                             AccountLock::ofThisUser("orvik"),
                                             [onNews = std::move(onNews)](const PairingNews& news) {
                                               onMainThread([onNews, news] { onNews(news); });
                                             });
    keeper->start();
  }
  void replace() override { keeper->replace(); }
  void unlock() override { keeper->unlock(); }

 private:
  const asio::any_io_executor executor;
  const std::shared_ptr<Clock> clock;
  std::shared_ptr<PairingKeeper> keeper;
};

}  // namespace

std::shared_ptr<PairingSource> openPairingSource(const asio::any_io_executor& executor,
                                                 const std::shared_ptr<Clock>& clock) {
  return std::make_shared<KeptPairing>(executor, clock);
}

}  // namespace orvik
