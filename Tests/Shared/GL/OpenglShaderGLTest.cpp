#include "GLCallRecorder.h"
#include "GLTest.h"
#include "OpenglShader.h"
#include "StdoutCapture.h"

#include <glbinding/gl/gl.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

using namespace gl;
using Brindel::GaussianBlur::OpenglShader;
using Brindel::Testing::GLCallRecorder;
using Brindel::Testing::GLTest;
using Brindel::Testing::StdoutCapture;

namespace {

using ShaderBuild = GLTest;
using ShaderSetters = GLTest;

const char* const kVertex =
    "#version 330\n"
    "in vec2 position;\n"
    "in vec2 input_uv;\n"
    "out vec2 uv;\n"
    "void main() { uv = input_uv; gl_Position = vec4(position, 0.0, 1.0); }";

const char* const kFragment = "#version 330\n"
                              "in vec2 uv;\n"
                              "out vec4 colourOut;\n"
                              "void main() { colourOut = vec4(uv, 0.0, 1.0); }";

const void* ByteOffset(std::uintptr_t offset) {
    return reinterpret_cast<const void*>(offset);
}

std::vector<unsigned int> Sorted(std::vector<unsigned int> names) {
    std::sort(names.begin(), names.end());
    return names;
}

// The whole info log of a stage, as GL gives it to a buffer large enough.
std::string CompileLog(GLenum stage, const std::string& source) {
    const GLuint shader = glCreateShader(stage);
    const GLchar* text = source.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    std::string log(1 << 16, '\0');
    GLsizei length = 0;
    glGetShaderInfoLog(shader, static_cast<GLsizei>(log.size()), &length, &log[0]);
    glDeleteShader(shader);
    return log.substr(0, static_cast<std::size_t>(length));
}

// The whole link log of a program made of the two stages.
std::string LinkLog(const std::string& vertex, const std::string& fragment) {
    const GLuint program = glCreateProgram();
    for (const auto& [stage, source] :
         {std::make_pair(GL_VERTEX_SHADER, vertex), std::make_pair(GL_FRAGMENT_SHADER, fragment)}) {
        const GLuint shader = glCreateShader(stage);
        const GLchar* text = source.c_str();
        glShaderSource(shader, 1, &text, nullptr);
        glCompileShader(shader);
        glAttachShader(program, shader);
        glDeleteShader(shader);
    }
    glLinkProgram(program);
    std::string log(1 << 16, '\0');
    GLsizei length = 0;
    glGetProgramInfoLog(program, static_cast<GLsizei>(log.size()), &length, &log[0]);
    glDeleteProgram(program);
    return log.substr(0, static_cast<std::size_t>(length));
}

TEST_F(ShaderBuild, BuildsAtFirstUseWithAttributeBindingsAppliedBeforeTheLinkOnly) {
    GLCallRecorder recorder;
    OpenglShader shader(kVertex, kFragment);
    shader.addAttributeBinding("position", 5);
    shader.addAttributeBinding("position", 6);
    shader.setUniform1f("anything", 1.0f);
    shader.setAttribute2fv(0, nullptr, 16);
    EXPECT_EQ(-1, shader.getUniformLocation("anything"));
    EXPECT_TRUE(recorder.calls().empty()) << "nothing reaches GL before the first use";

    shader.useProgram();
    ASSERT_NE(0u, shader.program());
    GLint inUse = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &inUse);
    EXPECT_EQ(static_cast<GLint>(shader.program()), inUse);
    EXPECT_EQ(5, shader.getAttributeLocation("position")) << "the first index of a name holds";
    EXPECT_EQ(2u, recorder.count("glCreateShader"));
    EXPECT_EQ(Sorted(recorder.names("glCreateShader")), Sorted(recorder.names("glDeleteShader")))
        << "the shader objects are released after the link";

    const GLint uvBefore = shader.getAttributeLocation("input_uv");
    recorder.clear();
    shader.addAttributeBinding("input_uv", 9);
    shader.useProgram();
    EXPECT_EQ(uvBefore, shader.getAttributeLocation("input_uv"));
    EXPECT_EQ(0u, recorder.count("glLinkProgram"));
    EXPECT_EQ(0u, recorder.count("glBindAttribLocation"));
    EXPECT_NO_GL_ERROR();
}

TEST_F(ShaderBuild, GeometryStageIsMadeOnlyFromANonEmptySource) {
    const char* const vertex = "#version 330\n"
                               "in vec2 position;\n"
                               "out vec2 vertexUv;\n"
                               "void main() { vertexUv = position; gl_Position = vec4(position, "
                               "0.0, 1.0); }";
    const char* const geometry = "#version 330\n"
                                 "layout(triangles) in;\n"
                                 "layout(triangle_strip, max_vertices = 3) out;\n"
                                 "in vec2 vertexUv[];\n"
                                 "out vec2 uv;\n"
                                 "void main() {\n"
                                 "    for (int i = 0; i < 3; ++i) {\n"
                                 "        uv = vertexUv[i];\n"
                                 "        gl_Position = gl_in[i].gl_Position;\n"
                                 "        EmitVertex();\n"
                                 "    }\n"
                                 "    EndPrimitive();\n"
                                 "}";
    GLCallRecorder recorder;
    OpenglShader emptyGeometry(kVertex, kFragment, "");
    emptyGeometry.useProgram();
    OpenglShader withGeometry(vertex, kFragment, geometry);
    withGeometry.useProgram();

    EXPECT_NE(0u, emptyGeometry.program());
    EXPECT_NE(0u, withGeometry.program());
    std::vector<std::string> stages;
    for (const auto& call : recorder.calls()) {
        if (call.function == "glCreateShader") {
            stages.push_back(call.parameters.at(0));
        }
    }
    EXPECT_EQ(
        (std::vector<std::string>{"GL_VERTEX_SHADER", "GL_FRAGMENT_SHADER", "GL_VERTEX_SHADER",
                                  "GL_FRAGMENT_SHADER", "GL_GEOMETRY_SHADER"}),
        stages);
    EXPECT_EQ(Sorted(recorder.names("glCreateShader")), Sorted(recorder.names("glDeleteShader")));
    EXPECT_NO_GL_ERROR();
}

TEST_F(ShaderBuild, CompileErrorReportsTheFirstFailingStageCutTo512BytesAndRetries) {
    std::string broken = "#version 330\nout vec4 colourOut;\nvoid main() {\n";
    for (int i = 0; i < 40; ++i) {
        broken += "    colourOut += undeclaredValue" + std::to_string(i) + ";\n";
    }
    broken += "}\n";
    const std::string log = CompileLog(GL_FRAGMENT_SHADER, broken);
    ASSERT_GT(log.size(), 600u) << "the test needs a log longer than the cut";

    GLCallRecorder recorder;
    OpenglShader shader(kVertex, broken);
    std::string printed;
    {
        StdoutCapture capture;
        shader.useProgram();
        printed = capture.text();
    }
    // 512 bytes with the terminating zero.
    EXPECT_EQ("Shader frag error:\n" + log.substr(0, 511) + "\n", printed);
    EXPECT_EQ(0u, shader.program());
    GLint inUse = -1;
    glGetIntegerv(GL_CURRENT_PROGRAM, &inUse);
    EXPECT_EQ(0, inUse);
    EXPECT_EQ(0u, recorder.count("glCreateProgram"));
    EXPECT_EQ(Sorted(recorder.names("glCreateShader")), Sorted(recorder.names("glDeleteShader")))
        << "a failed build leaves no shader object behind";

    recorder.clear();
    shader.setUniform4f("colour", 1.0f, 2.0f, 3.0f, 4.0f);
    shader.setUniformTexture("image", static_cast<int>(GL_TEXTURE_2D), 1, 0);
    shader.setAttribute4fv(0, nullptr, 0);
    shader.disableVertexAttributeArray(0);
    EXPECT_TRUE(recorder.calls().empty()) << "an unbuilt program ignores its setters";

    StdoutCapture again;
    shader.useProgram();
    EXPECT_EQ(printed, again.text()) << "the next use builds afresh";

    StdoutCapture bothBroken;
    OpenglShader firstOnly("#version 330\nvoid main() { broken }", broken);
    firstOnly.useProgram();
    const std::string text = bothBroken.text();
    EXPECT_EQ(0u, text.find("Shader vert error:\n"));
    EXPECT_EQ(std::string::npos, text.find("frag")) << "later stages are not compiled";
    EXPECT_NO_GL_ERROR();
}

TEST_F(ShaderBuild, LinkErrorReportsTheProgramLogAndDeletesTheProgram) {
    // The vertex stage writes uv as a vec2.
    const char* const unmatched = "#version 330\n"
                                  "in vec3 uv;\n"
                                  "out vec4 colourOut;\n"
                                  "void main() { colourOut = vec4(uv, 1.0); }";
    const std::string log = LinkLog(kVertex, unmatched);
    ASSERT_FALSE(log.empty());
    GLCallRecorder recorder;
    OpenglShader shader(kVertex, unmatched);
    StdoutCapture capture;
    shader.useProgram();
    const std::string printed = capture.text();

    EXPECT_EQ("Program error:\n" + log.substr(0, 511) + "\n", printed);
    EXPECT_EQ(0u, shader.program());
    EXPECT_EQ(1u, recorder.count("glLinkProgram"));
    EXPECT_EQ(recorder.names("glCreateProgram"), recorder.names("glDeleteProgram"));
    EXPECT_EQ(Sorted(recorder.names("glCreateShader")), Sorted(recorder.names("glDeleteShader")));
    EXPECT_NO_GL_ERROR();
}

TEST_F(ShaderSetters, EveryUniformSetterReachesItsUniformAndUnknownNamesAreSkipped) {
    const char* const fragment =
        "#version 330\n"
        "out vec4 colourOut;\n"
        "uniform int i1; uniform ivec2 i2; uniform ivec3 i3; uniform ivec4 i4;\n"
        "uniform float f1; uniform vec2 f2; uniform vec3 f3; uniform vec4 f4;\n"
        "uniform int ia1[2]; uniform ivec2 ia2[2]; uniform ivec3 ia3[2]; uniform ivec4 ia4[2];\n"
        "uniform float fa1[2]; uniform vec2 fa2[2]; uniform vec3 fa3[2]; uniform vec4 fa4[2];\n"
        "uniform sampler2D image;\n"
        "uniform float unread;\n"
        "float s(float v) { return v; } float s(vec2 v) { return v.x + v.y; }\n"
        "float s(vec3 v) { return v.x + v.y + v.z; } float s(vec4 v) { return dot(v, vec4(1)); }\n"
        "void main() {\n"
        "    float sum = s(float(i1)) + s(vec2(i2)) + s(vec3(i3)) + s(vec4(i4)) + s(f1) + s(f2)\n"
        "        + s(f3) + s(f4);\n"
        "    for (int k = 0; k < 2; ++k) {\n"
        "        sum += s(float(ia1[k])) + s(vec2(ia2[k])) + s(vec3(ia3[k])) + s(vec4(ia4[k]))\n"
        "            + s(fa1[k]) + s(fa2[k]) + s(fa3[k]) + s(fa4[k]);\n"
        "    }\n"
        "    colourOut = texture(image, vec2(0.5)) * sum;\n"
        "}";
    OpenglShader shader(kVertex, fragment);
    shader.useProgram();
    ASSERT_NE(0u, shader.program());

    const int ints[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const float floats[8] = {0.5f, 1.5f, 2.5f, 3.5f, 4.5f, 5.5f, 6.5f, 7.5f};
    struct Case {
        const char* name;
        int components;
        bool isFloat;
        int elements;
        std::function<void()> set;
    };
    const Case cases[] = {
        {"i1", 1, false, 1, [&] { shader.setUniform1i("i1", 1); }},
        {"i2", 2, false, 1, [&] { shader.setUniform2i("i2", 1, 2); }},
        {"i3", 3, false, 1, [&] { shader.setUniform3i("i3", 1, 2, 3); }},
        {"i4", 4, false, 1, [&] { shader.setUniform4i("i4", 1, 2, 3, 4); }},
        {"f1", 1, true, 1, [&] { shader.setUniform1f("f1", 0.5f); }},
        {"f2", 2, true, 1, [&] { shader.setUniform2f("f2", 0.5f, 1.5f); }},
        {"f3", 3, true, 1, [&] { shader.setUniform3f("f3", 0.5f, 1.5f, 2.5f); }},
        {"f4", 4, true, 1, [&] { shader.setUniform4f("f4", 0.5f, 1.5f, 2.5f, 3.5f); }},
        {"ia1", 1, false, 2, [&] { shader.setUniform1iv("ia1", ints, 2); }},
        {"ia2", 2, false, 2, [&] { shader.setUniform2iv("ia2", ints, 2); }},
        {"ia3", 3, false, 2, [&] { shader.setUniform3iv("ia3", ints, 2); }},
        {"ia4", 4, false, 2, [&] { shader.setUniform4iv("ia4", ints, 2); }},
        {"fa1", 1, true, 2, [&] { shader.setUniform1fv("fa1", floats, 2); }},
        {"fa2", 2, true, 2, [&] { shader.setUniform2fv("fa2", floats, 2); }},
        {"fa3", 3, true, 2, [&] { shader.setUniform3fv("fa3", floats, 2); }},
        {"fa4", 4, true, 2, [&] { shader.setUniform4fv("fa4", floats, 2); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        c.set();
        EXPECT_NO_GL_ERROR();
        for (int element = 0; element < c.elements; ++element) {
            const std::string name =
                c.elements == 1 ? c.name
                                : std::string(c.name) + "[" + std::to_string(element) + "]";
            const GLint location = glGetUniformLocation(shader.program(), name.c_str());
            ASSERT_NE(-1, location);
            GLint intValues[4] = {};
            GLfloat floatValues[4] = {};
            glGetUniformiv(shader.program(), location, intValues);
            glGetUniformfv(shader.program(), location, floatValues);
            for (int k = 0; k < c.components; ++k) {
                const int at = element * c.components + k;
                if (c.isFloat) {
                    EXPECT_EQ(floats[at], floatValues[k]) << name << " component " << k;
                } else {
                    EXPECT_EQ(ints[at], intValues[k]) << name << " component " << k;
                }
            }
        }
    }

    GLuint texture = makeTexture(1, 1, {255, 255, 255, 255});
    shader.setUniformTexture("image", static_cast<int>(GL_TEXTURE_2D), static_cast<int>(texture),
                             3);
    GLint active = 0;
    GLint bound = 0;
    GLint sampler = -1;
    glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    glGetUniformiv(shader.program(), shader.getUniformLocation("image"), &sampler);
    EXPECT_EQ(static_cast<GLint>(GL_TEXTURE3), active) << "the unit stays active";
    EXPECT_EQ(static_cast<GLint>(texture), bound) << "the texture stays bound";
    EXPECT_EQ(3, sampler);

    GLCallRecorder recorder;
    EXPECT_EQ(-1, shader.getUniformLocation("unread")) << "GL drops a uniform nothing reads";
    shader.setUniform1f("unread", 1.0f);
    shader.setUniform2i("absent", 1, 2);
    EXPECT_EQ((std::vector<std::string>{"glGetUniformLocation", "glGetUniformLocation",
                                        "glGetUniformLocation"}),
              recorder.functions());

    glActiveTexture(GL_TEXTURE0);
    glDeleteTextures(1, &texture);
    EXPECT_NO_GL_ERROR();
}

TEST_F(ShaderSetters, AttributeSettersPointEnabledArraysIntoTheBoundBuffer) {
    const char* const vertex =
        "#version 330\n"
        "in float a1; in vec2 a2; in vec3 a3; in vec4 a4; in float ai;\n"
        "void main() { gl_Position = vec4(a1 + ai + a2.x + a2.y, a3) + a4; }";
    OpenglShader shader(vertex, "#version 330\nout vec4 c;\nvoid main() { c = vec4(1); }");
    for (int index = 1; index <= 4; ++index) {
        shader.addAttributeBinding("a" + std::to_string(index), index);
    }
    shader.addAttributeBinding("ai", 5);
    shader.useProgram();
    ASSERT_NE(0u, shader.program());

    GLuint vertexArray = 0;
    GLuint buffer = 0;
    glGenVertexArrays(1, &vertexArray);
    glBindVertexArray(vertexArray);
    glGenBuffers(1, &buffer);
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glBufferData(GL_ARRAY_BUFFER, 256, nullptr, GL_STATIC_DRAW);

    const auto at = [](std::uintptr_t offset) {
        return static_cast<const float*>(ByteOffset(offset));
    };
    struct Expected {
        GLuint location;
        GLint size;
        GLenum type;
        GLint stride;
        std::uintptr_t offset;
    };
    const auto check = [&](const Expected& expected) {
        SCOPED_TRACE(expected.location);
        GLint enabled = 0, size = 0, stride = 0, normalized = 1, type = 0, source = 0;
        glGetVertexAttribiv(expected.location, GL_VERTEX_ATTRIB_ARRAY_ENABLED, &enabled);
        glGetVertexAttribiv(expected.location, GL_VERTEX_ATTRIB_ARRAY_SIZE, &size);
        glGetVertexAttribiv(expected.location, GL_VERTEX_ATTRIB_ARRAY_TYPE, &type);
        glGetVertexAttribiv(expected.location, GL_VERTEX_ATTRIB_ARRAY_STRIDE, &stride);
        glGetVertexAttribiv(expected.location, GL_VERTEX_ATTRIB_ARRAY_NORMALIZED, &normalized);
        glGetVertexAttribiv(expected.location, GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING, &source);
        void* pointer = nullptr;
        glGetVertexAttribPointerv(expected.location, GL_VERTEX_ATTRIB_ARRAY_POINTER, &pointer);
        EXPECT_EQ(1, enabled);
        EXPECT_EQ(expected.size, size);
        EXPECT_EQ(static_cast<GLint>(expected.type), type);
        EXPECT_EQ(expected.stride, stride);
        EXPECT_EQ(0, normalized);
        EXPECT_EQ(static_cast<GLint>(buffer), source);
        EXPECT_EQ(ByteOffset(expected.offset), pointer);
    };

    shader.setAttribute1fv("a1", at(4), 40);
    shader.setAttribute2fv("a2", at(8), 40);
    shader.setAttribute3fv("a3", at(12), 40);
    shader.setAttribute4fv("a4", at(16), 40);
    check({1, 1, GL_FLOAT, 40, 4});
    check({2, 2, GL_FLOAT, 40, 8});
    check({3, 3, GL_FLOAT, 40, 12});
    check({4, 4, GL_FLOAT, 40, 16});

    shader.setAttribute1fv(1, at(20), 24);
    shader.setAttribute2fv(2, at(24), 24);
    shader.setAttribute3fv(3, at(28), 24);
    shader.setAttribute4fv(4, at(32), 24);
    shader.setAttribute1iv(5, reinterpret_cast<const int*>(ByteOffset(36)), 24);
    check({1, 1, GL_FLOAT, 24, 20});
    check({2, 2, GL_FLOAT, 24, 24});
    check({3, 3, GL_FLOAT, 24, 28});
    check({4, 4, GL_FLOAT, 24, 32});
    check({5, 1, GL_INT, 24, 36});

    shader.disableVertexAttributeArray("a1");
    shader.disableVertexAttributeArray(2);
    GLint enabled[2] = {1, 1};
    glGetVertexAttribiv(1, GL_VERTEX_ATTRIB_ARRAY_ENABLED, &enabled[0]);
    glGetVertexAttribiv(2, GL_VERTEX_ATTRIB_ARRAY_ENABLED, &enabled[1]);
    EXPECT_EQ(0, enabled[0]);
    EXPECT_EQ(0, enabled[1]);

    GLCallRecorder recorder;
    shader.setAttribute2fv("absent", at(0), 8);
    shader.setAttribute1fv(-1, at(0), 8);
    shader.setAttribute4fv(-1, at(0), 8);
    shader.setAttribute1iv(-1, nullptr, 8);
    shader.disableVertexAttributeArray("absent");
    EXPECT_EQ(0u, recorder.count("glEnableVertexAttribArray"));
    EXPECT_EQ(0u, recorder.count("glDisableVertexAttribArray"));

    glBindVertexArray(0);
    glDeleteVertexArrays(1, &vertexArray);
    glDeleteBuffers(1, &buffer);
    EXPECT_NO_GL_ERROR();
}

} // namespace
