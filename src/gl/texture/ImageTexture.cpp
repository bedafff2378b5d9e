#include "gl/texture/ImageTexture.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace OGL_ZEP6_AE {

ImageTexture::ImageTexture() : source_(nullptr) {}

ImageTexture::ImageTexture(const XIImage* image) : source_(image) {}

void ImageTexture::Apply() const {
    // Load() binds the texture and applies the binding parameters to it.
    Load();
}

void ImageTexture::Load() const {
    SubImageTexture::Load();
    ApplyLinear();
    ApplyClampToEdge();
}

} // namespace OGL_ZEP6_AE
