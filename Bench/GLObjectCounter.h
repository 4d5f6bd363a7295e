#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace Brindel::Bench {

// Counts the GL objects alive in the process, by kind, from the names that glGen*, glCreate*
// and glFenceSync hand out and glDelete* takes back, on every thread and context, as the GL
// binding sees the calls. Names of the kinds GL shares between contexts (textures, buffers,
// renderbuffers, programs, shaders, samplers, syncs) count once for all contexts; the others
// (frame-buffers, vertex arrays, queries) once per context. A deletion of a name that is not
// alive counts nothing. One counter at a time; a context must be current on the constructing
// thread.
class GLObjectCounter {
public:
    GLObjectCounter();
    ~GLObjectCounter();
    GLObjectCounter(const GLObjectCounter&) = delete;
    GLObjectCounter& operator=(const GLObjectCounter&) = delete;

    // Live objects by kind ("Textures", "Framebuffers", "Program", ...), kinds with none left out.
    std::map<std::string, size_t> live() const;
    size_t total() const;
};

} // namespace Brindel::Bench
