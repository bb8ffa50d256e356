// The share card on the demo machine, under the offscreen platform:
//   BM_PaintCard    painting the 1080 × 1350 card into an image
//   BM_CardPng      what "Save Card as Image…" and `vitrek card` wait for: the card built from the Store,
//                   painted and encoded as PNG
#include "Store.h"
#include "card/CardExport.h"
#include "card/ShareCard.h"
#include "demo/DemoData.h"

#include <benchmark/benchmark.h>

#include <QApplication>

#include <memory>

namespace {

vitrek::Store& demoStore() {
    static const auto store = [] {
        vitrek::StoreEnvironment environment;
        environment.isDemo = [] { return true; };
        auto filled = std::make_unique<vitrek::Store>(environment);
        vitrek::DemoData::fill(*filled);
        return filled;
    }();
    return *store;
}

void BM_PaintCard(benchmark::State& state) {
    const auto card = vitrek::CardExport::card(demoStore());
    const auto calendar = demoStore().environment().calendar();
    for (auto _ : state) {
        benchmark::DoNotOptimize(vitrek::ShareCardView::image(*card, calendar));
    }
}
BENCHMARK(BM_PaintCard)->Unit(benchmark::kMillisecond);

void BM_CardPng(benchmark::State& state) {
    std::size_t bytes = 0;
    for (auto _ : state) {
        const auto png = vitrek::CardExport::png(demoStore());
        bytes = static_cast<std::size_t>(png->size());
        benchmark::DoNotOptimize(png);
    }
    state.counters["png_bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_CardPng)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
