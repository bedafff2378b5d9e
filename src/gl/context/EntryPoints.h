#pragma once

// The OpenGL entry points beyond version 1.1 that the library and its plug-ins call through
// pointers fetched from the driver at run time, and the one way to call them.
//
// LoadEntryPoints() fetches every name of the table once per process, in the first root context
// (RootContext calls it right after creating its context). A name the driver does not offer stays
// null for the life of the process; that is not an error until someone calls it:
//
//     ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER_EXT, framebuffer);
//
// throws Unsupported instead of calling through a null pointer. The pointers live in the nested
// namespace GLEntry, so that a plug-in that includes <GL/gl.h> and <GL/glext.h> (possibly with
// prototypes) and opens OGL_ZEP6_AE sees no clash with the system declarations.

#include "Export.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace OGL_ZEP6_AE {

// The type of the window-system entry points that have no counterpart here: the pbuffer,
// pixel-format and render-texture functions of WGL. They keep their place in the table and their
// variables, which stay null (they were never called by the library itself).
using GenericProc = void (*)();

// The entry-point table, in loading order: X(name, pointer type) for an OpenGL function,
// W(name) for a window-system function that is never looked up. The types are those of
// <GL/glext.h>; where Mesa's <GL/gl.h> already declares a function (and so glext.h leaves out its
// pointer type) the type is taken from that declaration.
// clang-format off
#define ZEP6_ENTRY_POINTS(X, W) \
    /* OpenGL 1.2 */ \
    X(glBlendColor, PFNGLBLENDCOLORPROC) \
    X(glBlendEquation, PFNGLBLENDEQUATIONPROC) \
    X(glDrawRangeElements, PFNGLDRAWRANGEELEMENTSPROC) \
    /* Imaging subset */ \
    X(glColorTable, decltype(&::glColorTable)) \
    X(glColorTableParameterfv, decltype(&::glColorTableParameterfv)) \
    X(glColorTableParameteriv, decltype(&::glColorTableParameteriv)) \
    X(glCopyColorTable, decltype(&::glCopyColorTable)) \
    X(glGetColorTable, decltype(&::glGetColorTable)) \
    X(glGetColorTableParameterfv, decltype(&::glGetColorTableParameterfv)) \
    X(glGetColorTableParameteriv, decltype(&::glGetColorTableParameteriv)) \
    X(glColorSubTable, decltype(&::glColorSubTable)) \
    X(glCopyColorSubTable, decltype(&::glCopyColorSubTable)) \
    X(glConvolutionFilter1D, decltype(&::glConvolutionFilter1D)) \
    X(glConvolutionFilter2D, decltype(&::glConvolutionFilter2D)) \
    X(glConvolutionParameterf, decltype(&::glConvolutionParameterf)) \
    X(glConvolutionParameterfv, decltype(&::glConvolutionParameterfv)) \
    X(glConvolutionParameteri, decltype(&::glConvolutionParameteri)) \
    X(glConvolutionParameteriv, decltype(&::glConvolutionParameteriv)) \
    X(glCopyConvolutionFilter1D, decltype(&::glCopyConvolutionFilter1D)) \
    X(glCopyConvolutionFilter2D, decltype(&::glCopyConvolutionFilter2D)) \
    X(glGetConvolutionFilter, decltype(&::glGetConvolutionFilter)) \
    X(glGetConvolutionParameterfv, decltype(&::glGetConvolutionParameterfv)) \
    X(glGetConvolutionParameteriv, decltype(&::glGetConvolutionParameteriv)) \
    X(glGetSeparableFilter, decltype(&::glGetSeparableFilter)) \
    X(glSeparableFilter2D, decltype(&::glSeparableFilter2D)) \
    X(glGetHistogram, decltype(&::glGetHistogram)) \
    X(glGetHistogramParameterfv, decltype(&::glGetHistogramParameterfv)) \
    X(glGetHistogramParameteriv, decltype(&::glGetHistogramParameteriv)) \
    X(glGetMinmax, decltype(&::glGetMinmax)) \
    X(glGetMinmaxParameterfv, decltype(&::glGetMinmaxParameterfv)) \
    X(glGetMinmaxParameteriv, decltype(&::glGetMinmaxParameteriv)) \
    X(glHistogram, decltype(&::glHistogram)) \
    X(glMinmax, decltype(&::glMinmax)) \
    X(glResetHistogram, decltype(&::glResetHistogram)) \
    X(glResetMinmax, decltype(&::glResetMinmax)) \
    /* 3D textures */ \
    X(glTexImage3D, PFNGLTEXIMAGE3DPROC) \
    X(glTexSubImage3D, PFNGLTEXSUBIMAGE3DPROC) \
    X(glCopyTexSubImage3D, PFNGLCOPYTEXSUBIMAGE3DPROC) \
    /* Multitexture */ \
    X(glActiveTexture, PFNGLACTIVETEXTUREPROC) \
    X(glClientActiveTexture, decltype(&::glClientActiveTexture)) \
    X(glMultiTexCoord1d, decltype(&::glMultiTexCoord1d)) \
    X(glMultiTexCoord1dv, decltype(&::glMultiTexCoord1dv)) \
    X(glMultiTexCoord1f, decltype(&::glMultiTexCoord1f)) \
    X(glMultiTexCoord1fv, decltype(&::glMultiTexCoord1fv)) \
    X(glMultiTexCoord1i, decltype(&::glMultiTexCoord1i)) \
    X(glMultiTexCoord1iv, decltype(&::glMultiTexCoord1iv)) \
    X(glMultiTexCoord1s, decltype(&::glMultiTexCoord1s)) \
    X(glMultiTexCoord1sv, decltype(&::glMultiTexCoord1sv)) \
    X(glMultiTexCoord2d, decltype(&::glMultiTexCoord2d)) \
    X(glMultiTexCoord2dv, decltype(&::glMultiTexCoord2dv)) \
    X(glMultiTexCoord2f, decltype(&::glMultiTexCoord2f)) \
    X(glMultiTexCoord2fv, decltype(&::glMultiTexCoord2fv)) \
    X(glMultiTexCoord2i, decltype(&::glMultiTexCoord2i)) \
    X(glMultiTexCoord2iv, decltype(&::glMultiTexCoord2iv)) \
    X(glMultiTexCoord2s, decltype(&::glMultiTexCoord2s)) \
    X(glMultiTexCoord2sv, decltype(&::glMultiTexCoord2sv)) \
    X(glMultiTexCoord3d, decltype(&::glMultiTexCoord3d)) \
    X(glMultiTexCoord3dv, decltype(&::glMultiTexCoord3dv)) \
    X(glMultiTexCoord3f, decltype(&::glMultiTexCoord3f)) \
    X(glMultiTexCoord3fv, decltype(&::glMultiTexCoord3fv)) \
    X(glMultiTexCoord3i, decltype(&::glMultiTexCoord3i)) \
    X(glMultiTexCoord3iv, decltype(&::glMultiTexCoord3iv)) \
    X(glMultiTexCoord3s, decltype(&::glMultiTexCoord3s)) \
    X(glMultiTexCoord3sv, decltype(&::glMultiTexCoord3sv)) \
    X(glMultiTexCoord4d, decltype(&::glMultiTexCoord4d)) \
    X(glMultiTexCoord4dv, decltype(&::glMultiTexCoord4dv)) \
    X(glMultiTexCoord4f, decltype(&::glMultiTexCoord4f)) \
    X(glMultiTexCoord4fv, decltype(&::glMultiTexCoord4fv)) \
    X(glMultiTexCoord4i, decltype(&::glMultiTexCoord4i)) \
    X(glMultiTexCoord4iv, decltype(&::glMultiTexCoord4iv)) \
    X(glMultiTexCoord4s, decltype(&::glMultiTexCoord4s)) \
    X(glMultiTexCoord4sv, decltype(&::glMultiTexCoord4sv)) \
    X(glLoadTransposeMatrixf, decltype(&::glLoadTransposeMatrixf)) \
    X(glLoadTransposeMatrixd, decltype(&::glLoadTransposeMatrixd)) \
    X(glMultTransposeMatrixf, decltype(&::glMultTransposeMatrixf)) \
    X(glMultTransposeMatrixd, decltype(&::glMultTransposeMatrixd)) \
    /* OpenGL 1.3 rest */ \
    X(glSampleCoverage, PFNGLSAMPLECOVERAGEPROC) \
    X(glCompressedTexImage3D, PFNGLCOMPRESSEDTEXIMAGE3DPROC) \
    X(glCompressedTexImage2D, PFNGLCOMPRESSEDTEXIMAGE2DPROC) \
    X(glCompressedTexImage1D, PFNGLCOMPRESSEDTEXIMAGE1DPROC) \
    X(glCompressedTexSubImage3D, PFNGLCOMPRESSEDTEXSUBIMAGE3DPROC) \
    X(glCompressedTexSubImage2D, PFNGLCOMPRESSEDTEXSUBIMAGE2DPROC) \
    X(glCompressedTexSubImage1D, PFNGLCOMPRESSEDTEXSUBIMAGE1DPROC) \
    X(glGetCompressedTexImage, PFNGLGETCOMPRESSEDTEXIMAGEPROC) \
    /* OpenGL 1.4 */ \
    X(glBlendFuncSeparate, PFNGLBLENDFUNCSEPARATEPROC) \
    X(glFogCoordf, PFNGLFOGCOORDFPROC) \
    X(glFogCoordfv, PFNGLFOGCOORDFVPROC) \
    X(glFogCoordd, PFNGLFOGCOORDDPROC) \
    X(glFogCoorddv, PFNGLFOGCOORDDVPROC) \
    X(glFogCoordPointer, PFNGLFOGCOORDPOINTERPROC) \
    X(glMultiDrawArrays, PFNGLMULTIDRAWARRAYSPROC) \
    X(glMultiDrawElements, PFNGLMULTIDRAWELEMENTSPROC) \
    X(glPointParameterf, PFNGLPOINTPARAMETERFPROC) \
    X(glPointParameterfv, PFNGLPOINTPARAMETERFVPROC) \
    X(glPointParameteri, PFNGLPOINTPARAMETERIPROC) \
    X(glPointParameteriv, PFNGLPOINTPARAMETERIVPROC) \
    X(glSecondaryColor3b, PFNGLSECONDARYCOLOR3BPROC) \
    X(glSecondaryColor3bv, PFNGLSECONDARYCOLOR3BVPROC) \
    X(glSecondaryColor3d, PFNGLSECONDARYCOLOR3DPROC) \
    X(glSecondaryColor3dv, PFNGLSECONDARYCOLOR3DVPROC) \
    X(glSecondaryColor3f, PFNGLSECONDARYCOLOR3FPROC) \
    X(glSecondaryColor3fv, PFNGLSECONDARYCOLOR3FVPROC) \
    X(glSecondaryColor3i, PFNGLSECONDARYCOLOR3IPROC) \
    X(glSecondaryColor3iv, PFNGLSECONDARYCOLOR3IVPROC) \
    X(glSecondaryColor3s, PFNGLSECONDARYCOLOR3SPROC) \
    X(glSecondaryColor3sv, PFNGLSECONDARYCOLOR3SVPROC) \
    X(glSecondaryColor3ub, PFNGLSECONDARYCOLOR3UBPROC) \
    X(glSecondaryColor3ubv, PFNGLSECONDARYCOLOR3UBVPROC) \
    X(glSecondaryColor3ui, PFNGLSECONDARYCOLOR3UIPROC) \
    X(glSecondaryColor3uiv, PFNGLSECONDARYCOLOR3UIVPROC) \
    X(glSecondaryColor3us, PFNGLSECONDARYCOLOR3USPROC) \
    X(glSecondaryColor3usv, PFNGLSECONDARYCOLOR3USVPROC) \
    X(glSecondaryColorPointer, PFNGLSECONDARYCOLORPOINTERPROC) \
    X(glWindowPos2d, PFNGLWINDOWPOS2DPROC) \
    X(glWindowPos2dv, PFNGLWINDOWPOS2DVPROC) \
    X(glWindowPos2f, PFNGLWINDOWPOS2FPROC) \
    X(glWindowPos2fv, PFNGLWINDOWPOS2FVPROC) \
    X(glWindowPos2i, PFNGLWINDOWPOS2IPROC) \
    X(glWindowPos2iv, PFNGLWINDOWPOS2IVPROC) \
    X(glWindowPos2s, PFNGLWINDOWPOS2SPROC) \
    X(glWindowPos2sv, PFNGLWINDOWPOS2SVPROC) \
    X(glWindowPos3d, PFNGLWINDOWPOS3DPROC) \
    X(glWindowPos3dv, PFNGLWINDOWPOS3DVPROC) \
    X(glWindowPos3f, PFNGLWINDOWPOS3FPROC) \
    X(glWindowPos3fv, PFNGLWINDOWPOS3FVPROC) \
    X(glWindowPos3i, PFNGLWINDOWPOS3IPROC) \
    X(glWindowPos3iv, PFNGLWINDOWPOS3IVPROC) \
    X(glWindowPos3s, PFNGLWINDOWPOS3SPROC) \
    X(glWindowPos3sv, PFNGLWINDOWPOS3SVPROC) \
    /* OpenGL 1.5 */ \
    X(glGenQueries, PFNGLGENQUERIESPROC) \
    X(glDeleteQueries, PFNGLDELETEQUERIESPROC) \
    X(glIsQuery, PFNGLISQUERYPROC) \
    X(glBeginQuery, PFNGLBEGINQUERYPROC) \
    X(glEndQuery, PFNGLENDQUERYPROC) \
    X(glGetQueryiv, PFNGLGETQUERYIVPROC) \
    X(glGetQueryObjectiv, PFNGLGETQUERYOBJECTIVPROC) \
    X(glGetQueryObjectuiv, PFNGLGETQUERYOBJECTUIVPROC) \
    X(glBindBuffer, PFNGLBINDBUFFERPROC) \
    X(glDeleteBuffers, PFNGLDELETEBUFFERSPROC) \
    X(glGenBuffers, PFNGLGENBUFFERSPROC) \
    X(glIsBuffer, PFNGLISBUFFERPROC) \
    X(glBufferData, PFNGLBUFFERDATAPROC) \
    X(glBufferSubData, PFNGLBUFFERSUBDATAPROC) \
    X(glGetBufferSubData, PFNGLGETBUFFERSUBDATAPROC) \
    X(glMapBuffer, PFNGLMAPBUFFERPROC) \
    X(glUnmapBuffer, PFNGLUNMAPBUFFERPROC) \
    X(glGetBufferParameteriv, PFNGLGETBUFFERPARAMETERIVPROC) \
    X(glGetBufferPointerv, PFNGLGETBUFFERPOINTERVPROC) \
    /* OpenGL 2.0 */ \
    X(glBlendEquationSeparate, PFNGLBLENDEQUATIONSEPARATEPROC) \
    X(glDrawBuffers, PFNGLDRAWBUFFERSPROC) \
    X(glStencilOpSeparate, PFNGLSTENCILOPSEPARATEPROC) \
    X(glStencilFuncSeparate, PFNGLSTENCILFUNCSEPARATEPROC) \
    X(glStencilMaskSeparate, PFNGLSTENCILMASKSEPARATEPROC) \
    X(glAttachShader, PFNGLATTACHSHADERPROC) \
    X(glBindAttribLocation, PFNGLBINDATTRIBLOCATIONPROC) \
    X(glCompileShader, PFNGLCOMPILESHADERPROC) \
    X(glCreateProgram, PFNGLCREATEPROGRAMPROC) \
    X(glCreateShader, PFNGLCREATESHADERPROC) \
    X(glDeleteProgram, PFNGLDELETEPROGRAMPROC) \
    X(glDeleteShader, PFNGLDELETESHADERPROC) \
    X(glDetachShader, PFNGLDETACHSHADERPROC) \
    X(glDisableVertexAttribArray, PFNGLDISABLEVERTEXATTRIBARRAYPROC) \
    X(glEnableVertexAttribArray, PFNGLENABLEVERTEXATTRIBARRAYPROC) \
    X(glGetActiveAttrib, PFNGLGETACTIVEATTRIBPROC) \
    X(glGetActiveUniform, PFNGLGETACTIVEUNIFORMPROC) \
    X(glGetAttachedShaders, PFNGLGETATTACHEDSHADERSPROC) \
    X(glGetAttribLocation, PFNGLGETATTRIBLOCATIONPROC) \
    X(glGetProgramiv, PFNGLGETPROGRAMIVPROC) \
    X(glGetProgramInfoLog, PFNGLGETPROGRAMINFOLOGPROC) \
    X(glGetShaderiv, PFNGLGETSHADERIVPROC) \
    X(glGetShaderInfoLog, PFNGLGETSHADERINFOLOGPROC) \
    X(glGetShaderSource, PFNGLGETSHADERSOURCEPROC) \
    X(glGetUniformLocation, PFNGLGETUNIFORMLOCATIONPROC) \
    X(glGetUniformfv, PFNGLGETUNIFORMFVPROC) \
    X(glGetUniformiv, PFNGLGETUNIFORMIVPROC) \
    X(glGetVertexAttribdv, PFNGLGETVERTEXATTRIBDVPROC) \
    X(glGetVertexAttribfv, PFNGLGETVERTEXATTRIBFVPROC) \
    X(glGetVertexAttribiv, PFNGLGETVERTEXATTRIBIVPROC) \
    X(glGetVertexAttribPointerv, PFNGLGETVERTEXATTRIBPOINTERVPROC) \
    X(glIsProgram, PFNGLISPROGRAMPROC) \
    X(glIsShader, PFNGLISSHADERPROC) \
    X(glLinkProgram, PFNGLLINKPROGRAMPROC) \
    X(glShaderSource, PFNGLSHADERSOURCEPROC) \
    X(glUseProgram, PFNGLUSEPROGRAMPROC) \
    X(glUniform1f, PFNGLUNIFORM1FPROC) \
    X(glUniform2f, PFNGLUNIFORM2FPROC) \
    X(glUniform3f, PFNGLUNIFORM3FPROC) \
    X(glUniform4f, PFNGLUNIFORM4FPROC) \
    X(glUniform1i, PFNGLUNIFORM1IPROC) \
    X(glUniform2i, PFNGLUNIFORM2IPROC) \
    X(glUniform3i, PFNGLUNIFORM3IPROC) \
    X(glUniform4i, PFNGLUNIFORM4IPROC) \
    X(glUniform1fv, PFNGLUNIFORM1FVPROC) \
    X(glUniform2fv, PFNGLUNIFORM2FVPROC) \
    X(glUniform3fv, PFNGLUNIFORM3FVPROC) \
    X(glUniform4fv, PFNGLUNIFORM4FVPROC) \
    X(glUniform1iv, PFNGLUNIFORM1IVPROC) \
    X(glUniform2iv, PFNGLUNIFORM2IVPROC) \
    X(glUniform3iv, PFNGLUNIFORM3IVPROC) \
    X(glUniform4iv, PFNGLUNIFORM4IVPROC) \
    X(glUniformMatrix2fv, PFNGLUNIFORMMATRIX2FVPROC) \
    X(glUniformMatrix3fv, PFNGLUNIFORMMATRIX3FVPROC) \
    X(glUniformMatrix4fv, PFNGLUNIFORMMATRIX4FVPROC) \
    X(glValidateProgram, PFNGLVALIDATEPROGRAMPROC) \
    X(glVertexAttrib1d, PFNGLVERTEXATTRIB1DPROC) \
    X(glVertexAttrib1dv, PFNGLVERTEXATTRIB1DVPROC) \
    X(glVertexAttrib1f, PFNGLVERTEXATTRIB1FPROC) \
    X(glVertexAttrib1fv, PFNGLVERTEXATTRIB1FVPROC) \
    X(glVertexAttrib1s, PFNGLVERTEXATTRIB1SPROC) \
    X(glVertexAttrib1sv, PFNGLVERTEXATTRIB1SVPROC) \
    X(glVertexAttrib2d, PFNGLVERTEXATTRIB2DPROC) \
    X(glVertexAttrib2dv, PFNGLVERTEXATTRIB2DVPROC) \
    X(glVertexAttrib2f, PFNGLVERTEXATTRIB2FPROC) \
    X(glVertexAttrib2fv, PFNGLVERTEXATTRIB2FVPROC) \
    X(glVertexAttrib2s, PFNGLVERTEXATTRIB2SPROC) \
    X(glVertexAttrib2sv, PFNGLVERTEXATTRIB2SVPROC) \
    X(glVertexAttrib3d, PFNGLVERTEXATTRIB3DPROC) \
    X(glVertexAttrib3dv, PFNGLVERTEXATTRIB3DVPROC) \
    X(glVertexAttrib3f, PFNGLVERTEXATTRIB3FPROC) \
    X(glVertexAttrib3fv, PFNGLVERTEXATTRIB3FVPROC) \
    X(glVertexAttrib3s, PFNGLVERTEXATTRIB3SPROC) \
    X(glVertexAttrib3sv, PFNGLVERTEXATTRIB3SVPROC) \
    X(glVertexAttrib4Nbv, PFNGLVERTEXATTRIB4NBVPROC) \
    X(glVertexAttrib4Niv, PFNGLVERTEXATTRIB4NIVPROC) \
    X(glVertexAttrib4Nsv, PFNGLVERTEXATTRIB4NSVPROC) \
    X(glVertexAttrib4Nub, PFNGLVERTEXATTRIB4NUBPROC) \
    X(glVertexAttrib4Nubv, PFNGLVERTEXATTRIB4NUBVPROC) \
    X(glVertexAttrib4Nuiv, PFNGLVERTEXATTRIB4NUIVPROC) \
    X(glVertexAttrib4Nusv, PFNGLVERTEXATTRIB4NUSVPROC) \
    X(glVertexAttrib4bv, PFNGLVERTEXATTRIB4BVPROC) \
    X(glVertexAttrib4d, PFNGLVERTEXATTRIB4DPROC) \
    X(glVertexAttrib4dv, PFNGLVERTEXATTRIB4DVPROC) \
    X(glVertexAttrib4f, PFNGLVERTEXATTRIB4FPROC) \
    X(glVertexAttrib4fv, PFNGLVERTEXATTRIB4FVPROC) \
    X(glVertexAttrib4iv, PFNGLVERTEXATTRIB4IVPROC) \
    X(glVertexAttrib4s, PFNGLVERTEXATTRIB4SPROC) \
    X(glVertexAttrib4sv, PFNGLVERTEXATTRIB4SVPROC) \
    X(glVertexAttrib4ubv, PFNGLVERTEXATTRIB4UBVPROC) \
    X(glVertexAttrib4uiv, PFNGLVERTEXATTRIB4UIVPROC) \
    X(glVertexAttrib4usv, PFNGLVERTEXATTRIB4USVPROC) \
    X(glVertexAttribPointer, PFNGLVERTEXATTRIBPOINTERPROC) \
    /* OpenGL 2.1 */ \
    X(glUniformMatrix2x3fv, PFNGLUNIFORMMATRIX2X3FVPROC) \
    X(glUniformMatrix3x2fv, PFNGLUNIFORMMATRIX3X2FVPROC) \
    X(glUniformMatrix2x4fv, PFNGLUNIFORMMATRIX2X4FVPROC) \
    X(glUniformMatrix4x2fv, PFNGLUNIFORMMATRIX4X2FVPROC) \
    X(glUniformMatrix3x4fv, PFNGLUNIFORMMATRIX3X4FVPROC) \
    X(glUniformMatrix4x3fv, PFNGLUNIFORMMATRIX4X3FVPROC) \
    /* Mapped buffer ranges, buffer storage, fences */ \
    X(glMapBufferRange, PFNGLMAPBUFFERRANGEPROC) \
    X(glBufferStorage, PFNGLBUFFERSTORAGEPROC) \
    X(glFenceSync, PFNGLFENCESYNCPROC) \
    X(glClientWaitSync, PFNGLCLIENTWAITSYNCPROC) \
    X(glDeleteSync, PFNGLDELETESYNCPROC) \
    /* EXT framebuffer object */ \
    X(glIsRenderbufferEXT, PFNGLISRENDERBUFFEREXTPROC) \
    X(glBindRenderbufferEXT, PFNGLBINDRENDERBUFFEREXTPROC) \
    X(glDeleteRenderbuffersEXT, PFNGLDELETERENDERBUFFERSEXTPROC) \
    X(glGenRenderbuffersEXT, PFNGLGENRENDERBUFFERSEXTPROC) \
    X(glRenderbufferStorageEXT, PFNGLRENDERBUFFERSTORAGEEXTPROC) \
    X(glGetRenderbufferParameterivEXT, PFNGLGETRENDERBUFFERPARAMETERIVEXTPROC) \
    X(glIsFramebufferEXT, PFNGLISFRAMEBUFFEREXTPROC) \
    X(glBindFramebufferEXT, PFNGLBINDFRAMEBUFFEREXTPROC) \
    X(glDeleteFramebuffersEXT, PFNGLDELETEFRAMEBUFFERSEXTPROC) \
    X(glGenFramebuffersEXT, PFNGLGENFRAMEBUFFERSEXTPROC) \
    X(glCheckFramebufferStatusEXT, PFNGLCHECKFRAMEBUFFERSTATUSEXTPROC) \
    X(glFramebufferTexture1DEXT, PFNGLFRAMEBUFFERTEXTURE1DEXTPROC) \
    X(glFramebufferTexture2DEXT, PFNGLFRAMEBUFFERTEXTURE2DEXTPROC) \
    X(glFramebufferTexture3DEXT, PFNGLFRAMEBUFFERTEXTURE3DEXTPROC) \
    X(glFramebufferRenderbufferEXT, PFNGLFRAMEBUFFERRENDERBUFFEREXTPROC) \
    X(glGetFramebufferAttachmentParameterivEXT, PFNGLGETFRAMEBUFFERATTACHMENTPARAMETERIVEXTPROC) \
    X(glGenerateMipmapEXT, PFNGLGENERATEMIPMAPEXTPROC) \
    /* ARB vertex program */ \
    X(glVertexAttrib1dARB, PFNGLVERTEXATTRIB1DARBPROC) \
    X(glVertexAttrib1dvARB, PFNGLVERTEXATTRIB1DVARBPROC) \
    X(glVertexAttrib1fARB, PFNGLVERTEXATTRIB1FARBPROC) \
    X(glVertexAttrib1fvARB, PFNGLVERTEXATTRIB1FVARBPROC) \
    X(glVertexAttrib1sARB, PFNGLVERTEXATTRIB1SARBPROC) \
    X(glVertexAttrib1svARB, PFNGLVERTEXATTRIB1SVARBPROC) \
    X(glVertexAttrib2dARB, PFNGLVERTEXATTRIB2DARBPROC) \
    X(glVertexAttrib2dvARB, PFNGLVERTEXATTRIB2DVARBPROC) \
    X(glVertexAttrib2fARB, PFNGLVERTEXATTRIB2FARBPROC) \
    X(glVertexAttrib2fvARB, PFNGLVERTEXATTRIB2FVARBPROC) \
    X(glVertexAttrib2sARB, PFNGLVERTEXATTRIB2SARBPROC) \
    X(glVertexAttrib2svARB, PFNGLVERTEXATTRIB2SVARBPROC) \
    X(glVertexAttrib3dARB, PFNGLVERTEXATTRIB3DARBPROC) \
    X(glVertexAttrib3dvARB, PFNGLVERTEXATTRIB3DVARBPROC) \
    X(glVertexAttrib3fARB, PFNGLVERTEXATTRIB3FARBPROC) \
    X(glVertexAttrib3fvARB, PFNGLVERTEXATTRIB3FVARBPROC) \
    X(glVertexAttrib3sARB, PFNGLVERTEXATTRIB3SARBPROC) \
    X(glVertexAttrib3svARB, PFNGLVERTEXATTRIB3SVARBPROC) \
    X(glVertexAttrib4NbvARB, PFNGLVERTEXATTRIB4NBVARBPROC) \
    X(glVertexAttrib4NivARB, PFNGLVERTEXATTRIB4NIVARBPROC) \
    X(glVertexAttrib4NsvARB, PFNGLVERTEXATTRIB4NSVARBPROC) \
    X(glVertexAttrib4NubARB, PFNGLVERTEXATTRIB4NUBARBPROC) \
    X(glVertexAttrib4NubvARB, PFNGLVERTEXATTRIB4NUBVARBPROC) \
    X(glVertexAttrib4NuivARB, PFNGLVERTEXATTRIB4NUIVARBPROC) \
    X(glVertexAttrib4NusvARB, PFNGLVERTEXATTRIB4NUSVARBPROC) \
    X(glVertexAttrib4bvARB, PFNGLVERTEXATTRIB4BVARBPROC) \
    X(glVertexAttrib4dARB, PFNGLVERTEXATTRIB4DARBPROC) \
    X(glVertexAttrib4dvARB, PFNGLVERTEXATTRIB4DVARBPROC) \
    X(glVertexAttrib4fARB, PFNGLVERTEXATTRIB4FARBPROC) \
    X(glVertexAttrib4fvARB, PFNGLVERTEXATTRIB4FVARBPROC) \
    X(glVertexAttrib4ivARB, PFNGLVERTEXATTRIB4IVARBPROC) \
    X(glVertexAttrib4sARB, PFNGLVERTEXATTRIB4SARBPROC) \
    X(glVertexAttrib4svARB, PFNGLVERTEXATTRIB4SVARBPROC) \
    X(glVertexAttrib4ubvARB, PFNGLVERTEXATTRIB4UBVARBPROC) \
    X(glVertexAttrib4uivARB, PFNGLVERTEXATTRIB4UIVARBPROC) \
    X(glVertexAttrib4usvARB, PFNGLVERTEXATTRIB4USVARBPROC) \
    X(glVertexAttribPointerARB, PFNGLVERTEXATTRIBPOINTERARBPROC) \
    X(glEnableVertexAttribArrayARB, PFNGLENABLEVERTEXATTRIBARRAYARBPROC) \
    X(glDisableVertexAttribArrayARB, PFNGLDISABLEVERTEXATTRIBARRAYARBPROC) \
    X(glProgramStringARB, PFNGLPROGRAMSTRINGARBPROC) \
    X(glBindProgramARB, PFNGLBINDPROGRAMARBPROC) \
    X(glDeleteProgramsARB, PFNGLDELETEPROGRAMSARBPROC) \
    X(glGenProgramsARB, PFNGLGENPROGRAMSARBPROC) \
    X(glProgramEnvParameter4dARB, PFNGLPROGRAMENVPARAMETER4DARBPROC) \
    X(glProgramEnvParameter4dvARB, PFNGLPROGRAMENVPARAMETER4DVARBPROC) \
    X(glProgramEnvParameter4fARB, PFNGLPROGRAMENVPARAMETER4FARBPROC) \
    X(glProgramEnvParameter4fvARB, PFNGLPROGRAMENVPARAMETER4FVARBPROC) \
    X(glProgramLocalParameter4dARB, PFNGLPROGRAMLOCALPARAMETER4DARBPROC) \
    X(glProgramLocalParameter4dvARB, PFNGLPROGRAMLOCALPARAMETER4DVARBPROC) \
    X(glProgramLocalParameter4fARB, PFNGLPROGRAMLOCALPARAMETER4FARBPROC) \
    X(glProgramLocalParameter4fvARB, PFNGLPROGRAMLOCALPARAMETER4FVARBPROC) \
    X(glGetProgramEnvParameterdvARB, PFNGLGETPROGRAMENVPARAMETERDVARBPROC) \
    X(glGetProgramEnvParameterfvARB, PFNGLGETPROGRAMENVPARAMETERFVARBPROC) \
    X(glGetProgramLocalParameterdvARB, PFNGLGETPROGRAMLOCALPARAMETERDVARBPROC) \
    X(glGetProgramLocalParameterfvARB, PFNGLGETPROGRAMLOCALPARAMETERFVARBPROC) \
    X(glGetProgramivARB, PFNGLGETPROGRAMIVARBPROC) \
    X(glGetProgramStringARB, PFNGLGETPROGRAMSTRINGARBPROC) \
    X(glGetVertexAttribdvARB, PFNGLGETVERTEXATTRIBDVARBPROC) \
    X(glGetVertexAttribfvARB, PFNGLGETVERTEXATTRIBFVARBPROC) \
    X(glGetVertexAttribivARB, PFNGLGETVERTEXATTRIBIVARBPROC) \
    X(glGetVertexAttribPointervARB, PFNGLGETVERTEXATTRIBPOINTERVARBPROC) \
    X(glIsProgramARB, PFNGLISPROGRAMARBPROC) \
    /* Debug output */ \
    X(glDebugMessageControlARB, PFNGLDEBUGMESSAGECONTROLARBPROC) \
    X(glDebugMessageInsertARB, PFNGLDEBUGMESSAGEINSERTARBPROC) \
    X(glDebugMessageCallbackARB, PFNGLDEBUGMESSAGECALLBACKARBPROC) \
    X(glGetDebugMessageLogARB, PFNGLGETDEBUGMESSAGELOGARBPROC) \
    X(glDebugMessageEnableAMD, PFNGLDEBUGMESSAGEENABLEAMDPROC) \
    X(glDebugMessageInsertAMD, PFNGLDEBUGMESSAGEINSERTAMDPROC) \
    X(glDebugMessageCallbackAMD, PFNGLDEBUGMESSAGECALLBACKAMDPROC) \
    X(glGetDebugMessageLogAMD, PFNGLGETDEBUGMESSAGELOGAMDPROC) \
    /* WGL */ \
    W(wglCreatePbufferARB) \
    W(wglGetPbufferDCARB) \
    W(wglReleasePbufferDCARB) \
    W(wglDestroyPbufferARB) \
    W(wglQueryPbufferARB) \
    W(wglGetPixelFormatAttribivARB) \
    W(wglGetPixelFormatAttribfvARB) \
    W(wglChoosePixelFormatARB) \
    W(wglBindTexImageARB) \
    W(wglReleaseTexImageARB)

// clang-format on

// Number of entries in the table.
constexpr int kEntryPointCount = 349;

namespace GLEntry {
#define ZEP6_DECLARE_GL_ENTRY(name, type) extern ZEP6_API type name;
#define ZEP6_DECLARE_WGL_ENTRY(name) extern ZEP6_API GenericProc name;
ZEP6_ENTRY_POINTS(ZEP6_DECLARE_GL_ENTRY, ZEP6_DECLARE_WGL_ENTRY)
#undef ZEP6_DECLARE_GL_ENTRY
#undef ZEP6_DECLARE_WGL_ENTRY
} // namespace GLEntry

// Fetches the whole table on the first call; later calls return at once. Call it with a context
// current: some drivers hand out addresses that only work in the kind of context that was
// current when they were fetched.
ZEP6_API void LoadEntryPoints();

// The name of entry i of the table (0 <= i < kEntryPointCount), or null outside it.
ZEP6_API const char* EntryPointName(int i);

// The current value of entry i of the table, as an untyped address; null when the driver did not
// supply it, outside the table, and for the window-system entries.
ZEP6_API void* EntryPointAddress(int i);

// Throws Unsupported. Kept out of line so that the header does not need the exception classes.
[[noreturn]] ZEP6_API void ThrowUnsupported();

// Returns the entry point when the driver supplied it; throws Unsupported when it is null.
template <class F> inline F RequireEntry(F entry) {
    if (!entry)
        ThrowUnsupported();
    return entry;
}

// Reports every pending OpenGL error on standard error, naming the call and where it was made.
// Used by ZEP6_GLCHECK in debug builds; it only reads (and so clears) the error flags.
ZEP6_API void ReportGLErrors(const char* call, const char* file, int line);

} // namespace OGL_ZEP6_AE

// The checked call of a table entry: ZEP6_GLCALL(glUseProgram)(program);
#define ZEP6_GLCALL(name) (::OGL_ZEP6_AE::RequireEntry(::OGL_ZEP6_AE::GLEntry::name))

// In debug builds, runs an OpenGL call and reports any error it left behind, naming the call:
// ZEP6_GLCHECK(ZEP6_GLCALL(glLinkProgram)(program)); in release builds only the call remains.
// Not for calls whose errors the caller inspects itself with glGetError().
#ifndef NDEBUG
#define ZEP6_GLCHECK(call)                                                                                   \
    do {                                                                                                     \
        call;                                                                                                \
        ::OGL_ZEP6_AE::ReportGLErrors(#call, __FILE__, __LINE__);                                            \
    } while (0)
#else
#define ZEP6_GLCHECK(call)                                                                                   \
    do {                                                                                                     \
        call;                                                                                                \
    } while (0)
#endif
