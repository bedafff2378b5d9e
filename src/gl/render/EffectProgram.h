#pragma once

// The GPU program of a render pass: up to sixteen shaders linked together with the library's
// common fragment shader, uniforms discovered from the linked program and set by name with typed
// values, and the screen-aligned quad every full-target pass draws.
//
// The common fragment shader defines, for every effect shader, which may declare and call them
// without defining them:
//
//     uniform vec2 random;
//     float luma(vec4 pixel);        // 0.30 r + 0.59 g + 0.11 b
//     float saturation(vec4 pixel);  // max(r, g, b) - min(r, g, b)
//     float rand();                  // fract(sin(dot(gl_TexCoord[0].st, random)) * 43758.5453)
//     vec4 blur(sampler2DRect source, vec2 position, float threshold, float radius);
//
// blur() sums the samples at the offsets -radius..radius (step 1) in y and x around position,
// each weighted 1 - x^2 y^2 / radius^4, counting only samples whose Rec. 601 luma reaches the
// threshold but every weight in the divisor.
//
// Nothing touches OpenGL before the first Apply(), which needs a current context; from then on
// the program, its shaders and the uniform locations belong to that context's share group. The
// shaders are not owned and must outlive the program. All of this runs on the thread that has the
// context current; the common shader is process-wide and not locked.

#include "Export.h"
#include "gl/render/GLSL.h"
#include "geometry/Region.h"
#include "geometry/Vector.h"
#include "gl/resources/Resource.h"

#include <initializer_list>
#include <map>
#include <memory>
#include <string>

namespace OGL_ZEP6_AE {

class Color;
class TextureUnit;

// A plain aggregate of N x N values, handed to OpenGL as it lies in memory (column after column,
// as glUniformMatrix expects without transposition). The library uses it with float and N = 2, 3
// and 4 for matrix uniforms.
template <typename T, int N> struct mat { T v[N * N]; };

class ZEP6_API EffectProgram : public Resource {
public:
    static constexpr int kMaxShaders = 16;

    // Adds each non-null shader in argument order.
    explicit EffectProgram(GLSL::Shader* s1 = nullptr, GLSL::Shader* s2 = nullptr, GLSL::Shader* s3 = nullptr,
                           GLSL::Shader* s4 = nullptr, GLSL::Shader* s5 = nullptr);
    // The program name and the uniform table belong to exactly one object: not copied.
    EffectProgram(const EffectProgram&) = delete;
    EffectProgram& operator=(const EffectProgram&) = delete;

    // Adds a shader to the program (not owned). A null pointer, and any shader beyond the
    // sixteenth, is ignored.
    void AddShader(GLSL::Shader* shader);

    // On the first use: compiles and attaches the shaders and the common fragment shader. Links
    // when needed (a failure throws Error with "GLSL Link Error:\n" and the log; a shader that
    // fails to compile throws Error with "GLSL Compile Error:\n" and the log), makes the program
    // current, and discovers its active uniforms when it has no uniform table yet.
    virtual void Apply();

    // Whether the uniform table holds that name: false before the first Apply() and for names the
    // linker dropped.
    bool HasUniform(const char* name) const;
    // The uniform of that name, attached to this program (its location looked up on the first
    // request only), or null.
    GLSL::Uniform* GetUniform(const char* name);

    // Typed uniform transfer. A setter acts only when the uniform's type suits the value, and
    // does nothing otherwise; a getter likewise. A null uniform does nothing. A suitable uniform
    // without a location throws Error "No Location for Uniform Variable". Setters act on the
    // current program, so Apply() comes first.
    //
    // Setters, by value type (uniform type: what is set):
    // - unsigned char, int, unsigned: INT, BOOL: glUniform1i; FLOAT: glUniform1f(value as float).
    // - float, double: INT: glUniform1i(truncated toward zero); FLOAT: glUniform1f.
    // - Color: FLOAT_VEC3: (r, g, b); FLOAT_VEC4: (r, g, b, a).
    // - p2f: VEC2 (x, y); VEC3 (x, y, 0); VEC4 (x, y, 0, 1).
    // - p3f: VEC2 (x, y); VEC3 (x, y, z); VEC4 (x, y, z, 1).
    // - p4f: VEC2 (x/w, y/w); VEC3 (x/w, y/w, z/w); VEC4 (x, y, z, w).
    // - vec<int, N>: INT_VECN: glUniformNiv, count 1.
    // - mat<float, N>: FLOAT_MATN: glUniformMatrixNfv, count 1, not transposed.
    // - TextureUnit: SAMPLER_2D, SAMPLER_2D_RECT: the unit is applied (made active, its texture
    //   bound), then glUniform1i(unit - GL_TEXTURE0).
    // Getters accept the same uniform types as the setters and read with glGetUniformiv
    // (integral values, vec<int, N>, TextureUnit: the unit becomes GL_TEXTURE0 + the value read)
    // or glGetUniformfv (the rest). A Color from a VEC3 keeps its alpha; a p2f from a VEC3 is
    // (x, y), from a VEC4 (x/w, y/w); a p3f from a VEC2 is (x, y, 0), from a VEC4 (x, y, z)
    // undivided with the tag word -1; a p4f from a VEC2 is (x, y, 0, 1), from a VEC3 (x, y, z, 1).
    void SetUniform(GLSL::Uniform* uniform, unsigned char value);
    void SetUniform(GLSL::Uniform* uniform, int value);
    void SetUniform(GLSL::Uniform* uniform, unsigned int value);
    void SetUniform(GLSL::Uniform* uniform, float value);
    void SetUniform(GLSL::Uniform* uniform, double value);
    void SetUniform(GLSL::Uniform* uniform, const Color& value);
    void SetUniform(GLSL::Uniform* uniform, const p2f& value);
    void SetUniform(GLSL::Uniform* uniform, const p3f& value);
    void SetUniform(GLSL::Uniform* uniform, const p4f& value);
    void SetUniform(GLSL::Uniform* uniform, const vec<int, 2>& value);
    void SetUniform(GLSL::Uniform* uniform, const vec<int, 3>& value);
    void SetUniform(GLSL::Uniform* uniform, const vec<int, 4>& value);
    void SetUniform(GLSL::Uniform* uniform, const mat<float, 2>& value);
    void SetUniform(GLSL::Uniform* uniform, const mat<float, 3>& value);
    void SetUniform(GLSL::Uniform* uniform, const mat<float, 4>& value);
    // Makes the unit active (binding its texture, if any), then sets a sampler uniform to it.
    void SetUniform(GLSL::Uniform* uniform, const TextureUnit& value);

    void GetUniform(GLSL::Uniform* uniform, unsigned char& value);
    void GetUniform(GLSL::Uniform* uniform, int& value);
    void GetUniform(GLSL::Uniform* uniform, unsigned int& value);
    void GetUniform(GLSL::Uniform* uniform, float& value);
    void GetUniform(GLSL::Uniform* uniform, double& value);
    void GetUniform(GLSL::Uniform* uniform, Color& value);
    void GetUniform(GLSL::Uniform* uniform, p2f& value);
    void GetUniform(GLSL::Uniform* uniform, p3f& value);
    void GetUniform(GLSL::Uniform* uniform, p4f& value);
    void GetUniform(GLSL::Uniform* uniform, vec<int, 2>& value);
    void GetUniform(GLSL::Uniform* uniform, vec<int, 3>& value);
    void GetUniform(GLSL::Uniform* uniform, vec<int, 4>& value);
    void GetUniform(GLSL::Uniform* uniform, mat<float, 2>& value);
    void GetUniform(GLSL::Uniform* uniform, mat<float, 3>& value);
    void GetUniform(GLSL::Uniform* uniform, mat<float, 4>& value);
    void GetUniform(GLSL::Uniform* uniform, TextureUnit& value);

    // By name: GetUniform(name), then the typed form; an unknown name does nothing.
    template <class T> void SetUniform(const char* name, const T& value) {
        SetUniform(GetUniform(name), value);
    }
    template <class T> void GetUniform(const char* name, T& value) { GetUniform(GetUniform(name), value); }

    // Deletes the program and the uniform table and forgets the shaders (ShaderCount() is 0).
    // The next Apply() links the shaders added since; when none were added, it links again the
    // shaders of the last build. So an effect program that outlives a shutdown (every static
    // program of the library) builds itself again in the next session without help.
    void Finalize() override;
    ~EffectProgram() override;
    void Dump() const override;

    // One triangle strip over the region with normal (0, 0, 1): corners (x, y), (x + w, y),
    // (x, y + h), (x + w, y + h) with texture coordinates (0, 0), (1, 0), (0, 1), (1, 1), set as
    // the fixed-function coordinate and, when lastUnit >= GL_TEXTURE0, on every unit from
    // GL_TEXTURE0 up to and including lastUnit.
    static void DrawRegion(const Region& region, unsigned int lastUnit = 0);

    GLSL::Program& GetProgram() { return program_; }
    int ShaderCount() const { return shaderCount_; }

    // Vertex shader that only transforms the position.
    static GLSL::Shader sVertexShader;
    // Vertex shader that passes texture coordinates 0 to 3, each through its texture matrix, and
    // transforms the position.
    static GLSL::Shader sMultiTexture;

    // The glow programs (Glow.h): threshold, horizontal and vertical blur, glow composite.
    static EffectProgram& sThreshold;
    static EffectProgram& sHorizBlur;
    static EffectProgram& sVertBlur;
    static EffectProgram& sGlow;
    // The shader pass of the filter kernels (Kernel.h): one axis of a separable convolution.
    static EffectProgram& sKernel;

private:
    using UniformTable = std::map<std::string, std::unique_ptr<GLSL::Uniform>>;

    // Rebuilds the uniform table from the linked program's active uniforms (no locations yet).
    void InitializeUniforms();
    // Attaches every uniform of the table at once.
    void AttachUniforms();
    // The uniform when a transfer is to be made: null when there is nothing to do (no uniform, or
    // a type not among the accepted ones); throws when a suitable uniform has no location.
    GLSL::Uniform* Suitable(GLSL::Uniform* uniform, std::initializer_list<unsigned int> types) const;

    GLSL::Program program_;
    GLSL::Shader* shaders_[kMaxShaders];
    int shaderCount_;
    // The shaders of the last build, which Apply() takes up again after a Finalize().
    GLSL::Shader* built_[kMaxShaders];
    int builtCount_;
    std::unique_ptr<UniformTable> uniforms_;
    bool attachPending_;
};

} // namespace OGL_ZEP6_AE
