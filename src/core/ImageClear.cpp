#include "core/ImageClear.h"

#include "core/Errors.h"
#include "core/XIImage.h"

#include <cstddef>
#include <cstring>

namespace OGL_ZEP6_AE {

void ClearToTransparent(XIImage* image) {
    if (!IsValid(image) || image->IsReadOnly())
        return;
    // IsValid bounds the width but lets a bit depth through whose wrapped product looks small; the
    // bytes written are checked against the row length here.
    const long long pixelBytes = static_cast<long long>(image->GetWidth()) * image->GetBitDepth() / 8;
    const long rowBytes = image->GetRowBytes();
    if (pixelBytes <= 0 || pixelBytes > rowBytes)
        return;
    unsigned char* row = static_cast<unsigned char*>(image->GetBaseAddress());
    for (long y = 0; y < image->GetHeight(); ++y, row += rowBytes)
        std::memset(row, 0, static_cast<std::size_t>(pixelBytes));
}

} // namespace OGL_ZEP6_AE
