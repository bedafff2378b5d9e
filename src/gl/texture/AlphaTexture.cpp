#include "gl/texture/AlphaTexture.h"

#include "core/Errors.h"
#include "core/XIImage.h"
#include "gl/resources/InternalFormat.h"
#include "gl/resources/TextureBuffer.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace OGL_ZEP6_AE {

AlphaTexture::AlphaTexture() : alphaImage_(nullptr), alphaRegion_(), alphaLoaded_(false) {}

AlphaTexture::AlphaTexture(const XIImage* image) : AlphaTexture() {
    SetImage(image);
}

AlphaTexture& AlphaTexture::operator=(const XIImage* image) {
    SetImage(image);
    return *this;
}

void AlphaTexture::SetImage(const XIImage* image) {
    alphaImage_ = image;
    alphaLoaded_ = false;
    Region region;
    if (IsValid(image))
        region = Region(0, 0, static_cast<unsigned int>(image->GetWidth()),
                        static_cast<unsigned int>(image->GetHeight()));
    SetRegion(region);
}

void AlphaTexture::SetRegion(const Region& region) {
    width_ = static_cast<int>(region.width);
    height_ = static_cast<int>(region.height);
    format_ = GL_ALPHA;
    type_ = GetBestType();
    key_ = TextureKey(GL_TEXTURE_RECTANGLE_ARB, width_, height_, GetInternalFormat(GL_ALPHA, type_), 0);
    const bool valid = IsValid(alphaImage_);
    if (valid && region.x == alphaRegion_.x && region.y == alphaRegion_.y &&
        region.width == alphaRegion_.width && region.height == alphaRegion_.height &&
        region.valid == alphaRegion_.valid)
        return;
    alphaRegion_ = valid ? region : Region();
    alphaLoaded_ = false;
}

void AlphaTexture::Apply() const {
    // Load() binds the texture and applies the binding parameters to it.
    Load();
}

void AlphaTexture::Load() const {
    if (!IsValid(alphaImage_))
        throw OpenGLError(0);
    BindTexture();
    if (buffer_ == nullptr)
        throw OpenGLError(0);
    if (!alphaLoaded_) {
        buffer_->LoadImageNative(alphaImage_, SourceArea(alphaImage_, alphaRegion_),
                                 Region(0, 0, alphaRegion_.width, alphaRegion_.height));
        alphaLoaded_ = true;
    }
    SetTransform(static_cast<float>(width_), static_cast<float>(height_), 0.0f, 0.0f);
    if (!alphaImage_->IsBottomUp())
        FlipTransform();
    ApplyLinear();
    ApplyClampToEdge();
    ApplyModulate();
}

} // namespace OGL_ZEP6_AE
