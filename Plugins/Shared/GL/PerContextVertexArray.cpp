#include "PerContextVertexArray.h"

#include <glbinding/gl/gl.h>

namespace Brindel::GaussianBlur {

unsigned int PerContextVertexArray::current() {
    unsigned int& vertexArray = mVertexArrays[AEOpenGLContext::currentPlatformContext()];
    if (vertexArray == 0) {
        gl::glGenVertexArrays(1, &vertexArray);
    }
    return vertexArray;
}

void PerContextVertexArray::release() {
    const auto found = mVertexArrays.find(AEOpenGLContext::currentPlatformContext());
    if (found != mVertexArrays.end() && found->second != 0) {
        gl::glDeleteVertexArrays(1, &found->second);
    }
    mVertexArrays.clear();
}

} // namespace Brindel::GaussianBlur
