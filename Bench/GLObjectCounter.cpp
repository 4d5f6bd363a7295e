#include "GLObjectCounter.h"

#include <EGL/egl.h>

#include <glbinding/AbstractFunction.h>
#include <glbinding/AbstractValue.h>
#include <glbinding/Binding.h>
#include <glbinding/CallbackMask.h>
#include <glbinding/ContextHandle.h>
#include <glbinding/FunctionCall.h>
#include <glbinding/callbacks.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <set>
#include <stdexcept>
#include <tuple>
#include <vector>

namespace Brindel::Bench {

namespace {

const glbinding::CallbackMask kMask =
    glbinding::CallbackMask::After | glbinding::CallbackMask::ParametersAndReturnValue;

// Container objects live in one context's name space; everything else is shared.
const std::set<std::string> kPerContext = {"Framebuffers", "VertexArrays", "Queries",
                                           "TransformFeedbacks", "ProgramPipelines"};

struct Counting {
    std::mutex mutex;
    std::atomic<bool> active{false};
    // (kind, context or null for shared kinds, name)
    std::set<std::tuple<std::string, void*, uint64_t>> live;
    std::vector<glbinding::AbstractFunction*> watched;
};

Counting& TheCounting() {
    static Counting* const counting = new Counting();
    return *counting;
}

bool StartsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

// "glGenTextures" -> "Textures"; "glCreateProgram" -> "Program"; "glDeleteSync" -> "Sync".
std::string Kind(const std::string& function) {
    for (const char* prefix : {"glGen", "glCreate", "glDelete"}) {
        if (StartsWith(function, prefix)) {
            return function.substr(std::string(prefix).size());
        }
    }
    return function == "glFenceSync" ? "Sync" : function;
}

// glDeleteProgram and glCreateProgram use the singular, glGenTextures and glDeleteTextures the
// plural: one name per kind either way.
std::string Normalised(const std::string& kind) {
    if (kind == "Program" || kind == "Shader" || kind == "Sync") {
        return kind;
    }
    return kind.back() == 's' ? kind : kind + "s";
}

uint64_t Number(const std::string& text) {
    return std::stoull(text, nullptr, 0);
}

void Arm() {
    for (glbinding::AbstractFunction* function : TheCounting().watched) {
        function->setCallbackMask(kMask);
    }
}

void Count(const glbinding::FunctionCall& call) {
    Counting& counting = TheCounting();
    if (!counting.active) {
        return;
    }
    const std::string function = call.function->name();
    const std::string kind = Normalised(Kind(function));
    // The platform's current context: the binding's own query knows only GLX.
    void* const context = kPerContext.count(kind) ? eglGetCurrentContext() : nullptr;
    const bool creates = !StartsWith(function, "glDelete");
    std::vector<uint64_t> names;
    if (call.parameters.size() == 2 && (StartsWith(function, "glGen") || !creates)) {
        // (count, array): the array lives only during the call, so it is read now.
        const auto n = static_cast<long long>(Number(call.parameters[0]->asString()));
        // The binding prints the pointer as a number; this is the one way back to the array.
        const auto* array =
            reinterpret_cast<const unsigned int*>( // NOLINT(performance-no-int-to-ptr)
                static_cast<uintptr_t>(Number(call.parameters[1]->asString())));
        for (long long i = 0; array != nullptr && i < n; ++i) {
            names.push_back(array[i]);
        }
    } else if (!creates && call.parameters.size() == 1) {
        names.push_back(Number(call.parameters[0]->asString()));
    } else if (creates && call.returnValue != nullptr) {
        names.push_back(Number(call.returnValue->asString()));
    }
    std::lock_guard<std::mutex> lock(counting.mutex);
    for (const uint64_t name : names) {
        if (name == 0) {
            continue;
        }
        if (creates) {
            counting.live.emplace(kind, context, name);
        } else {
            counting.live.erase({kind, context, name});
        }
    }
}

bool Watched(const std::string& name) {
    static const std::set<std::string> kFunctions = {"glGenTextures",
                                                     "glDeleteTextures",
                                                     "glGenBuffers",
                                                     "glDeleteBuffers",
                                                     "glGenRenderbuffers",
                                                     "glDeleteRenderbuffers",
                                                     "glGenFramebuffers",
                                                     "glDeleteFramebuffers",
                                                     "glGenVertexArrays",
                                                     "glDeleteVertexArrays",
                                                     "glGenQueries",
                                                     "glDeleteQueries",
                                                     "glGenSamplers",
                                                     "glDeleteSamplers",
                                                     "glGenTransformFeedbacks",
                                                     "glDeleteTransformFeedbacks",
                                                     "glGenProgramPipelines",
                                                     "glDeleteProgramPipelines",
                                                     "glCreateProgram",
                                                     "glDeleteProgram",
                                                     "glCreateShader",
                                                     "glDeleteShader",
                                                     "glFenceSync",
                                                     "glDeleteSync"};
    return kFunctions.count(name) != 0;
}

void InstallOnce() {
    static std::once_flag installed;
    std::call_once(installed, [] {
        for (glbinding::AbstractFunction* function : glbinding::Binding::functions()) {
            if (Watched(function->name())) {
                TheCounting().watched.push_back(function);
            }
        }
        glbinding::setAfterCallback(Count);
        // The binding keeps call-back switches per context: arm each context it moves to.
        glbinding::Binding::addContextSwitchCallback([](glbinding::ContextHandle) {
            if (TheCounting().active) {
                Arm();
            }
        });
    });
}

} // namespace

GLObjectCounter::GLObjectCounter() {
    InstallOnce();
    Counting& counting = TheCounting();
    if (counting.active.exchange(true)) {
        throw std::logic_error("one GL object counter at a time");
    }
    Arm();
}

GLObjectCounter::~GLObjectCounter() {
    Counting& counting = TheCounting();
    counting.active = false;
    std::lock_guard<std::mutex> lock(counting.mutex);
    counting.live.clear();
}

std::map<std::string, size_t> GLObjectCounter::live() const {
    Counting& counting = TheCounting();
    std::lock_guard<std::mutex> lock(counting.mutex);
    std::map<std::string, size_t> result;
    for (const auto& object : counting.live) {
        ++result[std::get<0>(object)];
    }
    return result;
}

size_t GLObjectCounter::total() const {
    Counting& counting = TheCounting();
    std::lock_guard<std::mutex> lock(counting.mutex);
    return counting.live.size();
}

} // namespace Brindel::Bench
