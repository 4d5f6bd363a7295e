// Frame time of the effect through the headless host, and the cost of
// generating a kernel's program text.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <random>

#include "EffectHost.h"
#include "GaussianBlurRender.h"

using Brindel::GaussianBlur::GaussianBlurRender;
using Brindel::Host::EffectHost;
using Brindel::Host::World;

namespace {

// One frame of 1920x1080 at the blur given as the benchmark's argument.
void SmartRender1080p(benchmark::State& state) {
    EffectHost host(BRINDEL_PLUGIN_PATH);
    if (host.send(PF_Cmd_GLOBAL_SETUP) || host.send(PF_Cmd_PARAMS_SETUP)) {
        state.SkipWithError("set-up failed");
        return;
    }
    World input(1920, 1080, PF_PixelFormat_ARGB32);
    World output(1920, 1080, PF_PixelFormat_ARGB32);
    std::mt19937 random(3);
    for (A_long y = 0; y < input.height(); ++y) {
        for (A_long i = 0; i < input.rowbytes(); ++i) {
            input.row(y)[i] = static_cast<uint8_t>(random());
        }
    }
    host.setParamValue(1, static_cast<double>(state.range(0)));
    // The first frame builds the frame-buffer objects and the programs.
    if (host.smartRender(input, output)) {
        state.SkipWithError("render failed");
    }
    for (auto _ : state) {
        if (host.smartRender(input, output)) {
            state.SkipWithError("render failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
    host.send(PF_Cmd_GLOBAL_SETDOWN);
}
BENCHMARK(SmartRender1080p)->Arg(0)->Arg(10)->Arg(60)->Unit(benchmark::kMillisecond)->UseRealTime();

// New text for a new radius: what a change of the blur costs before GL.
void ProgramText(benchmark::State& state) {
    for (auto _ : state) {
        GaussianBlurRender render;
        render.setBlurScale(static_cast<double>(state.range(0)));
        benchmark::DoNotOptimize(render.getVertexFunction());
        benchmark::DoNotOptimize(render.getFragmentFunction());
    }
}
BENCHMARK(ProgramText)->Arg(3)->Arg(60);

} // namespace

BENCHMARK_MAIN();
