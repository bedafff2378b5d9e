#include "gl/texture/SubImageTexture.h"

#include "core/Errors.h"
#include "core/PixelFormat.h"
#include "core/XIImage.h"
#include "gl/resources/InternalFormat.h"
#include "gl/resources/TextureBuffer.h"
#include "gl/state/Color.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace OGL_ZEP6_AE {

SubImageTexture::SubImageTexture()
    : image_(nullptr), mask_(nullptr), region_(), loaded_(false), exactStorage_(false) {}

SubImageTexture::SubImageTexture(const XIImage* image) : SubImageTexture() {
    SetImage(image);
}

SubImageTexture::~SubImageTexture() = default;

void SubImageTexture::SetImage(const XIImage* image) {
    image_ = image;
    loaded_ = false;
    Region region;
    if (IsValid(image)) {
        unsigned int format = 0, type = 0;
        GetFormatType(image, format, type);
        format_ = format;
        type_ = GetBestType();
        region = Region(0, 0, static_cast<unsigned int>(image->GetWidth()),
                        static_cast<unsigned int>(image->GetHeight()));
    }
    SetRegion(region);
}

void SubImageTexture::SetMask(const XIImage* mask) {
    mask_ = mask;
    loaded_ = false;
}

void SubImageTexture::SetRegion(const Region& region) {
    if (IsValid(image_)) {
        if (region.x != region_.x || region.y != region_.y || region.width != region_.width ||
            region.height != region_.height || region.valid != region_.valid) {
            region_ = region;
            loaded_ = false;
        }
        width_ = static_cast<int>(region.width);
        height_ = static_cast<int>(region.height);
        key_ = TextureKey(GL_TEXTURE_RECTANGLE_ARB, width_, height_, GetInternalFormat(format_, type_),
                          exactStorage_ ? 1 : 0);
        if (buffer_ != nullptr && !key_.IsAcceptable(buffer_->Key())) {
            Finalize();
            loaded_ = false;
        }
    } else {
        loaded_ = false;
        region_ = Region();
    }
}

void SubImageTexture::SetExactStorage(bool exact) {
    exactStorage_ = exact;
    if (IsValid(image_))
        SetRegion(region_);
}

Region SubImageTexture::SourceArea(const XIImage* image, const Region& region) {
    if (!image->IsBottomUp() && region.valid)
        return Region(region.x,
                      static_cast<int>(image->GetHeight()) - region.y - static_cast<int>(region.height),
                      region.width, region.height);
    return region;
}

void SubImageTexture::Apply() const {
    // Load() binds the texture and applies the binding parameters to it.
    Load();
}

void SubImageTexture::Load() const {
    BindTexture();
    if (!loaded_) {
        if (IsValid(image_)) {
            LoadTexture(image_, SourceArea(image_, region_), Region(0, 0, region_.width, region_.height));
        } else {
            ClearTexture(Color::Transparent);
        }
        if (mask_ != nullptr && IsValid(mask_))
            MaskTexture(mask_, SourceArea(mask_, region_), Region(0, 0, region_.width, region_.height));
        loaded_ = true;
    }
    SetTransform(static_cast<float>(width_), static_cast<float>(height_), 0.0f, 0.0f);
    const GLenum target = key_.Target();
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    ApplyModulate();
}

} // namespace OGL_ZEP6_AE
