// How works are told to Google Benchmark.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

namespace bench {

// Under this name; how it is to be run can be set on the answer, which Google Benchmark owns.
benchmark::internal::Benchmark* AddMeasurement(const std::string& name,
                                               std::function<void(benchmark::State&)> body);

} // namespace bench
