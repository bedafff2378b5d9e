#include "gl/render/GLSL.h"

#include "core/ErrorTextPrivate.h"
#include "core/Errors.h"
#include "core/TestCountersPrivate.h"
#include "gl/context/EntryPoints.h"
#include "gl/state/ProgramInUse.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace OGL_ZEP6_AE {
namespace GLSL {

namespace {

// Checks every entry point an operation may call, so that a missing one throws Unsupported
// before the operation has made any OpenGL call.
template <class... F> void RequireAll(F... entries) {
    (RequireEntry(entries), ...);
}

// The library's record of the current program (CurrentProgram).
int sCurrentProgram = 0;


// Largest shader file LoadFile reads.
constexpr std::size_t kMaxSourceBytes = 134217728;

} // namespace

// ---- Shader ----------------------------------------------------------------------------------

Shader::Shader(unsigned int type, const char* source)
    : type_(type), source_(source ? source : ""), shader_(0) {}

Shader::~Shader() {
    // No exception may leave a destructor; a missing entry point then leaks the name.
    try {
        Finalize();
    } catch (...) {
    }
}

bool Shader::LoadFile(const char* path) {
    std::FILE* file = path ? std::fopen(path, "r") : nullptr;
    if (!file)
        return false;
    std::string text;
    char chunk[65536];
    while (text.size() < kMaxSourceBytes) {
        const std::size_t wanted = std::min(sizeof chunk, kMaxSourceBytes - text.size());
        const std::size_t count = std::fread(chunk, 1, wanted, file);
        if (count == 0)
            break;
        text.append(chunk, count);
    }
    std::fclose(file);
    source_.swap(text);
    return !source_.empty();
}

// GL worker thread.
void Shader::Initialize() {
    if (shader_ != 0)
        return;
    RequireAll(GLEntry::glCreateShader, GLEntry::glShaderSource, GLEntry::glCompileShader,
               GLEntry::glGetShaderiv, GLEntry::glGetShaderInfoLog);
    shader_ = GLEntry::glCreateShader(type_);
    if (shader_ == 0)
        throw OpenGLError();
    Relist();
    const GLchar* text = source_.c_str();
    const GLint length = static_cast<GLint>(source_.size());
    GLEntry::glShaderSource(shader_, 1, &text, &length);
    GLEntry::glCompileShader(shader_);
    CheckStatus();
}

Shader::operator int() {
    Initialize();
    return static_cast<int>(shader_);
}

void Shader::CheckStatus() {
    GLint status = GL_FALSE;
    GLEntry::glGetShaderiv(shader_, GL_COMPILE_STATUS, &status);
    if (status != GL_FALSE)
        return;
    GLint length = 0;
    GLEntry::glGetShaderiv(shader_, GL_INFO_LOG_LENGTH, &length);
    if (length > 0) {
        std::vector<GLchar> log(static_cast<std::size_t>(length) + 1, '\0');
        GLsizei written = 0;
        GLEntry::glGetShaderInfoLog(shader_, length, &written, log.data());
        errorText_ = "GLSL Compile Error:\n";
        errorText_.append(log.data(), static_cast<std::size_t>(written > 0 ? written : 0));
    }
    throw Error(KeepErrorText(errorText_.c_str()));
}

void Shader::Finalize() {
    if (shader_ != 0) {
        const unsigned int name = shader_;
        shader_ = 0;
        ZEP6_GLCALL(glDeleteShader)(name);
    }
}

void Shader::Dump() const {}

// ---- CurrentProgram --------------------------------------------------------------------------

void CurrentProgram::Apply() const {
    ProgramInUse(static_cast<unsigned int>(program_)).Apply();
    sCurrentProgram = program_;
}

void CurrentProgram::Retrieve() {
    program_ = sCurrentProgram;
}

// ---- Program ---------------------------------------------------------------------------------

Program::~Program() {
    try {
        Finalize();
    } catch (...) {
    }
}

// GL worker thread.
void Program::Initialize() {
    if (program_ != 0)
        return;
    program_ = static_cast<int>(ZEP6_GLCALL(glCreateProgram)());
    if (program_ == 0)
        throw OpenGLError();
    Relist();
    relink_ = true;
}

void Program::Attach(Shader& shader) {
    RequireAll(GLEntry::glCreateProgram, GLEntry::glAttachShader, GLEntry::glCreateShader,
               GLEntry::glShaderSource, GLEntry::glCompileShader, GLEntry::glGetShaderiv,
               GLEntry::glGetShaderInfoLog);
    Initialize();
    shader.Initialize();
    GLEntry::glAttachShader(static_cast<GLuint>(program_), shader.Name());
    relink_ = true;
}

void Program::Detach(Shader& shader) {
    RequireAll(GLEntry::glDetachShader, GLEntry::glCreateShader, GLEntry::glShaderSource,
               GLEntry::glCompileShader, GLEntry::glGetShaderiv, GLEntry::glGetShaderInfoLog);
    shader.Initialize();
    GLEntry::glDetachShader(static_cast<GLuint>(program_), shader.Name());
    relink_ = true;
}

void Program::Apply() {
    RequireAll(GLEntry::glCreateProgram, GLEntry::glLinkProgram, GLEntry::glGetProgramiv,
               GLEntry::glGetProgramInfoLog, GLEntry::glUseProgram);
    Initialize();
    if (relink_ && program_ != 0)
        Link();
    ProgramInUse(static_cast<unsigned int>(program_)).Apply();
}

void Program::Link() {
    if (!relink_ || program_ == 0)
        return;
    ZEP6_GLCALL(glLinkProgram)(static_cast<GLuint>(program_));
    AddTestCount(TestCounter::Links);
    relink_ = false;
    CheckStatus();
}

void Program::CheckStatus() {
    GLint status = GL_FALSE;
    ZEP6_GLCALL(glGetProgramiv)(static_cast<GLuint>(program_), GL_LINK_STATUS, &status);
    if (status != GL_FALSE)
        return;
    GLint length = 0;
    GLEntry::glGetProgramiv(static_cast<GLuint>(program_), GL_INFO_LOG_LENGTH, &length);
    if (length > 0) {
        std::vector<GLchar> log(static_cast<std::size_t>(length) + 1, '\0');
        GLsizei written = 0;
        ZEP6_GLCALL(glGetProgramInfoLog)(static_cast<GLuint>(program_), length, &written, log.data());
        errorText_ = "GLSL Link Error:\n";
        errorText_.append(log.data(), static_cast<std::size_t>(written > 0 ? written : 0));
    }
    throw Error(KeepErrorText(errorText_.c_str()));
}

bool Program::IsCurrent() const {
    GLint current = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    return current != 0 && current == program_;
}

void Program::Retrieve() {
    GLint current = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    program_ = current;
}

void Program::UseProgram(int program) {
    ProgramInUse(static_cast<unsigned int>(program)).Apply();
}

void Program::Finalize() {
    relink_ = false;
    if (program_ != 0) {
        const GLuint name = static_cast<GLuint>(program_);
        program_ = 0;
        ZEP6_GLCALL(glDeleteProgram)(name);
    }
}

void Program::Dump() const {}

// ---- Uniform ---------------------------------------------------------------------------------

Uniform::Uniform(const char* name, unsigned int type) : name_(name ? name : ""), type_(type), location_(-1) {}

void Uniform::Attach(const Program& program) {
    Attach(program.Name());
}

void Uniform::Attach(int program) {
    if (program == 0)
        throw Error("No Program for Uniform Variable");
    if (location_ != -1)
        return;
    location_ = ZEP6_GLCALL(glGetUniformLocation)(static_cast<GLuint>(program), name_.c_str());
    AddTestCount(TestCounter::UniformLookups);
}

bool Uniform::Validate() const {
    if (location_ == -1)
        throw Error("No Location for Uniform Variable");
    return true;
}

} // namespace GLSL
} // namespace OGL_ZEP6_AE
