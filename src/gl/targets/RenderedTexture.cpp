#include "gl/targets/RenderedTexture.h"

#include "core/Errors.h"
#include "core/PixelFormat.h"
#include "core/PixelTypes.h"
#include "core/TestCountersPrivate.h"
#include "core/XIImage.h"
#include "gl/context/Capabilities.h"
#include "gl/context/EntryPoints.h"
#include "gl/render/Conversion.h"
#include "gl/render/EffectProgram.h"
#include "gl/render/GLSL.h"
#include "gl/render/Geometry.h"
#include "gl/render/Plane.h"
#include "geometry/Region.h"
#include "gl/resources/Buffer.h"
#include "gl/resources/FrameBuffer.h"
#include "gl/resources/InternalFormat.h"
#include "gl/resources/RenderBuffer.h"
#include "gl/resources/TextureBuffer.h"
#include "gl/state/Blend.h"
#include "gl/state/Clear.h"
#include "gl/state/Color.h"
#include "gl/state/State.h"
#include "gl/texture/SubImageTexture.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>

namespace OGL_ZEP6_AE {

namespace {


GLSL::Shader sDepthBlitShader(
    GL_FRAGMENT_SHADER,
    "uniform sampler2DRect color_source; uniform sampler2DRect depth_source; uniform float weight; void "
    "main( "
    ") { float depth = texture2DRect( depth_source, gl_FragCoord.st ).x; if( depth < 1.0 ) { vec4 color = "
    "texture2DRect( color_source, gl_FragCoord.st ) * weight; if( color.a > 0.0 ) { gl_FragColor = clamp( "
    "color, 0.0, 1.0 ); gl_FragDepth = depth; return; } } discard; }");

// Filters of the bound texture of `target`, wrap clamped to its edge, environment GL_MODULATE.
void SetSamplerParameters(unsigned int target, GLint filter) {
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, filter);
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    TextureEnvironment::ApplyMode(GL_MODULATE);
}

bool IsSampler(const GLSL::Uniform* uniform) {
    return uniform->Type() == GL_SAMPLER_2D || uniform->Type() == GL_SAMPLER_2D_RECT_ARB;
}

} // namespace

RenderedTexture::RenderedTexture()
    : frameBuffer_(0), depthTexture_(nullptr), depthRenderBuffer_(nullptr), depthImage_(nullptr),
      readProcessing_(nullptr) {
    SetType(GL_TEXTURE_RECTANGLE_ARB, 2048, 1080, GL_RGBA, GetBestType(), false);
}

RenderedTexture::RenderedTexture(int width, int height, unsigned int format, unsigned int type)
    : RenderedTexture() {
    Resize(width, height, format, type);
}

RenderedTexture::RenderedTexture(const RenderedTexture& other)
    : Texture(), frameBuffer_(other.frameBuffer_), depthTexture_(other.depthTexture_),
      depthRenderBuffer_(other.depthRenderBuffer_), depthImage_(nullptr), readProcessing_(nullptr) {
    SetType(GL_TEXTURE_RECTANGLE_ARB, 2048, 1080, GL_RGBA, GetBestType(), false);
    RenderedTexture& source = const_cast<RenderedTexture&>(other);
    source.frameBuffer_ = 0;
    source.depthTexture_ = nullptr;
    source.depthRenderBuffer_ = nullptr;
}

RenderedTexture::~RenderedTexture() {
    try {
        RenderedTexture::Finalize();
    } catch (...) {
    }
    delete depthImage_;
    depthImage_ = nullptr;
}

void RenderedTexture::Resize(int width, int height, unsigned int format, unsigned int) {
    if (width == width_ && height == height_ && format == format_)
        return;
    Finalize();
    if (width != 0 && height != 0)
        SetType(GL_TEXTURE_RECTANGLE_ARB, width, height, format, GetBestType(), false);
}

void RenderedTexture::ResizeStorage(int width, int height, unsigned int format, unsigned int type) {
    if (width == width_ && height == height_ && format == format_ && type == type_)
        return;
    Finalize();
    SetType(GL_TEXTURE_RECTANGLE_ARB, width, height, format, type, false);
}

void RenderedTexture::SetExactStorage(bool exact) {
    if (width_ == 0 || height_ == 0 || key_.Exact() == exact)
        return;
    Finalize();
    SetType(GL_TEXTURE_RECTANGLE_ARB, width_, height_, format_, GetBestType(), exact);
}

void RenderedTexture::Resize(const XIImage* image) {
    if (!IsValid(image))
        return;
    unsigned int format = 0, type = 0;
    GetFormatType(image, format, type);
    Resize(static_cast<int>(image->GetWidth()), static_cast<int>(image->GetHeight()), format, type);
}

void RenderedTexture::Resize(const RenderedTexture& other) {
    Resize(other.width_, other.height_, other.format_, other.type_);
}

bool RenderedTexture::CreateTexture() {
    Storage();
    if (!IsFrameBufferSupported())
        throw OffscreenUnsupported();
    if (frameBuffer_ == 0) {
        GLuint name = 0;
        ZEP6_GLCALL(glGenFramebuffersEXT)(1, &name);
        frameBuffer_ = name;
        Relist();
    }
    if (frameBuffer_ == 0)
        return false;
    ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER_EXT, frameBuffer_);
    AttachTexture();
    const int width = buffer_->Width();
    const int height = buffer_->Height();
    if (IsDepthTextureSupported()) {
        if (depthTexture_ == nullptr) {
            depthTexture_ = TextureBuffer::Make(
                TextureKey(GL_TEXTURE_RECTANGLE_ARB, width, height, GL_DEPTH_COMPONENT24, 1));
            if (depthTexture_ == nullptr)
                throw OpenGLError(0);
        }
        depthTexture_->Attach(GL_DEPTH_ATTACHMENT_EXT);
    } else if (depthRenderBuffer_ == nullptr) {
        depthRenderBuffer_ = RenderBuffer::Make(RenderKey(width, height, GL_DEPTH_COMPONENT, GL_FLOAT));
        if (depthRenderBuffer_ != nullptr)
            ZEP6_GLCALL(glFramebufferRenderbufferEXT)
        (GL_FRAMEBUFFER_EXT, GL_DEPTH_ATTACHMENT_EXT, GL_RENDERBUFFER_EXT, depthRenderBuffer_->Name());
    }
    return ZEP6_GLCALL(glCheckFramebufferStatusEXT)(GL_FRAMEBUFFER_EXT) == GL_FRAMEBUFFER_COMPLETE_EXT;
}

bool RenderedTexture::Select() {
    if (width_ == 0 || height_ == 0)
        return false;
    if (!CreateTexture()) {
        Finalize();
        return false;
    }
    ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER_EXT, frameBuffer_);
    Reset();
    return true;
}

bool RenderedTexture::Deselect() {
    return false;
}

bool RenderedTexture::MakeCurrent() {
    if (frameBuffer_ == 0 && !CreateTexture())
        return false;
    ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER_EXT, frameBuffer_);
    return true;
}

void RenderedTexture::Reset() {
    SetDefault();
    Orthogonal(-10000.0, 10000.0);
}

void RenderedTexture::Orthogonal(double zNear, double zFar) {
    TextureBuffer::OrthogonalFor(width_, height_, zNear, zFar);
}

void RenderedTexture::Perspective(float left, float right, float bottom, float top, float zNear, float zFar) {
    if (width_ == 0 || height_ == 0)
        return;
    Orthogonal(1.0, -1.0); // leaves the model-view matrix selected
    PushMatrixMode projection(GL_PROJECTION);
    glScalef(width_ / 2.0f, height_ / 2.0f, 1.0f);
    glTranslatef(1.0f, 1.0f, 0.0f);
    glScalef(1.0f, -1.0f, 1.0f);
    glFrustum(left, right, bottom, top, zNear, zFar);
}

void RenderedTexture::Clear() {
    PushFrameBuffer previous;
    if (MakeCurrent())
        ClearAllBuffers(Color::Transparent, 1.0f);
}

void RenderedTexture::Apply() const {
    if (width_ == 0 || height_ == 0)
        return;
    if (Storage() != nullptr)
        BindBuffer(buffer_);
    ApplyBinding();
    SetTransform(static_cast<float>(width_), static_cast<float>(height_), 0.0f, 0.0f);
    SetSamplerParameters(key_.Target(), GL_LINEAR);
}

void RenderedTexture::ApplyDepth() const {
    if (width_ == 0 || height_ == 0)
        return;
    if (depthTexture_ != nullptr) {
        BindBuffer(depthTexture_);
        ApplyBinding();
        SetTransform(static_cast<float>(width_), static_cast<float>(height_), 0.0f, 0.0f);
        SetSamplerParameters(depthTexture_->Key().Target(), GL_LINEAR);
        return;
    }
    if (depthRenderBuffer_ == nullptr)
        return;
    OGL_ZEP6_AE::Buffer<Luma32F> depth(GL_LUMINANCE, 32, 1.0f);
    {
        PushState state;
        if (!const_cast<RenderedTexture*>(this)->Select())
            return;
        depth.Resize(width_, height_, GL_LUMINANCE, 32, 1.0f);
        PushPixelPack pack(1, static_cast<int>(depth.GetRowBytes() / sizeof(float)), 0, 0, 0);
        glReadPixels(0, 0, width_, height_, GL_DEPTH_COMPONENT, GL_FLOAT, depth.GetBaseAddress());
    }
    delete depthImage_;
    depthImage_ = new SubImageTexture(&depth);
    depthImage_->Apply();
    SetSamplerParameters(depthImage_->Key().Target(), GL_LINEAR);
    // The texture keeps its content; the temporary pixels are no longer needed.
    depthImage_->SetImage(nullptr);
    depth.Finalize();
}

void RenderedTexture::Write(const XIImage* image) {
    if (width_ == 0 || height_ == 0 || !IsValid(image))
        return;
    Push<Texture> saved;
    PushTextureMatrix matrix;
    const bool sameSize = image->GetWidth() == width_ && image->GetHeight() == height_;
    SubImageTexture texture(image);
    // Stretched, it is sampled linearly: storage of the image's size keeps the last row and
    // column from blending with texels beyond it.
    texture.SetExactStorage(!sameSize);
    texture.Load();
    // An image of the target's size lands pixel for pixel: nearest sampling gives the same
    // values as linear at texel centres and costs a quarter of the texel reads.
    if (sameSize)
        texture.ApplyNearest();
    sPlane.Draw(0.0f, 0.0f, static_cast<float>(width_), static_cast<float>(height_), 0.0f);
}

void RenderedTexture::WriteFit(const XIImage* image) {
    if (width_ == 0 || height_ == 0 || !IsValid(image))
        return;
    const int w = std::min(static_cast<int>(image->GetWidth()), width_);
    const int h = std::min(static_cast<int>(image->GetHeight()), height_);
    if (w <= 0 || h <= 0)
        return;
    Push<Texture> saved;
    PushTextureMatrix matrix;
    SubImageTexture texture(image);
    texture.SetRegion(Region(0, 0, static_cast<unsigned int>(w), static_cast<unsigned int>(h)));
    texture.Load();
    texture.ApplyNearest(); // unscaled: pixel for pixel
    sPlane.Draw(0.0f, 0.0f, static_cast<float>(w), static_cast<float>(h), 0.0f);
}

void RenderedTexture::Read(XIImage* image) {
    if (!IsValid(image))
        return;
    Read(image,
         Region(0, 0, static_cast<unsigned int>(image->GetWidth()),
                static_cast<unsigned int>(image->GetHeight())),
         false);
}

void RenderedTexture::Read(XIImage* image, const Region& region, bool flipRequested) {
    Read(image, region, flipRequested, 0, 0);
}

void RenderedTexture::Read(XIImage* image, const Region& region, bool flipRequested, int fromX, int fromY) {
    if (!IsValid(image) || buffer_ == nullptr)
        return;
    PushState outer;
    if (!Select())
        return;
    const int imageHeight = static_cast<int>(image->GetHeight());
    Region area = region & Region(0, 0, static_cast<unsigned int>(image->GetWidth()),
                                  static_cast<unsigned int>(imageHeight));
    const Region from(fromX, fromY, area.width, area.height);
    const bool flip = (!image->IsBottomUp()) != flipRequested;
    if (flip)
        area.y = imageHeight - area.y - static_cast<int>(area.height);
    if (!area.valid || area.width == 0 || area.height == 0 || image->GetBaseAddress() == nullptr)
        return;

    unsigned int format = 0, type = 0;
    float scale = 1.0f;
    GetColorSpaceFormat(image, format, type, scale);
    const bool convert = NeedToConvert(image, format, type);
    // Data whose white level is not the full range of its type (16-bit at white 16384, handed to
    // OpenGL as signed shorts) needs the white-level scale, which only the converting copy applies.
    const bool bytes =
        type == GL_UNSIGNED_BYTE || type == GL_UNSIGNED_INT_8_8_8_8 || type == GL_UNSIGNED_INT_8_8_8_8_REV;
    const unsigned int stored = buffer_->Key().InternalFormat();
    // Bytes from half or float content are drawn into an 8-bit copy first and read from there:
    // glReadPixels converting floats to bytes is far slower (on llvmpipe too: 4K BGRA frames
    // about 1.6x, on NVIDIA several times), and both round to the same bytes (the round-trip
    // test compares them).
    const bool byteCopy = bytes && (stored == GL_RGBA16F_ARB || stored == GL_RGBA32F_ARB);
    if (!convert && !flip && scale == 1.0f && readProcessing_ == nullptr && !byteCopy) {
        AddTestCount(TestCounter::DirectReads);
        buffer_->ReadImageNative(image, area, from);
        return;
    }
    AddTestCount(TestCounter::RenderReads);

    const unsigned int copyType = bytes ? type : GetBestType();
    const ScopedTextureBuffer scopedCopy(
        TextureKey(GL_TEXTURE_RECTANGLE_ARB, static_cast<int>(area.width), static_cast<int>(area.height),
                   GetInternalFormat(GL_RGBA, copyType), 0));
    TextureBuffer* copy = scopedCopy.Get();
    if (copy == nullptr)
        return;
    {
        PushState inner;
        if (copy->Select()) {
            Push<BlendFunc> blend(BlendFunc::Replace);

            static Conversion* conversion = new Conversion();
            GLSL::Shader* swizzle = nullptr;
            if (convert) {
                if (image->GetColorSpace() == 32)
                    swizzle = &Conversion::sToARGB;
                else if (image->GetColorSpace() == 0x42475241) // 'BGRA'
                    swizzle = &Conversion::sToBGRA;
            }
            conversion->SetConversion(swizzle);
            conversion->SetProcessing(readProcessing_);
            conversion->SetScale(scale);
            conversion->Apply();

            TextureUnit::Activate(GL_TEXTURE0);
            BindBuffer(buffer_);
            SetTransform(static_cast<float>(area.width), static_cast<float>(area.height), static_cast<float>(fromX),
                         static_cast<float>(fromY));
            if (flip)
                FlipTransform();
            SetSamplerParameters(key_.Target(), GL_NEAREST);

            sPlane.Draw(0.0f, 0.0f, static_cast<float>(area.width), static_cast<float>(area.height), 0.0f);
            // The copy holds the block at its own origin.
            const Region copied(0, 0, area.width, area.height);
            if (convert)
                copy->ReadImageAsRgba(image, area, copied);
            else
                copy->ReadImageNative(image, area, copied);
        }
    }
}

void RenderedTexture::Blit(const Region& region, float opacity) {
    if (width_ == 0 || height_ == 0 || !region.valid)
        return;
    PushProjectionMatrix projection;
    PushModelMatrix model;
    Push<Texture> binding;
    PushTextureMatrix textureMatrix;
    PushColor colour;
    RasterProjection(width_, height_);
    Apply();
    ApplyNearest();
    Color(opacity, opacity, opacity, opacity).Apply();
    sPlane.Draw(0.0f, 0.0f, static_cast<float>(width_), static_cast<float>(height_), 0.0f);
}

void RenderedTexture::BlitWithDepth(const Region& region, float weight) {
    if (width_ == 0 || height_ == 0 || !region.valid)
        return;
    static EffectProgram* program = new EffectProgram(&EffectProgram::sVertexShader, &sDepthBlitShader);

    PushProjectionMatrix projection;
    PushModelMatrix model;
    Push<TextureUnits> units;
    PushProgram usedProgram;
    RasterProjection(width_, height_);
    TextureUnit::Activate(GL_TEXTURE1);
    ApplyDepth();
    glTexParameteri(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    TextureUnit::Activate(GL_TEXTURE0);
    Apply();
    ApplyNearest();
    program->Apply();
    // Looked up on every call: a shutdown deletes the program's uniforms with the program.
    GLSL::Uniform* colorSource = program->GetUniform("color_source");
    GLSL::Uniform* depthSource = program->GetUniform("depth_source");
    GLSL::Uniform* weightUniform = program->GetUniform("weight");
    if (colorSource && IsSampler(colorSource))
        ZEP6_GLCALL(glUniform1i)(*colorSource, 0);
    if (depthSource && IsSampler(depthSource))
        ZEP6_GLCALL(glUniform1i)(*depthSource, 1);
    if (weightUniform) {
        if (weightUniform->Type() == GL_INT)
            ZEP6_GLCALL(glUniform1i)(*weightUniform, static_cast<int>(weight));
        else if (weightUniform->Type() == GL_FLOAT)
            ZEP6_GLCALL(glUniform1f)(*weightUniform, weight);
    }
    DrawRegion(region);
}

void RenderedTexture::Finalize() {
    Texture::Finalize();
    if (depthTexture_ != nullptr) {
        TextureBuffer::Recycle(depthTexture_);
        depthTexture_ = nullptr;
    }
    if (depthRenderBuffer_ != nullptr) {
        RenderBuffer::Recycle(depthRenderBuffer_);
        depthRenderBuffer_ = nullptr;
    }
    if (frameBuffer_ != 0) {
        GLuint name = frameBuffer_;
        frameBuffer_ = 0;
        ZEP6_GLCALL(glDeleteFramebuffersEXT)(1, &name);
    }
    delete depthImage_;
    depthImage_ = nullptr;
    readProcessing_ = nullptr;
}

} // namespace OGL_ZEP6_AE
