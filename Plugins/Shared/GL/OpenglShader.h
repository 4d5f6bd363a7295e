#pragma once

#include <map>
#include <string>

namespace Brindel::GaussianBlur {

class Affine;
class Color;
class Mat4;
class Vec2;
class Vec3;
class Vec4;

/// The GLSL sources of one program, built into a GL program at the first `useProgram`, with the
/// setters through which its uniforms and vertex attributes are set by name or location.
///
/// Construction and `addAttributeBinding` make no GL call, so an object may exist before any
/// context. Every other operation needs a context of the program's share group current. A
/// failed build reports on standard error and leaves the object unbuilt: every setter then
/// does nothing, and the next `useProgram` tries again.
class OpenglShader {
public:
    OpenglShader(const std::string& vertexSource, const std::string& fragmentSource);
    /// An empty geometry source means no geometry stage.
    OpenglShader(const std::string& vertexSource, const std::string& fragmentSource,
                 const std::string& geometrySource);
    virtual ~OpenglShader();

    OpenglShader(const OpenglShader&) = delete;
    OpenglShader& operator=(const OpenglShader&) = delete;

    /// Binds attribute `name` to `index` at the next link; a name keeps its first index.
    void addAttributeBinding(const std::string& name, int index);
    void buildShader();
    /// Builds the program if it is not built yet, then puts it in use (0 if the build failed).
    void useProgram();
    /// The linked program, or 0 while unbuilt.
    unsigned int program() const { return mProgram; }

    // Uniforms: each does nothing while unbuilt or when the program has no such uniform.
    void setUniform1i(const std::string& name, int x) const;
    void setUniform2i(const std::string& name, int x, int y) const;
    void setUniform3i(const std::string& name, int x, int y, int z) const;
    void setUniform4i(const std::string& name, int x, int y, int z, int w) const;
    void setUniform1f(const std::string& name, float x) const;
    void setUniform2f(const std::string& name, float x, float y) const;
    void setUniform3f(const std::string& name, float x, float y, float z) const;
    void setUniform4f(const std::string& name, float x, float y, float z, float w) const;
    void setUniform1iv(const std::string& name, const int* data, int count) const;
    void setUniform2iv(const std::string& name, const int* data, int count) const;
    void setUniform3iv(const std::string& name, const int* data, int count) const;
    void setUniform4iv(const std::string& name, const int* data, int count) const;
    void setUniform1fv(const std::string& name, const float* data, int count) const;
    void setUniform2fv(const std::string& name, const float* data, int count) const;
    void setUniform3fv(const std::string& name, const float* data, int count) const;
    void setUniform4fv(const std::string& name, const float* data, int count) const;

    // The kit's values, narrowed to single precision in field order.
    void setUniform2f(const std::string& name, const Vec2& value) const;
    void setUniform3f(const std::string& name, const Vec3& value) const;
    void setUniform4f(const std::string& name, const Vec4& value) const;
    void setUniform4f(const std::string& name, const Color& value) const;
    /// `count` 2D transforms (at least 1) as 3x3 matrices, columns (a, b, 0), (c, d, 0),
    /// (e, f, 1), not transposed.
    void setUniformMatrix3f(const std::string& name, const Affine* value, int count) const;
    /// One matrix in its column-major storage order, not transposed; `count` must be 1.
    void setUniformMatrix4f(const std::string& name, const Mat4& value, int count) const;

    /// -1 while unbuilt or for an unknown uniform.
    int getUniformLocation(const std::string& name) const;
    /// Binds `texture` to `target` on texture unit `unit` and points sampler `name` at the unit.
    /// The unit stays active and the texture bound.
    void setUniformTexture(const std::string& name, int target, int texture, int unit) const;

    // Attributes: each enables the array and points it into the bound array buffer, `pointer`
    // being a byte offset there.
    void setAttribute1iv(int location, const int* pointer, int stride) const;
    void setAttribute1fv(const std::string& name, const float* pointer, int stride) const;
    void setAttribute1fv(int location, const float* pointer, int stride) const;
    void setAttribute2fv(const std::string& name, const float* pointer, int stride) const;
    void setAttribute2fv(int location, const float* pointer, int stride) const;
    void setAttribute3fv(const std::string& name, const float* pointer, int stride) const;
    void setAttribute3fv(int location, const float* pointer, int stride) const;
    void setAttribute4fv(const std::string& name, const float* pointer, int stride) const;
    void setAttribute4fv(int location, const float* pointer, int stride) const;

    int getAttributeLocation(const std::string& name) const;
    void disableVertexAttributeArray(const std::string& name) const;
    void disableVertexAttributeArray(int location) const;

private:
    std::string mVertexSource;
    std::string mFragmentSource;
    std::string mGeometrySource;
    unsigned int mProgram = 0;
    std::map<std::string, int> mAttributeBindings;
};

} // namespace Brindel::GaussianBlur
