#include "bench/registration.h"

#include <utility>

namespace bench {
namespace {

class Measurement : public benchmark::internal::Benchmark
{
public:
    Measurement(const std::string& name, std::function<void(benchmark::State&)> measured)
        : Benchmark(name.c_str()), body(std::move(measured))
    {
    }
    void Run(benchmark::State& state) override { body(state); }

private:
    std::function<void(benchmark::State&)> body;
};

} // namespace

benchmark::internal::Benchmark* AddMeasurement(const std::string& name,
                                               std::function<void(benchmark::State&)> body)
{
    auto* made = new Measurement(name, std::move(body));
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): it is owned there
    return benchmark::internal::RegisterBenchmarkInternal(made);
}

} // namespace bench
