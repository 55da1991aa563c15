// Frames per second of the two cube-field renderers at common screen sizes, on one processor
// core. Run: build/bin/bench_cubefield --benchmark_repetitions=5
#include "cubefield/CubeFieldKernels.h"
#include "cubefield/CubeFieldRenderer.h"
#include "cubefield/ReferenceRenderer.h"

#include <QImage>

#include <benchmark/benchmark.h>

#include <string>

#ifdef __linux__
#include <sched.h>
#endif

using namespace lumora::cubefield;

namespace {

// Successive frames 1/45 s apart, so that every frame moves the waves and the glows.
constexpr double firstPhase = 321.0;
constexpr double frameStep = 1.0 / 45;

void reportFramesPerSecond(benchmark::State& state) {
    state.counters["fps"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void fastRenderer(benchmark::State& state, const kernels::KernelSet* kernels) {
    const QSize size(int(state.range(0)), int(state.range(1)));
    CubeFieldRenderer renderer(*kernels);
    QImage frame(size, QImage::Format_ARGB32_Premultiplied);
    renderer.render(frame, firstPhase); // sprites are prepared once, outside the measurement
    double phase = firstPhase;
    for (auto _ : state) {
        phase += frameStep;
        renderer.render(frame, phase);
        benchmark::DoNotOptimize(frame.constBits());
        benchmark::ClobberMemory();
    }
    state.SetLabel(renderer.instructionSet());
    reportFramesPerSecond(state);
}

void referenceRenderer(benchmark::State& state) {
    const QSize size(int(state.range(0)), int(state.range(1)));
    double phase = firstPhase;
    for (auto _ : state) {
        phase += frameStep;
        QImage frame = renderReferenceFrame(size, phase);
        benchmark::DoNotOptimize(frame.constBits());
    }
    reportFramesPerSecond(state);
}

void screenSizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Args({1440, 900})->Args({2560, 1440})->Args({3840, 2160});
    benchmark->ArgNames({"width", "height"})->Unit(benchmark::kMillisecond)->UseRealTime();
}

} // namespace

BENCHMARK(referenceRenderer)->Apply(screenSizes)->Iterations(6);

int main(int argc, char** argv) {
#ifdef __linux__
    // QPainter splits large fills over a pool of threads. Pinning the process (and so every
    // thread it starts) to the processor it runs on measures what one core does.
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    sched_setaffinity(0, sizeof one, &one);
#endif
    // The fast renderer with the pixel loops the application picks here ("fastRenderer"), then
    // with every other instruction set this processor runs, as slower processors would.
    for (const kernels::KernelSet* set : kernels::supportedKernels()) {
        const std::string name = set == &kernels::bestKernels()
                                     ? std::string("fastRenderer")
                                     : std::string("fastRenderer_") + set->name;
        benchmark::RegisterBenchmark(name.c_str(), fastRenderer, set)->Apply(screenSizes);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
