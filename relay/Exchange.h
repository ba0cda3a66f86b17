#pragma once

#include <boost/asio/ssl/context.hpp>

#include <memory>

#include "core/async/Clock.h"
#include "relay/Admission.h"
#include "relay/Page.h"
#include "relay/Switchboard.h"

namespace orvik::relay {

/// What all connections of one relay share. Lives as long as the last of them.
struct Exchange {
  Exchange(const Limits& bounds, std::shared_ptr<Clock> time, asio::ssl::context context,
           RecordStore& store, Switchboard::Post post)
      : limits(bounds),
        clock(std::move(time)),
        tls(std::move(context)),
        switchboard(limits, store, std::move(post),
                    [this] { return epochSeconds(clock->unixNow()); }) {}

  const Limits limits;
  const std::shared_ptr<Clock> clock;
  asio::ssl::context tls;
  Switchboard switchboard;
  Admission admission{limits};
  /// Null where none is served.
  std::unique_ptr<const Page> page;
};

}  // namespace orvik::relay
