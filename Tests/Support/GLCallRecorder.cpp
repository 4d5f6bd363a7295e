#include "GLCallRecorder.h"

#include <glbinding/AbstractFunction.h>
#include <glbinding/AbstractValue.h>
#include <glbinding/Binding.h>
#include <glbinding/CallbackMask.h>
#include <glbinding/FunctionCall.h>
#include <glbinding/callbacks.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <stdexcept>

namespace Brindel::Testing {

namespace {

const glbinding::CallbackMask kMask =
    glbinding::CallbackMask::After | glbinding::CallbackMask::ParametersAndReturnValue;

struct Recording {
    std::mutex mutex;
    bool active = false;
    std::vector<GLCall> calls;
};

Recording& TheRecording() {
    static Recording* const recording = new Recording();
    return *recording;
}

bool Active() {
    Recording& recording = TheRecording();
    std::lock_guard<std::mutex> lock(recording.mutex);
    return recording.active;
}

// Switches the call-backs on for the context the binding now addresses on this thread.
void Arm() {
    glbinding::setCallbackMaskExcept(kMask, {"glGetError"});
}

bool StartsWith(const std::string& text, const char* prefix) {
    return text.rfind(prefix, 0) == 0;
}

// The names live in the caller's array, which is only alive during the call: read them now.
std::vector<unsigned int> ObjectNames(const GLCall& call) {
    std::vector<unsigned int> names;
    const bool generates =
        StartsWith(call.function, "glGen") || StartsWith(call.function, "glDelete");
    if (generates && call.parameters.size() == 2) {
        const auto count = std::stoll(call.parameters[0]);
        const auto address =
            static_cast<std::uintptr_t>(std::stoull(call.parameters[1], nullptr, 16));
        const auto* array = reinterpret_cast<const unsigned int*>(address);
        for (long long i = 0; array != nullptr && i < count; ++i) {
            names.push_back(array[i]);
        }
    } else if (StartsWith(call.function, "glDelete") && call.parameters.size() == 1) {
        names.push_back(static_cast<unsigned int>(std::stoul(call.parameters[0])));
    } else if (StartsWith(call.function, "glCreate") && !call.returnValue.empty()) {
        names.push_back(static_cast<unsigned int>(std::stoul(call.returnValue)));
    }
    return names;
}

void Record(const glbinding::FunctionCall& call) {
    if (!Active()) {
        return;
    }
    GLCall recorded;
    recorded.function = call.function->name();
    for (const glbinding::AbstractValue* parameter : call.parameters) {
        recorded.parameters.push_back(parameter->asString());
    }
    if (call.returnValue != nullptr) {
        recorded.returnValue = call.returnValue->asString();
    }
    recorded.names = ObjectNames(recorded);
    Recording& recording = TheRecording();
    std::lock_guard<std::mutex> lock(recording.mutex);
    if (recording.active) {
        recording.calls.push_back(std::move(recorded));
    }
}

void InstallOnce() {
    static std::once_flag installed;
    std::call_once(installed, [] {
        glbinding::setAfterCallback(Record);
        glbinding::Binding::addContextSwitchCallback([](glbinding::ContextHandle) {
            if (Active()) {
                Arm();
            }
        });
    });
}

} // namespace

GLCallRecorder::GLCallRecorder() {
    InstallOnce();
    Recording& recording = TheRecording();
    {
        std::lock_guard<std::mutex> lock(recording.mutex);
        if (recording.active) {
            throw std::logic_error("one GL call recorder at a time");
        }
        recording.active = true;
        recording.calls.clear();
    }
    Arm();
}

GLCallRecorder::~GLCallRecorder() {
    // Armed contexts stay armed: switching each back off would mean visiting them all, and the
    // call-back ignores their calls while no recorder is active.
    Recording& recording = TheRecording();
    std::lock_guard<std::mutex> lock(recording.mutex);
    recording.active = false;
    recording.calls.clear();
}

std::vector<GLCall> GLCallRecorder::calls() const {
    Recording& recording = TheRecording();
    std::lock_guard<std::mutex> lock(recording.mutex);
    return recording.calls;
}

std::vector<std::string> GLCallRecorder::functions() const {
    std::vector<std::string> result;
    for (const GLCall& call : calls()) {
        result.push_back(call.function);
    }
    return result;
}

std::size_t GLCallRecorder::count(const std::string& function) const {
    const std::vector<GLCall> recorded = calls();
    return static_cast<std::size_t>(
        std::count_if(recorded.begin(), recorded.end(),
                      [&](const GLCall& call) { return call.function == function; }));
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
    Recording& recording = TheRecording();
    std::lock_guard<std::mutex> lock(recording.mutex);
    recording.calls.clear();
}

} // namespace Brindel::Testing
