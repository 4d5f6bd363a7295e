#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Brindel::Testing {

/// One GL call as the binding saw it: its name ("glGenFramebuffers"), its arguments as the
/// binding prints them (enums by name, pointers as addresses, strings as text), and the object
/// names it handed out (glGen*, glCreate*) or took (glDelete*).
struct GLCall {
    std::string function;
    std::vector<std::string> parameters;
    std::vector<unsigned int> names;
};

/// Records the GL calls made through the binding, on every thread and context, from construction
/// to destruction, but for glGetError, so that tests may check errors meanwhile. One recorder at
/// a time; a context must be current on the constructing thread.
class GLCallRecorder {
public:
    GLCallRecorder();
    ~GLCallRecorder();
    GLCallRecorder(const GLCallRecorder&) = delete;
    GLCallRecorder& operator=(const GLCallRecorder&) = delete;

    std::vector<GLCall> calls() const;
    std::size_t count(const std::string& function) const;
    /// The object names that the calls of `function` handed out or took, in call order.
    std::vector<unsigned int> names(const std::string& function) const;
    void clear();
};

} // namespace Brindel::Testing
