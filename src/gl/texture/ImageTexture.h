#pragma once

// A SubImageTexture that also remembers the image it was built from. Its content still comes
// from SetImage(); until then Load() clears it to transparent black.

#include "Export.h"
#include "gl/texture/SubImageTexture.h"

namespace OGL_ZEP6_AE {

class ZEP6_API ImageTexture : public SubImageTexture {
public:
    ImageTexture();
    explicit ImageTexture(const XIImage* image);

    bool HasImage() const { return source_ != nullptr; }

    void Apply() const override;
    void Load() const override;

private:
    const XIImage* source_;
};

} // namespace OGL_ZEP6_AE
