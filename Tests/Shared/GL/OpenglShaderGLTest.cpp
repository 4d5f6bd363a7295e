#include "Affine.h"
#include "Color.h"
#include "GLCallRecorder.h"
#include "GLTest.h"
#include "Mat4.h"
#include "OpenglShader.h"
#include "StderrCapture.h"
#include "Vec2.h"
#include "Vec3.h"
#include "Vec4.h"

#include <glbinding/gl/gl.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

using namespace gl;
using namespace Brindel::GaussianBlur;
using Brindel::Testing::GLCallRecorder;
using Brindel::Testing::GLTest;
using Brindel::Testing::StderrCapture;

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

std::vector<unsigned int> Sorted(std::vector<unsigned int> names) {
    std::sort(names.begin(), names.end());
    return names;
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
    const std::string geometry = "#version 330\n"
                                 "layout(triangles) in;\n"
                                 "layout(triangle_strip, max_vertices = 3) out;\n"
                                 "in vec2 uv[];\n"
                                 "out vec2 uvOut;\n"
                                 "void main() {\n"
                                 "    for (int i = 0; i < 3; ++i) {\n"
                                 "        uvOut = uv[i];\n"
                                 "        gl_Position = gl_in[i].gl_Position;\n"
                                 "        EmitVertex();\n"
                                 "    }\n"
                                 "}";
    const std::string fragment = "#version 330\nin vec2 uvOut;\nout vec4 c;\n"
                                 "void main() { c = vec4(uvOut, 0.0, 1.0); }";
    GLCallRecorder recorder;
    OpenglShader emptyGeometry(kVertex, kFragment, "");
    emptyGeometry.useProgram();
    OpenglShader withGeometry(kVertex, fragment, geometry);
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
    GLCallRecorder recorder;
    OpenglShader shader(kVertex, broken);
    StderrCapture first;
    shader.useProgram();
    const std::string printed = first.text();
    // GL's log of forty errors, cut to 512 bytes with the terminating zero.
    const std::string header = "Shader frag error:\n";
    EXPECT_EQ(0u, printed.find(header));
    EXPECT_EQ(header.size() + 511 + 1, printed.size());
    EXPECT_EQ('\n', printed.back());
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

    StderrCapture again;
    shader.useProgram();
    EXPECT_EQ(printed, again.text()) << "the next use builds afresh";

    StderrCapture bothBroken;
    OpenglShader firstOnly("#version 330\nvoid main() { broken }", broken);
    firstOnly.useProgram();
    const std::string text = bothBroken.text();
    EXPECT_EQ(0u, text.find("Shader vert error:\n"));
    EXPECT_EQ(std::string::npos, text.find("frag")) << "later stages are not compiled";
    EXPECT_NO_GL_ERROR();
}

TEST_F(ShaderBuild, LinkErrorReportsTheProgramLogAndDeletesTheProgram) {
    // The vertex stage writes uv as a vec2.
    const std::string unmatched = "#version 330\nin vec3 uv;\nout vec4 colourOut;\n"
                                  "void main() { colourOut = vec4(uv, 1.0); }";
    GLCallRecorder recorder;
    OpenglShader shader(kVertex, unmatched);
    StderrCapture capture;
    shader.useProgram();

    const std::string printed = capture.text();
    EXPECT_EQ(0u, printed.find("Program error:\n"));
    EXPECT_GT(printed.size(), 16u) << "the link log follows";
    EXPECT_EQ(0u, shader.program());
    EXPECT_EQ(1u, recorder.count("glLinkProgram"));
    EXPECT_EQ(recorder.names("glCreateProgram"), recorder.names("glDeleteProgram"));
    EXPECT_EQ(Sorted(recorder.names("glCreateShader")), Sorted(recorder.names("glDeleteShader")));
    EXPECT_NO_GL_ERROR();
}

TEST_F(ShaderSetters, EveryUniformSetterReachesItsUniformAndUnknownNamesAreSkipped) {
    // One uniform per setter: i or f, 1 to 4 components, and arrays of two for the v forms. All
    // are read, so that GL keeps them.
    std::string declarations;
    std::string sum = "0.0";
    for (const char kind : {'i', 'f'}) {
        for (int n = 1; n <= 4; ++n) {
            for (const bool array : {false, true}) {
                const std::string name = kind + std::to_string(n) + (array ? "v" : "");
                const std::string asFloat = n == 1 ? "float" : "vec" + std::to_string(n);
                const std::string type =
                    kind == 'f' ? asFloat : (n == 1 ? "int" : "ivec" + std::to_string(n));
                declarations += "uniform " + type + " " + name + (array ? "[2]" : "") + ";\n";
                for (int e = 0; e < (array ? 2 : 1); ++e) {
                    const std::string element = array ? name + "[" + std::to_string(e) + "]" : name;
                    sum += " + dot(" + asFloat + "(" + element + "), " + asFloat + "(1))";
                }
            }
        }
    }
    OpenglShader shader(kVertex, "#version 330\nout vec4 colourOut;\nuniform sampler2D image;\n"
                                 "uniform float unread;\n" +
                                     declarations +
                                     "void main() { colourOut = texture(image, vec2(0.5)) * (" +
                                     sum + "); }");
    shader.useProgram();
    ASSERT_NE(0u, shader.program());

    const int ints[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const float floats[8] = {0.5f, 1.5f, 2.5f, 3.5f, 4.5f, 5.5f, 6.5f, 7.5f};
    shader.setUniform1i("i1", 1);
    shader.setUniform2i("i2", 1, 2);
    shader.setUniform3i("i3", 1, 2, 3);
    shader.setUniform4i("i4", 1, 2, 3, 4);
    shader.setUniform1f("f1", 0.5f);
    shader.setUniform2f("f2", 0.5f, 1.5f);
    shader.setUniform3f("f3", 0.5f, 1.5f, 2.5f);
    shader.setUniform4f("f4", 0.5f, 1.5f, 2.5f, 3.5f);
    shader.setUniform1iv("i1v", ints, 2);
    shader.setUniform2iv("i2v", ints, 2);
    shader.setUniform3iv("i3v", ints, 2);
    shader.setUniform4iv("i4v", ints, 2);
    shader.setUniform1fv("f1v", floats, 2);
    shader.setUniform2fv("f2v", floats, 2);
    shader.setUniform3fv("f3v", floats, 2);
    shader.setUniform4fv("f4v", floats, 2);
    for (const char kind : {'i', 'f'}) {
        for (int n = 1; n <= 4; ++n) {
            // The plain uniform, then the two elements of the array.
            for (int e = -1; e < 2; ++e) {
                const std::string name = kind + std::to_string(n);
                const std::string element = e < 0 ? name : name + "v[" + std::to_string(e) + "]";
                SCOPED_TRACE(element);
                const GLint location = shader.getUniformLocation(element);
                GLint intValues[4] = {};
                GLfloat floatValues[4] = {};
                glGetUniformiv(shader.program(), location, intValues);
                glGetUniformfv(shader.program(), location, floatValues);
                const int first = e > 0 ? n : 0;
                for (int k = 0; k < n; ++k) {
                    if (kind == 'i') {
                        EXPECT_EQ(ints[first + k], intValues[k]);
                    } else {
                        EXPECT_EQ(floats[first + k], floatValues[k]);
                    }
                }
            }
        }
    }
    GLuint texture = makeTexture(1, 1, {255, 255, 255, 255});
    shader.setUniformTexture("image", static_cast<int>(GL_TEXTURE_2D), static_cast<int>(texture),
                             3);
    GLint active = 0;
    GLint bound = 0;
    GLint unit = -1;
    glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    glGetUniformiv(shader.program(), shader.getUniformLocation("image"), &unit);
    EXPECT_EQ(static_cast<GLint>(GL_TEXTURE3), active) << "the unit stays active";
    EXPECT_EQ(static_cast<GLint>(texture), bound) << "the texture stays bound";
    EXPECT_EQ(3, unit);

    GLCallRecorder recorder;
    EXPECT_EQ(-1, shader.getUniformLocation("unread")) << "GL drops a uniform nothing reads";
    shader.setUniform1f("unread", 1.0f);
    shader.setUniform2i("absent", 1, 2);
    EXPECT_EQ(3u, recorder.count("glGetUniformLocation"));
    EXPECT_EQ(3u, recorder.calls().size()) << "unknown uniforms are skipped";

    glActiveTexture(GL_TEXTURE0);
    glDeleteTextures(1, &texture);
    EXPECT_NO_GL_ERROR();
}

TEST_F(ShaderSetters, AttributeSettersPointEnabledArraysIntoTheBoundBuffer) {
    OpenglShader shader("#version 330\n"
                        "in float a1; in vec2 a2; in vec3 a3; in vec4 a4; in float ai;\n"
                        "void main() { gl_Position = vec4(a1 + ai + a2.x + a2.y, a3) + a4; }",
                        "#version 330\nout vec4 c;\nvoid main() { c = vec4(1); }");
    for (int index = 1; index <= 4; ++index) {
        shader.addAttributeBinding("a" + std::to_string(index), index);
    }
    shader.addAttributeBinding("ai", 5);
    shader.useProgram();
    GLuint vertexArray = 0;
    GLuint buffer = 0;
    glGenVertexArrays(1, &vertexArray);
    glBindVertexArray(vertexArray);
    glGenBuffers(1, &buffer);
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glBufferData(GL_ARRAY_BUFFER, 256, nullptr, GL_STATIC_DRAW);

    const auto at = [](std::uintptr_t offset) { return reinterpret_cast<const float*>(offset); };
    struct Case {
        std::function<void()> set;
        GLuint location;
        GLint size;
        GLenum type;
        GLint stride;
        std::uintptr_t offset;
    };
    const Case cases[] = {
        {[&] { shader.setAttribute1fv("a1", at(4), 40); }, 1, 1, GL_FLOAT, 40, 4},
        {[&] { shader.setAttribute2fv("a2", at(8), 40); }, 2, 2, GL_FLOAT, 40, 8},
        {[&] { shader.setAttribute3fv("a3", at(12), 40); }, 3, 3, GL_FLOAT, 40, 12},
        {[&] { shader.setAttribute4fv("a4", at(16), 40); }, 4, 4, GL_FLOAT, 40, 16},
        {[&] { shader.setAttribute3fv(3, at(28), 24); }, 3, 3, GL_FLOAT, 24, 28},
        {[&] { shader.setAttribute1iv(5, reinterpret_cast<const int*>(36), 24); }, 5, 1, GL_INT, 24,
         36},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        c.set();
        GLint enabled = 0, size = 0, type = 0, stride = 0, normalized = 1, source = 0;
        void* pointer = nullptr;
        glGetVertexAttribiv(c.location, GL_VERTEX_ATTRIB_ARRAY_ENABLED, &enabled);
        glGetVertexAttribiv(c.location, GL_VERTEX_ATTRIB_ARRAY_SIZE, &size);
        glGetVertexAttribiv(c.location, GL_VERTEX_ATTRIB_ARRAY_TYPE, &type);
        glGetVertexAttribiv(c.location, GL_VERTEX_ATTRIB_ARRAY_STRIDE, &stride);
        glGetVertexAttribiv(c.location, GL_VERTEX_ATTRIB_ARRAY_NORMALIZED, &normalized);
        glGetVertexAttribiv(c.location, GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING, &source);
        glGetVertexAttribPointerv(c.location, GL_VERTEX_ATTRIB_ARRAY_POINTER, &pointer);
        EXPECT_EQ(1, enabled);
        EXPECT_EQ(c.size, size);
        EXPECT_EQ(static_cast<GLint>(c.type), type);
        EXPECT_EQ(c.stride, stride);
        EXPECT_EQ(0, normalized);
        EXPECT_EQ(static_cast<GLint>(buffer), source);
        EXPECT_EQ(reinterpret_cast<void*>(c.offset), pointer);
    }

    shader.disableVertexAttributeArray("a1");
    shader.disableVertexAttributeArray(2);
    GLint enabled[2] = {1, 1};
    glGetVertexAttribiv(1, GL_VERTEX_ATTRIB_ARRAY_ENABLED, &enabled[0]);
    glGetVertexAttribiv(2, GL_VERTEX_ATTRIB_ARRAY_ENABLED, &enabled[1]);
    EXPECT_EQ(0, enabled[0] + enabled[1]);

    GLCallRecorder recorder;
    shader.setAttribute2fv("absent", at(0), 8);
    shader.setAttribute1fv(-1, at(0), 8);
    shader.setAttribute4fv(-1, at(0), 8);
    shader.setAttribute1iv(-1, nullptr, 8);
    shader.disableVertexAttributeArray("absent");
    EXPECT_EQ(0u, recorder.count("glEnableVertexAttribArray") +
                      recorder.count("glDisableVertexAttribArray"));

    glBindVertexArray(0);
    glDeleteVertexArrays(1, &vertexArray);
    glDeleteBuffers(1, &buffer);
    EXPECT_NO_GL_ERROR();
}

TEST_F(ShaderSetters, KitValuesReachTheirUniformsInSinglePrecisionAndFieldOrder) {
    OpenglShader shader(kVertex, "#version 330\nout vec4 colourOut;\n"
                                 "uniform vec2 v2;\nuniform vec3 v3;\nuniform vec4 v4;\n"
                                 "uniform vec4 colour;\nuniform mat3 affine[2];\n"
                                 "uniform mat4 matrix;\n"
                                 "void main() { colourOut = vec4(v2, 0.0, 0.0) + vec4(v3, 0.0) + "
                                 "v4 + colour + vec4(affine[0][0] + affine[1][2], 0.0) + "
                                 "matrix[3]; }");
    // Setters before the build do nothing and report nothing.
    shader.setUniform2f("v2", Vec2(1, 2));
    shader.setUniformMatrix4f("matrix", Mat4(), 1);
    shader.useProgram();
    ASSERT_NE(0u, shader.program());
    const GLuint program = shader.program();
    auto read = [program](const char* name, int count) {
        std::vector<float> values(count);
        glGetUniformfv(program, glGetUniformLocation(program, name), values.data());
        return values;
    };

    shader.setUniform2f("v2", Vec2(0.1, -2.5));
    EXPECT_EQ(read("v2", 2), (std::vector<float>{0.1f, -2.5f}));
    shader.setUniform3f("v3", Vec3(1, 2, 3));
    EXPECT_EQ(read("v3", 3), (std::vector<float>{1, 2, 3}));
    shader.setUniform4f("v4", Vec4(4, 5, 6, 7));
    EXPECT_EQ(read("v4", 4), (std::vector<float>{4, 5, 6, 7}));
    shader.setUniform4f("colour", Color(0.25, 0.5, 0.75, 1.0 / 3.0));
    EXPECT_EQ(read("colour", 4), (std::vector<float>{0.25f, 0.5f, 0.75f, 1.0f / 3.0f}));

    // Six values in the argument order a, b, c, d, e, f; columns (a, b, 0), (c, d, 0), (e, f, 1).
    const Affine transforms[2] = {Affine(1, 2, 3, 4, 5, 6), Affine(7, 8, 9, 10, 11, 12)};
    shader.setUniformMatrix3f("affine", transforms, 2);
    EXPECT_EQ(read("affine[0]", 9), (std::vector<float>{1, 2, 0, 3, 4, 0, 5, 6, 1}));
    EXPECT_EQ(read("affine[1]", 9), (std::vector<float>{7, 8, 0, 9, 10, 0, 11, 12, 1}));

    Mat4 matrix;
    for (int i = 0; i < 16; ++i) {
        matrix.m[i] = i + 0.5;
    }
    shader.setUniformMatrix4f("matrix", matrix, 1);
    const std::vector<float> stored = read("matrix", 16);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(stored[i], i + 0.5f) << "element " << i << ": not transposed";
    }
    EXPECT_NO_GL_ERROR();
}

} // namespace
