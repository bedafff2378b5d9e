#pragma once

// Thin wrappers of OpenGL Shading Language objects: a shader that keeps its source and compiles
// on first use, a program that links its shaders and makes itself current, the state object for
// the current program, and a uniform variable bound by name to its location.
//
// Every OpenGL entry point used here is fetched at run time (gl/context/EntryPoints.h). Each
// operation first checks every entry point it may call and throws Unsupported, before any
// OpenGL call, when one is missing. All operations run on the thread that has the context
// current (the GL worker thread, or a thread that selected the root context).

#include "Export.h"
#include "gl/resources/Resource.h"

#include <string>

namespace OGL_ZEP6_AE {

class EffectProgram;

namespace GLSL {

// One shader: its type (GL_VERTEX_SHADER or GL_FRAGMENT_SHADER) and source. The OpenGL object is
// made and compiled by the first Initialize(). A shader that failed to compile keeps its name, so
// it is neither compiled nor reported again.
class ZEP6_API Shader : public Resource {
public:
    // The source is copied. No OpenGL call is made: static shaders are built at load.
    Shader(unsigned int type, const char* source);
    // The OpenGL name belongs to exactly one object, so shaders are not copied.
    Shader(const Shader&) = delete;
    Shader& operator=(const Shader&) = delete;

    // Replaces the source by the whole text of the file (at most 128 MiB). True when any text was
    // read; false, with the source unchanged, when the file cannot be opened. An empty file
    // leaves the source empty.
    bool LoadFile(const char* path);

    // Creates and compiles the shader when it has no OpenGL name yet. A failed compilation throws
    // Error with "GLSL Compile Error:\n" followed by the driver's log, also kept in this object
    // (ErrorText()); the thrown text is a copy in the library's error-text buffer, so it outlives
    // the shader.
    void Initialize();
    // Initialize(), then the OpenGL name.
    operator int();

    // Deletes the OpenGL shader; the source stays, so the next Initialize() compiles again.
    void Finalize() override;
    ~Shader() override;
    void Dump() const override;

    unsigned int Type() const { return type_; }
    const char* Source() const { return source_.c_str(); }
    // The OpenGL name without creating it: 0 while not created.
    unsigned int Name() const { return shader_; }
    // The message of the last compile failure ("" when none).
    const char* ErrorText() const { return errorText_.c_str(); }

private:
    // Throws when the last compilation failed.
    void CheckStatus();

    unsigned int type_;
    std::string source_;
    unsigned int shader_;
    std::string errorText_;
};

// The current program as a state value: Apply() makes `program` current and records it as the
// library's current program (one process-wide value); Retrieve() reads that record back without
// asking OpenGL.
class ZEP6_API CurrentProgram {
public:
    CurrentProgram() : program_(0) {}
    explicit CurrentProgram(int program) : program_(program) {}

    void Apply() const;
    void Retrieve();

    // The program name (0: none).
    int Name() const { return program_; }

protected:
    int program_;
};

// A program object. Attaching or detaching a shader marks it for relinking; Apply() links it when
// marked and makes it current.
class ZEP6_API Program : public CurrentProgram, public Resource {
public:
    Program() : relink_(false) {}
    // The OpenGL name belongs to exactly one object, so programs are not copied.
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // Creates the program object when it has none (and marks it for linking).
    void Initialize();
    // Compiles the shader if needed and attaches it.
    void Attach(Shader& shader);
    void Detach(Shader& shader);
    // Links when marked (a failure throws Error with "GLSL Link Error:\n" and the log, and the
    // program is not made current), then makes the program current. Unlike CurrentProgram::Apply
    // it does not update the library's record of the current program.
    void Apply();

    // Whether OpenGL's current program is this one (and not 0).
    bool IsCurrent() const;
    // Takes OpenGL's current program as this object's name.
    void Retrieve();
    static void UseProgram(int program);

    // Deletes the program object; the object can be used again (a new program is made).
    void Finalize() override;
    ~Program() override;
    void Dump() const override;

    bool NeedsLink() const { return relink_; }
    const char* ErrorText() const { return errorText_.c_str(); }

private:
    void Link();
    void CheckStatus();

    bool relink_;
    std::string errorText_;
};

// A uniform variable of a program: name, type as glGetActiveUniform reports it, and location
// (-1 until attached).
class ZEP6_API Uniform {
public:
    Uniform(const char* name, unsigned int type);

    const char* Name() const { return name_.c_str(); }
    unsigned int Type() const { return type_; }
    operator int() const { return location_; }
    bool IsAttached() const { return location_ != -1; }

    // Looks the location up in the program, once: a uniform that already has a location keeps it.
    // A program without an OpenGL name throws Error "No Program for Uniform Variable".
    void Attach(const Program& program);
    void Attach(int program);

protected:
    friend class ::OGL_ZEP6_AE::EffectProgram;
    // True when the uniform has a location; throws Error "No Location for Uniform Variable"
    // otherwise.
    bool Validate() const;

private:
    std::string name_;
    unsigned int type_;
    int location_;
};

} // namespace GLSL
} // namespace OGL_ZEP6_AE
