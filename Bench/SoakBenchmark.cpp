// Soak: thousands of frames through the headless host in one session, each of a random size and
// host thread, the Blur Scale changing every few frames, some with a host fault injected. Every so
// many frames it prints the process's resident memory and the GL objects alive, which must stay
// flat.
//
//   SoakBenchmark [--frames N] [--every K] [--max-size WxH] [--threads T] [--seed S]
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "EffectHost.h"
#include "GLObjectCounter.h"
#include "World.h"

using Brindel::Bench::GLObjectCounter;
using Brindel::Host::Callback;
using Brindel::Host::EffectHost;
using Brindel::Host::World;

namespace {

constexpr PF_ParamIndex kBlurScale = 1;

struct Options {
    long frames = 10000;
    long every = 500;
    A_long maxWidth = 4096;
    A_long maxHeight = 2160;
    int threads = 4;
    unsigned seed = 1;
};

Options Parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string arg = argv[i];
        const char* value = argv[i + 1];
        if (arg == "--frames") {
            options.frames = std::atol(value);
        } else if (arg == "--every") {
            options.every = std::atol(value);
        } else if (arg == "--max-size" &&
                   std::sscanf(value, "%dx%d", &options.maxWidth, &options.maxHeight) == 2) {
        } else if (arg == "--threads") {
            options.threads = std::atoi(value);
        } else if (arg == "--seed") {
            options.seed = static_cast<unsigned>(std::atol(value));
        } else {
            throw std::invalid_argument("unknown option or value: " + arg + " " + value);
        }
    }
    if ((argc - 1) % 2 != 0 || options.frames < 1 || options.every < 1 || options.maxWidth < 1 ||
        options.maxHeight < 1 || options.threads < 1) {
        throw std::invalid_argument("usage: SoakBenchmark [--frames N] [--every K] "
                                    "[--max-size WxH] [--threads T] [--seed S]");
    }
    return options;
}

// Resident and peak resident memory in MiB, as the kernel counts them.
double StatusMiB(const char* field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind(field, 0) == 0) {
            return std::atof(line.c_str() + std::strlen(field)) / 1024.0;
        }
    }
    return -1.0;
}

// One host thread that runs the jobs handed to it, one at a time, and keeps its contexts.
class HostThread {
public:
    HostThread() : mThread([this] { loop(); }) {}
    ~HostThread() {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mQuit = true;
        }
        mWake.notify_all();
        mThread.join();
    }
    HostThread(const HostThread&) = delete;
    HostThread& operator=(const HostThread&) = delete;

    void run(const std::function<void()>& job) {
        std::unique_lock<std::mutex> lock(mMutex);
        mJob = job;
        mBusy = true;
        mWake.notify_all();
        mWake.wait(lock, [this] { return !mBusy; });
    }

private:
    void loop() {
        std::unique_lock<std::mutex> lock(mMutex);
        for (;;) {
            mWake.wait(lock, [this] { return mBusy || mQuit; });
            if (mQuit) {
                return;
            }
            mJob();
            mBusy = false;
            mWake.notify_all();
        }
    }

    std::mutex mMutex;
    std::condition_variable mWake;
    std::function<void()> mJob;
    bool mBusy = false;
    bool mQuit = false;
    std::thread mThread;
};

// Sizes spread evenly over their logarithm, so that small, medium and full frames all come up;
// one frame in 50 is the largest.
A_long Size(std::mt19937& random, A_long max) {
    if (random() % 50 == 0) {
        return max;
    }
    std::uniform_real_distribution<double> exponent(0.0, std::log2(static_cast<double>(max)));
    return std::max<A_long>(1, static_cast<A_long>(std::exp2(exponent(random))));
}

// Across the slider's range 0 to 60, fractions included, with whole numbers and values below the
// kernel's smallest radius coming up often.
double Blur(std::mt19937& random) {
    std::uniform_real_distribution<double> any(0.0, 60.0);
    switch (random() % 4) {
    case 0:
        return static_cast<double>(random() % 61);
    case 1:
        return std::uniform_real_distribution<double>(0.0, 0.5)(random);
    default:
        return any(random);
    }
}

// A fault in one of the callbacks a frame uses, for one frame in 20.
void InjectFault(EffectHost& host, std::mt19937& random) {
    const Callback callbacks[] = {Callback::CheckoutParam,  Callback::CheckinParam,
                                  Callback::CheckoutLayer,  Callback::CheckoutLayerPixels,
                                  Callback::CheckoutOutput, Callback::GetPixelData8};
    const Callback callback = callbacks[random() % std::size(callbacks)];
    if (random() % 2) {
        host.fail(callback, PF_Err_OUT_OF_MEMORY);
    } else {
        host.raise(callback, std::make_exception_ptr(std::bad_alloc()));
    }
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    try {
        options = Parse(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 2;
    }
    // The plug-in prints its GL version lines on standard error, with the failures; the figures
    // go to standard output so that they stand alone.
    std::fprintf(stdout,
                 "soak: %ld frames up to %dx%d, %d host threads, seed %u, a row every %ld\n",
                 options.frames, options.maxWidth, options.maxHeight, options.threads, options.seed,
                 options.every);

    EffectHost host(BRINDEL_PLUGIN_PATH);
    // The counter arms the context current when it is made: the host's, from the start.
    host.glContext().makeCurrent();
    GLObjectCounter counter;
    if (host.send(PF_Cmd_GLOBAL_SETUP) || host.send(PF_Cmd_PARAMS_SETUP)) {
        std::fprintf(stderr, "soak: set-up failed\n");
        return 1;
    }
    std::vector<std::unique_ptr<HostThread>> threads;
    for (int i = 0; i < options.threads; ++i) {
        threads.push_back(std::make_unique<HostThread>());
    }

    // Pixels come from one block of noise, so that filling a frame costs a copy.
    std::mt19937 random(options.seed);
    std::vector<uint8_t> noise(static_cast<size_t>(options.maxWidth) * options.maxHeight * 4);
    for (uint8_t& byte : noise) {
        byte = static_cast<uint8_t>(random());
    }

    std::fprintf(stdout, "%8s %8s %9s %9s %9s %9s  %s\n", "frames", "seconds", "RSS MiB",
                 "peak MiB", "failed", "GL live", "by kind");
    const auto start = std::chrono::steady_clock::now();
    long failed = 0;
    long pixels = 0;
    for (long frame = 1; frame <= options.frames; ++frame) {
        const A_long width = Size(random, options.maxWidth);
        const A_long height = Size(random, options.maxHeight);
        World input(width, height, PF_PixelFormat_ARGB32, static_cast<A_long>(random() % 4) * 4);
        World output(width, height, PF_PixelFormat_ARGB32, static_cast<A_long>(random() % 4) * 4);
        for (A_long y = 0; y < height; ++y) {
            std::memcpy(input.row(y), noise.data() + static_cast<size_t>(y) * width * 4,
                        static_cast<size_t>(width) * 4);
        }
        // A new value every few frames, as when the slider is dragged: each new radius builds
        // new programs, which llvmpipe compiles slowly.
        if (frame == 1 || random() % 8 == 0) {
            host.setParamValue(kBlurScale, Blur(random));
        }
        const bool fault = random() % 20 == 0;
        if (fault) {
            InjectFault(host, random);
        }
        HostThread& thread = *threads[random() % threads.size()];
        PF_Err err = PF_Err_NONE;
        thread.run([&] {
            try {
                PF_PreRenderInput request{};
                request.output_request.rect = {0, 0, width, height};
                request.output_request.channel_mask = PF_ChannelMask_ARGB;
                request.bitdepth = 8;
                PF_PreRenderOutput result{};
                host.setLayerRect({0, 0, width, height});
                err = host.preRender(request, result);
                if (!err) {
                    err = host.smartRender(input, output);
                }
            } catch (const std::exception&) {
                // A host fault that the effect let through.
                err = PF_Err_INTERNAL_STRUCT_DAMAGED;
            }
        });
        host.clearFaults();
        if (err) {
            ++failed;
            if (!fault) {
                std::fprintf(stderr, "soak: frame %ld (%dx%d) failed with %d without a fault\n",
                             frame, width, height, err);
                return 1;
            }
        }
        pixels += static_cast<long>(width) * height;
        if (frame % options.every == 0 || frame == options.frames) {
            const double seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            std::string kinds;
            for (const auto& [kind, count] : counter.live()) {
                kinds += kind + " " + std::to_string(count) + ", ";
            }
            std::fprintf(stdout, "%8ld %8.1f %9.1f %9.1f %9ld %9zu  %s\n", frame, seconds,
                         StatusMiB("VmRSS:"), StatusMiB("VmHWM:"), failed, counter.total(),
                         kinds.empty() ? "none" : kinds.substr(0, kinds.size() - 2).c_str());
            // A row as soon as it is measured, also into a pipe.
            std::fflush(stdout);
        }
    }
    threads.clear();
    const PF_Err setdown = host.send(PF_Cmd_GLOBAL_SETDOWN);
    std::fprintf(stdout, "soak: %.1f megapixels; set-down %d, GL objects alive after it: %zu\n",
                 static_cast<double>(pixels) / 1e6, setdown, counter.total());
    return setdown == PF_Err_NONE ? 0 : 1;
}
