#include "gl/resources/ResourceKeys.h"

#include "core/PixelFormat.h"

#include <climits>

namespace OGL_ZEP6_AE {

int TextureKey::Size() const {
    return static_cast<int>(CalculateTextureSize(width_, height_, internalFormat_));
}

bool TextureKey::IsAcceptable(const TextureKey& candidate) const {
    if (candidate.target_ != target_ || candidate.internalFormat_ != internalFormat_)
        return false;
    if (exact_)
        return candidate.width_ == width_ && candidate.height_ == height_;
    return candidate.width_ >= width_ && candidate.height_ >= height_;
}

} // namespace OGL_ZEP6_AE
