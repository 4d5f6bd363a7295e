#include "FrameWorker.h"

#include <dirent.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <random>
#include <stdexcept>

#include "EffectHost.h"
#include "World.h"

using Brindel::Host::EffectHost;
using Brindel::Host::World;

namespace Brindel::Bench {

struct FrameWorker::Reply {
    bool ok = false;
    FrameCost cost;
    char message[256] = {};
};

namespace {

constexpr PF_ParamIndex kBlurScale = 1;
constexpr char kRender = 'R';
constexpr char kQuit = 'Q';

// Threads of this process, as the kernel lists them.
int ThreadCount() {
    DIR* tasks = opendir("/proc/self/task");
    if (!tasks) {
        return -1;
    }
    int count = 0;
    while (const dirent* entry = readdir(tasks)) {
        if (entry->d_name[0] != '.') {
            ++count;
        }
    }
    closedir(tasks);
    return count;
}

// Whole messages only: a short count means the other side has gone. MSG_NOSIGNAL, so that a
// child that died reads as an error here rather than a SIGPIPE.
bool SendAll(int socket, const void* data, size_t size) {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t sent = send(socket, bytes, size, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return false;
        }
        bytes += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

bool ReceiveAll(int socket, void* data, size_t size) {
    char* bytes = static_cast<char*>(data);
    while (size > 0) {
        const ssize_t got = recv(socket, bytes, size, 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        bytes += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

double Ms(const timeval& t) {
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_usec) / 1e3;
}

// One frame as a host renders it: pre-render, then render, measured around both.
PF_Err RenderFrame(EffectHost& host, World& input, World& output, FrameCost& cost) {
    PF_PreRenderInput request{};
    request.output_request.rect = {0, 0, output.width(), output.height()};
    request.output_request.channel_mask = PF_ChannelMask_ARGB;
    request.bitdepth = 8;
    PF_PreRenderOutput result{};
    rusage before{};
    rusage after{};
    getrusage(RUSAGE_SELF, &before);
    const auto start = std::chrono::steady_clock::now();
    PF_Err err = host.preRender(request, result);
    if (!err) {
        err = host.smartRender(input, output);
    }
    const auto end = std::chrono::steady_clock::now();
    getrusage(RUSAGE_SELF, &after);
    cost.wallMs = std::chrono::duration<double, std::milli>(end - start).count();
    cost.systemMs = Ms(after.ru_stime) - Ms(before.ru_stime);
    cost.userMs = Ms(after.ru_utime) - Ms(before.ru_utime);
    cost.minorFaults = after.ru_minflt - before.ru_minflt;
    return err;
}

template <size_t N> void Say(char (&message)[N], const std::string& text) {
    std::snprintf(message, N, "%s", text.c_str());
}

} // namespace

FrameWorker::FrameWorker(const std::string& pluginPath, A_long width, A_long height, double blur,
                         int warmup)
    : mPluginPath(pluginPath) {
    if (ThreadCount() != 1) {
        throw std::logic_error("FrameWorker forks, so it needs a process of one thread");
    }
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) != 0) {
        throw std::runtime_error(std::string("socketpair: ") + std::strerror(errno));
    }
    // Whatever this process still buffers would otherwise be written again by the child.
    std::fflush(nullptr);
    mPid = fork();
    if (mPid < 0) {
        const int error = errno;
        close(sockets[0]);
        close(sockets[1]);
        throw std::runtime_error(std::string("fork: ") + std::strerror(error));
    }
    if (mPid > 0) {
        close(sockets[1]);
        mSocket = sockets[0];
        return;
    }

    close(sockets[0]);
    serve(sockets[1], pluginPath, width, height, blur, warmup);
}

// The child's whole life: one reply once warm, then one per frame asked for.
void FrameWorker::serve(int socket, const std::string& pluginPath, A_long width, A_long height,
                        double blur, int warmup) {
    // The module's console lines go with the diagnostics, so that a report on standard output
    // stays readable.
    dup2(STDERR_FILENO, STDOUT_FILENO);
    Reply reply;
    try {
        EffectHost host(pluginPath);
        if (const PF_Err err = host.send(PF_Cmd_GLOBAL_SETUP)) {
            throw std::runtime_error("global set-up returned " + std::to_string(err));
        }
        if (const PF_Err err = host.send(PF_Cmd_PARAMS_SETUP)) {
            throw std::runtime_error("parameter set-up returned " + std::to_string(err));
        }
        // Noise, the same in every worker, so that no module gets an easier frame.
        World input(width, height, PF_PixelFormat_ARGB32);
        World output(width, height, PF_PixelFormat_ARGB32);
        std::mt19937 random(3);
        for (A_long y = 0; y < height; ++y) {
            for (A_long i = 0; i < input.rowbytes(); ++i) {
                input.row(y)[i] = static_cast<uint8_t>(random());
            }
        }
        host.setParamValue(kBlurScale, blur);
        host.setLayerRect({0, 0, width, height});
        FrameCost cost;
        for (int i = 0; i < warmup; ++i) {
            if (const PF_Err err = RenderFrame(host, input, output, cost)) {
                throw std::runtime_error("a warm-up frame returned " + std::to_string(err));
            }
        }
        reply.ok = true;
        SendAll(socket, &reply, sizeof reply);
        char command = kQuit;
        while (ReceiveAll(socket, &command, 1) && command == kRender) {
            const PF_Err err = RenderFrame(host, input, output, reply.cost);
            reply.ok = err == PF_Err_NONE;
            Say(reply.message, "the frame returned " + std::to_string(err));
            if (!SendAll(socket, &reply, sizeof reply)) {
                break;
            }
        }
        host.send(PF_Cmd_GLOBAL_SETDOWN);
    } catch (const std::exception& e) {
        reply.ok = false;
        Say(reply.message, e.what());
        SendAll(socket, &reply, sizeof reply);
    }
    std::fflush(nullptr);
    // Nothing of the parent's (its exit handlers, its buffers) may run twice.
    _exit(0);
}

FrameWorker::~FrameWorker() {
    // Other workers' children hold copies of this socket, so closing it is not enough.
    SendAll(mSocket, &kQuit, 1);
    close(mSocket);
    ended();
}

std::string FrameWorker::ended() {
    if (mPid > 0) {
        while (waitpid(mPid, &mStatus, 0) < 0 && errno == EINTR) {
        }
        mPid = -1;
    }
    if (WIFSIGNALED(mStatus)) {
        return std::string("the worker process was killed by ") + strsignal(WTERMSIG(mStatus));
    }
    return "the worker process ended with status " + std::to_string(WEXITSTATUS(mStatus));
}

FrameWorker::Reply FrameWorker::receive() {
    Reply reply;
    if (!ReceiveAll(mSocket, &reply, sizeof reply)) {
        throw std::runtime_error(mPluginPath + ": " + ended());
    }
    if (!reply.ok) {
        throw std::runtime_error(mPluginPath + ": " + reply.message);
    }
    return reply;
}

void FrameWorker::ready() {
    if (!mReady) {
        receive();
        mReady = true;
    }
}

FrameCost FrameWorker::render() {
    ready();
    if (!SendAll(mSocket, &kRender, 1)) {
        throw std::runtime_error(mPluginPath + ": " + ended());
    }
    return receive().cost;
}

} // namespace Brindel::Bench
