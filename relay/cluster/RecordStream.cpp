#include "relay/cluster/RecordStream.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "core/values/UntypedValue.h"

namespace orvik::relay {

namespace {

using namespace std::chrono_literals;

/// For how long the engine takes no second change of one version of a record: longer than one may
/// be under way, and no longer, since a leader that could not pass one on goes on refusing it.
constexpr std::chrono::nanoseconds duplicateWindow = 3s;
/// Servers of the engine that have said nothing for so long do not count.
constexpr std::chrono::nanoseconds silence = 4s;

}  // namespace

JSONValue RecordStream::config() const {
  JSONObject config{{"name", name},
                    {"subjects", JSONValue::Array{name + ".record.*"}},
                    {"retention", "limits"},
                    {"discard", "new"},
                    {"storage", "file"},
                    {"max_msgs_per_subject", 1},
                    {"duplicate_window", duplicateWindow.count()},
                    {"max_age", std::chrono::nanoseconds(recordTime).count()},
                    {"num_replicas", replicas}};
  if (bytes > 0) {
    config.set("max_bytes", bytes);
  }
  return config;
}

std::string RecordStream::unfit(const UntypedValue& config) const {
  const auto is = [&config](std::string_view key, std::string_view value) {
    const auto* const text = config.get<std::string>(key);
    return text != nullptr && *text == value;
  };
  const auto* const subjects = config.get<UntypedValue::List>("subjects");
  const auto* const isSilent = config.get<bool>("no_ack");
  const std::int64_t age = integer(config, "max_age", 0);
  const std::vector<std::pair<const char*, bool>> members = {
      {"subjects", subjects != nullptr && *subjects == UntypedValue::List{name + ".record.*"}},
      {"max_msgs_per_subject", integer(config, "max_msgs_per_subject", 0) == 1},
      {"retention", is("retention", "limits")},
      {"storage", is("storage", "file")},
      {"discard", is("discard", "new")},
      {"no_ack", isSilent == nullptr || !*isSilent},
      {"max_age", age == 0 || age >= std::chrono::nanoseconds(recordTime).count()},
      {"num_replicas", integer(config, "num_replicas", 0) >= replicas},
      {"duplicate_window", integer(config, "duplicate_window", 0) == duplicateWindow.count()}};
  for (const auto& [member, isFit] : members) {
    if (!isFit) {
      return member;
    }
  }
  return {};
}

bool RecordStream::hasTaken(const UntypedValue& answer, std::uint64_t after) const {
  const auto* const stream = answer.get<std::string>("stream");
  const std::int64_t place = integer(answer, "seq", 0);
  return stream != nullptr && *stream == name && place > 0 &&
         static_cast<std::uint64_t>(place) > after;
}

StreamFailure StreamFailure::in(const UntypedValue& answer, bool isUnheard) {
  if (isUnheard) {
    return {unheard, "it has no JetStream, or none for this user"};
  }
  const UntypedValue* const error = answer.find("error");
  const auto* const isDuplicate = answer.get<bool>("duplicate");
  if (isDuplicate != nullptr && *isDuplicate) {
    return {wrongSequence, "another relay was first"};
  }
  if (error == nullptr) {
    return {};
  }
  const auto* const words = error->get<std::string>("description");
  // Only older engines give none of their own.
  return {integer(*error, "err_code", integer(*error, "code", -1)),
          words == nullptr ? "it refuses" : *words};
}

bool StreamFailure::isFull() const noexcept {
  return code == resourcesExceeded || code == insufficientResources || code == memoryExceeded ||
         code == storageExceeded || code == notStored;
}

std::int64_t integer(const UntypedValue& object, std::string_view key, std::int64_t otherwise) {
  const auto* const found = object.get<std::int64_t>(key);
  return found == nullptr ? otherwise : *found;
}

const UntypedValue& part(const UntypedValue& object, std::string_view key) {
  static const UntypedValue none;
  const UntypedValue* const found = object.find(key);
  return found == nullptr ? none : *found;
}

bool hasQuorum(const UntypedValue& cluster) {
  const auto* const others = cluster.get<UntypedValue::List>("replicas");
  if (others == nullptr) {
    return true;
  }
  const auto present = std::ranges::count_if(*others, [](const UntypedValue& each) {
    const auto* const isOffline = each.get<bool>("offline");
    return (isOffline == nullptr || !*isOffline) && integer(each, "active", 0) < silence.count();
  });
  return static_cast<std::size_t>(present + 1) > (others->size() + 1) / 2;
}

}  // namespace orvik::relay
