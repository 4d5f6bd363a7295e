#include "ScreenRender.h"

#include <glbinding/gl/gl.h>

#include <cstdint>

using namespace gl;

namespace Brindel::GaussianBlur {

namespace {

const char* const kVertexSource = "#version 330\n"
                                  "in vec3 position;\n"
                                  "in vec2 input_uv;\n"
                                  "out vec2 uv;\n"
                                  "void main() {\n"
                                  "   uv = input_uv;\n"
                                  "   gl_Position = vec4(position, 1.0);\n"
                                  "}";

const char* const kFragmentSource =
    "#version 330\n"
    "in vec2 uv;\n"
    "out vec4 colourOut;\n"
    "uniform sampler2D videoTexture;\n"
    "uniform float multiplier16bit;\n"
    "void main() {\n"
    "   colourOut = texture( videoTexture, uv );\n"
    "   if (colourOut.a == 0) {\n"
    "       colourOut = vec4(0); \n"
    "   } else {\n"
    "       colourOut = vec4(colourOut.a, colourOut.r / colourOut.a, colourOut.g / colourOut.a, "
    "colourOut.b / colourOut.a);\n"
    "   }\n"
    "   colourOut = colourOut / multiplier16bit;\n"
    "}";

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

const float* ByteOffset(std::uintptr_t offset) {
    return reinterpret_cast<const float*>(offset);
}

} // namespace

ScreenRender::ScreenRender() : mShader(kVertexSource, kFragmentSource) {
    mShader.addAttributeBinding("position", 0);
    mShader.addAttributeBinding("input_uv", 1);
}

ScreenRender::~ScreenRender() {
    mVertexArrays.release();
    if (mVertexBuffer != 0) {
        glDeleteBuffers(1, &mVertexBuffer);
    }
}

void ScreenRender::draw(unsigned int texture, float multiplier) {
    // The buffer is shared by the share group; the vertex array is this context's own.
    if (mVertexBuffer == 0) {
        glGenBuffers(1, &mVertexBuffer);
        glBindBuffer(GL_ARRAY_BUFFER, mVertexBuffer);
        glBufferData(GL_ARRAY_BUFFER, sizeof(positions), positions, GL_STATIC_DRAW);
    }
    mVertexArray = mVertexArrays.current();

    mShader.useProgram();
    glBindVertexArray(mVertexArray);
    glBindBuffer(GL_ARRAY_BUFFER, mVertexBuffer);
    mShader.setAttribute3fv(0, ByteOffset(0), kStride);
    mShader.setAttribute2fv(1, ByteOffset(3 * sizeof(float)), kStride);
    mShader.setUniformTexture("videoTexture", static_cast<int>(GL_TEXTURE_2D),
                              static_cast<int>(texture), 0);
    mShader.setUniform1f("multiplier16bit", multiplier);
    glDrawArrays(GL_TRIANGLES, 0, 6);
    mShader.disableVertexAttributeArray(0);
    mShader.disableVertexAttributeArray(1);
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
}

} // namespace Brindel::GaussianBlur
