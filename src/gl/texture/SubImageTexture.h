#pragma once

// A texture whose content is a region of an XIImage, optionally multiplied in alpha by a mask
// image. The content is uploaded lazily: any change of image, mask or region marks it stale and
// the next Load() (reached through Apply()) uploads it. Regions count rows from the bottom of the
// picture whatever the memory order of the image.

#include "Export.h"
#include "geometry/Region.h"
#include "gl/targets/RenderedTexture.h"

class XIImage;

namespace OGL_ZEP6_AE {

class ZEP6_API SubImageTexture : public RenderedTexture {
public:
    SubImageTexture();
    explicit SubImageTexture(const XIImage* image);
    SubImageTexture(const SubImageTexture&) = delete;
    SubImageTexture& operator=(const SubImageTexture&) = delete;
    ~SubImageTexture() override;

    void SetImage(const XIImage* image);
    void SetMask(const XIImage* mask);
    // Points the texture at a region of its image. Storage that no longer fits the region (too
    // small, or not exact when exact storage is asked for) is given back, and the next Load takes
    // storage that does.
    void SetRegion(const Region& region);
    // Storage of exactly the region's size instead of a larger cached texture: for content that
    // is sampled linearly or clamped to its edge, which must not reach texels beyond the region
    // that an earlier use left in a larger texture. Off by default.
    void SetExactStorage(bool exact);
    const Region& GetRegion() const { return region_; }
    bool IsLoaded() const { return loaded_; }

    void Apply() const override;
    void Load() const override;

protected:
    // Source area of `image` for `region`: rows counted from the bottom of the picture.
    static Region SourceArea(const XIImage* image, const Region& region);

    const XIImage* image_;
    const XIImage* mask_;
    Region region_;
    mutable bool loaded_;
    bool exactStorage_;
};

} // namespace OGL_ZEP6_AE
