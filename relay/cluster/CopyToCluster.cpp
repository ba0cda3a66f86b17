#include "relay/cluster/CopyToCluster.h"

#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "relay/RecordFile.h"

namespace orvik::relay {

namespace {

using Copied = JetStreamStore::Copied;

/// That are under way at once.
constexpr std::int64_t atOnce = 256;
constexpr std::chrono::seconds patience{30};
constexpr std::chrono::seconds pause{1};

std::vector<Copied> copied(const std::vector<Identifier>& identifiers, RecordFile& file,
                           JetStreamStore& store, std::int64_t unixNow) {
  // First: a damaged file throws, and then nobody is to answer any more.
  std::vector<RecordFile::Found> found;
  found.reserve(identifiers.size());
  for (const Identifier& each : identifiers) {
    found.push_back(file.find(each, unixNow));
  }
  std::vector<std::promise<Copied>> answers(identifiers.size());
  for (std::size_t i = 0; i < identifiers.size(); ++i) {
    if (!found[i].record) {
      // Somebody has removed it a moment ago.
      answers[i].set_value(Copied::isThere);
      continue;
    }
    store.copy(identifiers[i], {*std::move(found[i].record), unixNow},
               [&answer = answers[i]](Copied what) { answer.set_value(what); });
  }
  std::vector<Copied> all;
  all.reserve(answers.size());
  for (std::promise<Copied>& answer : answers) {
    all.push_back(answer.get_future().get());
  }
  return all;
}

}  // namespace

Copy copyToCluster(const std::filesystem::path& file, const JetStreamStore::Settings& settings,
                   const Limits& limits, const std::shared_ptr<Clock>& clock,
                   const JetStreamStore::Log& log) {
  if (!std::filesystem::is_regular_file(file)) {
    throw std::runtime_error(file.string() + " is no file");
  }
  try {
    RecordFile from(file, limits, true);
    JetStreamStore store(settings, limits, clock, log);
    Copy copy;
    Instant lastSuccess = clock->now();
    std::int64_t place = 0;
    for (auto batch = from.identifiers(place, atOnce); !batch.empty();) {
      const std::vector<Copied> all = copied(batch, from, store, epochSeconds(clock->unixNow()));
      std::vector<Identifier> failed;
      bool isRoom = true;
      for (std::size_t i = 0; i < all.size(); ++i) {
        copy.there += all[i] == Copied::isThere ? 1U : 0U;
        copy.ofOthers += all[i] == Copied::hasOtherOwner ? 1U : 0U;
        copy.leftOut += all[i] == Copied::unusable ? 1U : 0U;
        isRoom = isRoom && all[i] != Copied::noRoom;
        if (all[i] == Copied::failed || all[i] == Copied::noRoom) {
          failed.push_back(batch[i]);
        }
      }
      if (failed.size() < batch.size()) {
        lastSuccess = clock->now();
      } else if (clock->now() > lastSuccess + patience) {
        throw std::runtime_error(
            "the cluster takes no more (" +
            (isRoom ? store.state().why
                    : "the last quarter of its room is for those that are there") +
            "): " + std::to_string(copy.there) + " identifiers are there");
      }
      if (!failed.empty()) {
        std::this_thread::sleep_for(pause);
      }
      batch = failed.empty() ? from.identifiers(place, atOnce) : failed;
    }
    return copy;
  } catch (const SQLiteError& error) {
    throw std::runtime_error(file.string() + ": " + error.what());
  } catch (const RecordFile::UnknownFormat&) {
    throw std::runtime_error(file.string() + ": it is another program's, or a newer version's");
  }
}

}  // namespace orvik::relay
