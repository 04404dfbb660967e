#include <DSStore/DSStore.h>

#include <benchmark/benchmark.h>

namespace halvo {
namespace {

std::string itemName(std::int64_t index) { return "Item number " + std::to_string(index) + ".dat"; }

DSStore storeOfIcons(std::int64_t count) {
    DSStore store;
    for (std::int64_t index = 0; index < count; ++index)
        store.setIconPosition(itemName(index), index % 1000, index / 1000);
    return store;
}

void buildAndSerialize(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(storeOfIcons(state.range(0)).serialize());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void read(benchmark::State& state) {
    const Bytes file = storeOfIcons(state.range(0)).serialize();
    for (auto _ : state)
        benchmark::DoNotOptimize(DSStore::read(file));
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(file.size()));
}

/// Every position is looked up and replaced once.
void moveEveryIcon(benchmark::State& state) {
    DSStore store = storeOfIcons(state.range(0));
    for (auto _ : state)
        for (std::int64_t index = 0; index < state.range(0); ++index) {
            const dsstore::IconPosition position = store.iconPosition(itemName(index)).value();
            store.setIconPosition(itemName(index), position.y, position.x);
        }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(buildAndSerialize)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK(read)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK(moveEveryIcon)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace halvo
