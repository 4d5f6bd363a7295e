#pragma once

#include "AEOpenGLContext.h"

#include <map>

namespace Brindel::GaussianBlur {

/// A vertex array for each context a pass draws in. Vertex arrays, unlike buffers, are not shared
/// between contexts, and frames may be rendered on several threads, each with its own context.
/// No GL call until the first `current`.
class PerContextVertexArray {
public:
    PerContextVertexArray() = default;
    PerContextVertexArray(const PerContextVertexArray&) = delete;
    PerContextVertexArray& operator=(const PerContextVertexArray&) = delete;

    /// The vertex array of the context current on this thread, made at its first use there.
    unsigned int current();
    /// Deletes the current context's vertex array. Those of other contexts cannot be deleted from
    /// here; they go with their contexts.
    void release();

private:
    std::map<AEOpenGLContext::PlatformContext, unsigned int> mVertexArrays;
};

} // namespace Brindel::GaussianBlur
