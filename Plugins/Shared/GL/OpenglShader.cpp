#include "OpenglShader.h"

#include <glbinding/gl/gl.h>

#include <cstdio>
#include <vector>

#include "Affine.h"
#include "Color.h"
#include "Mat4.h"
#include "Vec2.h"
#include "Vec3.h"
#include "Vec4.h"

using namespace gl;

namespace Brindel::GaussianBlur {

namespace {

constexpr GLsizei kLogSize = 512;

void dumpShaderErrorS(GLuint shader, const char* stage) {
    char log[kLogSize + 1] = {};
    GLsizei length = 0;
    glGetShaderInfoLog(shader, kLogSize, &length, log);
    length = length < 0 ? 0 : (length > kLogSize ? kLogSize : length);
    log[length] = '\0';
    std::fprintf(stderr, "Shader %s error:\n%s\n", stage, log);
}

void dumpProgramError(GLuint program) {
    char log[kLogSize + 1] = {};
    GLsizei length = 0;
    glGetProgramInfoLog(program, kLogSize, &length, log);
    length = length < 0 ? 0 : (length > kLogSize ? kLogSize : length);
    log[length] = '\0';
    std::fprintf(stderr, "Program error:\n%s\n", log);
}

bool compileStage(GLuint shader, const std::string& source, const char* stage) {
    const GLchar* text = source.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint status = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
    if (status != 1) {
        dumpShaderErrorS(shader, stage);
        return false;
    }
    return true;
}

GLint uniformLocation(GLuint program, const std::string& name) {
    return program == 0 ? -1 : glGetUniformLocation(program, name.c_str());
}

GLint attributeLocation(GLuint program, const std::string& name) {
    return program == 0 ? -1 : glGetAttribLocation(program, name.c_str());
}

void pointAttribute(GLint location, GLint size, GLenum type, const void* pointer, int stride) {
    glEnableVertexAttribArray(static_cast<GLuint>(location));
    glVertexAttribPointer(static_cast<GLuint>(location), size, type, GL_FALSE, stride, pointer);
}

} // namespace

OpenglShader::OpenglShader(const std::string& vertexSource, const std::string& fragmentSource)
    : OpenglShader(vertexSource, fragmentSource, std::string()) {}

OpenglShader::OpenglShader(const std::string& vertexSource, const std::string& fragmentSource,
                           const std::string& geometrySource)
    : mVertexSource(vertexSource), mFragmentSource(fragmentSource),
      mGeometrySource(geometrySource) {}

OpenglShader::~OpenglShader() {
    if (mProgram != 0) {
        glDeleteProgram(mProgram);
    }
}

void OpenglShader::addAttributeBinding(const std::string& name, int index) {
    mAttributeBindings.emplace(name, index);
}

void OpenglShader::buildShader() {
    const bool hasGeometry = !mGeometrySource.empty();
    // Every shader object exists before the first compile.
    const GLuint vertex = glCreateShader(GL_VERTEX_SHADER);
    const GLuint fragment = glCreateShader(GL_FRAGMENT_SHADER);
    const GLuint geometry = hasGeometry ? glCreateShader(GL_GEOMETRY_SHADER) : 0;
    // Nothing refers to the objects of a failed build again; the next useProgram starts afresh.
    const auto deleteShaders = [&] {
        glDeleteShader(vertex);
        glDeleteShader(fragment);
        if (hasGeometry) {
            glDeleteShader(geometry);
        }
    };

    if (!compileStage(vertex, mVertexSource, "vert") ||
        !compileStage(fragment, mFragmentSource, "frag") ||
        (hasGeometry && !compileStage(geometry, mGeometrySource, "geo"))) {
        deleteShaders();
        return;
    }

    const GLuint program = glCreateProgram();
    glAttachShader(program, vertex);
    glAttachShader(program, fragment);
    if (hasGeometry) {
        glAttachShader(program, geometry);
    }
    // Attribute indices only hold if they are bound before the link.
    for (const auto& [name, index] : mAttributeBindings) {
        glBindAttribLocation(program, static_cast<GLuint>(index), name.c_str());
    }
    glLinkProgram(program);
    GLint status = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &status);
    if (status != 1) {
        dumpProgramError(program);
        glDeleteProgram(program);
        deleteShaders();
        return;
    }
    mProgram = program;

    glDetachShader(program, vertex);
    glDetachShader(program, fragment);
    glDeleteShader(vertex);
    glDeleteShader(fragment);
    if (hasGeometry) {
        glDetachShader(program, geometry);
        glDeleteShader(geometry);
    }
}

void OpenglShader::useProgram() {
    if (mProgram == 0) {
        buildShader();
    }
    glUseProgram(mProgram);
}

void OpenglShader::setUniform1i(const std::string& name, int x) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform1i(location, x);
    }
}

void OpenglShader::setUniform2i(const std::string& name, int x, int y) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform2i(location, x, y);
    }
}

void OpenglShader::setUniform3i(const std::string& name, int x, int y, int z) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform3i(location, x, y, z);
    }
}

void OpenglShader::setUniform4i(const std::string& name, int x, int y, int z, int w) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform4i(location, x, y, z, w);
    }
}

void OpenglShader::setUniform1f(const std::string& name, float x) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform1f(location, x);
    }
}

void OpenglShader::setUniform2f(const std::string& name, float x, float y) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform2f(location, x, y);
    }
}

void OpenglShader::setUniform3f(const std::string& name, float x, float y, float z) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform3f(location, x, y, z);
    }
}

void OpenglShader::setUniform4f(const std::string& name, float x, float y, float z, float w) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform4f(location, x, y, z, w);
    }
}

void OpenglShader::setUniform1iv(const std::string& name, const int* data, int count) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform1iv(location, count, data);
    }
}

void OpenglShader::setUniform2iv(const std::string& name, const int* data, int count) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform2iv(location, count, data);
    }
}

void OpenglShader::setUniform3iv(const std::string& name, const int* data, int count) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform3iv(location, count, data);
    }
}

void OpenglShader::setUniform4iv(const std::string& name, const int* data, int count) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform4iv(location, count, data);
    }
}

void OpenglShader::setUniform1fv(const std::string& name, const float* data, int count) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform1fv(location, count, data);
    }
}

void OpenglShader::setUniform2fv(const std::string& name, const float* data, int count) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform2fv(location, count, data);
    }
}

void OpenglShader::setUniform3fv(const std::string& name, const float* data, int count) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform3fv(location, count, data);
    }
}

void OpenglShader::setUniform4fv(const std::string& name, const float* data, int count) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location != -1) {
        glUniform4fv(location, count, data);
    }
}

int OpenglShader::getUniformLocation(const std::string& name) const {
    return uniformLocation(mProgram, name);
}

void OpenglShader::setUniformTexture(const std::string& name, int target, int texture,
                                     int unit) const {
    if (mProgram == 0) {
        return;
    }
    glActiveTexture(GL_TEXTURE0 + unit);
    glBindTexture(static_cast<GLenum>(target), static_cast<GLuint>(texture));
    setUniform1i(name, unit);
}

void OpenglShader::setAttribute1iv(int location, const int* pointer, int stride) const {
    if (mProgram != 0 && location != -1) {
        pointAttribute(location, 1, GL_INT, pointer, stride);
    }
}

void OpenglShader::setAttribute1fv(const std::string& name, const float* pointer,
                                   int stride) const {
    const GLint location = attributeLocation(mProgram, name);
    if (location != -1) {
        pointAttribute(location, 1, GL_FLOAT, pointer, stride);
    }
}

void OpenglShader::setAttribute1fv(int location, const float* pointer, int stride) const {
    if (mProgram != 0 && location != -1) {
        pointAttribute(location, 1, GL_FLOAT, pointer, stride);
    }
}

void OpenglShader::setAttribute2fv(const std::string& name, const float* pointer,
                                   int stride) const {
    const GLint location = attributeLocation(mProgram, name);
    if (location != -1) {
        pointAttribute(location, 2, GL_FLOAT, pointer, stride);
    }
}

void OpenglShader::setAttribute2fv(int location, const float* pointer, int stride) const {
    if (mProgram != 0) {
        pointAttribute(location, 2, GL_FLOAT, pointer, stride);
    }
}

void OpenglShader::setAttribute3fv(const std::string& name, const float* pointer,
                                   int stride) const {
    const GLint location = attributeLocation(mProgram, name);
    if (location != -1) {
        pointAttribute(location, 3, GL_FLOAT, pointer, stride);
    }
}

void OpenglShader::setAttribute3fv(int location, const float* pointer, int stride) const {
    if (mProgram != 0) {
        pointAttribute(location, 3, GL_FLOAT, pointer, stride);
    }
}

void OpenglShader::setAttribute4fv(const std::string& name, const float* pointer,
                                   int stride) const {
    const GLint location = attributeLocation(mProgram, name);
    if (location != -1) {
        pointAttribute(location, 4, GL_FLOAT, pointer, stride);
    }
}

void OpenglShader::setAttribute4fv(int location, const float* pointer, int stride) const {
    if (mProgram != 0 && location != -1) {
        pointAttribute(location, 4, GL_FLOAT, pointer, stride);
    }
}

int OpenglShader::getAttributeLocation(const std::string& name) const {
    return glGetAttribLocation(mProgram, name.c_str());
}

void OpenglShader::disableVertexAttributeArray(const std::string& name) const {
    const GLint location = attributeLocation(mProgram, name);
    if (location != -1) {
        glDisableVertexAttribArray(static_cast<GLuint>(location));
    }
}

void OpenglShader::disableVertexAttributeArray(int location) const {
    if (mProgram != 0) {
        glDisableVertexAttribArray(static_cast<GLuint>(location));
    }
}

void OpenglShader::setUniform2f(const std::string& name, const Vec2& value) const {
    setUniform2f(name, static_cast<float>(value.x), static_cast<float>(value.y));
}

void OpenglShader::setUniform3f(const std::string& name, const Vec3& value) const {
    setUniform3f(name, static_cast<float>(value.x), static_cast<float>(value.y),
                 static_cast<float>(value.z));
}

void OpenglShader::setUniform4f(const std::string& name, const Vec4& value) const {
    setUniform4f(name, static_cast<float>(value.x), static_cast<float>(value.y),
                 static_cast<float>(value.z), static_cast<float>(value.w));
}

void OpenglShader::setUniform4f(const std::string& name, const Color& value) const {
    setUniform4f(name, static_cast<float>(value.red), static_cast<float>(value.green),
                 static_cast<float>(value.blue), static_cast<float>(value.alpha));
}

void OpenglShader::setUniformMatrix3f(const std::string& name, const Affine* value,
                                      int count) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location == -1) {
        return;
    }
    std::vector<float> values;
    values.reserve(static_cast<size_t>(count) * 9);
    for (int i = 0; i < count; ++i) {
        const Affine& t = value[i];
        // Storage order a, c, e, b, d, f; columns (a, b, 0), (c, d, 0), (e, f, 1).
        for (double v : {t.a, t.b, 0.0, t.c, t.d, 0.0, t.e, t.f, 1.0}) {
            values.push_back(static_cast<float>(v));
        }
    }
    glUniformMatrix3fv(location, count, GL_FALSE, values.data());
}

void OpenglShader::setUniformMatrix4f(const std::string& name, const Mat4& value, int count) const {
    const GLint location = uniformLocation(mProgram, name);
    if (location == -1) {
        return;
    }
    float values[16];
    for (int i = 0; i < 16; ++i) {
        values[i] = static_cast<float>(value.m[i]);
    }
    glUniformMatrix4fv(location, count, GL_FALSE, values);
}

} // namespace Brindel::GaussianBlur
