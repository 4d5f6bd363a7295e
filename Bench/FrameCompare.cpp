// Frame cost of one effect module, or of two side by side: each module renders in a process of
// its own, and the two take turns frame by frame (A B, then B A), so that whatever else the
// machine does falls on both alike. For each size and Blur Scale it prints the median wall and
// CPU time of a frame, and per frame the minor page faults and the kernel time of the whole
// process. On a shared machine the CPU time is the steadier of the two.
//
//   FrameCompare [--plugin-a PATH] [--plugin-b PATH] [--sizes 1080p,4k,WxH] [--blurs 0,1,3,...]
//                [--frames N] [--warmup W] [--rounds R]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "FrameWorker.h"

using Brindel::Bench::FrameCost;
using Brindel::Bench::FrameWorker;

namespace {

struct Size {
    A_long width;
    A_long height;
};

struct Options {
    std::vector<std::string> plugins{BRINDEL_PLUGIN_PATH};
    std::vector<Size> sizes{{1920, 1080}};
    std::vector<double> blurs{0, 1, 3, 10, 30, 60};
    int frames = 15;
    int warmup = 2;
    int rounds = 1;
};

constexpr const char* kUsage =
    "usage: FrameCompare [--plugin-a PATH] [--plugin-b PATH] [--sizes 1080p,4k,WxH] "
    "[--blurs 0,1,3,10,30,60] [--frames N] [--warmup W] [--rounds R]";

std::vector<std::string> Split(const std::string& list) {
    std::vector<std::string> items;
    std::stringstream stream(list);
    std::string item;
    while (std::getline(stream, item, ',')) {
        items.push_back(item);
    }
    return items;
}

Size ParseSize(const std::string& text) {
    if (text == "720p") {
        return {1280, 720};
    }
    if (text == "1080p") {
        return {1920, 1080};
    }
    if (text == "4k" || text == "4K") {
        return {3840, 2160};
    }
    Size size{};
    char end = 0;
    if (std::sscanf(text.c_str(), "%dx%d%c", &size.width, &size.height, &end) != 2 ||
        size.width < 1 || size.height < 1) {
        throw std::invalid_argument("not a size: " + text);
    }
    return size;
}

double ParseBlur(const std::string& text) {
    char* end = nullptr;
    const double blur = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(blur >= 0.0)) {
        throw std::invalid_argument("not a Blur Scale: " + text);
    }
    return blur;
}

Options Parse(int argc, char** argv) {
    Options options;
    if ((argc - 1) % 2 != 0) {
        throw std::invalid_argument(kUsage);
    }
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string arg = argv[i];
        const std::string value = argv[i + 1];
        if (arg == "--plugin-a") {
            options.plugins[0] = value;
        } else if (arg == "--plugin-b") {
            options.plugins.resize(2);
            options.plugins[1] = value;
        } else if (arg == "--sizes") {
            options.sizes.clear();
            for (const std::string& item : Split(value)) {
                options.sizes.push_back(ParseSize(item));
            }
        } else if (arg == "--blurs") {
            options.blurs.clear();
            for (const std::string& item : Split(value)) {
                options.blurs.push_back(ParseBlur(item));
            }
        } else if (arg == "--frames") {
            options.frames = std::atoi(value.c_str());
        } else if (arg == "--warmup") {
            options.warmup = std::atoi(value.c_str());
        } else if (arg == "--rounds") {
            options.rounds = std::atoi(value.c_str());
        } else {
            throw std::invalid_argument("unknown option " + arg + "\n" + kUsage);
        }
    }
    if (options.sizes.empty() || options.blurs.empty() || options.frames < 1 ||
        options.warmup < 1 || options.rounds < 1) {
        throw std::invalid_argument(kUsage);
    }
    return options;
}

// What one module's frames of one case come to.
struct Summary {
    double wallMs;      // median
    double cpuMs;       // median, user and kernel
    double minorFaults; // mean
    double systemMs;    // mean
};

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2.0;
}

double Wall(const FrameCost& cost) {
    return cost.wallMs;
}

double Cpu(const FrameCost& cost) {
    return cost.userMs + cost.systemMs;
}

Summary Summarise(const std::vector<FrameCost>& costs) {
    const double n = static_cast<double>(costs.size());
    std::vector<double> wall;
    std::vector<double> cpu;
    Summary summary{};
    for (const FrameCost& cost : costs) {
        wall.push_back(Wall(cost));
        cpu.push_back(Cpu(cost));
        summary.minorFaults += static_cast<double>(cost.minorFaults) / n;
        summary.systemMs += cost.systemMs / n;
    }
    summary.wallMs = Median(wall);
    summary.cpuMs = Median(cpu);
    return summary;
}

// The frames of one case, each module in fresh processes: the order of the cases changes
// nothing, and a module's heap starts as a host's would. Where and when a process's allocator
// turns to the heap varies from process to process, so its page faults do too; rounds of fresh
// processes average that out.
std::vector<std::vector<FrameCost>> RunCase(const Options& options, Size size, double blur) {
    std::vector<std::vector<FrameCost>> costs(options.plugins.size());
    for (int round = 0; round < options.rounds; ++round) {
        std::vector<std::unique_ptr<FrameWorker>> workers;
        for (const std::string& plugin : options.plugins) {
            workers.push_back(std::make_unique<FrameWorker>(plugin, size.width, size.height, blur,
                                                            options.warmup));
        }
        // The warm-ups ran side by side; from here on one frame renders at a time.
        for (auto& worker : workers) {
            worker->ready();
        }
        for (int frame = 0; frame < options.frames; ++frame) {
            for (size_t turn = 0; turn < workers.size(); ++turn) {
                const size_t module = frame % 2 ? workers.size() - 1 - turn : turn;
                costs[module].push_back(workers[module]->render());
            }
        }
    }
    return costs;
}

// The median of A's cost over B's, frame by frame: the two frames of a turn ran one after the
// other, under the same load, which the ratio cancels where a ratio of medians would not.
double PairedRatio(const std::vector<FrameCost>& a, const std::vector<FrameCost>& b,
                   double (*cost)(const FrameCost&)) {
    std::vector<double> ratios;
    for (size_t i = 0; i < a.size(); ++i) {
        ratios.push_back(cost(a[i]) / cost(b[i]));
    }
    return Median(ratios);
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
    const bool pair = options.plugins.size() == 2;
    for (size_t i = 0; i < options.plugins.size(); ++i) {
        std::printf("# %c: %s\n", pair ? "AB"[i] : 'A', options.plugins[i].c_str());
    }
    std::printf("# per row and module: %d process(es), each %d warm-up frames then %d measured%s\n"
                "# ms: median wall time of a frame; cpu: median CPU time of a frame, user and "
                "kernel, all threads\n"
                "# minflt, sys: minor page faults and kernel CPU ms, mean per frame%s\n",
                options.rounds, options.warmup, options.frames, pair ? ", in turns A B, B A" : "",
                pair ? "\n# A/B: median over the turns of A's frame over B's; above 1, B is faster"
                     : "");
    if (pair) {
        std::printf("%-10s %5s %8s %8s %5s %8s %8s %5s %8s %8s %7s %7s\n", "size", "blur", "A ms",
                    "B ms", "A/B", "A cpu", "B cpu", "A/B", "A minflt", "B minflt", "A sys",
                    "B sys");
    } else {
        std::printf("%-10s %5s %8s %8s %8s %7s\n", "size", "blur", "ms", "cpu", "minflt", "sys");
    }
    std::fflush(stdout);

    int failed = 0;
    for (const Size size : options.sizes) {
        for (const double blur : options.blurs) {
            char name[32];
            std::snprintf(name, sizeof name, "%dx%d", size.width, size.height);
            try {
                const std::vector<std::vector<FrameCost>> costs = RunCase(options, size, blur);
                std::vector<Summary> s;
                for (const auto& moduleCosts : costs) {
                    s.push_back(Summarise(moduleCosts));
                }
                if (pair) {
                    const Summary& a = s[0];
                    const Summary& b = s[1];
                    std::printf(
                        "%-10s %5g %8.1f %8.1f %5.2f %8.1f %8.1f %5.2f %8.0f %8.0f %7.1f %7.1f\n",
                        name, blur, a.wallMs, b.wallMs, PairedRatio(costs[0], costs[1], Wall),
                        a.cpuMs, b.cpuMs, PairedRatio(costs[0], costs[1], Cpu), a.minorFaults,
                        b.minorFaults, a.systemMs, b.systemMs);
                } else {
                    std::printf("%-10s %5g %8.1f %8.1f %8.0f %7.1f\n", name, blur, s[0].wallMs,
                                s[0].cpuMs, s[0].minorFaults, s[0].systemMs);
                }
            } catch (const std::exception& e) {
                std::printf("%-10s %5g failed: %s\n", name, blur, e.what());
                ++failed;
            }
            std::fflush(stdout);
        }
    }
    return failed ? 1 : 0;
}
