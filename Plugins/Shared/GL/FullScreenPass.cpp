#include "FullScreenPass.h"

#include <glbinding/gl/gl.h>

#include <cstdint>

#include "OpenglShader.h"

using namespace gl;

namespace Brindel::GaussianBlur {

namespace {

// Two triangles over the clip square: x, y, z, u, v. Texture coordinate (0, 0) lies at clip
// (-1, -1), so the image is not flipped.
const float positions[30] = {
    1.0f,  -1.0f, 0.0f, 1.0f, 0.0f, //
    1.0f,  1.0f,  0.0f, 1.0f, 1.0f, //
    -1.0f, 1.0f,  0.0f, 0.0f, 1.0f, //
    -1.0f, 1.0f,  0.0f, 0.0f, 1.0f, //
    -1.0f, -1.0f, 0.0f, 0.0f, 0.0f, //
    1.0f,  -1.0f, 0.0f, 1.0f, 0.0f, //
};

constexpr int kStride = 5 * sizeof(float);

// Attribute pointers are byte offsets into the bound buffer.
const float* ByteOffset(std::uintptr_t offset) {
    return reinterpret_cast<const float*>(offset); // NOLINT(performance-no-int-to-ptr)
}

} // namespace

FullScreenPass::~FullScreenPass() {
    mVertexArrays.release();
    releaseBuffer();
}

void FullScreenPass::releaseBuffer() {
    if (mVertexBuffer != 0) {
        glDeleteBuffers(1, &mVertexBuffer);
        mVertexBuffer = 0;
    }
}

void FullScreenPass::draw(OpenglShader& shader, unsigned int texture, float multiplier) {
    // The buffer is shared by the share group; the vertex array is this context's own.
    if (mVertexBuffer == 0) {
        glGenBuffers(1, &mVertexBuffer);
        glBindBuffer(GL_ARRAY_BUFFER, mVertexBuffer);
        glBufferData(GL_ARRAY_BUFFER, sizeof(positions), positions, GL_STATIC_DRAW);
    }
    mVertexArray = mVertexArrays.current();

    shader.useProgram();
    glBindVertexArray(mVertexArray);
    glBindBuffer(GL_ARRAY_BUFFER, mVertexBuffer);
    shader.setAttribute3fv(0, ByteOffset(0), kStride);
    shader.setAttribute2fv(1, ByteOffset(3 * sizeof(float)), kStride);
    shader.setUniformTexture("videoTexture", static_cast<int>(GL_TEXTURE_2D),
                             static_cast<int>(texture), 0);
    shader.setUniform1f("multiplier16bit", multiplier);
    glDrawArrays(GL_TRIANGLES, 0, 6);
    shader.disableVertexAttributeArray(0);
    shader.disableVertexAttributeArray(1);
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
}

} // namespace Brindel::GaussianBlur
