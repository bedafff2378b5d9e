#pragma once

// The save-and-restore contract, checked: a snapshot of the context state the library may touch,
// read with plain OpenGL, and sentinel objects with a way to set every part of the snapshot away
// from the library's defaults. Differences are named part by part.

#include "gl/context/EntryPoints.h"
#include "gl/state/Color.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace zep6test {

// The OpenGL errors pending, as "code code ", empty when there are none (and none afterwards).
inline std::string ErrorsLeft() {
    std::string errors;
    for (GLenum e = glGetError(); e != GL_NO_ERROR; e = glGetError())
        errors += std::to_string(e) + " ";
    return errors;
}

// One integer of the context's state.
inline GLint Integer(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

// A texture name made known to OpenGL by binding it once to `target`.
inline GLuint MakeTexture(GLenum target) {
    GLuint name = 0;
    glGenTextures(1, &name);
    glBindTexture(target, name);
    glBindTexture(target, 0);
    return name;
}

// The parts of a context that the library changes, by name (per-unit parts hold units 0 and 1 in
// turn), plus the library's mirror of the current colour.
struct Snapshot {
    std::map<std::string, std::vector<double>> parts;

    static Snapshot Take() {
        struct Part {
            const char* name;
            GLenum query; // for glGetDoublev, which also answers for the switches
            int count;
        };
        // clang-format off
        static const Part kContext[] = {
            {"blend", GL_BLEND, 1}, {"blendSrc", GL_BLEND_SRC_RGB, 1}, {"blendDst", GL_BLEND_DST_RGB, 1},
            {"blendSrcAlpha", GL_BLEND_SRC_ALPHA, 1}, {"blendDstAlpha", GL_BLEND_DST_ALPHA, 1},
            {"blendEquation", GL_BLEND_EQUATION_RGB, 1}, {"blendEquationAlpha", GL_BLEND_EQUATION_ALPHA, 1},
            {"blendColor", GL_BLEND_COLOR, 4}, {"depthTest", GL_DEPTH_TEST, 1}, {"depthFunc", GL_DEPTH_FUNC, 1},
            {"depthMask", GL_DEPTH_WRITEMASK, 1}, {"colorMask", GL_COLOR_WRITEMASK, 4},
            {"viewport", GL_VIEWPORT, 4}, {"scissorTest", GL_SCISSOR_TEST, 1}, {"scissorBox", GL_SCISSOR_BOX, 4},
            {"matrixMode", GL_MATRIX_MODE, 1}, {"clearColor", GL_COLOR_CLEAR_VALUE, 4},
            {"currentColor", GL_CURRENT_COLOR, 4}, {"rasterPosition", GL_CURRENT_RASTER_POSITION, 4},
            {"model", GL_MODELVIEW_MATRIX, 16}, {"projection", GL_PROJECTION_MATRIX, 16},
            {"modelDepth", GL_MODELVIEW_STACK_DEPTH, 1}, {"projectionDepth", GL_PROJECTION_STACK_DEPTH, 1},
            {"activeTexture", GL_ACTIVE_TEXTURE, 1}, {"clientActiveTexture", GL_CLIENT_ACTIVE_TEXTURE, 1},
            {"frameBuffer", GL_FRAMEBUFFER_BINDING, 1}, {"program", GL_CURRENT_PROGRAM, 1},
            {"packAlignment", GL_PACK_ALIGNMENT, 1}, {"packRowLength", GL_PACK_ROW_LENGTH, 1},
            {"unpackAlignment", GL_UNPACK_ALIGNMENT, 1}, {"unpackRowLength", GL_UNPACK_ROW_LENGTH, 1},
            {"attribDepth", GL_ATTRIB_STACK_DEPTH, 1},
            {"clientAttribDepth", GL_CLIENT_ATTRIB_STACK_DEPTH, 1}};
        static const Part kUnit[] = {{"enable2D", GL_TEXTURE_2D, 1}, {"enableRect", GL_TEXTURE_RECTANGLE, 1},
            {"binding2D", GL_TEXTURE_BINDING_2D, 1}, {"bindingRect", GL_TEXTURE_BINDING_RECTANGLE, 1},
            {"textureDepth", GL_TEXTURE_STACK_DEPTH, 1}};
        // clang-format on
        Snapshot s;
        auto read = [&s](const std::string& name, GLenum query, int count) {
            GLdouble v[16] = {};
            glGetDoublev(query, v);
            s.parts[name].insert(s.parts[name].end(), v, v + count);
        };
        for (const Part& p : kContext)
            read(p.name, p.query, p.count);
        for (int i = 0; i < 2; ++i) {
            OGL_ZEP6_AE::GLEntry::glActiveTexture(GL_TEXTURE0 + i);
            for (const Part& p : kUnit)
                read(p.name, p.query, p.count);
            read("textureMatrix" + std::to_string(i), GL_TEXTURE_MATRIX, 16);
            GLint envMode = 0;
            glGetTexEnviv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, &envMode);
            s.parts["envMode"].push_back(envMode);
        }
        OGL_ZEP6_AE::GLEntry::glActiveTexture(static_cast<GLenum>(s.parts["activeTexture"][0]));
        const float* mirror = OGL_ZEP6_AE::Color::sCurrentColor;
        s.parts["colorMirror"].assign(mirror, mirror + 4);
        return s;
    }

    // The values that differ from `o`, as "part[index] this vs o; ", empty when none do. Both
    // attribute stacks must be `levels` deeper here than in `o`.
    std::string DifferencesFrom(Snapshot o, int levels = 0) const {
        if (parts.empty() || parts.size() != o.parts.size())
            return "a snapshot was not taken";
        o.parts.at("attribDepth").at(0) += levels;
        o.parts.at("clientAttribDepth").at(0) += levels;
        std::ostringstream out;
        for (const auto& [part, values] : parts)
            for (std::size_t i = 0; i < values.size(); ++i)
                if (values[i] != o.parts.at(part).at(i))
                    out << part << "[" << i << "] " << values[i] << " vs " << o.parts.at(part)[i] << "; ";
        return out.str();
    }
};

// Objects to bind: two textures per unit, a framebuffer complete with a 64 x 64 colour texture
// (so that operations can draw with it bound) and a linked program.
struct Sentinels {
    GLuint tex2D[2] = {}, texRect[2] = {}, frameBuffer = 0, colour = 0, program = 0;

    void Create() {
        namespace GLEntry = OGL_ZEP6_AE::GLEntry;
        for (int i = 0; i < 2; ++i) {
            tex2D[i] = MakeTexture(GL_TEXTURE_2D);
            texRect[i] = MakeTexture(GL_TEXTURE_RECTANGLE);
        }
        GLint bound = 0;
        glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
        glGenTextures(1, &colour);
        glBindTexture(GL_TEXTURE_2D, colour);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 64, 64, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(bound));
        GLint previous = 0;
        glGetIntegerv(GL_FRAMEBUFFER_BINDING, &previous);
        ZEP6_GLCALL(glGenFramebuffersEXT)(1, &frameBuffer);
        GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER, frameBuffer);
        ZEP6_GLCALL(glFramebufferTexture2DEXT)
        (GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, colour, 0);
        GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER, static_cast<GLuint>(previous));
        const char* vs = "void main() { gl_Position = ftransform(); }";
        const char* fs = "void main() { gl_FragColor = vec4(1.0); }";
        program = ZEP6_GLCALL(glCreateProgram)();
        for (const auto& [type, text] : {std::pair<GLenum, const char*>{GL_VERTEX_SHADER, vs},
                                         std::pair<GLenum, const char*>{GL_FRAGMENT_SHADER, fs}}) {
            const GLuint shader = ZEP6_GLCALL(glCreateShader)(type);
            ZEP6_GLCALL(glShaderSource)(shader, 1, &text, nullptr);
            ZEP6_GLCALL(glCompileShader)(shader);
            ZEP6_GLCALL(glAttachShader)(program, shader);
            ZEP6_GLCALL(glDeleteShader)(shader);
        }
        ZEP6_GLCALL(glLinkProgram)(program);
    }

    void Destroy() {
        glDeleteTextures(2, tex2D);
        glDeleteTextures(2, texRect);
        ZEP6_GLCALL(glDeleteFramebuffersEXT)(1, &frameBuffer);
        glDeleteTextures(1, &colour);
        ZEP6_GLCALL(glDeleteProgram)(program);
    }

    // Changes every part of the snapshot to recognisable values, with plain OpenGL calls (the
    // current colour through the library, so that its mirror agrees).
    void Damage(double seed) const {
        namespace GLEntry = OGL_ZEP6_AE::GLEntry;
        glDisable(GL_BLEND); // on in the default state
        GLEntry::glBlendFuncSeparate(GL_DST_COLOR, GL_ONE_MINUS_DST_ALPHA, GL_SRC_ALPHA_SATURATE, GL_ONE);
        GLEntry::glBlendEquationSeparate(GL_MAX, GL_FUNC_SUBTRACT);
        GLEntry::glBlendColor(0.125f, 0.25f, 0.375f, 0.5f);
        glEnable(GL_DEPTH_TEST);
        glDepthFunc(GL_GEQUAL);
        glDepthMask(GL_FALSE);
        glColorMask(GL_TRUE, GL_FALSE, GL_TRUE, GL_TRUE);
        glViewport(1, 2, 3, 4);
        glEnable(GL_SCISSOR_TEST);
        glScissor(2, 3, 5, 7);
        glClearColor(0.5f, 0.25f, 0.125f, 1.0f);
        OGL_ZEP6_AE::Color(0.75f, 0.5f, 0.25f, 0.125f).Apply();
        glRasterPos2d(0.25, 0.5);
        glPixelStorei(GL_PACK_ALIGNMENT, 2);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 2);
        glPixelStorei(GL_PACK_ROW_LENGTH, 3);
        glPixelStorei(GL_UNPACK_ROW_LENGTH, 5);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glOrtho(0, 7, 0, 9, -seed, seed);
        glMatrixMode(GL_MODELVIEW);
        glTranslated(seed, 2 * seed, 3);
        for (int i = 0; i < 2; ++i) {
            GLEntry::glActiveTexture(GL_TEXTURE0 + i);
            glEnable(GL_TEXTURE_2D);
            glEnable(GL_TEXTURE_RECTANGLE);
            glBindTexture(GL_TEXTURE_2D, tex2D[i]);
            glBindTexture(GL_TEXTURE_RECTANGLE, texRect[i]);
            glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, i == 0 ? GL_REPLACE : GL_DECAL);
            glMatrixMode(GL_TEXTURE);
            glScaled(seed + i, 2, 1);
        }
        GLEntry::glClientActiveTexture(GL_TEXTURE1);
        glMatrixMode(GL_TEXTURE);
        GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER, frameBuffer);
        GLEntry::glUseProgram(program);
    }
};

} // namespace zep6test
