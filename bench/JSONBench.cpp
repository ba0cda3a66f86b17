// The compact writer beside two others, on the same values: each writes what it read from our text.

#include <benchmark/benchmark.h>
#include <boost/json/parse.hpp>
#include <boost/json/serializer.hpp>

#include <cstdlib>
#include <new>

#include "bench/Payloads.h"

#ifdef ORVIK_HAS_YYJSON
#include "yyjson.hpp"
#endif

namespace {

/// Counted, to show that writing allocates nothing.
std::size_t allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace orvik::bench {
namespace {

using Payload = JSONValue (*)();

void report(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(size));
  state.counters["bytes"] = static_cast<double>(size);
}

void orvikWriter(benchmark::State& state, Payload payload) {
  const JSONValue value = payload();
  std::string out = value.text();
  const std::size_t size = out.size();
  const std::size_t before = allocations;
  for (auto _ : state) {
    out.clear();
    value.write(out);
    benchmark::DoNotOptimize(out.data());
  }
  if (allocations != before) {
    state.SkipWithError("writing has allocated");
  }
  report(state, size);
}

void boostSerializer(benchmark::State& state, Payload payload) {
  const std::string text = payload().text();
  const boost::json::value value = boost::json::parse(text);
  std::string out(2 * text.size(), '\0');
  boost::json::serializer serializer;
  std::size_t size = 0;
  for (auto _ : state) {
    serializer.reset(&value);
    size = serializer.read(out.data(), out.size()).size();
    benchmark::DoNotOptimize(out.data());
  }
  report(state, size);
}

#ifdef ORVIK_HAS_YYJSON
void yyjsonWriter(benchmark::State& state, Payload payload) {
  const std::string text = payload().text();
  auto* document = duckdb_yyjson::yyjson_read(text.data(), text.size(), 0);
  std::size_t size = 0;
  for (auto _ : state) {
    char* out = duckdb_yyjson::yyjson_write(document, 0, &size);
    benchmark::DoNotOptimize(out);
    std::free(out);
  }
  duckdb_yyjson::yyjson_doc_free(document);
  report(state, size);
}
BENCHMARK_CAPTURE(yyjsonWriter, sample, liveSample);
BENCHMARK_CAPTURE(yyjsonWriter, history, fullHistory);
#endif

BENCHMARK_CAPTURE(orvikWriter, sample, liveSample);
BENCHMARK_CAPTURE(orvikWriter, history, fullHistory);
BENCHMARK_CAPTURE(boostSerializer, sample, liveSample);
BENCHMARK_CAPTURE(boostSerializer, history, fullHistory);

}  // namespace
}  // namespace orvik::bench
