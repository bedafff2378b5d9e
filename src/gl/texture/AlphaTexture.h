#pragma once

// A texture holding an image transferred as it is into an alpha-format texture (no conversion).
// Loading without an image throws OpenGLError (code 0).

#include "Export.h"
#include "geometry/Region.h"
#include "gl/texture/ImageTexture.h"

namespace OGL_ZEP6_AE {

class ZEP6_API AlphaTexture : public ImageTexture {
public:
    AlphaTexture();
    explicit AlphaTexture(const XIImage* image);

    void SetImage(const XIImage* image);
    void SetRegion(const Region& region);

    void Apply() const override;
    void Load() const override;

private:
    AlphaTexture& operator=(const XIImage* image);

    const XIImage* alphaImage_;
    Region alphaRegion_;
    mutable bool alphaLoaded_;
};

} // namespace OGL_ZEP6_AE
