#include "core/connection/NameLookup.h"

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>
#include <netdb.h>

#include <cstring>
#include <utility>

#include "core/async/BlockingWork.h"

namespace orvik {

namespace {

struct Answer {
  /// As getaddrinfo gives it; 0 when there are addresses.
  int error = 0;
  std::vector<asio::ip::tcp::endpoint> endpoints;
};

struct FreeAddresses {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};

Answer askSystem(const std::string& host, const std::string& port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* rawList = nullptr;
  Answer answer;
  answer.error = getaddrinfo(host.c_str(), port.c_str(), &hints, &rawList);
  const std::unique_ptr<addrinfo, FreeAddresses> list(answer.error == 0 ? rawList : nullptr);
  for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next) {
    asio::ip::tcp::endpoint endpoint;
    if (entry->ai_addrlen <= endpoint.capacity()) {
      std::memcpy(endpoint.data(), entry->ai_addr, entry->ai_addrlen);
      endpoint.resize(entry->ai_addrlen);
      answer.endpoints.push_back(endpoint);
    }
  }
  return answer;
}

}  // namespace

asio::awaitable<std::vector<asio::ip::tcp::endpoint>> lookUp(std::shared_ptr<Clock> clock,
                                                             Clock::Duration limit,
                                                             std::string host, std::uint16_t port) {
  BlockingWork work(std::move(clock));
  const auto question = [host = std::move(host), port = std::to_string(port)] {
    return askSystem(host, port);
  };
  auto answer = co_await work.run(limit, question);
  if (!answer || answer->error == EAI_AGAIN) {
    throw boost::system::system_error(asio::error::host_not_found_try_again);
  }
  if (answer->error != 0) {
    throw boost::system::system_error(asio::error::host_not_found);
  }
  co_return std::move(answer->endpoints);
}

}  // namespace orvik
