#include "imageops/OperationFramePrivate.h"

#include "core/PixelFormat.h"
#include "gl/state/Color.h"

#include <cstring>

namespace OGL_ZEP6_AE {
namespace imageops {

namespace {

// Row bytes x height of a valid image: the block a byte copy or a zero fill covers.
std::size_t BlockBytes(const XIImage* image) {
    return static_cast<std::size_t>(image->GetRowBytes()) * static_cast<std::size_t>(image->GetHeight());
}

} // namespace

bool IsWritable(const XIImage* image) {
    return IsValid(image) && !image->IsReadOnly();
}

bool CopyMatchingBytes(const XIImage* source, XIImage* destination) {
    if (!IsWritable(destination) || !IsMatchingFormat(source, destination))
        return false;
    // memmove: a copy of an image onto itself is allowed and leaves it as it is.
    std::memmove(destination->GetBaseAddress(), source->GetBaseAddress(), BlockBytes(source));
    return true;
}

bool ClearToZeroBytes(XIImage* destination, const Color& color) {
    if (color.red != 0.0f || color.green != 0.0f || color.blue != 0.0f || color.alpha != 0.0f)
        return false;
    if (IsWritable(destination))
        std::memset(destination->GetBaseAddress(), 0, BlockBytes(destination));
    return true;
}

WorkingImage::WorkingImage(int width, int height)
    : Buffer<RGBAPixelType<float, 1>>(FourCC("RGBA"), 128, 1.0f) {
    if (width > 0 && height > 0)
        Resize(width, height, nullptr, 0);
}

} // namespace imageops
} // namespace OGL_ZEP6_AE
