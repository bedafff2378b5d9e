#include "gl/texture/Texture.h"

#include "core/Errors.h"
#include "core/PixelFormat.h"
#include "core/TestCountersPrivate.h"
#include "core/XIImage.h"
#include "gl/context/Capabilities.h"
#include "gl/context/CapabilityRulesPrivate.h"
#include "gl/context/EntryPoints.h"
#include "gl/render/Conversion.h"
#include "gl/render/Plane.h"
#include "geometry/Region.h"
#include "gl/resources/InternalFormat.h"
#include "gl/resources/TextureBuffer.h"
#include "gl/state/Blend.h"
#include "gl/state/Clear.h"
#include "gl/state/ColorMask.h"
#include "gl/state/DepthFunc.h"
#include "gl/state/State.h"
#include "gl/state/TextureUnitHooksPrivate.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>
#include <typeinfo>

namespace OGL_ZEP6_AE {

namespace {


// Lets a TextureUnit that carries a texture bind it and learn its target.
struct InstallTextureUnitHooks {
    InstallTextureUnitHooks() {
        detail::gTextureUnitHooks.bind = [](const Texture& texture) { texture.Apply(); };
        detail::gTextureUnitHooks.target = [](const Texture& texture) { return texture.Key().Target(); };
    }
};
InstallTextureUnitHooks sInstallHooks;

// The conversion main program for an uploaded image of this colour space.
GLSL::Shader* UploadConversion(const XIImage* image) {
    const long space = image->GetColorSpace();
    if (space == 32)
        return &Conversion::sFromARGB;
    if (space == 0x42475241) // 'BGRA'
        return &Conversion::sFromBGRA;
    return nullptr;
}

void SetFilters(unsigned int target, GLint filter) {
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, filter);
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, filter);
}

void SetWrap(unsigned int target, GLint wrap) {
    glTexParameteri(target, GL_TEXTURE_WRAP_S, wrap);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, wrap);
}

bool IsDepthFormat(unsigned int internalFormat) {
    return internalFormat == GL_DEPTH_COMPONENT || internalFormat == GL_DEPTH_COMPONENT16 ||
           internalFormat == GL_DEPTH_COMPONENT24 || internalFormat == GL_DEPTH_COMPONENT32;
}

// A bottom-up copy of one area of an image, with the image's own description: depth content is
// turned the right way up in memory, since a depth texture cannot be drawn into as colour.
class BottomUpCopy : public XIImage {
public:
    BottomUpCopy(const XIImage& image, const Region& area)
        : image_(image), width_(area.width), height_(area.height),
          rowBytes_(static_cast<long>(area.width) * image.GetBitDepth() / 8),
          pixels_(static_cast<std::size_t>(rowBytes_) * area.height) {
        const auto* base = static_cast<const unsigned char*>(image.GetBaseAddress());
        const long pixelBytes = image.GetBitDepth() / 8;
        for (long row = 0; row < height_; ++row) {
            // Memory row area.y + row of the top-down source is picture row height_ - 1 - row.
            const unsigned char* from = base + (area.y + row) * image.GetRowBytes() + area.x * pixelBytes;
            std::memcpy(&pixels_[static_cast<std::size_t>(height_ - 1 - row) * rowBytes_], from,
                        static_cast<std::size_t>(rowBytes_));
        }
    }
    bool IsReadOnly() const override { return true; }
    long GetWidth() const override { return width_; }
    long GetHeight() const override { return height_; }
    long GetRowBytes() const override { return rowBytes_; }
    void* GetBaseAddress() const override { return const_cast<unsigned char*>(pixels_.data()); }
    long GetColorSpace() const override { return image_.GetColorSpace(); }
    long GetBitDepth() const override { return image_.GetBitDepth(); }
    long GetWhiteLevel() const override { return image_.GetWhiteLevel(); }
    bool IsBottomUp() const override { return true; }
    void* GetNative() const override { return nullptr; }

private:
    const XIImage& image_;
    long width_, height_, rowBytes_;
    std::vector<unsigned char> pixels_;
};

// m := m x translate(0, 1, 0) x scale(1, -1, 1), which turns texture coordinates 0..1 upside
// down: the second column negated and added to the fourth.
void AppendFlip(Matrix& m) {
    for (int row = 0; row < 4; ++row) {
        m.m[12 + row] += m.m[4 + row];
        m.m[4 + row] = -m.m[4 + row];
    }
}

// The texture matrix of the active unit := identity translated by (tx, ty, 0) and scaled by
// (sx, sy, 0), then, with `flip`, turned upside down within 0..1 (translate (0, 1, 0), scale
// (1, -1, 1)). The matrix mode stays as it was.
void LoadTextureMatrix(float sx, float sy, float tx, float ty, bool flip) {
    TextureMatrix matrix(true);
    matrix.Matrix::Retrieve(); // the mode to select again afterwards
    matrix.m[0] = sx;
    matrix.m[5] = sy;
    matrix.m[10] = 0.0;
    matrix.m[12] = tx;
    matrix.m[13] = ty;
    if (flip)
        AppendFlip(matrix);
    matrix.Apply();
}

// Whether the region lies wholly inside the image's pixels.
bool Inside(const XIImage* image, const Region& region) {
    return region.x >= 0 && region.y >= 0 && region.XEnd() <= image->GetWidth() &&
           region.YEnd() <= image->GetHeight();
}

// The key of the staging texture of `source`, in RGBA of `type`. One that is to be sampled
// linearly (`exact`) has exactly the region's size, so that clamping to its edge keeps the last row
// and column from blending with texels beyond the image.
TextureKey StagingKey(const Region& source, unsigned int type, bool exact) {
    return TextureKey(GL_TEXTURE_RECTANGLE_ARB, static_cast<int>(source.width), static_cast<int>(source.height),
                      GetInternalFormat(GL_RGBA, type), exact ? 1 : 0);
}

// Uploads the source region of an image into its staging texture (nothing when none could be
// had), as RGBA when the pixels need converting. Where the region reaches past the image the
// staging texture is transparent black; it is selected for that clear, so the caller selects its
// destination afterwards. The scope gives the texture back on every way out.
void StageImage(const ScopedTextureBuffer& scoped, const XIImage* image, const Region& source, bool convert) {
    TextureBuffer* staging = scoped.Get();
    if (staging == nullptr)
        return;
    if (!Inside(image, source) && staging->Select())
        ClearColorBuffer(Color::Transparent);
    Texture::BindBuffer(staging);
    const Region origin(0, 0, source.width, source.height);
    if (convert)
        staging->LoadImageAsRgba(image, source, origin);
    else
        staging->LoadImageNative(image, source, origin);
}

// Draws a staging texture into the selected destination through `conversion`, following the
// fit or stretch rule; shared by uploads and masks.
void DrawStaged(Conversion& conversion, TextureBuffer* staging, const XIImage* image, const Region& source,
                const Region& destination, bool convert, float scale, GLSL::Shader* processing, bool fit) {
    const bool flip = !image->IsBottomUp();
    const bool resize = source.width != destination.width || source.height != destination.height;
    bool useProgram = convert || scale != 1.0f || processing != nullptr;
    if (useProgram) {
        conversion.SetConversion(convert ? UploadConversion(image) : nullptr);
        conversion.SetProcessing(processing);
        conversion.SetScale(scale != 0.0f ? 1.0f / scale : 1.0f);
        conversion.Apply();
        // The sampler "texture" keeps its default unit 0, where the staging texture is bound.
        TextureUnit::Activate(GL_TEXTURE0);
    }
    // Selecting the destination bound its own texture.
    Texture::BindBuffer(staging);
    const GLenum target = staging->Key().Target();
    LoadTextureMatrix(static_cast<float>(source.width), static_cast<float>(source.height), 0.0f, 0.0f, flip);
    SetFilters(target, resize ? GL_LINEAR : GL_NEAREST);
    SetWrap(target, GL_CLAMP_TO_EDGE);
    TextureEnvironment::ApplyMode(GL_MODULATE);

    float x0 = static_cast<float>(destination.x);
    float y0 = static_cast<float>(destination.y);
    float x1 = x0 + destination.width;
    float y1 = y0 + destination.height;
    if (fit) {
        const float s = std::min(static_cast<float>(destination.width) / source.width,
                                 static_cast<float>(destination.height) / source.height);
        const float w = source.width * s;
        const float h = source.height * s;
        x0 = static_cast<float>(destination.x + static_cast<int>((destination.width - w) / 2.0f));
        y0 = static_cast<float>(destination.y + static_cast<int>((destination.height - h) / 2.0f));
        x1 = x0 + static_cast<int>(w);
        y1 = y0 + static_cast<int>(h);
    }
    sPlane.Draw(x0, y0, x1, y1, 0.0f);
}

} // namespace

Texture::Texture()
    : buffer_(nullptr), ownsBuffer_(false), key_(GL_TEXTURE_RECTANGLE_ARB, 0, 0, GL_RGBA32F_ARB, 0),
      width_(0), height_(0), format_(GL_RGBA), type_(GL_FLOAT), loadProcessing_(nullptr), fit_(false) {}

Texture::Texture(const Texture& other)
    : Context(other), Resource(other), buffer_(other.buffer_), ownsBuffer_(false), key_(other.key_),
      binding_(other.binding_), width_(other.width_), height_(other.height_), format_(other.format_),
      type_(other.type_), loadProcessing_(other.loadProcessing_), fit_(other.fit_) {}

Texture& Texture::operator=(const Texture& other) {
    if (this == &other)
        return *this;
    Texture::Finalize();
    buffer_ = other.buffer_;
    ownsBuffer_ = false;
    key_ = other.key_;
    binding_ = other.binding_;
    width_ = other.width_;
    height_ = other.height_;
    format_ = other.format_;
    type_ = other.type_;
    loadProcessing_ = other.loadProcessing_;
    fit_ = other.fit_;
    return *this;
}

Texture::~Texture() {
    try {
        Texture::Finalize();
    } catch (...) {
    }
}

bool Texture::Select() {
    CreateTexture();
    return buffer_ != nullptr && buffer_->Select();
}

bool Texture::Deselect() {
    return buffer_ != nullptr && buffer_->Deselect();
}

void Texture::Apply() const {
    ApplyBinding();
}

void Texture::ApplyBinding() const {
    const bool rectangle = key_.Target() == GL_TEXTURE_RECTANGLE_ARB;
    const GLenum target = key_.Target();
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER,
                    rectangle ? binding_.magFilterRectangle : binding_.magFilter2D);
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER,
                    rectangle ? binding_.minFilterRectangle : binding_.minFilter2D);
    TextureEnvironment(binding_.envMode, binding_.envColor).Apply();
}

void Texture::Retrieve() {
    binding_.Retrieve();
}

void Texture::Reset() {
    if (buffer_ == nullptr)
        return;
    SetDefault();
    buffer_->Orthogonal(-10000.0, 10000.0);
}

void Texture::Finalize() {
    if (buffer_ == nullptr)
        return;
    TextureBuffer* buffer = buffer_;
    buffer_ = nullptr;
    if (ownsBuffer_)
        TextureBuffer::Recycle(buffer);
    ownsBuffer_ = false;
}

TextureBuffer* Texture::Storage() const {
    if (buffer_ == nullptr) {
        buffer_ = TextureBuffer::Make(key_);
        ownsBuffer_ = buffer_ != nullptr;
    }
    return buffer_;
}

const char* Texture::Name() const {
    return typeid(*this).name();
}

void Texture::ClearTransform() const {
    TextureMatrix identity(true);
    identity.Matrix::Retrieve();
    identity.Apply();
}

void Texture::SetTransform(float sx, float sy, float tx, float ty) const {
    LoadTextureMatrix(sx, sy, tx, ty, false);
}

void Texture::FlipTransform() const {
    TextureMatrix matrix;
    matrix.Retrieve();
    AppendFlip(matrix);
    matrix.Apply();
}

void Texture::ApplyNearest() const {
    SetFilters(key_.Target(), GL_NEAREST);
}
void Texture::ApplyLinear() const {
    SetFilters(key_.Target(), GL_LINEAR);
}
void Texture::ApplyClamp() const {
    SetWrap(key_.Target(), GL_CLAMP);
}
void Texture::ApplyClampToEdge() const {
    SetWrap(key_.Target(), GL_CLAMP_TO_EDGE);
}
void Texture::ApplyDecal() const {
    TextureEnvironment::ApplyMode(GL_DECAL);
}
void Texture::ApplyModulate() const {
    TextureEnvironment::ApplyMode(GL_MODULATE);
}

void Texture::Disable() {
    TextureBinding::Unbind();
}

bool Texture::WriteToFile(const char*, Channel) const {
    PushState state;
    if (buffer_ != nullptr && buffer_->Select())
        buffer_->Deselect();
    return false;
}

unsigned int Texture::GetBestType() {
    return BestStorageType();
}

void Texture::SetType(unsigned int target, int width, int height, unsigned int format, unsigned int type,
                      bool exact) const {
    width_ = width;
    height_ = height;
    format_ = format;
    type_ = type;
    key_ = TextureKey(target, width, height, GetInternalFormat(format, type), exact ? 1 : 0);
}

bool Texture::CreateTexture() {
    return Storage() != nullptr;
}

void Texture::BindTexture() const {
    if (Storage() != nullptr)
        BindBuffer(buffer_);
    ApplyBinding();
}

void Texture::BindBuffer(const TextureBuffer* buffer) {
    if (buffer->TextureName() == 0)
        buffer->Initialize();
    TextureBinding::Bind(buffer->Key().Target(), buffer->TextureName());
}

void Texture::AttachTexture() const {
    if (buffer_ == nullptr)
        throw OpenGLError(0);
    buffer_->Attach(GL_COLOR_ATTACHMENT0_EXT);
}

bool Texture::IsResident() const {
    return buffer_ != nullptr && buffer_->IsResident();
}

int Texture::ActualWidth() const {
    return buffer_ ? buffer_->Width() : 0;
}

int Texture::ActualHeight() const {
    return buffer_ ? buffer_->Height() : 0;
}

void Texture::ClearTexture(const Color& color) const {
    if (buffer_ == nullptr)
        return;
    PushState state;
    if (buffer_->Select()) {
        ClearColorBuffer(color);
        buffer_->Deselect();
    }
}

void Texture::LoadTexture(const XIImage* image, const Region& source, const Region& destinationIn) const {
    if (buffer_ == nullptr || image == nullptr)
        return;
    Region destination = destinationIn;
    if (!destination.valid)
        destination = Region(0, 0, source.width, source.height);

    unsigned int format = 0, type = 0;
    float scale = 1.0f;
    GetColorSpaceFormat(image, format, type, scale);
    const bool convert = NeedToConvert(image, format, type);
    const bool flip = !image->IsBottomUp();
    const bool resize = source.width != destination.width || source.height != destination.height;

    // The direct transfer hands the values over as they are, so it serves only data whose white is
    // the full range of its type: 16-bit data at white 16384 (signed shorts to OpenGL) would arrive
    // with white at one half, and the render path applies the white-level scale.
    if (!convert && !flip && !resize && scale == 1.0f && loadProcessing_ == nullptr && Inside(image, source)) {
        AddTestCount(TestCounter::DirectUploads);
        buffer_->LoadImageNative(image, source, destination);
        return;
    }
    // Depth storage holds depth values, which cannot be drawn as colour: its content is only ever
    // transferred. A top-down depth image is turned the right way up on the way; resizing, fitting
    // and a load-processing shader do not apply to it.
    if (IsDepthFormat(key_.InternalFormat())) {
        AddTestCount(TestCounter::DirectUploads);
        // The part of the source inside the image, placed where it lies in the source (in a
        // top-down image the last memory row of the part is its lowest picture row).
        const Region area = source & Region(static_cast<unsigned int>(image->GetWidth()),
                                            static_cast<unsigned int>(image->GetHeight()));
        if (!area.IsValid())
            return;
        const Region placed(destination.x + (area.x - source.x),
                            destination.y + (flip ? source.YEnd() - area.YEnd() : area.y - source.y), area.width,
                            area.height);
        if (!flip) {
            buffer_->LoadImageNative(image, area, placed);
        } else {
            const BottomUpCopy upright(*image, area);
            buffer_->LoadImageNative(&upright, Region(0, 0, area.width, area.height), placed);
        }
        return;
    }
    AddTestCount(TestCounter::RenderUploads);

    PushState state;
    const ScopedTextureBuffer staged(StagingKey(source, type, resize));
    StageImage(staged, image, source, convert);
    const bool selected = buffer_->Select();
    if (selected && staged.Get() != nullptr) {
        Push<BlendFunc> blend(BlendFunc::Replace);
        Push<DepthFunc> depth(DepthFunc::Always);
        Push<Color> colour(Color::White);
        if (fit_)
            ClearColorBuffer(Color::Transparent);
        static Conversion* upload = new Conversion();
        DrawStaged(*upload, staged.Get(), image, source, destination, convert, scale, loadProcessing_, fit_);
    }
    if (selected)
        buffer_->Deselect();
}

void Texture::MaskTexture(const XIImage* mask, const Region& source, const Region& destinationIn) const {
    if (buffer_ == nullptr || mask == nullptr)
        return;
    Region destination = destinationIn;
    if (!destination.valid)
        destination = Region(0, 0, source.width, source.height);
    unsigned int format = 0, type = 0;
    float scale = 1.0f;
    GetColorSpaceFormat(mask, format, type, scale);
    const bool convert = NeedToConvert(mask, format, type);
    AddTestCount(TestCounter::RenderUploads);

    PushState state;
    const bool resize = source.width != destination.width || source.height != destination.height;
    const ScopedTextureBuffer staged(StagingKey(source, type, resize));
    StageImage(staged, mask, source, convert);
    const bool selected = buffer_->Select();
    if (selected && staged.Get() != nullptr) {
        Push<BlendFunc> blend(BlendFunc::Mask);
        Push<ColorMask> colourMask(ColorMask::AlphaOnly);
        Push<DepthFunc> depth(DepthFunc::Always);
        Push<Color> colour(Color::White);
        static Conversion* masking = new Conversion();
        DrawStaged(*masking, staged.Get(), mask, source, destination, convert, scale, loadProcessing_, fit_);
    }
    if (selected)
        buffer_->Deselect();
}

Push<Texture>::Push() : saved_(), pushed_(true) {
    saved_.Retrieve();
}

Push<Texture>::~Push() {
    try {
        Pop();
    } catch (...) {
    }
}

void Push<Texture>::Pop() {
    if (!pushed_)
        return;
    pushed_ = false;
    saved_.Apply();
}

} // namespace OGL_ZEP6_AE
