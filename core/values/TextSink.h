#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

namespace orvik {

/// Appends to a text through a bare position in its memory: room is made in large steps, and the
/// length is set once at the end, which is when `out` may be read.
class TextSink {
 public:
  explicit TextSink(std::string& out) : out(out), used(out.size()) {
    // The room that the text already has is free to use.
    out.resize(out.capacity());
    reset();
  }
  TextSink(const TextSink&) = delete;
  TextSink& operator=(const TextSink&) = delete;
  ~TextSink() { out.resize(size()); }

  /// Makes room for `count` bytes and says where they go. They count once `advance` is told.
  [[nodiscard]] char* room(std::size_t count) {
    if (static_cast<std::size_t>(end - position) < count) [[unlikely]] {
      grow(count);
    }
    return position;
  }
  /// Takes what was written from `room` up to here.
  void advance(char* to) { position = to; }

  void put(char c) {
    *room(1) = c;
    ++position;
  }
  void put(std::string_view text) {
    std::memcpy(room(text.size()), text.data(), text.size());
    position += text.size();
  }

 private:
  /// Kept out of line: it is rare, and the rest is small enough to stand where it is used.
  [[gnu::noinline]] void grow(std::size_t count) {
    used = size();
    out.resize(std::max(used + count, 2 * out.size() + 64));
    reset();
  }
  [[nodiscard]] std::size_t size() const { return static_cast<std::size_t>(position - out.data()); }
  void reset() {
    position = out.data() + used;
    end = out.data() + out.size();
  }

  std::string& out;
  std::size_t used;
  char* position = nullptr;
  char* end = nullptr;
};

}  // namespace orvik
