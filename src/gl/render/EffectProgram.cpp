#include "gl/render/EffectProgram.h"

#include "core/Errors.h"
#include "core/TestCountersPrivate.h"
#include "gl/context/EntryPoints.h"
#include "gl/state/Color.h"
#include "gl/state/Texturing.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>

namespace OGL_ZEP6_AE {

namespace {

template <class... F> void RequireAll(F... entries) {
    (RequireEntry(entries), ...);
}

// The definitions every effect program links against. luma() uses the library's weights
// (0.30, 0.59, 0.11); blur() selects its samples by Rec. 601 luma.
const char* const kCommonSource = R"glsl(#extension GL_ARB_texture_rectangle : enable
uniform vec2 random;

float luma(vec4 pixel)
{
    return pixel.r * 0.30 + pixel.g * 0.59 + pixel.b * 0.11;
}

float saturation(vec4 pixel)
{
    return max(pixel.r, max(pixel.g, pixel.b)) - min(pixel.r, min(pixel.g, pixel.b));
}

float rand()
{
    return fract(sin(dot(gl_TexCoord[0].st, random)) * 43758.5453);
}

vec4 blur(sampler2DRect source, vec2 position, float threshold, float radius)
{
    vec4 result = vec4(0.0);
    float sum = 0.0;
    float radius4 = radius * radius * radius * radius;
    for (float y = -radius; y <= radius; y += 1.0) {
        for (float x = -radius; x <= radius; x += 1.0) {
            float weight = 1.0 - (x * x * y * y) / radius4;
            vec4 pixel = texture2DRect(source, position + vec2(x, y));
            if (dot(pixel.rgb, vec3(0.299, 0.587, 0.114)) >= threshold)
                result += pixel * weight;
            sum += weight;
        }
    }
    return result / sum;
}
)glsl";

const char* const kVertexSource = R"glsl(void main()
{
    gl_Position = ftransform();
}
)glsl";

const char* const kMultiTextureSource = R"glsl(void main()
{
    gl_TexCoord[0] = gl_TextureMatrix[0] * gl_MultiTexCoord0;
    gl_TexCoord[1] = gl_TextureMatrix[1] * gl_MultiTexCoord1;
    gl_TexCoord[2] = gl_TextureMatrix[2] * gl_MultiTexCoord2;
    gl_TexCoord[3] = gl_TextureMatrix[3] * gl_MultiTexCoord3;
    gl_Position = ftransform();
}
)glsl";

// Built at load, compiled on the first Apply() of any effect program.
GLSL::Shader sCommonFragment(GL_FRAGMENT_SHADER, kCommonSource);

// Size of the name buffer handed to glGetActiveUniform.
constexpr GLsizei kUniformNameSize = 128;

GLuint Location(const GLSL::Uniform* uniform) {
    return static_cast<GLuint>(static_cast<int>(*uniform));
}

} // namespace

GLSL::Shader EffectProgram::sVertexShader(GL_VERTEX_SHADER, kVertexSource);
GLSL::Shader EffectProgram::sMultiTexture(GL_VERTEX_SHADER, kMultiTextureSource);

EffectProgram::EffectProgram(GLSL::Shader* s1, GLSL::Shader* s2, GLSL::Shader* s3, GLSL::Shader* s4,
                             GLSL::Shader* s5)
    : shaders_{}, shaderCount_(0), built_{}, builtCount_(0), attachPending_(true) {
    AddShader(s1);
    AddShader(s2);
    AddShader(s3);
    AddShader(s4);
    AddShader(s5);
}

EffectProgram::~EffectProgram() {
    try {
        Finalize();
    } catch (...) {
    }
}

void EffectProgram::AddShader(GLSL::Shader* shader) {
    if (!shader || shaderCount_ >= kMaxShaders)
        return;
    shaders_[shaderCount_++] = shader;
}

// GL worker thread.
void EffectProgram::Apply() {
    RequireAll(GLEntry::glCreateShader, GLEntry::glShaderSource, GLEntry::glCompileShader,
               GLEntry::glGetShaderiv, GLEntry::glGetShaderInfoLog, GLEntry::glCreateProgram,
               GLEntry::glAttachShader, GLEntry::glLinkProgram, GLEntry::glGetProgramiv,
               GLEntry::glGetProgramInfoLog, GLEntry::glUseProgram, GLEntry::glGetActiveUniform);
    if (attachPending_) {
        // Finalized with nothing added since (a shutdown finalizes every resource): the shaders
        // of the last build come back, so the program links as it did before.
        if (shaderCount_ == 0) {
            std::copy(built_, built_ + builtCount_, shaders_);
            shaderCount_ = builtCount_;
        }
        // Attaching starts a new link: at the next shutdown this program must be finalised as a
        // whole (its uniform table and attachments too), also after an earlier shutdown.
        Relist();
        // Every shader is compiled before any is attached: a compile failure then leaves nothing
        // attached, and the next Apply() attaches each shader exactly once (the failed one is not
        // compiled again, so the link reports it).
        for (int i = 0; i < shaderCount_; ++i)
            shaders_[i]->Initialize();
        sCommonFragment.Initialize();
        for (int i = 0; i < shaderCount_; ++i)
            program_.Attach(*shaders_[i]);
        program_.Attach(sCommonFragment);
        std::copy(shaders_, shaders_ + shaderCount_, built_);
        builtCount_ = shaderCount_;
        attachPending_ = false;
    }
    program_.Apply();
    if (!uniforms_)
        InitializeUniforms();
}

void EffectProgram::InitializeUniforms() {
    AddTestCount(TestCounter::UniformDiscoveries);
    uniforms_.reset();
    const GLuint program = static_cast<GLuint>(program_.Name());
    GLint count = 0;
    ZEP6_GLCALL(glGetProgramiv)(program, GL_ACTIVE_UNIFORMS, &count);
    for (GLint index = 0; index < count; ++index) {
        GLchar name[kUniformNameSize] = {};
        GLsizei length = 0;
        GLint size = 0;
        GLenum type = 0;
        ZEP6_GLCALL(glGetActiveUniform)
        (program, static_cast<GLuint>(index), kUniformNameSize, &length, &size, &type, name);
        if (!uniforms_)
            uniforms_ = std::make_unique<UniformTable>();
        (*uniforms_)[name] = std::make_unique<GLSL::Uniform>(name, type);
    }
}

void EffectProgram::AttachUniforms() {
    if (!uniforms_)
        return;
    for (auto& entry : *uniforms_)
        entry.second->Attach(program_);
}

bool EffectProgram::HasUniform(const char* name) const {
    return name && uniforms_ && uniforms_->find(name) != uniforms_->end();
}

GLSL::Uniform* EffectProgram::GetUniform(const char* name) {
    if (!name || !uniforms_)
        return nullptr;
    const auto found = uniforms_->find(name);
    if (found == uniforms_->end())
        return nullptr;
    GLSL::Uniform* uniform = found->second.get();
    if (!uniform->IsAttached())
        uniform->Attach(program_);
    return uniform;
}

void EffectProgram::Finalize() {
    program_.Finalize();
    // A program built before gets the shaders of that build back at its next Apply(); one never
    // built keeps the shaders it was given (a shutdown finalizes every program, used or not).
    if (builtCount_ > 0)
        shaderCount_ = 0;
    uniforms_.reset();
    attachPending_ = true;
}

void EffectProgram::Dump() const {}

// GL worker thread.
void EffectProgram::DrawRegion(const Region& region, unsigned int lastUnit) {
    const bool multi = lastUnit >= GL_TEXTURE0;
    if (multi)
        RequireEntry(GLEntry::glMultiTexCoord2fv);
    const float x0 = static_cast<float>(region.x);
    const float y0 = static_cast<float>(region.y);
    const float x1 = static_cast<float>(region.x + static_cast<int>(region.width));
    const float y1 = static_cast<float>(region.y + static_cast<int>(region.height));
    const float corners[4][4] = {
        {x0, y0, 0.0f, 0.0f},
        {x1, y0, 1.0f, 0.0f},
        {x0, y1, 0.0f, 1.0f},
        {x1, y1, 1.0f, 1.0f},
    };
    glBegin(GL_TRIANGLE_STRIP);
    glNormal3f(0.0f, 0.0f, 1.0f);
    for (const auto& corner : corners) {
        const float* coordinate = corner + 2;
        glTexCoord2fv(coordinate);
        if (multi)
            for (unsigned int unit = GL_TEXTURE0; unit <= lastUnit; ++unit)
                GLEntry::glMultiTexCoord2fv(unit, coordinate);
        glVertex2fv(corner);
    }
    glEnd();
}

// ---- Typed uniform transfer (the table is in EffectProgram.h) -------------------------------

GLSL::Uniform* EffectProgram::Suitable(GLSL::Uniform* uniform,
                                       std::initializer_list<unsigned int> types) const {
    if (!uniform)
        return nullptr;
    for (unsigned int type : types)
        if (uniform->Type() == type) {
            uniform->Validate();
            return uniform;
        }
    return nullptr;
}

namespace {

template <class I> void SetIntegral(const GLSL::Uniform* u, I value) {
    if (u->Type() == GL_FLOAT)
        ZEP6_GLCALL(glUniform1f)(static_cast<GLint>(Location(u)), static_cast<float>(value));
    else
        ZEP6_GLCALL(glUniform1i)(static_cast<GLint>(Location(u)), static_cast<GLint>(value));
}

template <class F> void SetFloating(const GLSL::Uniform* u, F value) {
    if (u->Type() == GL_INT)
        ZEP6_GLCALL(glUniform1i)(static_cast<GLint>(Location(u)), static_cast<GLint>(value));
    else
        ZEP6_GLCALL(glUniform1f)(static_cast<GLint>(Location(u)), static_cast<float>(value));
}

// Sets a float vector uniform of 2, 3 or 4 components from four values.
void SetVector(const GLSL::Uniform* u, const float (&v)[4]) {
    const GLint location = static_cast<GLint>(Location(u));
    switch (u->Type()) {
    case GL_FLOAT_VEC2:
        ZEP6_GLCALL(glUniform2fv)(location, 1, v);
        break;
    case GL_FLOAT_VEC3:
        ZEP6_GLCALL(glUniform3fv)(location, 1, v);
        break;
    default:
        ZEP6_GLCALL(glUniform4fv)(location, 1, v);
        break;
    }
}

void ReadFloats(int program, const GLSL::Uniform* u, float* out) {
    ZEP6_GLCALL(glGetUniformfv)(static_cast<GLuint>(program), static_cast<GLint>(Location(u)), out);
}

void ReadInts(int program, const GLSL::Uniform* u, GLint* out) {
    ZEP6_GLCALL(glGetUniformiv)(static_cast<GLuint>(program), static_cast<GLint>(Location(u)), out);
}

} // namespace

void EffectProgram::SetUniform(GLSL::Uniform* uniform, unsigned char value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT, GL_BOOL, GL_FLOAT}))
        SetIntegral(u, value);
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, int value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT, GL_BOOL, GL_FLOAT}))
        SetIntegral(u, value);
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, unsigned int value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT, GL_BOOL, GL_FLOAT}))
        SetIntegral(u, value);
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, float value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT, GL_FLOAT}))
        SetFloating(u, value);
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, double value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT, GL_FLOAT}))
        SetFloating(u, value);
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, const Color& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_VEC3, GL_FLOAT_VEC4})) {
        const float v[4] = {value.red, value.green, value.blue, value.alpha};
        SetVector(u, v);
    }
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, const p2f& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_VEC2, GL_FLOAT_VEC3, GL_FLOAT_VEC4})) {
        const float v[4] = {value.x, value.y, 0.0f, 1.0f};
        SetVector(u, v);
    }
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, const p3f& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_VEC2, GL_FLOAT_VEC3, GL_FLOAT_VEC4})) {
        const float v[4] = {value.x, value.y, value.z, 1.0f};
        SetVector(u, v);
    }
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, const p4f& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_VEC2, GL_FLOAT_VEC3, GL_FLOAT_VEC4})) {
        if (u->Type() == GL_FLOAT_VEC4) {
            const float v[4] = {value.x, value.y, value.z, value.w};
            SetVector(u, v);
        } else {
            const float v[4] = {value.x / value.w, value.y / value.w, value.z / value.w, 1.0f};
            SetVector(u, v);
        }
    }
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, const vec<int, 2>& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT_VEC2}))
        ZEP6_GLCALL(glUniform2iv)(static_cast<GLint>(Location(u)), 1, value.v);
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, const vec<int, 3>& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT_VEC3}))
        ZEP6_GLCALL(glUniform3iv)(static_cast<GLint>(Location(u)), 1, value.v);
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, const vec<int, 4>& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT_VEC4}))
        ZEP6_GLCALL(glUniform4iv)(static_cast<GLint>(Location(u)), 1, value.v);
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, const mat<float, 2>& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_MAT2}))
        ZEP6_GLCALL(glUniformMatrix2fv)(static_cast<GLint>(Location(u)), 1, GL_FALSE, value.v);
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, const mat<float, 3>& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_MAT3}))
        ZEP6_GLCALL(glUniformMatrix3fv)(static_cast<GLint>(Location(u)), 1, GL_FALSE, value.v);
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, const mat<float, 4>& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_MAT4}))
        ZEP6_GLCALL(glUniformMatrix4fv)(static_cast<GLint>(Location(u)), 1, GL_FALSE, value.v);
}

void EffectProgram::SetUniform(GLSL::Uniform* uniform, const TextureUnit& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_SAMPLER_2D, GL_SAMPLER_2D_RECT_ARB})) {
        RequireEntry(GLEntry::glUniform1i);
        value.Apply();
        GLEntry::glUniform1i(static_cast<GLint>(Location(u)), static_cast<GLint>(value.unit - GL_TEXTURE0));
    }
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, unsigned char& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT, GL_BOOL, GL_FLOAT})) {
        GLint v = 0;
        ReadInts(program_.Name(), u, &v);
        value = static_cast<unsigned char>(v);
    }
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, int& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT, GL_BOOL, GL_FLOAT})) {
        GLint v = 0;
        ReadInts(program_.Name(), u, &v);
        value = v;
    }
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, unsigned int& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT, GL_BOOL, GL_FLOAT})) {
        GLint v = 0;
        ReadInts(program_.Name(), u, &v);
        value = static_cast<unsigned int>(v);
    }
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, float& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT, GL_FLOAT}))
        ReadFloats(program_.Name(), u, &value);
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, double& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT, GL_FLOAT})) {
        float v = 0.0f;
        ReadFloats(program_.Name(), u, &v);
        value = v;
    }
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, Color& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_VEC3, GL_FLOAT_VEC4})) {
        float v[4] = {value.red, value.green, value.blue, value.alpha};
        ReadFloats(program_.Name(), u, v);
        value = Color(v[0], v[1], v[2], v[3]);
    }
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, p2f& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_VEC2, GL_FLOAT_VEC3, GL_FLOAT_VEC4})) {
        float v[4] = {0.0f, 0.0f, 0.0f, 1.0f};
        ReadFloats(program_.Name(), u, v);
        if (u->Type() == GL_FLOAT_VEC4)
            value = p2f(v[0] / v[3], v[1] / v[3]);
        else
            value = p2f(v[0], v[1]);
    }
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, p3f& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_VEC2, GL_FLOAT_VEC3, GL_FLOAT_VEC4})) {
        float v[4] = {0.0f, 0.0f, 0.0f, 1.0f};
        ReadFloats(program_.Name(), u, v);
        if (u->Type() == GL_FLOAT_VEC4)
            value = p3f(p4f(v[0], v[1], v[2], v[3])); // x, y, z as read, tag -1
        else
            value = p3f(v[0], v[1], u->Type() == GL_FLOAT_VEC2 ? 0.0f : v[2]);
    }
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, p4f& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_VEC2, GL_FLOAT_VEC3, GL_FLOAT_VEC4})) {
        float v[4] = {0.0f, 0.0f, 0.0f, 1.0f};
        ReadFloats(program_.Name(), u, v);
        value = p4f(v[0], v[1], v[2], v[3]);
    }
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, vec<int, 2>& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT_VEC2}))
        ReadInts(program_.Name(), u, value.v);
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, vec<int, 3>& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT_VEC3}))
        ReadInts(program_.Name(), u, value.v);
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, vec<int, 4>& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_INT_VEC4}))
        ReadInts(program_.Name(), u, value.v);
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, mat<float, 2>& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_MAT2}))
        ReadFloats(program_.Name(), u, value.v);
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, mat<float, 3>& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_MAT3}))
        ReadFloats(program_.Name(), u, value.v);
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, mat<float, 4>& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_FLOAT_MAT4}))
        ReadFloats(program_.Name(), u, value.v);
}

void EffectProgram::GetUniform(GLSL::Uniform* uniform, TextureUnit& value) {
    if (GLSL::Uniform* u = Suitable(uniform, {GL_SAMPLER_2D, GL_SAMPLER_2D_RECT_ARB})) {
        GLint v = 0;
        ReadInts(program_.Name(), u, &v);
        value.unit = GL_TEXTURE0 + static_cast<unsigned int>(v);
    }
}

} // namespace OGL_ZEP6_AE
