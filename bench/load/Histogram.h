#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace orvik::load {

/// Counts of durations, at most 1.6 % too coarse; a plain value that goes through a pipe.
class Histogram {
 public:
  void add(std::int64_t nanoseconds) {
    ++counts[bucketOf(nanoseconds < 0 ? 0 : static_cast<std::uint64_t>(nanoseconds))];
  }
  void add(const Histogram& other) {
    for (std::size_t at = 0; at < counts.size(); ++at) {
      counts[at] += other.counts[at];
    }
  }
  [[nodiscard]] std::uint64_t total() const {
    std::uint64_t sum = 0;
    for (const std::uint32_t count : counts) {
      sum += count;
    }
    return sum;
  }
  /// Milliseconds that this share of all does not exceed; 0 without any.
  [[nodiscard]] double quantile(double share) const {
    const auto wanted = static_cast<std::uint64_t>(share * static_cast<double>(total()));
    std::uint64_t sum = 0;
    for (std::size_t at = 0; at < counts.size(); ++at) {
      sum += counts[at];
      if (sum > wanted) {
        return static_cast<double>(upperEdge(at)) / 1e6;
      }
    }
    return 0;
  }

 private:
  // Up to 2^6 each nanosecond, then 64 steps for each doubling, up to 2^40 ns, some 18 minutes.
  static constexpr unsigned stepBits = 6;
  static constexpr unsigned maximumBits = 40;
  static constexpr std::size_t buckets = ((maximumBits - stepBits) + 1) << stepBits;

  static std::size_t bucketOf(std::uint64_t value) {
    const std::uint64_t limited = value >> maximumBits == 0 ? value : (1ULL << maximumBits) - 1;
    const auto bits = static_cast<unsigned>(std::bit_width(limited));
    if (bits <= stepBits) {
      return limited;
    }
    const unsigned shift = bits - stepBits - 1;
    return ((static_cast<std::size_t>(shift) << stepBits)) + (limited >> shift);
  }
  static std::uint64_t upperEdge(std::size_t bucket) {
    if (bucket < (2U << stepBits)) {
      return bucket;
    }
    const std::size_t shift = (bucket >> stepBits) - 1;
    return (((bucket & ((1U << stepBits) - 1)) + (1U << stepBits) + 1) << shift) - 1;
  }

  std::array<std::uint32_t, buckets> counts{};
};

}  // namespace orvik::load
