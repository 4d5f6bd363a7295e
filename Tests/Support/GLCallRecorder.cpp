#include "GLCallRecorder.h"

#include <glbinding/AbstractFunction.h>
#include <glbinding/AbstractValue.h>
#include <glbinding/Binding.h>
#include <glbinding/FunctionCall.h>
#include <glbinding/callbacks.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <stdexcept>

namespace Brindel::Testing {

namespace {

// Never destroyed: the binding may call back on other threads while the process ends.
std::mutex& sMutex = *new std::mutex();
std::vector<GLCall>& sCalls = *new std::vector<GLCall>();
std::atomic<bool> sActive{false};

// The binding keeps its call-back switches per context: this arms the context it now addresses
// on this thread. Every switch of the kit's goes through the binding, which arms the new one.
void Arm() {
    glbinding::setCallbackMaskExcept(glbinding::CallbackMask::After |
                                         glbinding::CallbackMask::ParametersAndReturnValue,
                                     {"glGetError"});
}

// The names of glGen*/glDelete* live in the caller's array, alive only during the call.
std::vector<unsigned int> ObjectNames(const glbinding::FunctionCall& call, const GLCall& c) {
    const bool gen = c.function.rfind("glGen", 0) == 0, del = c.function.rfind("glDelete", 0) == 0;
    if ((gen || del) && c.parameters.size() == 2) {
        const auto* array =
            reinterpret_cast<const unsigned int*>(std::stoull(c.parameters[1], nullptr, 16));
        const long long count = array == nullptr ? 0 : std::stoll(c.parameters[0]);
        return std::vector<unsigned int>(array, array + std::max(0LL, count));
    }
    if (del && c.parameters.size() == 1) {
        return {static_cast<unsigned int>(std::stoul(c.parameters[0]))};
    }
    if (c.function.rfind("glCreate", 0) == 0 && call.returnValue != nullptr) {
        return {static_cast<unsigned int>(std::stoul(call.returnValue->asString()))};
    }
    return {};
}

void Record(const glbinding::FunctionCall& call) {
    std::lock_guard<std::mutex> lock(sMutex);
    if (sActive) {
        GLCall recorded{call.function->name(), {}, {}};
        for (const glbinding::AbstractValue* parameter : call.parameters) {
            recorded.parameters.push_back(parameter->asString());
        }
        recorded.names = ObjectNames(call, recorded);
        sCalls.push_back(std::move(recorded));
    }
}

} // namespace

GLCallRecorder::GLCallRecorder() {
    static std::once_flag installed;
    std::call_once(installed, [] {
        glbinding::setAfterCallback(Record);
        glbinding::Binding::addContextSwitchCallback([](glbinding::ContextHandle) {
            if (sActive) {
                Arm();
            }
        });
    });
    {
        std::lock_guard<std::mutex> lock(sMutex);
        if (sActive) {
            throw std::logic_error("one GL call recorder at a time");
        }
        sActive = true;
        sCalls.clear();
    }
    Arm();
}

// Armed contexts stay armed: the call-back ignores their calls while no recorder is active.
GLCallRecorder::~GLCallRecorder() {
    std::lock_guard<std::mutex> lock(sMutex);
    sActive = false;
    sCalls.clear();
}

std::vector<GLCall> GLCallRecorder::calls() const {
    std::lock_guard<std::mutex> lock(sMutex);
    return sCalls;
}

std::size_t GLCallRecorder::count(const std::string& function) const {
    const std::vector<GLCall> recorded = calls();
    return std::count_if(recorded.begin(), recorded.end(),
                         [&](const GLCall& call) { return call.function == function; });
}

std::vector<unsigned int> GLCallRecorder::names(const std::string& function) const {
    std::vector<unsigned int> result;
    for (const GLCall& call : calls()) {
        if (call.function == function) {
            result.insert(result.end(), call.names.begin(), call.names.end());
        }
    }
    return result;
}

void GLCallRecorder::clear() {
    std::lock_guard<std::mutex> lock(sMutex);
    sCalls.clear();
}

} // namespace Brindel::Testing
