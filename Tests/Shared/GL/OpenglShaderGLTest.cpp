#include "Affine.h"
#include "Color.h"
#include "GLCallRecorder.h"
#include "GLTest.h"
#include "Mat4.h"
#include "OpenglShader.h"
#include "StderrCapture.h"

#include <glbinding/gl/gl.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

using namespace gl;
using namespace Brindel::GaussianBlur;
using Brindel::Testing::GLCallRecorder;
using Brindel::Testing::StderrCapture;

namespace {

using ShaderBuild = Brindel::Testing::GLTest;

const char* const kVertex = "#version 330\nin vec2 position;\nin vec2 input_uv;\nout vec2 uv;\n"
                            "void main() { uv = input_uv; gl_Position = vec4(position, 0, 1); }";

// Every shader object made was deleted again.
void ExpectStagesFreed(const GLCallRecorder& recorder) {
    auto made = recorder.names("glCreateShader"), deleted = recorder.names("glDeleteShader");
    std::sort(made.begin(), made.end()), std::sort(deleted.begin(), deleted.end());
    EXPECT_EQ(made, deleted);
}

TEST_F(ShaderBuild, FailedBuildsPrintTheFirstFailingStagesLogCutTo512BytesAndRetry) {
    std::string broken = "#version 330\nout vec4 c;\nvoid main() {\n";
    for (int i = 0; i < 40; ++i) { // a log far longer than 512 bytes
        broken += "    c += undeclared" + std::to_string(i) + ";\n";
    }
    GLCallRecorder recorder;
    OpenglShader shader(kVertex, broken + "}\n");
    StderrCapture first;
    shader.useProgram();
    const std::string printed = first.text();
    // The log cut to 512 bytes with its terminating zero, then a line end.
    EXPECT_EQ(0u, printed.find("Shader frag error:\n"));
    EXPECT_EQ(std::string("Shader frag error:\n").size() + 512, printed.size());
    EXPECT_TRUE(shader.program() == 0 && recorder.count("glCreateProgram") == 0);
    recorder.clear();
    shader.setUniform4f("colour", 1.0f, 2.0f, 3.0f, 4.0f);
    shader.setAttribute4fv(0, nullptr, 0);
    EXPECT_TRUE(recorder.calls().empty()) << "an unbuilt program ignores its setters";
    StderrCapture again;
    shader.useProgram();
    EXPECT_EQ(printed, again.text()) << "the next use builds afresh";

    StderrCapture later; // a broken vertex stage: the fragment stage is not compiled
    OpenglShader bothBroken("#version 330\nvoid main() { broken }", broken);
    bothBroken.useProgram();
    EXPECT_TRUE(later.text().find("Shader vert error:\n") == 0 &&
                later.text().find("frag") == std::string::npos);
    // The vertex stage writes uv as a vec2: the link fails, and its log follows.
    OpenglShader unmatched(kVertex, "#version 330\nin vec3 uv;\nout vec4 c;\nvoid main() { c = "
                                    "vec4(uv, 1.0); }");
    StderrCapture link;
    unmatched.useProgram();
    EXPECT_EQ(0u, link.text().find("Program error:\n"));
    EXPECT_EQ(0u, unmatched.program());
    EXPECT_EQ(recorder.names("glCreateProgram"), recorder.names("glDeleteProgram"));
    ExpectStagesFreed(recorder);
    EXPECT_NO_GL_ERROR();
}

TEST_F(ShaderBuild, LinksAtFirstUseWithItsBindingsAndEverySetterReachesItsUniformOrAttribute) {
    const int ints[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const float floats[8] = {0.5f, 1.5f, 2.5f, 3.5f, 4.5f, 5.5f, 6.5f, 7.5f};
    const Affine transforms[2] = {Affine(1, 2, 3, 4, 5, 6), Affine(7, 8, 9, 10, 11, 12)};
    Mat4 matrix;
    for (int i = 0; i < 16; ++i) {
        matrix.m[i] = i + 0.5;
    }
    std::optional<OpenglShader> s; // made once the table has written its fragment stage
    using Name = const std::string&;
    struct Uniform {
        std::string type; // "[2]" makes an array, read at [1]: count and stride in one value
        std::function<void(Name)> set;
        std::vector<float> want;
    };
    const Uniform uniforms[] = {
        {"int", [&](Name n) { s->setUniform1i(n, 1); }, {1}},
        {"ivec2", [&](Name n) { s->setUniform2i(n, 1, 2); }, {1, 2}},
        {"ivec3", [&](Name n) { s->setUniform3i(n, 1, 2, 3); }, {1, 2, 3}},
        {"ivec4", [&](Name n) { s->setUniform4i(n, 1, 2, 3, 4); }, {1, 2, 3, 4}},
        {"float", [&](Name n) { s->setUniform1f(n, 0.5f); }, {0.5f}},
        {"vec2", [&](Name n) { s->setUniform2f(n, 0.5f, 1.5f); }, {0.5f, 1.5f}},
        {"vec3", [&](Name n) { s->setUniform3f(n, 0.5f, 1.5f, 2.5f); }, {0.5f, 1.5f, 2.5f}},
        {"vec4", [&](Name n) { s->setUniform4f(n, 0.5f, 1, 2, 3); }, {0.5f, 1, 2, 3}},
        {"int[2]", [&](Name n) { s->setUniform1iv(n, ints, 2); }, {2}},
        {"ivec2[2]", [&](Name n) { s->setUniform2iv(n, ints, 2); }, {3, 4}},
        {"ivec3[2]", [&](Name n) { s->setUniform3iv(n, ints, 2); }, {4, 5, 6}},
        {"ivec4[2]", [&](Name n) { s->setUniform4iv(n, ints, 2); }, {5, 6, 7, 8}},
        {"float[2]", [&](Name n) { s->setUniform1fv(n, floats, 2); }, {1.5f}},
        {"vec2[2]", [&](Name n) { s->setUniform2fv(n, floats, 2); }, {2.5f, 3.5f}},
        {"vec3[2]", [&](Name n) { s->setUniform3fv(n, floats, 2); }, {3.5f, 4.5f, 5.5f}},
        {"vec4[2]", [&](Name n) { s->setUniform4fv(n, floats, 2); }, {4.5f, 5.5f, 6.5f, 7.5f}},
        {"vec2", [&](Name n) { s->setUniform2f(n, Vec2(0.1, -2.5)); }, {0.1f, -2.5f}},
        {"vec3", [&](Name n) { s->setUniform3f(n, Vec3(1, 2, 3)); }, {1, 2, 3}},
        {"vec4", [&](Name n) { s->setUniform4f(n, Vec4(4, 5, 6, 7)); }, {4, 5, 6, 7}},
        {"vec4",
         [&](Name n) { s->setUniform4f(n, Color(0.25, 0.5, 0.75, 1.0 / 3)); },
         {0.25f, 0.5f, 0.75f, 1.0f / 3}},
        // Affine columns (a, b, 0), (c, d, 0), (e, f, 1); Mat4 not transposed.
        {"mat3[2]",
         [&](Name n) { s->setUniformMatrix3f(n, transforms, 2); },
         {7, 8, 0, 9, 10, 0, 11, 12, 1}},
        {"mat4", [&](Name n) { s->setUniformMatrix4f(n, matrix, 1); },
         std::vector<float>(matrix.m, matrix.m + 16)},
    };
    // One fragment stage declares and reads every uniform of the table, row i as u<i>.
    std::string fragment = "#version 330\nout vec4 c;\nuniform sampler2D image;\n"
                           "uniform float unread;\n",
                body = "void main() {\n    c = texture(image, vec2(0.5));\n";
    const auto name = [&uniforms](const Uniform& u) { return "u" + std::to_string(&u - uniforms); };
    const auto read = [&](const Uniform& u) {
        return name(u) + (u.type.back() == ']' ? "[1]" : "");
    };
    for (const Uniform& u : uniforms) {
        const std::size_t bracket = std::min(u.type.find('['), u.type.size());
        fragment +=
            "uniform " + u.type.substr(0, bracket) + " " + name(u) + u.type.substr(bracket) + ";\n";
        body += "    c.x += float(" + read(u) + ");\n";
    }
    s.emplace("#version 330\nin vec2 a2; in vec3 a3; in float ai;\n"
              "void main() { gl_Position = vec4(ai + a2.x + a2.y, a3); }",
              fragment + body + "}\n", "");
    OpenglShader& shader = *s;
    GLCallRecorder recorder;
    shader.addAttributeBinding("a2", 2);
    shader.addAttributeBinding("a2", 6); // the first index of a name holds
    shader.addAttributeBinding("a3", 3);
    shader.addAttributeBinding("ai", 5);
    shader.setUniform1f("unread", 1.0f);
    EXPECT_TRUE(recorder.calls().empty()) << "nothing reaches GL before the first use";
    shader.useProgram();
    GLint inUse = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &inUse);
    ASSERT_TRUE(shader.program() != 0 && static_cast<GLint>(shader.program()) == inUse);
    shader.addAttributeBinding("a3", 9); // after the link: no effect, no relink
    shader.useProgram();
    EXPECT_EQ(3, shader.getAttributeLocation("a3"));
    EXPECT_EQ(1u, recorder.count("glLinkProgram"));
    EXPECT_EQ(2u, recorder.count("glCreateShader")) << "an empty geometry source makes no stage";
    ExpectStagesFreed(recorder);
    for (const Uniform& u : uniforms) {
        u.set(name(u));
        std::vector<float> got(16, 0.0f);
        glGetUniformfv(shader.program(), shader.getUniformLocation(read(u)), got.data());
        got.resize(u.want.size());
        EXPECT_EQ(u.want, got) << read(u) << " " << u.type;
    }
    GLuint texture = makeTexture(1, 1, {255, 255, 255, 255});
    s->setUniformTexture("image", static_cast<int>(GL_TEXTURE_2D), static_cast<int>(texture), 3);
    GLint active = 0, bound = 0, unit = -1;
    glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    glGetUniformiv(shader.program(), shader.getUniformLocation("image"), &unit);
    // The unit stays active and the texture bound to it.
    EXPECT_TRUE(active == static_cast<GLint>(GL_TEXTURE3) && bound == GLint(texture) && unit == 3);
    glActiveTexture(GL_TEXTURE0);
    glDeleteTextures(1, &texture);

    GLuint vertexArray = 0, buffer = 0;
    glGenVertexArrays(1, &vertexArray);
    glBindVertexArray(vertexArray);
    glGenBuffers(1, &buffer);
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glBufferData(GL_ARRAY_BUFFER, 256, nullptr, GL_STATIC_DRAW);
    const auto at = [](std::uintptr_t offset) { return reinterpret_cast<const float*>(offset); };
    struct Attribute {
        std::function<void()> set;
        GLuint location;
        std::vector<GLint> want; // enabled, size, type, stride, normalised, buffer, offset
    };
    const GLint b = static_cast<GLint>(buffer), f = static_cast<GLint>(GL_FLOAT);
    const Attribute attributes[] = {
        {[&] { s->setAttribute2fv("a2", at(8), 40); }, 2, {1, 2, f, 40, 0, b, 8}},
        {[&] { s->setAttribute3fv(3, at(28), 24); }, 3, {1, 3, f, 24, 0, b, 28}},
        {[&] { s->setAttribute1iv(5, reinterpret_cast<const int*>(36), 24); },
         5,
         {1, 1, static_cast<GLint>(GL_INT), 24, 0, b, 36}},
        {[&] { s->disableVertexAttributeArray("a2"); }, 2, {0, 2, f, 40, 0, b, 8}},
    };
    for (const Attribute& a : attributes) {
        a.set();
        std::vector<GLint> got;
        for (GLenum query :
             {GL_VERTEX_ATTRIB_ARRAY_ENABLED, GL_VERTEX_ATTRIB_ARRAY_SIZE,
              GL_VERTEX_ATTRIB_ARRAY_TYPE, GL_VERTEX_ATTRIB_ARRAY_STRIDE,
              GL_VERTEX_ATTRIB_ARRAY_NORMALIZED, GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING}) {
            glGetVertexAttribiv(a.location, query, &got.emplace_back(-1));
        }
        void* pointer = nullptr;
        glGetVertexAttribPointerv(a.location, GL_VERTEX_ATTRIB_ARRAY_POINTER, &pointer);
        got.push_back(static_cast<GLint>(reinterpret_cast<std::uintptr_t>(pointer)));
        EXPECT_EQ(a.want, got) << "attribute row " << &a - attributes;
    }
    recorder.clear();
    s->setUniform1f("unread", 1.0f); // GL drops a uniform nothing reads
    s->setUniform2i("absent", 1, 2);
    EXPECT_EQ(2u, recorder.calls().size()) << "unknown uniforms are looked up and skipped";
    recorder.clear();
    s->setAttribute2fv("absent", at(0), 8);
    s->setAttribute1iv(-1, nullptr, 8);
    EXPECT_EQ(0u, recorder.count("glEnableVertexAttribArray"));
    glBindVertexArray(0);
    glDeleteVertexArrays(1, &vertexArray);
    glDeleteBuffers(1, &buffer);
    EXPECT_NO_GL_ERROR();
}

} // namespace
